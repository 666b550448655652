#include <future>
#include <set>

#include "tests/support.h"

namespace {

// Between vamel_begin and the call that leaves, a thread has the database for itself.
struct ThreadsTest : testing::Test {
    TempDir dir;
    const Env env{{{"id", VAMEL_TYPE_INTEGER, VAMEL_FLAG_UNIQUE}}};
    Db db{dir / "db", env};
    std::set<int32_t> now, saved;  // what memory and file must hold, kept by the lock's holder

    // The result set is an earlier bracket's: what others deleted since must be gone from it.
    void ChangeAndLeave(Stmt& stmt, int32_t id) {
        int32_t found = 0;
        uint32_t count = 0;
        if (vamel_step(stmt) == VAMEL_ROW) {
            EXPECT_EQ(vamel_fetch_int(stmt, Str("id"), &found), VAMEL_OK);
            EXPECT_TRUE(now.erase(found) == 1 && vamel_delete(db, stmt) == VAMEL_OK) << found;
        }
        EXPECT_EQ(stmt.Insert({{"id", id}}), VAMEL_OK);
        now.insert(id);
        vamel_clear_bind(stmt);
        EXPECT_EQ(vamel_select(db, stmt, &count), VAMEL_OK);
        EXPECT_EQ(count, now.size());
        const auto leave = id % 3 == 0 ? vamel_end : id % 3 == 1 ? vamel_commit : vamel_rollback;
        (id % 3 == 1 ? saved : now) = id % 3 == 2 ? saved : now;
        EXPECT_GE(leave(db), VAMEL_OK);
    }
};

TEST_F(ThreadsTest, EightThreadsLoseNothing) {
    std::vector<std::future<void>> threads;
    for (int32_t first = 0; first < 8000; first += 1000) {
        threads.push_back(std::async(std::launch::async, [this, first] {
            vamel_begin(db);
            Stmt stmt(db);
            for (int32_t id = first; id < first + 60; vamel_begin(db)) {
                ChangeAndLeave(stmt, id++);
            }
            vamel_finalize(&stmt.handle);
            vamel_end(db);
        }));
    }
    threads.clear();  // waits
    EXPECT_EQ(vamel_close(&db.handle), VAMEL_OK);
    const std::string held = Show(Object(Db(dir / "db", env))->GetTable());
    EXPECT_EQ(std::count(held.begin(), held.end(), ';'), std::ptrdiff_t(now.size())) << held;
}

// Entered twice, the lock is left twice, by its holder alone; closing waits for a holder.
TEST_F(ThreadsTest, TheLockIsWaitedFor) {
    std::promise<void> entered;
    bool left = false, done = false;
    vamel_begin(db);
    vamel_begin(db);
    const auto other = std::async(std::launch::async, [&] {
        EXPECT_EQ(vamel_end(db), VAMEL_OK);
        vamel_begin(db);
        EXPECT_TRUE(left);
        entered.set_value();
        usleep(50000);
        done = true;
        vamel_end(db);
    });
    vamel_end(db);
    usleep(50000);
    left = true;
    vamel_end(db);
    entered.get_future().wait();
    vamel_close(&db.handle);
    EXPECT_TRUE(done);
}

}  // namespace

// The C++ interface, as a host uses it: through the shared libraries and the public headers only.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "vamel/vamel.hpp"

namespace {

using vamel::bytes;
using vamel::bytes_view;
using vamel::field;
using vamel::statement;
using vamel::type;

static_assert(!std::is_copy_constructible_v<vamel::environment> &&
              !std::is_copy_constructible_v<vamel::database> &&
              !std::is_copy_constructible_v<vamel::statement>);
static_assert(std::is_nothrow_move_assignable_v<vamel::environment> &&
              std::is_nothrow_move_assignable_v<vamel::database> &&
              std::is_nothrow_move_assignable_v<vamel::statement>);
// Values that would not arrive as they are do not compile.
enum Wide : int64_t {};
static_assert(std::is_assignable_v<const field&, short> &&
              !std::is_assignable_v<const field&, unsigned> &&
              !std::is_assignable_v<const field&, int64_t> &&
              !std::is_assignable_v<const field&, double> &&
              std::is_assignable_v<const field&, vamel_result> &&
              !std::is_assignable_v<const field&, Wide> &&
              !std::is_assignable_v<const field&, std::nullptr_t>);

struct Folder {
    ~Folder() { std::filesystem::remove_all(path); }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    const std::string path = mkdtemp(std::string("/tmp/XXXXXX").data());
};

// The code that a call throws; VAMEL_OK if it throws none.
template <class Call>
std::error_code Thrown(Call call) {
    try {
        call();
    } catch (const vamel::error& error) {
        return error.code();
    }
    return VAMEL_OK;
}
#define EXPECT_CODE(code, call) EXPECT_EQ(Thrown([&] { call; }), make_error_code(code))

using Listed = std::vector<int32_t>;

class Wrapper : public testing::Test {
  protected:
    Wrapper() {
        env.add("id", type::integer, vamel::indexed | vamel::unique)
            .add("name", type::text, vamel::indexed)
            .add("blob", type::binary)
            .add("key", type::binary, vamel::unique)
            .add("mail", type::text, vamel::unique);
    }
    void Open(const std::string& file = "table.db") {
        db = vamel::database(folder / file, env);
        stmt = db.prepare();
    }
    Listed Ids(vamel::rows found) {
        Listed ids;
        for (auto& row : found) {
            ids.push_back(row.get<int32_t>(id).value_or(-99));
        }
        EXPECT_EQ(ids.size(), found.size());
        return ids;
    }
    Listed All() { return Ids(stmt.select()); }

    const field id{"id"}, name{"name"}, blob{"blob"}, key{"key"}, mail{"mail"};
    const Folder folder;
    vamel::environment env;
    vamel::database db;
    statement stmt;
};

// One table from its first record to a file that opens again.
TEST_F(Wrapper, EndToEnd) {
    env.backup(folder / "table.bak");
    EXPECT_CODE(VAMEL_ERR_SCHEMA, env.add("id", type::text));
    Open();
    EXPECT_EQ(db.opened(), VAMEL_NO_FILE);
    {
        vamel::transaction guard(db);
        stmt.insert(id = 3, name = "three", blob = bytes{3, 0});
        stmt.insert(id = -1, name = "minus one", blob = std::array<char, 2>{'x', 'y'});
        stmt.insert(id = 7, name = "");
        stmt.insert(id = 4, name = std::string("ni\xC3\xB1o"));
        guard.commit();
    }
    EXPECT_TRUE(std::filesystem::exists(folder / "table.db"));
    EXPECT_FALSE(std::filesystem::exists(folder / "table.bak"));
    db.close();
    EXPECT_TRUE(std::filesystem::remove(folder / "table.db"));
    EXPECT_FALSE(db);

    Open();
    EXPECT_EQ(db.opened(), VAMEL_OK) << "from the backup";
    for (auto& row : stmt.select(name == "three")) {
        EXPECT_EQ(row.get<int32_t>("id"), 3);
        EXPECT_EQ(row.get<bytes>(std::string("blob")), (bytes{3, 0}));
        EXPECT_EQ(row.get<bytes_view>(blob)->size(), 2U);
        EXPECT_CODE(VAMEL_UNKNOWN_FIELD, row.get<std::string>("other"));
        EXPECT_CODE(VAMEL_ERR_FIELD, row.get<std::string>("id"));
        EXPECT_EQ(row.get<std::string>("mail"), std::nullopt);
    }
    EXPECT_EQ(stmt.get<std::string>(name), std::nullopt) << "no record is current after the loop";
    EXPECT_EQ(Ids(stmt.select(id > 0, field("id") <= 4)), (Listed{3, 4}));
    EXPECT_TRUE(stmt.reset());
    EXPECT_EQ(stmt.get<std::string>(name), "three");

    db.commit();
    for (auto& row : stmt.select(id < 4)) {
        if (*row.get<int32_t>(id) == 3) {
            row.update(name = "drei");
        } else {
            row.remove();
        }
    }
    EXPECT_EQ(All(), (Listed{7, 4, 3}));
    EXPECT_EQ(db.rollback(), VAMEL_OK);
    EXPECT_FALSE(stmt.step()) << "the result set was emptied";
    EXPECT_EQ(All(), (Listed{3, -1, 7, 4}));

    stmt.reset();
    stmt.remove();
    EXPECT_CODE(VAMEL_ERR_DUPLICATE, stmt.insert(id = 7));
    EXPECT_CODE(VAMEL_ERR_DAMAGED, db.commit());
    EXPECT_CODE(VAMEL_NOT_WRITTEN, db.close());
    Open();
    EXPECT_EQ(All(), (Listed{3, -1, 7, 4}));
}

TEST_F(Wrapper, ErrorsAreCodesOrExceptions) {
    try {
        vamel::database("x", vamel::environment());
        FAIL() << "an environment without fields opened";
    } catch (const std::system_error& error) {
        EXPECT_TRUE(error.code() == VAMEL_ERR_SCHEMA);
        EXPECT_STREQ(error.code().category().name(), "vamel");
        EXPECT_EQ(error.what(), std::string("open: ") + vamel_result_text(VAMEL_ERR_SCHEMA));
    }
    std::error_code ec;
    db = vamel::database(ec, "x", vamel::environment());
    EXPECT_TRUE(ec == VAMEL_ERR_SCHEMA && !db && db.opened() == VAMEL_ERR_ARGUMENT);
    stmt = db.prepare(ec);
    EXPECT_TRUE(ec == VAMEL_ERR_ARGUMENT && stmt.handle() == nullptr);
    env.add(ec, "id", type::integer);
    EXPECT_TRUE(ec == VAMEL_ERR_SCHEMA);
    Open();
    stmt.insert(ec, id = 1);
    EXPECT_FALSE(ec) << "cleared";
    EXPECT_TRUE(stmt.select(ec, field("nothing") == 1).empty() && ec == VAMEL_ERR_FIELD);
    for (auto& row : stmt.select(ec, id == 1, name == "\xFF")) {
        ADD_FAILURE() << "a failed select found " << *row.get<int32_t>(id);
    }
    EXPECT_TRUE(ec == VAMEL_ERR_MEMORY) << "kept through the loop";
    EXPECT_TRUE(stmt.select_all_of(ec, id == 1, name == "\xFF").empty());
    EXPECT_TRUE(ec == VAMEL_ERR_MEMORY);
    EXPECT_EQ(stmt.get<int32_t>(ec, id), std::nullopt);
    EXPECT_FALSE(ec) << "a missing value is no failure";
    const vamel::rows found = stmt.select(ec);
    stmt.get<int32_t>(ec, "nothing");
    EXPECT_EQ(Ids(found), (Listed{1})) << "what failed since is another matter";
    stmt.update(ec, id = 2);
    EXPECT_TRUE(ec == VAMEL_ERR_NO_VALUE);
    stmt.remove(ec);
    EXPECT_TRUE(ec == VAMEL_ERR_NO_VALUE);
    EXPECT_FALSE(stmt.insert_checked(ec, id = 2, mail = "\xC3"));
    EXPECT_TRUE(ec == VAMEL_ERR_MEMORY);
    db.close(ec);
    EXPECT_FALSE(ec);
    db.close(ec);
    EXPECT_TRUE(ec == VAMEL_ERR_ARGUMENT);
}

TEST_F(Wrapper, EmptyAndOrphanedObjectsFailAndHarmNothing) {
    Open();
    stmt.insert(id = 1);
    vamel::database kept = std::move(db);
    vamel::environment moved_env = std::move(env);
    statement moved = std::move(stmt);
    EXPECT_EQ(moved.select(id == 1).size(), 1U) << "a statement does not mind that its owner moved";
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, env.add("x", type::text));
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, vamel::database("x", env));
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, db.commit());
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, const vamel::transaction guard(db));
    const auto all_fail = [&](statement& empty) {
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.insert(id = 2));
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.insert_checked(id = 2));
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.update_checked(id = 2));
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.insert_bound());
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.select());
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.select_all_of(id == 1));
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.step());
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.get<int32_t>("id"));
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.update(id = 2));
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, empty.remove());
    };
    all_fail(stmt);
    const vamel::rows found = moved.select();
    auto at = found.begin();
    const vamel::transaction guard(kept);
    kept = vamel::database();  // closes the one that it held
    all_fail(moved);
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, ++at);
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, found.begin());
    env = std::move(moved_env);
    Open();
    EXPECT_EQ(db.opened(), VAMEL_OK) << "closing has written it";
    EXPECT_EQ(All(), (Listed{1}));
}

TEST_F(Wrapper, TransactionLeavesTheLockOnce) {
    Open();
    std::atomic<int> entered = 0;
    const auto enter = [&] {
        const vamel::transaction guard(db);
        ++entered;
    };
    const auto expect_waiting = [&](auto leave) {
        entered = 0;
        std::thread other(enter);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(entered, 0);
        leave();
        other.join();  // and hangs here if the lock was kept
        EXPECT_EQ(entered, 1);
    };
    {
        vamel::transaction guard(db);
        stmt.insert(id = 1);
        expect_waiting([&] { guard.commit(); });
        EXPECT_CODE(VAMEL_ERR_ARGUMENT, guard.commit());
    }
    {
        vamel::transaction guard(db);
        stmt.insert(id = 2);
        expect_waiting([&] { EXPECT_EQ(guard.rollback(), VAMEL_OK); });
    }
    EXPECT_EQ(All(), (Listed{1}));
    {
        const vamel::transaction outer(db);
        db.commit();
        EXPECT_EQ(db.rollback(), VAMEL_OK);
        auto inner = std::make_unique<vamel::transaction>(db);
        stmt.insert(id = 3);
        inner.reset();  // undoes nothing
        expect_waiting([&] { vamel_end(db.handle()); });
    }
    EXPECT_EQ(All(), (Listed{1, 3}));
    for (auto& row : stmt.select()) {
        row.remove();
    }
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, db.commit()) << "an empty table is not written";
    EXPECT_EQ(db.rollback(), VAMEL_OK);
    EXPECT_EQ(All(), (Listed{1}));
}

TEST_F(Wrapper, SkippedValuesCanBeLeftInTheFile) {
    Open();
    stmt.insert(id = 1, name = "kept");
    db.close();
    {
        vamel::environment fewer;
        fewer.add("id", type::integer);
        vamel::database reader(folder / "table.db", fewer);
        EXPECT_EQ(reader.opened(), VAMEL_FIELDS_SKIPPED);
        statement all = reader.prepare();
        for (auto& row : all.select()) {
            row.remove();
        }
    }
    Open();
    EXPECT_EQ(stmt.select(name == "kept").size(), 1U);
}

TEST_F(Wrapper, SelectAllOfIsAConjunction) {
    Open();
    stmt.insert(id = 20, name = "a");
    stmt.insert(id = 30, name = "b");
    stmt.insert(id = 40, name = "b");
    EXPECT_EQ(Ids(stmt.select(id >= 65, id <= 70)), (Listed{20, 30, 40})) << "started anew";
    EXPECT_EQ(Ids(stmt.select_all_of(id >= 65, id <= 70)), (Listed{}));
    EXPECT_EQ(Ids(stmt.select_all_of(name == "b", id == 20, id > 0)), (Listed{}));
    EXPECT_EQ(Ids(stmt.select_all_of(name == "b", id > 0, id < 0)), (Listed{}));
    EXPECT_EQ(Ids(stmt.select_all_of(name == "b", id > 20, id < 40)), (Listed{30}));
    EXPECT_EQ(Ids(stmt.select_all_of(id == 20)), (Listed{20}));
    EXPECT_CODE(VAMEL_ERR_FIELD, stmt.select_all_of(id == 20, field("other") == 1));
}

TEST_F(Wrapper, CheckedChangesSpareTheHandle) {
    Open();
    EXPECT_TRUE(stmt.insert_checked(id = 1, name = "x", key = bytes{1, 2}, mail = "a@b"));
    const vamel::rows found = stmt.select();
    const auto at = found.begin();
    for (int round = 0; round < 2; ++round) {  // with indexes and, after a rollback, without
        EXPECT_FALSE(stmt.insert_checked(id = 1));
        EXPECT_FALSE(stmt.insert_checked(id = 2, key = bytes{1})) << "equal to a prefix";
        EXPECT_FALSE(stmt.insert_checked(mail = "a@b", id = 2));
        if (round == 0) {
            EXPECT_EQ(at->get<int32_t>(id), 1) << "the cursor stays";
        }
        db.commit();
        EXPECT_EQ(db.rollback(), VAMEL_OK);
    }
    EXPECT_TRUE(stmt.insert_checked(id = 2, name = "x", key = bytes{2}, mail = "a@"));
    EXPECT_TRUE(stmt.insert_checked(id = 3, key = bytes{}));
    EXPECT_TRUE(stmt.insert_checked(id = 4, key = bytes{})) << "empty values never clash";
    for (auto& row : stmt.select(id == 1)) {
        EXPECT_FALSE(row.update_checked(id = 2));
        EXPECT_FALSE(row.update_checked(key = bytes{1})) << "begins as its own";
        EXPECT_FALSE(row.update_checked(name = "y", mail = "a@"));
        EXPECT_EQ(row.get<std::string>(name), "x");
        EXPECT_TRUE(row.update_checked(id = 1, name = "y", key = bytes{1, 2},
                                       mail = std::string_view("a@b\0c", 5)));
    }
    db.commit();
    EXPECT_EQ(All(), (Listed{2, 3, 4, 1}));
}

TEST_F(Wrapper, TextAndBytesArriveWhole) {
    Open();
    const std::string around(600, 'e');
    for (const size_t length : {0U, 1U, 15U, 16U, 254U, 255U, 256U, 257U, 600U}) {
        const auto part = std::string_view(around).substr(0, length);  // not terminated
        for (const std::string& text :
             {std::string(part), "\xF0\x9F\x8C\x99" + std::string(part)}) {
            stmt.insert(name = std::string_view(text));
            ASSERT_EQ(stmt.select(name == text).size(), 1U) << length;
            ASSERT_TRUE(stmt.step());
            EXPECT_EQ(stmt.get<std::string>(name), text);
        }
        stmt.insert(name = part, blob = bytes_view(part));
        ASSERT_EQ(stmt.select(name == part).size(), 2U) << length;
        ASSERT_TRUE(stmt.step() && stmt.step());
        if (length > 0) {
            EXPECT_EQ(stmt.get<bytes>(blob), bytes(part.begin(), part.end()));
        } else {
            EXPECT_CODE(VAMEL_ERR_MEMORY, stmt.get<bytes>(blob)) << "stored, but not to be read";
        }
    }
    stmt.insert(id = 1, name = std::string_view("ab\0cd", 5));
    EXPECT_EQ(stmt.select(field(std::string_view("name\0x", 6)) == "ab").size(), 1U);
    EXPECT_CODE(VAMEL_ERR_MEMORY, stmt.insert(name = "\xED\xA0\x80")) << "a surrogate";
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, stmt.insert(name = static_cast<const char*>(nullptr)));
    EXPECT_CODE(VAMEL_ERR_MEMORY, vamel::database("\xFF", env));
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, stmt.select(field("\xFF") == 1));
    db.commit();
}

TEST_F(Wrapper, LoopsThatChangeMeetEveryRecordOnce) {
    Open();
    for (int32_t i = 1; i <= 6; ++i) {
        stmt.insert(id = i);
    }
    const vamel::rows found = stmt.select(id > 0);
    Listed met;
    for (auto& row : found) {
        const int32_t number = *row.get<int32_t>(id);
        met.push_back(number);
        if (number % 3 == 0) {
            row.remove();
        } else if (number % 3 == 1) {
            row.update(id = -number);
            EXPECT_EQ(row.get<int32_t>(id).value_or(0), number == 1 ? 0 : number - 2);
        }
    }
    EXPECT_EQ(met, (Listed{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(All(), (Listed{2, 5, -1, -4}))
        << "criteria are not stored, updated records come last";
}

TEST_F(Wrapper, BoundValuesAndNames) {
    Open();
    stmt.bind("id", 5);
    stmt.bind(std::string("name"), "x");
    stmt.insert_bound();
    EXPECT_EQ(stmt.select_bound().size(), 1U) << "what was bound are criteria now";
    stmt.step();
    stmt.clear_bind();
    stmt.bind(id, 6);
    stmt.update_bound();
    stmt.clear_bind();
    stmt.bind("id", 5, VAMEL_GREATER);
    EXPECT_EQ(Ids(stmt.select_bound()), (Listed{6}));
    for (int i = 0; i < 2 * VAMEL_MAX_FIELDS; ++i) {
        EXPECT_CODE(VAMEL_ERR_FIELD, stmt.bind("no" + std::to_string(i), 1));
    }
    stmt.reset();
    EXPECT_EQ(stmt.get<std::string>("name"), "x");
    auto first = std::make_unique<field>("id");
    std::vector<field> copies(3, *first);
    first.reset();
    copies.front() = std::move(copies.back());
    EXPECT_EQ(Ids(stmt.select(copies[0] == 6, copies[1] == 6)), (Listed{6}));
    EXPECT_CODE(VAMEL_ERR_ARGUMENT, stmt.select(copies[2] == 6)) << "moved from";
}

}  // namespace

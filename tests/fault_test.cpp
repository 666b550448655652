#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>

#include "platform/CFString.h"
#include "tests/faults.h"
#include "tests/support.h"

namespace {

namespace fs = std::filesystem;

// What the functions may give, whatever fails.
const std::string kResults =
    " init term 0 ; free_env begin end finalize clear_bind 0 -3 ; alloc_env prepare select 0 -3 -4 "
    "; set_env 0 -3 -4 -12 ; open 0 4 6 -3 -4 -7 -8 -9 -10 -11 -12 ; close 0 5 -3 -4 -8 "
    "; rollback 0 4 6 -2 -3 -4 -7 -8 -9 -10 -11 ; commit 0 -2 -3 -4 -8 ; step reset 1 2 -3 "
    "; bind_int bind_text bind_binary 0 -3 -4 -6 ; insert 0 -3 -4 -10 ; update 0 -3 -4 -5 -10 "
    "; fetch_int fetch_text fetch_binary 0 3 -3 -4 -5 -6 ; delete 0 -3 -5 ;";

const std::vector<Field> kFields = {{"data", 3, 0}, {"id", 1, 3}, {"name", 2, 1}};
const Str kData("data"), kId("id"), kName("name");
const TempDir dir;
const std::string kFiles[] = {dir / "main", dir / "backup"};

std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "none";
}

void Write(const std::string& path, const std::string& bytes) {
    fs::remove(path);
    if (bytes != "none") {
        std::ofstream(path, std::ios::binary) << bytes;
    }
}

// After a call: its result, the table, both files, and what it gave out.
enum { CODE, TABLE, MAIN, BACKUP, OUT };
using State = std::array<std::string, 5>;

// A host at work. A call leaves what it leaves where nothing fails, or it is refused: then it
// leaves what was before, and does its work when it is made again. Where that cannot be, the host
// gives up.
struct Host {
#define CALL(f, ...) Judge(#f, [&] { return vamel_##f(__VA_ARGS__); })
    template <typename Function>
    void Judge(const std::string& name, const Function& function) {
        if (given_up) {
            return;
        }
        faults.hit = "", faults.armed = true;
        int32_t code = 77;  // listed for no function
        try {
            code = function();
        } catch (...) {
        }
        faults.armed = false;
        const State now = Look(code);
        SCOPED_TRACE(name + " gave " + now[CODE] + ", failed: " + faults.hit.data());
        const size_t at = kResults.find(" " + name + " ");
        const std::string listed = kResults.substr(at, kResults.find(';', at) - at);
        EXPECT_NE(listed.find(" " + now[CODE] + " "), std::string::npos);
        if (faults.kind == Faults::NONE) {
            clean.push_back(now);
        }
        const State& want = clean[calls++];
        if (now != want) {
            CheckRefusal(name, now, want);
            const bool reads = name == "open" || name == "rollback";
            const bool again = name == "commit" || (!reads && name != "close");
            given_up = !again || (db != nullptr && Object(db)->IsDamaged());
            if (again) {
                EXPECT_EQ(Look(function()), want);
            }
        }
        last = Look(code);
    }
    void CheckRefusal(const std::string& name, const State& now, const State& want) const {
        const bool io = faults.kind != Faults::ALLOCATION,
                   reads = name == "open" || name == "rollback";
        EXPECT_TRUE(!faults.hit.empty() && (io || reads || now[CODE] == "-4"));
        for (const int file : {MAIN, BACKUP}) {
            const bool part = io && (now[file] == "none" || want[file].rfind(now[file], 0) == 0);
            EXPECT_TRUE(part || now[file] == last[file] ||
                        (name == "open" && now[file] == want[file]));
        }
        if (reads) {
            EXPECT_TRUE(now[CODE] == "0" ? now[TABLE] == backup_table
                                         : want[TABLE].rfind(now[TABLE], 0) == 0);
        } else if (name != "close") {
            EXPECT_EQ(std::pair(now[TABLE], now[OUT]), std::pair(last[TABLE], last[OUT]));
        }
        if (io && !faults.forever && !reads) {  // a short write is not noticed
            const int file = name == "commit" ? MAIN : BACKUP;
            EXPECT_EQ(now[CODE] == "-8", now[file] != want[file] && faults.hit != "fwrite");
        }
        const bool lost = name == "select" && Object(stmt)->GetSearch() == nullptr;
        const bool damages = lost || name == "insert" || name == "update";
        EXPECT_EQ(db != nullptr && Object(db)->IsDamaged(), damages);
    }
    State Look(int32_t code) const {
        if (db != nullptr) {  // a select makes a list of records that there was no memory for
            vamel_select(db, Stmt(db), nullptr);
        }
        return {std::to_string(code), db != nullptr ? Show(Object(db)->GetTable()) : "",
                Read(kFiles[0]), Read(kFiles[1]),
                std::to_string(id) + " " + std::to_string(size) + (text != nullptr ? "text" : "")};
    }
    void Bind(int32_t number) {
        CALL(clear_bind, stmt), CALL(bind_int, stmt, kId, number, 0);
        CALL(bind_binary, stmt, kData, "0123456789", uint32_t(number), 0);
        CALL(bind_text, stmt, kName, kName, 0);
    }
    void Live(int first) {
        Write(kFiles[0], last[MAIN]), Write(kFiles[1], last[BACKUP]);
        const Str main(kFiles[0]), backup(kFiles[1]);
        const vamel_field_info infos[] = {{kData, 3, 0}, {kId, 1, 3}, {kName, 2, 1}};
        backup_table = Db(backup, Env(kFields)).Show();
        last = Look(0);
        CALL(init), CALL(alloc_env, &env), CALL(set_env, env, 1, backup);
        for (const vamel_field_info& info : infos) {
            CALL(set_env, env, 2, &info);
        }
        CALL(open, main, env, &db), CALL(free_env, &env), CALL(prepare, db, &stmt);
        Stmt other(db);  // its result set and current record are to follow
        CALL(begin, db), Bind(first), CALL(insert, db, stmt), Bind(first + 1),
            CALL(insert, db, stmt);
        vamel_select(db, other, nullptr), vamel_step(other);
        CALL(commit, db), CALL(clear_bind, stmt);
        vamel_select(db, stmt, nullptr);  // the result set that a select that cannot grow leaves
        CALL(select, db, stmt, &size), CALL(step, stmt), CALL(step, stmt);
        CALL(fetch_int, stmt, kId, &id), CALL(fetch_text, stmt, kName, &text);
        CALL(fetch_binary, stmt, kData, &data, &size);
        Bind(first + 2), CALL(update, db, stmt);
        CALL(reset, stmt), CALL(delete, db, stmt), CALL(rollback, db);
        if (!given_up) {
            Write(kFiles[0], "none");
            last = Look(0);
        }
        Bind(first + 2), CALL(insert, db, stmt), CALL(rollback, db);
        Bind(first + 2), CALL(insert, db, stmt), CALL(end, db), CALL(close, &db);
        CALL(finalize, &stmt), CALL(term);
        vamel_finalize(&stmt), vamel_free_env(&env);
        if (db != nullptr) {
            GiveUp();
        }
    }
    void GiveUp() {
        const bool damaged = Object(db)->IsDamaged();
        EXPECT_TRUE(!damaged || (vamel_commit(db) == -2 && vamel_rollback(db) == -2));
        const int32_t code = vamel_close(&db);
        EXPECT_EQ(code, damaged ? 5 : last[TABLE].empty() ? -3 : 0);
        for (const size_t i : {0, 1}) {
            const bool holds = code == 0 ? Db(kFiles[i], Env(kFields)).Show() == last[TABLE]
                                         : Read(kFiles[i]) == last[MAIN + i];
            EXPECT_TRUE(holds) << kFiles[i];
        }
    }

    State last;
    std::vector<State> clean = {};  // the states where nothing fails
    std::string backup_table = {};
    size_t calls = 0;
    bool given_up = false;
    vamel_env* env = nullptr;
    vamel_db* db = nullptr;
    vamel_stmt* stmt = nullptr;
    CFStringRef text = nullptr;
    const void* data = nullptr;
    int32_t id = 0;
    uint32_t size = 0;
};

TEST(FaultTest, EveryCallFails) {
    const State none = {"", "", "none", "none", ""};
    Host first{none};
    first.Live(1);
    Host second{first.last};
    second.Live(4);
    const std::string main = second.last[MAIN], backup = first.last[BACKUP];
    for (const State& start :
         {none, State{"", "", main, backup, ""}, State{"", "", main + "!", backup, ""}}) {
        faults.kind = Faults::NONE;
        Host calm{start};
        calm.Live(7);
        for (int run = 0; run < 6; ++run) {
            faults.kind = Faults::Kind(1 + run / 2), faults.forever = run % 2;
            faults.left = 0;
            for (long n = 1; faults.left <= 0 && !HasFailure(); ++n) {
                SCOPED_TRACE(testing::Message()
                             << start[MAIN].size() << " bytes, kind " << faults.kind << ", number "
                             << n << (run % 2 ? " and on" : ""));
                const long strings = CFStringLiveCount();
                faults.left = n;
                Host{start, calm.clean}.Live(7);
                EXPECT_EQ(CFStringLiveCount(), strings);
            }
        }
    }
}

}  // namespace

#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <functional>

#include "base/Status.h"
#include "persist/CVLFile.h"
#include "tests/faults.h"
#include "tests/support.h"

namespace {

using namespace std::string_literals;

// What the functions may give, whatever fails.
const std::string kResults =
    " init term 0 ; free_env begin end finalize clear_bind 0 -3 ; alloc_env prepare select 0 -3 -4 "
    "; set_env 0 -3 -4 -12 ; open 0 4 6 -3 -4 -7 -8 -9 -10 -11 -12 ; close 0 5 -3 -4 -8 "
    "; rollback 0 4 6 -2 -3 -4 -7 -8 -9 -10 -11 ; commit 0 -2 -3 -4 -8 ; step reset 1 2 -3 "
    "; bind_int bind_text bind_binary 0 -3 -4 -6 ; insert 0 -3 -4 -10 ; update 0 -3 -4 -5 -10 "
    "; fetch_int fetch_text fetch_binary 0 3 -3 -4 -5 -6 ; delete 0 -3 -5 ;";

const std::string kLong(200, 'n');  // a name that takes memory to convert
const std::vector<Field> kFields = {{"data", 3, 1}, {"id", 1, 3}, {kLong, 2, 1}};
constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8;
const Str kData("data"), kId("id"), kName(kLong);
const TempDir dir = {};
const Str kMain(dir / "main"), kBackup(dir / "backup");

std::string Read(const char* file) {
    std::ifstream in(dir / file, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "none";
}

void Write(const char* file, const std::string& bytes) {
    std::filesystem::remove(dir / file);
    bytes != "none" ? void(std::ofstream(dir / file, std::ios::binary) << bytes) : void();
}

enum { CODE, TABLE, MAIN, BACKUP, OUT };  // a call's result, and what is there after it
using State = std::vector<std::string>;

// A host at work. A call leaves what it leaves where nothing fails; or it is refused, leaves all as
// it was, and does its work when it is made again. Where that cannot be, the host gives up.
struct Host {
#define CALL(f, ...) given_up ? void() : Judge(#f, [&] { return vamel_##f(__VA_ARGS__); })
    template <typename Function>
    void Judge(const std::string& name, const Function& function) {
        int32_t code = 77;  // listed for no function
        faults.hit = "", faults.armed = true;
        try {
            code = function();
        } catch (...) {
        }
        faults.armed = false;
        const State now = Look(code);
        SCOPED_TRACE(name + " gave " + now[CODE] + ", failed: " + faults.hit.data());
        const size_t at = kResults.find(" " + name + " ");
        EXPECT_LT(kResults.find(" " + now[CODE] + " ", at), kResults.find(';', at));
        faults.kind == Faults::NONE ? clean->push_back(now) : void();
        const State& want = (*clean)[calls++];
        if (now != want) {
            CheckRefusal(name, now, want);
            const bool again = name != "open" && name != "close";
            given_up = !again || (db != nullptr && Object(db)->IsDamaged());
            EXPECT_TRUE(!again || Look(function()) == want);
        }
        last = Look(code);
    }
    void CheckRefusal(const std::string& name, const State& now, const State& want) const {
        const bool io = faults.kind == Faults::CALL, reads = name == "open" || name == "rollback";
        EXPECT_TRUE(!faults.hit.empty() && (io || reads || now[CODE] == "-4"));
        for (const size_t file : {MAIN, BACKUP}) {
            const bool part = io && (now[file] == "none" || want[file].rfind(now[file], 0) == 0);
            EXPECT_TRUE(part || now[file] == last[file] || (reads && now[file] == want[file]));
        }
        const bool kept = now[TABLE] == last[TABLE] && now[OUT] == last[OUT];
        EXPECT_TRUE(reads ? want[TABLE].rfind(now[TABLE], 0) == 0 : kept || name == "close");
        const bool lost = name == "select" && Object(stmt)->GetSearch() == nullptr;
        const bool damages = lost || name == "insert" || name == "update";
        EXPECT_EQ(db != nullptr && Object(db)->IsDamaged(), damages);
    }
    State Look(int32_t code) const {
        const std::string table = db != nullptr ? Show(Object(db)->GetTable()) : "";
        const std::string out = std::to_string(id) + (text ? "t" : "") + (data ? "d" : "");
        return {std::to_string(code), table, Read("main"), Read("backup"), out};
    }
    void Bind(int32_t number) {  // the data twice: the longer value has to grow in its record
        CALL(clear_bind, stmt), CALL(bind_int, stmt, kId, number, 0);
        CALL(bind_binary, stmt, kData, kLong.data(), uint32_t(number), 0);
        CALL(bind_binary, stmt, kData, kLong.data(), uint32_t(number) + 100, 0);
        CALL(bind_text, stmt, kName, kName, 0);
    }
    void Live(const std::string& main) {
        const vamel_field_info infos[] = {{kData, 3, 1}, {kId, 1, 3}, {kName, 2, 1}};
        vamel_env* env = nullptr;
        Write("main", main), last = Look(0);
        CALL(init), CALL(alloc_env, &env), CALL(set_env, env, 1, kBackup);
        CALL(set_env, env, 2, &infos[0]), CALL(set_env, env, 2, &infos[1]);
        CALL(set_env, env, 2, &infos[2]);
        CALL(open, kMain, env, &db), CALL(prepare, db, &stmt), CALL(begin, db);
        vamel_select(db, stmt, nullptr);  // what a select that cannot grow is to leave
        Bind(31), CALL(insert, db, stmt), CALL(select, db, stmt, nullptr);
        Bind(32), CALL(bind_binary, stmt, kName, kLong.data(), 150, 0);  // without a zero byte
        CALL(insert, db, stmt), CALL(select, db, stmt, nullptr);
        CALL(commit, db), CALL(clear_bind, stmt), CALL(select, db, stmt, nullptr);
        CALL(step, stmt), CALL(step, stmt), CALL(fetch_int, stmt, kId, &id);
        CALL(fetch_text, stmt, kName, &text), CALL(fetch_binary, stmt, kData, &data, &size);
        Bind(33), CALL(update, db, stmt), CALL(reset, stmt), CALL(delete, db, stmt);
        CALL(rollback, db), Write("main", "none"), last[MAIN] = "none";
        CALL(rollback, db), CALL(insert, db, stmt), CALL(end, db), CALL(close, &db);
        CALL(finalize, &stmt), CALL(free_env, &env), CALL(term);
        const bool damaged = db != nullptr && Object(db)->IsDamaged();
        EXPECT_TRUE(!damaged || (vamel_commit(db) == -2 && vamel_rollback(db) == -2));
        const int32_t code = vamel_close(&db);
        EXPECT_EQ(code, damaged ? 5 : last[TABLE].empty() ? -3 : 0);
        EXPECT_TRUE(code == 0 ? Db(kMain, Env(kFields)).Show() == last[TABLE]
                              : Read("main") == last[MAIN]);
        vamel_finalize(&stmt), vamel_free_env(&env);
    }

    std::vector<State>* clean;  // the states where nothing fails
    State last = {};
    bool given_up = false;
    vamel_db* db = nullptr;
    vamel_stmt* stmt = nullptr;
    CFStringRef text = nullptr;
    const void* data = nullptr;
    uint32_t size = 0, calls = 0;
    int32_t id = 0;
};

// A file with so many records.
std::string Made(int from, int to) {
    Db db(dir / "made", Env(kFields));
    for (int i = from; i < to; ++i) {
        Stmt(db).Insert({{"data", Bytes(size_t(i))}, {"id", i}, {kLong, std::to_string(i)}});
    }
    db.Close();
    const std::string file = Read("made");
    std::filesystem::remove(dir / "made");
    return file;
}

TEST(FaultTest, EveryCallFails) {
    const std::string file = Made(0, 15);
    for (int run = 0; run < 12; ++run) {  // each kind, once and for ever; no file, good, and bad
        const std::string main = run < 4 ? "none"s : run < 8 ? file : file + "!";
        std::vector<State> clean;
        faults.left = 0;
        for (int n = 0; faults.left <= 0 && !HasFailure(); ++n) {
            SCOPED_TRACE("run " + std::to_string(run) + ", failure " + std::to_string(n));
            faults.kind = n > 0 ? Faults::Kind(1 + run % 2) : Faults::NONE;
            faults.left = n, faults.forever = run / 2 % 2;
            Write("backup", run < 4 ? "none" : file);
            Host{&clean}.Live(main);
        }
    }
}

// Makes a call in which the Nth of a kind fails, or it and all after it.
template <typename Call>
auto Fail(Faults::Kind kind, int n, const Call& call, bool forever = false) {
    faults.kind = kind, faults.left = n, faults.forever = forever;
    faults.hit = "", faults.armed = true;
    const struct Disarm {
        ~Disarm() { faults.armed = false, faults.error = 0; }
    } disarm = {};
    return call();
}

// What open makes of a good main file that it cannot read, alone and with a backup.
TEST(FaultTest, AMainFileThatCannotBeReadGivesWayToTheBackup) {
    const std::string good = Made(1, 2), spare = Made(2, 3);
    const std::tuple<int, const char*, int, int32_t, bool> rows[] = {
        {1, "fopen", 0, -9, true},  {2, "fseek", 0, -7, false}, {2, "fseek", EOVERFLOW, -4, true},
        {3, "ftell", 0, -7, false}, {4, "fseek", 0, -8, true},  {3, "ftell", EOVERFLOW, -4, true},
        {5, "fread", 0, -11, false}};
    const Env alone(kFields), guarded(kFields, kBackup);
    for (const auto& [n, call, error, result, stays] : rows) {
        for (const bool has_backup : {false, true}) {
            SCOPED_TRACE(call);
            Write("main", good), Write("backup", spare);
            faults.error = error;
            Db db = Fail(Faults::CALL, n, [&] { return Db(kMain, has_backup ? guarded : alone); });
            EXPECT_EQ(faults.hit.substr(0, 5), call);
            EXPECT_EQ(db.opened, has_backup ? VAMEL_OK : result);
            EXPECT_EQ(db.Show().find("id=00000002") != std::string::npos, has_backup);
            EXPECT_EQ(Read("main"), stays ? good : "none");
            EXPECT_EQ(Read("backup"), spare);
        }
    }
    Write("main", good);
    EXPECT_EQ(std::system(("truncate -s 4G " + (dir / "main")).c_str()), 0);
    EXPECT_EQ(Db(kMain, alone).opened, VAMEL_ERR_MEMORY);
    EXPECT_TRUE(std::filesystem::remove(dir / "main")) << "what is too large is not damaged";
}

// Runs the test with each allocation failing, once, and then with it and all after it.
template <typename Test>
void FailEachAllocation(const Test& test) {
    for (const bool forever : {false, true}) {
        int before = -1;
        for (int n = 1; faults.strikes != before && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE(n);
            before = faults.strikes;
            test([&](const auto& call) { return Fail(Faults::ALLOCATION, n, call, forever); });
        }
    }
}

// With values too long for a record's own block; with lists, and with maps, that are just full;
// with and without chains of links.
TEST(FaultTest, ChangesAreMadeWhollyOrNotAtAll) {
    const Bytes many(40000, 7), more(70000, 7);
    const std::tuple<int, decltype(&vamel_insert), Row, Row> rows[] = {
        {2, vamel_insert, {}, {{"b", many}, {"c", more}}},
        {2, vamel_update, {{"b", many}, {"c", more}}, {{"b", Bytes(20)}}},
        {13, vamel_update, {{"i", 1}}, {{"i", 2}}},
        {16, vamel_update, {{"i", 1}}, {{"i", 2}}}};
    const Env env({{"i", 1, 3}, {"b", 3, 0}, {"c", 3, 0}});
    for (size_t run = 0; run < 2 * std::size(rows); ++run) {
        const auto& [count, call, first, change] = rows[run / 2];
        std::string done;
        FailEachAllocation([&, n = count, f = call, &start = first, &row = change](auto fail) {
            Db db("", env);
            Stmt stmt(db);
            for (int i = 1; i < n; ++i) {
                stmt.Insert({{"i", 100 + i}});
            }
            EXPECT_EQ(stmt.Insert(start), VAMEL_OK);
            if (run % 2 != 0) {
                Object(db.handle)->GetTable()->GetIndexes()->GetHash(nullptr)->GetHeadHashNode(0);
            }
            stmt.Bind(Row());
            vamel_select(db, stmt, nullptr);
            for (int i = 0; i < n; ++i) {
                vamel_step(stmt);
            }
            stmt.Bind(row);
            const std::string before = db.Show();
            const int32_t result = fail([&] { return f(db, stmt); });
            EXPECT_TRUE(result == 0 || (result == -4 && !faults.hit.empty())) << result;
            done = result == 0 && done.empty() ? db.Show() : done;
            EXPECT_TRUE(db.Show() == (result == 0 ? done : before) && done != before);
        });
    }
}

// What equals a key is found, or memory is short: never less, and nothing else. The values are
// prefixes of each other, which takes memory to find.
TEST(FaultTest, NothingIsMissedWhereMemoryIsShort) {
    const Env env({{"b", 9, 1}, {"u", 3, 2}});
    FailEachAllocation([&](const auto& fail) {
        Db db("", env);
        Stmt stmt(db), other(db);
        for (const Bytes& bytes : {Bytes{1, 2, 3}, Bytes{1}, Bytes{1, 2}, Bytes{9}}) {
            stmt.Insert({{"b", bytes}, {"u", Bytes{2, bytes.back(), bytes.front()}}});
        }
        vamel_clear_bind(stmt), stmt.Bind("b", Bytes{1, 2});
        vamel_clear_bind(other), other.Bind("b", Bytes{1, 4}), other.Bind("u", Bytes{3, 4, 5, 6});
        uint32_t found[2] = {};
        int32_t results[3] = {};
        fail([&] {
            results[0] = vamel_select(db, stmt, &found[0]);
            results[1] = vamel_insert(db, other);
            results[2] = vamel_select(db, stmt, &found[1]);
        });
        EXPECT_TRUE(results[0] == 0 ? found[0] == 3 : results[0] == -4 && found[0] == 0);
        EXPECT_TRUE(results[2] == 0 ? found[1] == 3 : results[2] == -4 && found[1] == 0);
        EXPECT_EQ(db.Show().find("03040506") != std::string::npos, results[1] == 0);
        EXPECT_EQ(vamel_select(db, stmt, &found[0]), VAMEL_OK);
        EXPECT_EQ(found[0], 3U);
        other.Bind("u", Bytes{3, 4});
        const int32_t taken = fail([&] { return vamel_insert(db, other); });
        EXPECT_TRUE(taken == (results[1] == 0 ? -10 : 0) || taken == -4) << taken;
    });
}

// What the parts of the library answer where memory is short, and that they can do it afterwards.
struct Parts {
    Parts() {
        const Bytes long_value(3000);
        text.CopyString("abc", -1), buffer.MakeBuffer(300);
        Stmt(db).Insert({{"id", 1}}), Stmt(db).Insert({{"id", 2}});
        // Behind the table's back, so that the room that it makes for the file does not suffice.
        const DATASTRUCT value = {table->GetFields()->GetField(0),
                                  const_cast<uint8_t*>(long_value.data()), 3000, 0};
        EXPECT_EQ(CDBRecordList::Walk(*table->GetRecords()).Next()->PutNodeValue(&value), 0);
    }
    ~Parts() { CFRelease(string), link->previous == nullptr ? delete link : void(); }
    const Env env{kFields};
    Db db{"", env};
    Owner<vamel_db, vamel_close> opened;
    CDBTable* table = Object(db.handle)->GetTable();
    CDBHash* index = table->GetIndexes()->GetHash(nullptr);
    CDBHashNode* link = new CDBHashNode;  // the index's, once it is behind the two records
    CFStringRef string = nullptr;
    CCString text;
    CCBuffer buffer;
    CVLFile file;
};

TEST(FaultTest, EveryPartSaysThatMemoryIsShort) {
    const auto make = [](Parts& p) {
        CFRelease(p.string);
        return (p.string = CFStringCreateWithCString(nullptr, "\xC3\xA9", kUtf8)) != nullptr;
    };
    const auto copy = [](Parts& p) {
        const UniChar unit = 0xE9;
        CFRelease(p.string);
        return (p.string = CFStringCreateWithCharacters(nullptr, &unit, 1)) != nullptr;
    };
    const auto seal = [](Parts& p) {
        try {
            return p.buffer.Seal("key"), 0;
        } catch (int status) {
            return status;
        }
    };
    const auto push = [](Parts& p) {
        p.index->PushHashNode(0, p.link);
        return p.link->previous != nullptr;
    };
    const auto chain = [](Parts& p) {
        int32_t links = 0;
        const CDBHashNode* at = p.index->GetHeadHashNode(0);
        for (; at != nullptr && links < 9; at = at->next) {
            ++links;
        }
        return links;
    };
    const auto load = [](Parts& p) {
        const int32_t result = vamel_open(kMain, p.env, &p.opened.handle);
        return result < 0 ? result : Object(p.opened.handle)->GetTable()->GetRecordCount();
    };
    const std::tuple<int32_t, int32_t, std::function<int32_t(Parts&)>> rows[] = {
        {7, -1, [](Parts& p) { return p.text.CatString("defg"); }},
        {6, -1, [](Parts& p) { return p.text.Replace("ghij", 2); }},
        {1, 0, make},
        {1, 0, copy},
        {0, FILE_MEMORY, seal},
        {0, -4, [](Parts& p) { return p.file.SerializeField(p.table); }},
        {0, -4, [](Parts& p) { return p.file.Serialize(p.table); }},
        {2, 0, chain},
        {0, ENGINE_MEMORY, [](Parts& p) { return p.index->AddHashNode(nullptr); }},
        {1, 0, push},
        {30, -4, load}};
    Db empty(kMain, Env(kFields));
    for (int i = 0; i < 30; ++i) {
        Stmt(empty).Insert({});
    }
    empty.Close();
    for (const auto& [done, refused, call] : rows) {
        FailEachAllocation([&, yes = done, no = refused, &f = call](const auto& fail) {
            Parts parts;
            const int32_t now = fail([&] { return f(parts); });
            EXPECT_TRUE(now == yes || (now == no && !faults.hit.empty())) << now;
            EXPECT_EQ(now == no ? f(parts) : now, yes);
        });
    }
}

// Texts whose length 32 bits do not hold, or not together with what they are added to.
TEST(FaultTest, TextsOfGigabytesAreRefused) {
    CCString text;
    text.CopyString("abc", -1);
    const auto lengthy = [](size_t length, const auto& call) {
        faults.length = length;
        return Fail(Faults::TEXT, 1, call, true);
    };
    // What no object of a 32-bit host can have, its compiler does not look for.
    const bool wide = sizeof(size_t) > sizeof(int32_t);
    const size_t half = INT32_MAX - 3;
    for (const size_t length : {half, wide ? half + 3 : half, wide ? 2 * half + 7 : half}) {
        EXPECT_EQ(lengthy(length, [&] { return text.CatString("d"); }), -1);
        EXPECT_EQ(lengthy(length, [&] { return text.Replace("d", 3); }), -1);
        const auto copy = [&] { return text.CopyString("d", -1); };
        EXPECT_EQ(length > half ? lengthy(length, copy) : -1, -1);
    }
    EXPECT_TRUE(text == "abc");
    const Env env(kFields, "kept");
    Db db("", env);
    Stmt stmt(db);
    EXPECT_EQ(lengthy(INT32_MAX, [&] { return vamel_bind_text(stmt, kName, kData, 0); }), -4);
    EXPECT_EQ(lengthy(INT32_MAX, [&] { return vamel_bind_int(stmt, kName, 1, 0); }), -4);
    EXPECT_EQ(lengthy(INT32_MAX, [&] { return vamel_set_env(env, 1, kMain); }), -4);
    EXPECT_TRUE(Object(env)->GetBackupPath() == "kept");
    EXPECT_TRUE(Object(stmt)->GetBindData().empty());
}

TEST(FaultTest, NoPlaceForTheFile) {
    const std::string longest = dir / std::string(4095 - dir.path.size(), 'x');
    for (std::string path : {dir / "missing/file", longest, "/proc/file"s}) {
        Db db(path, Env(kFields));
        EXPECT_EQ(Stmt(db).Insert({{"id", 1}}), VAMEL_OK);
        EXPECT_TRUE(db.opened == 4 && vamel_commit(db) == -8 && db.Close() == -8) << path;
    }
}

TEST(FaultTest, FullDiskIsNoticedByTheNextOpen) {
    const std::string path = dir / "full";
    rlimit old = {};
    getrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_IGN);
    {
        Db db(path, Env(kFields));
        EXPECT_EQ(Stmt(db).Insert({{"id", 1}}), VAMEL_OK);
        const rlimit ten = {10, old.rlim_max};
        setrlimit(RLIMIT_FSIZE, &ten);
        EXPECT_EQ(vamel_commit(db), VAMEL_OK);
        EXPECT_EQ(db.Close(), VAMEL_OK);
        setrlimit(RLIMIT_FSIZE, &old);
    }
    EXPECT_EQ(std::filesystem::file_size(path), 10U);
    EXPECT_EQ(Db(path, Env(kFields)).opened, VAMEL_ERR_CHECKSUM);
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace

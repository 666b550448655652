#include <sys/resource.h>
#include <sys/stat.h>

#include <fstream>
#include <regex>

#include "tests/support.h"

namespace {

namespace fs = std::filesystem;

struct CVLDatabaseTest : testing::Test {
    static int32_t Add(vamel_db* db, const Bytes& id) { return Stmt(db).Insert({{"id", id}}); }

    // g: good, s: a bad checksum, f: 256 fields, 6: a value of a field that is skipped, d: an id
    // twice, p: an id that is a prefix of another, e: an empty file; D: a folder; -: nothing.
    static void Put(const std::string& path, char kind, uint8_t id) {
        fs::remove_all(path);
        if (kind == 'D') {
            fs::create_directory(path);
        } else if (kind != '-') {
            std::vector<Field> fields = {{"id", 3, 0}, {"skipped", 3, 0}};
            while (kind == 'f' && fields.size() < 256) {
                fields.emplace_back(std::to_string(fields.size()), 3, 0);
            }
            Env env(fields);
            Db db(path, env);
            EXPECT_EQ(Add(db, {id}), 0);
            EXPECT_EQ(kind == 'd' ? Add(db, {id}) : kind == 'p' ? Add(db, {id, 2}) : 0, 0);
            EXPECT_EQ(kind == '6' ? Stmt(db).Insert({{"skipped", 1}}) : 0, 0);
            EXPECT_EQ(db.Close(), 0);
            std::fstream(path) << (kind == 's' ? "!" : "");
            fs::resize_file(path, kind == 'e' ? 0 : fs::file_size(path));
        }
    }
    void PutBoth(const std::string& kinds) { Put(main, kinds[0], 1), Put(backup, kinds[1], 2); }

    // A result, the ids of all records, and what the main file and the backup are: + a file open to
    // everyone, D a folder, - nothing. As in "0:1;2;:+-".
    std::string State(int32_t result, Db& db) {
        std::string state = std::to_string(result) + ":" + db.Show() + ":";
        for (const fs::path path : {main, backup}) {
            const bool is_open = fs::status(path).permissions() == fs::perms(0666);
            state += fs::is_directory(path) ? "D" : !fs::exists(path) ? "-" : is_open ? "+" : "?";
        }
        return std::regex_replace(state, std::regex("id=0| "), "");
    }
    std::string Open(vamel_env* env) {
        Db db(main, env);
        return State(db.opened, db);
    }

    TempDir dir;
    const std::string main = dir / "main", backup = dir / "backup";
    Env alone{{{"id", 3, 3}}}, guarded{{{"id", 3, 3}}, backup};
    const mode_t mask = umask(077);
};

TEST_F(CVLDatabaseTest, OpensAndRollsBack) {
    std::istringstream rows(  // the main file, the backup if it has a path; the states
        "-  4::-- 4::--  g  0:1;:+- 0:1;:+-  e  -7:none:-- -7::+-  s  -11:none:-- -11::+- "
        "f  -7:none:-- -7::+-  6  6:1;;:+- 6:1;;:+-  d  -10:none:+- -10:1;:+-  D  4::D- 4::D- "
        "-- 4::-- 4::--  -g 0:2;:-+ 0:2;:-+  eg 0:2;:-+ 0:2;:++  sg 0:2;:-+ -11::++ "
        "fg 0:2;:-+ -7::++  6g 0:1;;2;:++ 6:1;;:++  dg 0:1;2;:++ -10:1;:++  Dg 0:2;:D+ 0:2;:D+ "
        "gs 0:1;:++ 0:1;:++  e- -7:none:-- 4::+-  s- -11:none:-- -11::+-  6- 6:1;;:+- 6:1;;:+- "
        "-s -11:none:-- -11::-+  6s -11:none:+- 6:1;;:++  -e -7:none:-- -7::-+ "
        "-6 6:2;;:-+ 6:2;;:-+  ss -11:none:-- -11::++  p  0:1;102;:+- -10:1;:+-");
    for (std::string files, opened, rolled_back; rows >> files >> opened >> rolled_back;) {
        vamel_env* env = files.size() == 1 ? alone : guarded;
        PutBoth(files + "-");
        EXPECT_EQ(Open(env), opened) << files;
        PutBoth("--");
        Db db(main, env);
        EXPECT_EQ(Add(db, {3}), 0);
        PutBoth(files + "-");
        EXPECT_EQ(State(vamel_rollback(db), db), rolled_back) << files;
        EXPECT_NE(vamel_commit(db), VAMEL_ERR_DAMAGED) << files;
    }
}

TEST_F(CVLDatabaseTest, CommitWritesTheMainFileAndCloseBoth) {
    std::istringstream rows(  // the folders; the states after commit and close, opened again
        "-- 0:3;:+- 0:none:++ 0:3;:++  D- -8:3;:D- 0:none:D+ 0:3;:D+ "
        "-D 0:3;:+D -8:none:+D 0:3;:+D  DD -8:3;:DD -8:none:DD 4::DD");
    for (std::string files, saved, closed, again; rows >> files >> saved >> closed >> again;) {
        PutBoth(files);
        Db db(main, guarded);
        EXPECT_EQ(Add(db, {3}), 0);
        EXPECT_EQ(State(vamel_commit(db), db), saved) << files;
        EXPECT_EQ(State(db.Close(), db), closed) << files;
        EXPECT_EQ(Open(guarded), again) << files;
    }
}

TEST_F(CVLDatabaseTest, EmptyDamagedAndWithoutDescriptors) {
    EXPECT_EQ(CVLDatabase().SetEnvironment(nullptr), VAMEL_ERR_ARGUMENT);
    EXPECT_EQ(vamel_set_env(alone, VAMEL_OPTION_BACKUP_PATH, Str(backup)), VAMEL_OK);
    EXPECT_EQ(vamel_set_env(alone, VAMEL_OPTION_BACKUP_PATH, nullptr), VAMEL_OK) << "cleared";
    Db db(main, guarded);
    PutBoth("g-");
    EXPECT_EQ(State(vamel_commit(db), db), "-3::+-");
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none = {0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(Open(alone), "-9:none:+-");
    EXPECT_EQ(State(vamel_rollback(db), db), "4::+-") << "the backup's result";
    EXPECT_EQ(Add(db, {3}), 0);
    EXPECT_EQ(State(vamel_commit(db), db), "-8:3;:--");
    setrlimit(RLIMIT_NOFILE, &limit);
    PutBoth("g-");
    EXPECT_EQ(Add(db, {3}), -10);
    EXPECT_EQ(State(vamel_commit(db), db), "-2:3;:+-");
    EXPECT_EQ(State(vamel_rollback(db), db), "-2:3;:+-");
    EXPECT_EQ(State(db.Close(), db), "5:none:+-");
    EXPECT_EQ(Open(alone), "0:1;:+-");
}

// Also on hosts whose own numbers for time end in 2038.
TEST_F(CVLDatabaseTest, FilesOfTheYear2040Exist) {
    Put(main, 'g', 1);
    ASSERT_EQ(std::system(("touch -d 2040-01-01 " + main).c_str()), 0);
    EXPECT_EQ(Db(main, alone).opened, VAMEL_OK);
}

}  // namespace

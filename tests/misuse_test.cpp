// Every function with every pointer missing, and every call in every wrong state: the documented
// code, and nothing changed.
#include <gtest/gtest.h>

#include <functional>

#include "support.h"

namespace {

struct Misuse {
    const char* call;
    std::function<int32_t()> run;
    int32_t expected = VAMEL_ERR_ARGUMENT;
};

const std::vector<Field> kFields = {{"i", VAMEL_TYPE_INTEGER, VAMEL_FLAG_UNIQUE},
                                    {"t", VAMEL_TYPE_TEXT, 1},
                                    {"b", 3, 0},
                                    {"x", 9, 0}};

class MisuseTest : public ::testing::Test {
  protected:
    MisuseTest() {
        Stmt insert(db);
        insert.Bind("i", 1);
        insert.Bind("t", std::string("one"));
        EXPECT_EQ(vamel_insert(db, insert), VAMEL_OK);
    }

    // Each misuse gives its code, writes nothing through its arguments, and leaves the table, the
    // statement and the environment as they were.
    void Expect(const std::vector<Misuse>& table) {
        for (const Misuse& row : table) {
            EXPECT_EQ(row.run(), row.expected) << row.call;
            EXPECT_EQ(out_int, 42) << row.call;
            EXPECT_EQ(out_text, nullptr) << row.call;
            EXPECT_EQ(out_data, nullptr) << row.call;
            EXPECT_EQ(out_count, 42U) << row.call;
            EXPECT_FALSE(Object(db.handle)->IsDamaged()) << row.call;
        }
        uint32_t count = 0;
        Stmt all(db);
        EXPECT_EQ(vamel_select(db, all, &count), VAMEL_OK);
        EXPECT_EQ(count, 1U);
    }

    // Nothing may be bound, selected or current in a statement that was misused.
    static void ExpectUntouched(vamel_stmt* stmt) {
        EXPECT_TRUE(Object(stmt)->GetBindData().empty());
        EXPECT_EQ(Object(stmt)->GetSearch(), nullptr);
        EXPECT_EQ(Object(stmt)->GetCurrent(), nullptr);
    }

    TempDir dir;
    Env env{kFields};
    Db db{dir / "a.db", env};
    Db other{dir / "b.db", env};
    Stmt stmt{db};
    Str i{"i"}, t{"t"}, b{"b"}, x{"x"}, unknown{"I"};
    const CFStringRef null = nullptr;
    int32_t out_int = 42;
    CFStringRef out_text = nullptr;
    const void* out_data = nullptr;
    uint32_t out_count = 42;
};

TEST_F(MisuseTest, NullHandlesAndOutPointers) {
    vamel_env* no_env = nullptr;
    vamel_db* no_db = nullptr;
    vamel_stmt* no_stmt = nullptr;
    vamel_db* kept_db = db;
    vamel_stmt* made = stmt;
    Expect({{"alloc_env", [&] { return vamel_alloc_env(nullptr); }},
            {"free_env", [&] { return vamel_free_env(nullptr); }},
            {"free_env nulled", [&] { return vamel_free_env(&no_env); }},
            {"set_env", [&] { return vamel_set_env(nullptr, VAMEL_OPTION_BACKUP_PATH, nullptr); }},
            {"open no env", [&] { return vamel_open(i, nullptr, &kept_db); }},
            {"open no path", [&] { return vamel_open(nullptr, env, &kept_db); }},
            {"open null path", [&] { return vamel_open(&null, env, &kept_db); }},
            {"open no out", [&] { return vamel_open(i, env, nullptr); }},
            {"close", [&] { return vamel_close(nullptr); }},
            {"close nulled", [&] { return vamel_close(&no_db); }},
            {"begin", [&] { return vamel_begin(nullptr); }},
            {"end", [&] { return vamel_end(nullptr); }},
            {"commit", [&] { return vamel_commit(nullptr); }},
            {"rollback", [&] { return vamel_rollback(nullptr); }},
            {"prepare no out", [&] { return vamel_prepare(db, nullptr); }},
            {"prepare no db", [&] { return vamel_prepare(nullptr, &made); }},
            {"finalize", [&] { return vamel_finalize(nullptr); }},
            {"finalize nulled", [&] { return vamel_finalize(&no_stmt); }},
            {"step", [&] { return vamel_step(nullptr); }},
            {"reset", [&] { return vamel_reset(nullptr); }},
            {"clear_bind", [&] { return vamel_clear_bind(nullptr); }},
            {"bind_int", [&] { return vamel_bind_int(nullptr, i, 1, 0); }},
            {"bind_text", [&] { return vamel_bind_text(nullptr, t, i, 0); }},
            {"bind_binary", [&] { return vamel_bind_binary(nullptr, b, "", 1, 0); }},
            {"fetch_int", [&] { return vamel_fetch_int(nullptr, i, &out_int); }},
            {"fetch_text", [&] { return vamel_fetch_text(nullptr, t, &out_text); }},
            {"fetch_binary", [&] { return vamel_fetch_binary(nullptr, b, &out_data, &out_count); }},
            {"insert no db", [&] { return vamel_insert(nullptr, stmt); }},
            {"insert no stmt", [&] { return vamel_insert(db, nullptr); }},
            {"update no db", [&] { return vamel_update(nullptr, stmt); }},
            {"update no stmt", [&] { return vamel_update(db, nullptr); }},
            {"delete no db", [&] { return vamel_delete(nullptr, stmt); }},
            {"delete no stmt", [&] { return vamel_delete(db, nullptr); }},
            {"select no db", [&] { return vamel_select(nullptr, stmt, &out_count); }},
            {"select no stmt", [&] { return vamel_select(db, nullptr, &out_count); }}});
    EXPECT_EQ(kept_db, db.handle);
    EXPECT_EQ(made, nullptr);  // a failed prepare leaves no handle
    ExpectUntouched(stmt);
}

TEST_F(MisuseTest, MissingNamesAndValues) {
    const vamel_field_info unnamed = {nullptr, 1, 0}, nameless = {&null, 1, 0}, taken = {i, 2, 0};
    std::vector<Misuse> rows = {
        {"set_env field", [&] { return vamel_set_env(env, VAMEL_OPTION_FIELD, nullptr); }},
        {"set_env unnamed", [&] { return vamel_set_env(env, VAMEL_OPTION_FIELD, &unnamed); }},
        {"set_env nameless", [&] { return vamel_set_env(env, VAMEL_OPTION_FIELD, &nameless); }},
        {"set_env path", [&] { return vamel_set_env(env, VAMEL_OPTION_BACKUP_PATH, &null); }},
        {"set_env option 0", [&] { return vamel_set_env(env, 0, i); }},
        {"set_env option 3", [&] { return vamel_set_env(env, 3, i); }},
        {"set_env taken", [&] { return vamel_set_env(env, VAMEL_OPTION_FIELD, &taken); },
         VAMEL_ERR_SCHEMA},
        {"open without fields", [&] { return Db(dir / "c.db", Env()).opened; }, VAMEL_ERR_SCHEMA},
        {"bind_text value", [&] { return vamel_bind_text(stmt, t, nullptr, 0); }},
        {"bind_text null value", [&] { return vamel_bind_text(stmt, t, &null, 0); }},
        {"bind_binary data", [&] { return vamel_bind_binary(stmt, b, nullptr, 1, 0); }},
        {"fetch_int out", [&] { return vamel_fetch_int(stmt, i, nullptr); }},
        {"fetch_text out", [&] { return vamel_fetch_text(stmt, t, nullptr); }},
        {"fetch_binary data", [&] { return vamel_fetch_binary(stmt, b, nullptr, &out_count); }},
        {"fetch_binary count", [&] { return vamel_fetch_binary(stmt, b, &out_data, nullptr); }}};
    const CFStringRef* const missing[] = {nullptr, &null};
    for (const CFStringRef* name : missing) {
        rows.push_back({"bind_int name", [=] { return vamel_bind_int(stmt, name, 1, 0); }});
        rows.push_back({"bind_text name", [=] { return vamel_bind_text(stmt, name, t, 0); }});
        rows.push_back(
            {"bind_binary name", [=] { return vamel_bind_binary(stmt, name, "", 1, 0); }});
        rows.push_back({"fetch_int", [=] { return vamel_fetch_int(stmt, name, &out_int); }});
        rows.push_back({"fetch_text", [=] { return vamel_fetch_text(stmt, name, &out_text); }});
        rows.push_back({"fetch_binary",
                        [=] { return vamel_fetch_binary(stmt, name, &out_data, &out_count); }});
    }
    Expect(rows);
    ExpectUntouched(stmt);
    EXPECT_EQ(Object(env.handle)->GetFields()->GetSize(), kFields.size());
}

// What a statement without a table, a result set, a current record or a value answers; the tests of
// a fetch are made in the documented order.
TEST_F(MisuseTest, WrongStates) {
    Db gone(dir / "c.db", env);
    Stmt detached(gone), foreign(other), selected(db);
    vamel_select(gone, detached, nullptr);
    EXPECT_EQ(vamel_close(&gone.handle), VAMEL_ERR_ARGUMENT);  // an empty table is not written
    EXPECT_EQ(gone.handle, nullptr);
    vamel_select(db, selected, nullptr);
    Expect(
        {{"step unselected", [&] { return vamel_step(stmt); }},
         {"reset unselected", [&] { return vamel_reset(stmt); }},
         {"step detached", [&] { return vamel_step(detached); }},
         {"reset detached", [&] { return vamel_reset(detached); }},
         {"bind detached", [&] { return vamel_bind_int(detached, i, 1, 0); }},
         {"clear detached", [&] { return vamel_clear_bind(detached); }, VAMEL_OK},
         {"fetch detached", [&] { return vamel_fetch_int(detached, i, &out_int); }},
         {"insert detached", [&] { return vamel_insert(db, detached); }},
         {"select detached", [&] { return vamel_select(db, detached, &out_count); }},
         {"insert foreign", [&] { return vamel_insert(db, foreign); }},
         {"update foreign", [&] { return vamel_update(db, foreign); }},
         {"delete foreign", [&] { return vamel_delete(db, foreign); }},
         {"select foreign", [&] { return vamel_select(db, foreign, &out_count); }},
         {"update no record", [&] { return vamel_update(db, selected); }, VAMEL_ERR_NO_VALUE},
         {"delete no record", [&] { return vamel_delete(db, selected); }, VAMEL_ERR_NO_VALUE},
         {"bind unknown", [&] { return vamel_bind_int(stmt, unknown, 1, 0); }, VAMEL_ERR_FIELD},
         {"fetch unknown", [&] { return vamel_fetch_int(stmt, unknown, &out_int); },
          VAMEL_UNKNOWN_FIELD},
         {"fetch type", [&] { return vamel_fetch_int(stmt, t, &out_int); }, VAMEL_ERR_FIELD},
         {"fetch odd type", [&] { return vamel_fetch_text(stmt, x, &out_text); }, VAMEL_ERR_FIELD},
         {"fetch no record", [&] { return vamel_fetch_int(stmt, i, &out_int); },
          VAMEL_ERR_NO_VALUE}});
    ExpectUntouched(stmt);
    ExpectUntouched(foreign);
    EXPECT_EQ(vamel_step(selected), VAMEL_ROW);
    EXPECT_EQ(vamel_fetch_binary(selected, b, &out_data, &out_count), VAMEL_ERR_NO_VALUE);
    EXPECT_EQ(vamel_fetch_text(selected, t, &out_text), VAMEL_OK);
    EXPECT_EQ(vamel_end(db), VAMEL_OK);  // not held: nothing happens
}

// A select that cannot even make its result set leaves a current record without one; deleting that
// record must not leave it current.
TEST_F(MisuseTest, RecordsStayOrGoForEveryStatement) {
    Stmt mine(db), theirs(db), bare(db);
    for (vamel_stmt* each : {mine.handle, theirs.handle, bare.handle}) {
        EXPECT_EQ(vamel_select(db, each, nullptr), VAMEL_OK);
        EXPECT_EQ(vamel_step(each), VAMEL_ROW);
    }
    Object(mine.handle)->DeleteSearch();
    Object(bare.handle)->DeleteSearch();
    EXPECT_EQ(Object(bare.handle)->count(&out_count), VAMEL_ERR_ARGUMENT);
    Object(mine.handle)->ReleaseFromCache(nullptr);  // not the current record
    EXPECT_EQ(vamel_delete(db, mine), VAMEL_OK);
    EXPECT_EQ(Object(mine.handle)->GetCurrent(), nullptr);
    EXPECT_EQ(Object(bare.handle)->GetCurrent(), nullptr);
    EXPECT_EQ(Object(bare.handle)->CreateSearch() + Object(bare.handle)->CreateSearch(), VAMEL_OK);
    EXPECT_EQ(vamel_fetch_int(theirs, i, &out_int), VAMEL_ERR_NO_VALUE);
    EXPECT_EQ(vamel_step(theirs), VAMEL_DONE);
}

}  // namespace

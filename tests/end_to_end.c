/*
 * A host in plain C, through the shared libraries and their public headers only: one table from its
 * first record to a file that opens again, with every call.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vamel/errors.h"
#include "vamel/vamel.h"

static int failures;

static void check(int32_t expected, int32_t got, const char* what, int line) {
    if (expected != got) {
        printf("line %d: %s gave %d %s, not %d %s\n", line, what, (int)got, vamel_result_name(got),
               (int)expected, vamel_result_name(expected));
        ++failures;
    }
}
#define CHECK(expected, call) check((expected), (int32_t)(call), #call, __LINE__)

static CFStringRef id, name, blob; /* field names */

static CFStringRef text(const char* utf8) {
    CFStringRef string = CFStringCreateWithCString(NULL, utf8, kCFStringEncodingUTF8);
    if (string == NULL) {
        printf("no string of %s\n", utf8);
        exit(1);
    }
    return string;
}

static void bind_text(vamel_stmt* stmt, const char* utf8, int32_t compare) {
    CFStringRef value = text(utf8);
    CHECK(VAMEL_OK, vamel_bind_text(stmt, &name, &value, compare));
    CFRelease(value);
}

static void insert(vamel_db* db, vamel_stmt* stmt, int32_t number, const char* utf8) {
    CHECK(VAMEL_OK, vamel_clear_bind(stmt));
    CHECK(VAMEL_OK, vamel_bind_int(stmt, &id, number, VAMEL_EQUAL));
    bind_text(stmt, utf8, VAMEL_EQUAL);
    CHECK(VAMEL_OK, vamel_bind_binary(stmt, &blob, &number, 2, VAMEL_EQUAL));
    CHECK(VAMEL_OK, vamel_insert(db, stmt));
}

/* Steps, and holds the record's name against what it should be. */
static void expect_row(vamel_stmt* stmt, int32_t number, const char* utf8) {
    int32_t found = -1;
    CFStringRef string = NULL;
    char buffer[64] = "";
    CHECK(VAMEL_ROW, vamel_step(stmt));
    CHECK(VAMEL_OK, vamel_fetch_int(stmt, &id, &found));
    CHECK(number, found);
    CHECK(VAMEL_OK, vamel_fetch_text(stmt, &name, &string));
    CHECK(1, string != NULL &&
                 CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8));
    CHECK(0, strcmp(buffer, utf8));
}

static vamel_db* open_database(const char* path, const char* backup, int32_t expected) {
    vamel_env* env = NULL;
    vamel_db* db = NULL;
    CFStringRef path_text = text(path), backup_text = text(backup);
    const vamel_field_info fields[] = {
        {&id, VAMEL_TYPE_INTEGER, VAMEL_FLAG_INDEXED | VAMEL_FLAG_UNIQUE},
        {&name, VAMEL_TYPE_TEXT, VAMEL_FLAG_INDEXED},
        {&blob, VAMEL_TYPE_BINARY, 0}};
    CHECK(VAMEL_OK, vamel_alloc_env(&env));
    for (size_t i = 0; i < sizeof fields / sizeof *fields; ++i) {
        CHECK(VAMEL_OK, vamel_set_env(env, VAMEL_OPTION_FIELD, &fields[i]));
    }
    CHECK(VAMEL_OK, vamel_set_env(env, VAMEL_OPTION_BACKUP_PATH, &backup_text));
    CHECK(expected, vamel_open(&path_text, env, &db));
    CHECK(VAMEL_OK, vamel_free_env(&env));
    CHECK(1, env == NULL);
    CFRelease(path_text);
    CFRelease(backup_text);
    return db;
}

static void fill(vamel_db* db) {
    vamel_stmt* stmt = NULL;
    CHECK(VAMEL_OK, vamel_begin(db));
    CHECK(VAMEL_OK, vamel_prepare(db, &stmt));
    insert(db, stmt, 3, "three");
    insert(db, stmt, -1, "minus one");
    insert(db, stmt, 7, "");
    insert(db, stmt, 4, "ni\xC3\xB1o");
    CHECK(VAMEL_OK, vamel_finalize(&stmt));
    CHECK(1, stmt == NULL);
    CHECK(VAMEL_OK, vamel_commit(db));
}

/* Looks for a record, renames it, removes another and takes both back. */
static void change_and_roll_back(vamel_db* db, vamel_stmt* stmt) {
    uint32_t count = 99;
    const void* bytes = NULL;
    bind_text(stmt, "three", VAMEL_EQUAL);
    CHECK(VAMEL_OK, vamel_select(db, stmt, &count));
    CHECK(1, count);
    expect_row(stmt, 3, "three");
    CHECK(VAMEL_OK, vamel_fetch_binary(stmt, &blob, &bytes, &count));
    CHECK(2, count);
    bind_text(stmt, "drei", VAMEL_EQUAL);
    CHECK(VAMEL_OK, vamel_update(db, stmt));
    CHECK(VAMEL_OK, vamel_clear_bind(stmt));
    CHECK(VAMEL_OK, vamel_select(db, stmt, &count));
    expect_row(stmt, -1, "minus one");
    CHECK(VAMEL_OK, vamel_delete(db, stmt));
    expect_row(stmt, 7, "");
    expect_row(stmt, 4, "ni\xC3\xB1o");
    expect_row(stmt, 3, "drei");
    CHECK(VAMEL_DONE, vamel_step(stmt));
    CHECK(VAMEL_ROW, vamel_reset(stmt));
    CHECK(VAMEL_OK, vamel_rollback(db));
    CHECK(VAMEL_DONE, vamel_step(stmt));
    CHECK(VAMEL_OK, vamel_select(db, stmt, &count));
    CHECK(4, count);
    expect_row(stmt, 3, "three");
}

int main(void) {
    char folder[] = "/tmp/vamel-XXXXXX";
    if (mkdtemp(folder) == NULL || chdir(folder) != 0) {
        return 1;
    }
    CHECK(VAMEL_OK, vamel_init());
    id = text("id");
    name = text("name");
    blob = text("blob");

    vamel_db* db = open_database("table.db", "table.bak", VAMEL_NO_FILE);
    fill(db);
    CHECK(0, access("table.db", F_OK));
    CHECK(-1, access("table.bak", F_OK));
    CHECK(VAMEL_OK, vamel_close(&db));
    CHECK(0, access("table.bak", F_OK));
    CHECK(0, remove("table.db"));

    db = open_database("table.db", "table.bak", VAMEL_OK);
    vamel_stmt* stmt = NULL;
    CHECK(VAMEL_OK, vamel_prepare(db, &stmt));
    change_and_roll_back(db, stmt);
    CHECK(VAMEL_OK, vamel_begin(db));
    CHECK(VAMEL_OK, vamel_end(db));
    CHECK(VAMEL_OK, vamel_close(&db));
    CHECK(1, db == NULL);
    CHECK(VAMEL_ERR_ARGUMENT, vamel_step(stmt));
    CHECK(VAMEL_OK, vamel_finalize(&stmt));
    CHECK(VAMEL_OK, vamel_term());

    CFRelease(id);
    CFRelease(name);
    CFRelease(blob);
    CHECK(0, remove("table.db"));
    CHECK(0, remove("table.bak"));
    CHECK(0, chdir("/"));
    CHECK(0, rmdir(folder));
    printf("%d failures\n", failures);
    return failures != 0;
}

/*
 * First steps: describe a table, fill it, save it, open it again and ask it one question.
 *
 *     first_steps DATABASE
 *
 * DATABASE is the file to make.
 */
#include <stdio.h>
#include <stdlib.h>

#include "vamel/errors.h"
#include "vamel/vamel.h"

/* Ends the program unless the result is the one that is wanted. */
static void expect(int32_t wanted, int32_t got, const char* call) {
    if (got != wanted) {
        fprintf(stderr, "%s gave %s: %s\n", call, vamel_result_name(got), vamel_result_text(got));
        exit(EXIT_FAILURE);
    }
}
#define CHECK(call) expect(VAMEL_OK, (call), #call)

static CFStringRef make_string(const char* utf8) {
    CFStringRef string = CFStringCreateWithCString(NULL, utf8, kCFStringEncodingUTF8);
    if (string == NULL) {
        expect(VAMEL_OK, VAMEL_ERR_MEMORY, "CFStringCreateWithCString");
    }
    return string;
}

/* Strings are passed by their address, read during the call, and stay the host's. */
static CFStringRef planet, moons;

/* Opens the database. The environment is needed for just as long. */
static vamel_db* open_table(const char* path, int32_t wanted) {
    const vamel_field_info fields[] = {
        {&planet, VAMEL_TYPE_TEXT, VAMEL_FLAG_INDEXED | VAMEL_FLAG_UNIQUE},
        {&moons, VAMEL_TYPE_INTEGER, 0},
    };
    vamel_env* env;
    vamel_db* db;
    CFStringRef string = make_string(path);
    CHECK(vamel_alloc_env(&env));
    CHECK(vamel_set_env(env, VAMEL_OPTION_FIELD, &fields[0]));
    CHECK(vamel_set_env(env, VAMEL_OPTION_FIELD, &fields[1]));
    expect(wanted, vamel_open(&string, env, &db), "vamel_open");
    CHECK(vamel_free_env(&env));
    CFRelease(string);
    return db;
}

/* What is bound stays bound: the second value of a field is the one that is stored. */
static void add(vamel_db* db, vamel_stmt* stmt, const char* name, int32_t count) {
    CFStringRef value = make_string(name);
    CHECK(vamel_bind_text(stmt, &planet, &value, VAMEL_EQUAL));
    CHECK(vamel_bind_int(stmt, &moons, count, VAMEL_EQUAL));
    CHECK(vamel_insert(db, stmt));
    CHECK(vamel_clear_bind(stmt));
    CFRelease(value);
}

static void fill(const char* path) {
    vamel_stmt* stmt;
    vamel_db* db = open_table(path, VAMEL_NO_FILE);
    CHECK(vamel_prepare(db, &stmt));
    add(db, stmt, "Venus", 0);
    add(db, stmt, "Earth", 1);
    add(db, stmt, "Mars", 2);
    CHECK(vamel_finalize(&stmt));
    CHECK(vamel_close(&db)); /* writes the file */
}

static void ask(const char* path, const char* name) {
    vamel_stmt* stmt;
    uint32_t found;
    int32_t count;
    CFStringRef value = make_string(name);
    vamel_db* db = open_table(path, VAMEL_OK);
    CHECK(vamel_prepare(db, &stmt));
    CHECK(vamel_bind_text(stmt, &planet, &value, VAMEL_EQUAL)); /* this time a criterion */
    CHECK(vamel_select(db, stmt, &found));
    printf("%u record found\n", (unsigned)found);
    while (vamel_step(stmt) == VAMEL_ROW) { /* the first step goes to the first record */
        CHECK(vamel_fetch_int(stmt, &moons, &count));
        printf("%s has %d moons\n", name, (int)count);
    }
    CHECK(vamel_finalize(&stmt));
    CHECK(vamel_close(&db));
    CFRelease(value);
}

int main(int argc, char** argv) {
    FILE* there = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (argc != 2 || there != NULL) { /* open would remove a file that it cannot make sense of */
        fputs("usage: first_steps DATABASE   (a file to make)\n", stderr);
        return 2;
    }
    planet = make_string("planet");
    moons = make_string("moons");
    fill(argv[1]);
    ask(argv[1], "Mars");
    CFRelease(planet);
    CFRelease(moons);
    return 0;
}

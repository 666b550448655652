/*
 * Ranges and narrowing: criteria narrow one another, but only while something is left, and a record
 * without a value is kept by all but the first. How to ask all the same.
 *
 *     ranges_and_narrowing DATABASE
 *
 * DATABASE is the file to make.
 */
#include <stdio.h>
#include <stdlib.h>

#include "vamel/errors.h"
#include "vamel/vamel.h"

static void check(int32_t result, const char* call) {
    if (result < 0) {
        fprintf(stderr, "%s gave %s: %s\n", call, vamel_result_name(result),
                vamel_result_text(result));
        exit(EXIT_FAILURE);
    }
}
#define CHECK(call) check((call), #call)

static vamel_db* db;
static vamel_stmt* stmt;
static CFStringRef year, weight; /* field names */

typedef struct {
    const CFStringRef* field;
    int32_t compare;
    int32_t value;
} criterion;

static CFStringRef make_string(const char* utf8) {
    CFStringRef string = CFStringCreateWithCString(NULL, utf8, kCFStringEncodingUTF8);
    check(string != NULL ? VAMEL_OK : VAMEL_ERR_MEMORY, "CFStringCreateWithCString");
    return string;
}

static void open_table(const char* path) {
    const vamel_field_info fields[] = {{&year, VAMEL_TYPE_INTEGER, 0},
                                       {&weight, VAMEL_TYPE_INTEGER, 0}};
    vamel_env* env;
    CFStringRef string = make_string(path);
    CHECK(vamel_alloc_env(&env));
    CHECK(vamel_set_env(env, VAMEL_OPTION_FIELD, &fields[0]));
    CHECK(vamel_set_env(env, VAMEL_OPTION_FIELD, &fields[1]));
    CHECK(vamel_open(&string, env, &db));
    CHECK(vamel_free_env(&env));
    CHECK(vamel_prepare(db, &stmt));
    CFRelease(string);
}

/* A weight of 0 stands for none. */
static void add(int32_t in_year, int32_t of_weight) {
    CHECK(vamel_bind_int(stmt, &year, in_year, VAMEL_EQUAL));
    if (of_weight != 0) {
        CHECK(vamel_bind_int(stmt, &weight, of_weight, VAMEL_EQUAL));
    }
    CHECK(vamel_insert(db, stmt));
    CHECK(vamel_clear_bind(stmt));
}

/* The library's own select: each criterion narrows what the ones before it have left, and starts
   anew if they have left nothing. */
static uint32_t select_plainly(const criterion* criteria, int count) {
    uint32_t found;
    for (int i = 0; i < count; i++) {
        CHECK(vamel_bind_int(stmt, criteria[i].field, criteria[i].value, criteria[i].compare));
    }
    CHECK(vamel_select(db, stmt, &found));
    CHECK(vamel_clear_bind(stmt));
    return found;
}

/* A true AND: selects by the first criterion, then by the first two, and so on, and stops where
   nothing is left. Bound values stay, so each round binds one more. */
static uint32_t select_all_of(const criterion* criteria, int count) {
    uint32_t found = 0;
    for (int i = 0; i < count && (i == 0 || found > 0); i++) {
        CHECK(vamel_bind_int(stmt, criteria[i].field, criteria[i].value, criteria[i].compare));
        CHECK(vamel_select(db, stmt, &found));
    }
    CHECK(vamel_clear_bind(stmt));
    return found;
}

/* Prints the result set. */
static void show(const char* question, uint32_t found) {
    printf("%s: %u\n", question, (unsigned)found);
    while (vamel_step(stmt) == VAMEL_ROW) {
        int32_t number = 0;
        CHECK(vamel_fetch_int(stmt, &year, &number));
        printf("    %d", (int)number);
        int32_t result = vamel_fetch_int(stmt, &weight, &number);
        if (result == VAMEL_ERR_NO_VALUE) {
            printf(", weight unknown\n");
        } else {
            check(result, "vamel_fetch_int");
            printf(", %d kg\n", (int)number);
        }
    }
}

static void ask(void) {
    const criterion sixties[] = {{&year, VAMEL_GREATER_OR_EQUAL, 1960}, {&year, VAMEL_LESS, 1970}};
    const criterion nineties[] = {{&year, VAMEL_GREATER_OR_EQUAL, 1990}, {&year, VAMEL_LESS, 2000}};
    const criterion heavy_late[] = {{&year, VAMEL_GREATER, 1960}, {&weight, VAMEL_GREATER, 500}};
    const criterion late_heavy[] = {{&weight, VAMEL_GREATER, 500}, {&year, VAMEL_GREATER, 1960}};

    show("from the sixties", select_plainly(sixties, 2));
    show("from the nineties, which none is, so the second criterion starts anew",
         select_plainly(nineties, 2));
    show("from the nineties, stopping in time", select_all_of(nineties, 2));
    show("after 1960 and above 500 kg, where one has no weight", select_all_of(heavy_late, 2));
    show("the field that may lack a value first", select_all_of(late_heavy, 2));
}

int main(int argc, char** argv) {
    FILE* there = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (argc != 2 || there != NULL) {
        fputs("usage: ranges_and_narrowing DATABASE   (a file to make)\n", stderr);
        return 2;
    }
    year = make_string("year");
    weight = make_string("weight");
    open_table(argv[1]);
    add(1957, 84);
    add(1966, 1583);
    add(1968, 0);
    add(1977, 722);
    ask();
    CHECK(vamel_finalize(&stmt));
    CHECK(vamel_close(&db));
    CFRelease(year);
    CFRelease(weight);
    return 0;
}

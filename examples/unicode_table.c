/*
 * A host of vamel: builds a table of the Unicode characters, saves it, opens it again, asks it
 * questions and changes it.
 *
 *     unicode_table DATA DATABASE
 *
 * DATA is UnicodeData.txt: one character a line, fifteen columns separated by semicolons.
 * DATABASE is the file to make.
 */
#define _DEFAULT_SOURCE /* strsep */

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "vamel/errors.h"
#include "vamel/vamel.h"

enum { COLUMNS = 15 };
enum { CODE, NAME, CATEGORY, UPPER, UTF8, FIELD_COUNT };

static const struct {
    const char* name;
    uint8_t type;
    uint8_t flags;
} fields[FIELD_COUNT] = {
    {"code point", VAMEL_TYPE_INTEGER, VAMEL_FLAG_INDEXED | VAMEL_FLAG_UNIQUE},
    {"name", VAMEL_TYPE_TEXT, VAMEL_FLAG_INDEXED},
    {"category", VAMEL_TYPE_TEXT, VAMEL_FLAG_INDEXED},
    {"upper case", VAMEL_TYPE_INTEGER, 0}, /* no value where the character has none */
    {"utf-8", VAMEL_TYPE_BINARY, 0},       /* no value for a surrogate */
};

typedef struct {
    vamel_db* db;
    vamel_stmt* stmt; /* of the work under way */
    CFStringRef names[FIELD_COUNT];
} table;

/* ------------------------------------------------------------ results, small helpers ---------- */

static void die(const char* what, const char* why) {
    fprintf(stderr, "unicode_table: %s: %s\n", what, why);
    exit(EXIT_FAILURE);
}

static void expect(int32_t wanted, int32_t got, const char* call) {
    if (got != wanted) {
        fprintf(stderr, "\n%s gave %s\n", call, vamel_result_name(got));
        die("stopped", vamel_result_text(got));
    }
}

/* For calls that must succeed: any result but VAMEL_OK ends the program with its text. */
#define CHECK(call) expect(VAMEL_OK, (call), #call)

/* For calls with two good results: whether it is the first of them. */
static int is(int32_t wanted, int32_t otherwise, int32_t got, const char* call) {
    if (got != wanted) {
        expect(otherwise, got, call);
    }
    return got == wanted;
}

static CFStringRef make_string(const char* utf8) {
    CFStringRef string = CFStringCreateWithCString(NULL, utf8, kCFStringEncodingUTF8);
    if (string == NULL) {
        die(utf8, "out of memory, or not UTF-8");
    }
    return string;
}

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

/* The size of a file in bytes, -1 if there is none. */
static long file_size(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 ? (long)status.st_size : -1;
}

/* A step of the work, named before it is done and timed after. */
#define TIMED(step, action)                      \
    do {                                         \
        double timed_from = now();               \
        printf("  %-44s", step);                 \
        fflush(stdout);                          \
        action;                                  \
        printf("%9.3f s\n", now() - timed_from); \
    } while (0)

/* ------------------------------------------------------- opening, binding, stepping ----------- */

static void open_table(table* t, const char* path, int32_t wanted) {
    vamel_env* env = NULL;
    CFStringRef string = make_string(path);
    CHECK(vamel_alloc_env(&env));
    for (int i = 0; i < FIELD_COUNT; i++) {
        vamel_field_info info = {&t->names[i], fields[i].type, fields[i].flags};
        CHECK(vamel_set_env(env, VAMEL_OPTION_FIELD, &info));
    }
    expect(wanted, vamel_open(&string, env, &t->db), "vamel_open");
    CHECK(vamel_free_env(&env)); /* the database has copied what it needs */
    CFRelease(string);
}

/* Work is done between begin and one of end, commit and rollback, on a statement of its own. */
static void begin_work(table* t) {
    CHECK(vamel_begin(t->db));
    CHECK(vamel_prepare(t->db, &t->stmt));
}

static void bind_integer(const table* t, int field, int32_t value, int32_t compare) {
    CHECK(vamel_bind_int(t->stmt, &t->names[field], value, compare));
}

static void bind_text(const table* t, int field, const char* utf8) {
    CFStringRef value = make_string(utf8);
    CHECK(vamel_bind_text(t->stmt, &t->names[field], &value, VAMEL_EQUAL));
    CFRelease(value);
}

/* ------------------------------------------------------------------------ loading ------------- */

/* On a terminal one line that is written over, elsewhere a line every three seconds. */
static void show_progress(double started, double part, long count) {
    static double shown;
    double time = now();
    int terminal = isatty(STDERR_FILENO);
    if (time < (shown > 0 ? shown : started) + (terminal ? 0.1 : 3.0) && part < 1) {
        return;
    }
    shown = time;
    fprintf(stderr, "  %3.0f %%  %6ld characters, %6.0f a second%s", 100 * part, count,
            (double)count / (time - started), terminal && part < 1 ? "\r" : "\n");
}

/* Gives the number of bytes: 0 for a surrogate, which has no UTF-8 form. */
static uint32_t encode_utf8(uint32_t code, uint8_t* out) {
    static const uint8_t lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    if (code >= 0xD800 && code <= 0xDFFF) {
        return 0;
    }
    uint32_t size = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    for (uint32_t i = size - 1; i > 0; i--, code >>= 6) {
        out[i] = (uint8_t)(0x80 | (code & 0x3F));
    }
    out[0] = (uint8_t)(lead[size] | code);
    return size;
}

/* Bound values stay after an insert: what the next character lacks must be cleared. */
static void insert_character(const table* t, char* const* column) {
    uint8_t utf8[4];
    int32_t code = (int32_t)strtol(column[0], NULL, 16);
    uint32_t size = encode_utf8((uint32_t)code, utf8);
    CHECK(vamel_clear_bind(t->stmt));
    bind_integer(t, CODE, code, VAMEL_EQUAL);
    bind_text(t, NAME, column[1]);
    bind_text(t, CATEGORY, column[2]);
    if (*column[12] != '\0') {
        bind_integer(t, UPPER, (int32_t)strtol(column[12], NULL, 16), VAMEL_EQUAL);
    }
    if (size > 0) {
        CHECK(vamel_bind_binary(t->stmt, &t->names[UTF8], utf8, size, VAMEL_EQUAL));
    }
    CHECK(vamel_insert(t->db, t->stmt));
}

static void split(char* line, char** column) {
    for (int i = 0; i < COLUMNS; i++) {
        column[i] = strsep(&line, ";");
        if (column[i] == NULL) {
            die(column[0], "not a line of UnicodeData.txt");
        }
    }
}

static void build(table* t, FILE* file, double size) {
    char line[1024];
    char* column[COLUMNS];
    long count = 0;
    double started = now();
    begin_work(t);
    while (fgets(line, sizeof line, file) != NULL) {
        split(line, column);
        insert_character(t, column);
        show_progress(started, (double)ftell(file) / size, ++count);
    }
    printf("  insert %6ld characters%30.3f s\n", count, now() - started);
    CHECK(vamel_finalize(&t->stmt));
    TIMED("commit", CHECK(vamel_commit(t->db)));
}

/* --------------------------------------------------------------------- looking up, changing
 * ------------- */

static void print_text(const table* t, int field) {
    CFStringRef text; /* the statement's: valid until the next step */
    char utf8[256];
    CHECK(vamel_fetch_text(t->stmt, &t->names[field], &text));
    if (!CFStringGetCString(text, utf8, sizeof utf8, kCFStringEncodingUTF8)) {
        die(fields[field].name, "longer than any that was stored");
    }
    printf("  %s", utf8);
}

static void print_code(const table* t, int field) {
    int32_t code = 0;
    int32_t result = vamel_fetch_int(t->stmt, &t->names[field], &code);
    if (is(VAMEL_OK, VAMEL_ERR_NO_VALUE, result, "vamel_fetch_int")) {
        printf("  U+%04" PRIX32 "%*s", (uint32_t)code, code > 0xFFFF ? 1 : 2, "");
    } else {
        printf("  %-8s", "-");
    }
}

static void print_utf8(const table* t) {
    const void* data = NULL;
    uint32_t size = 0;
    char hex[16] = "-";
    int32_t result = vamel_fetch_binary(t->stmt, &t->names[UTF8], &data, &size);
    int found = is(VAMEL_OK, VAMEL_ERR_NO_VALUE, result, "vamel_fetch_binary");
    for (uint32_t i = 0; i < size && i < 4; i++) {
        snprintf(hex + (size_t)i * 3, 4, "%02X ", ((const uint8_t*)data)[i]);
    }
    printf("  %-12s  %.*s", hex, found ? (int)size : 1, found ? (const char*)data : " ");
}

/* Selects by the bound values, clears them and prints what was found. */
static void ask(const table* t, const char* question) {
    uint32_t count;
    double started = now();
    CHECK(vamel_select(t->db, t->stmt, &count));
    double took = (now() - started) * 1e3;
    CHECK(vamel_clear_bind(t->stmt));
    printf("  %-36s%2" PRIu32 " found%8.3f ms\n", question, count, took);
    while (is(VAMEL_ROW, VAMEL_DONE, vamel_step(t->stmt), "vamel_step")) {
        printf("    ");
        print_code(t, CODE);
        print_text(t, CATEGORY);
        print_code(t, UPPER);
        print_utf8(t);
        print_text(t, NAME);
        puts("");
    }
}

static void ask_code(const table* t, int32_t code) {
    char question[32];
    snprintf(question, sizeof question, "code point U+%04" PRIX32, (uint32_t)code);
    bind_integer(t, CODE, code, VAMEL_EQUAL);
    ask(t, question);
}

static void count_categories(const table* t) {
    static const char all[][3] = {"Lu", "Ll", "Lt", "Lm", "Lo", "Mn", "Mc", "Me", "Nd", "Nl",
                                  "No", "Pc", "Pd", "Ps", "Pe", "Pi", "Pf", "Po", "Sm", "Sc",
                                  "Sk", "So", "Zs", "Zl", "Zp", "Cc", "Cf", "Cs", "Co", "Cn"};
    uint32_t count, total = 0;
    double started = now();
    for (int i = 0; i < 30; i++) {
        bind_text(t, CATEGORY, all[i]);
        CHECK(vamel_select(t->db, t->stmt, &count));
        CHECK(vamel_clear_bind(t->stmt));
        printf("  %8s%6" PRIu32 "%s", all[i], count, i % 5 == 4 ? "\n" : "");
        total += count;
    }
    printf("  30 categories%29" PRIu32 " found%8.3f ms\n", total, (now() - started) * 1e3);
}

static void look_up(table* t) {
    puts("\nLooking up");
    begin_work(t);
    ask_code(t, 0x1D11E);
    ask_code(t, 0xD800);
    bind_text(t, NAME, "GREEK SMALL LETTER OMEGA");
    ask(t, "name GREEK SMALL LETTER OMEGA");
    bind_text(t, NAME, "NO SUCH NAME");
    ask(t, "name NO SUCH NAME");
    bind_integer(t, CODE, 0x3B1, VAMEL_GREATER_OR_EQUAL);
    bind_integer(t, CODE, 0x3B6, VAMEL_LESS_OR_EQUAL); /* two criteria narrow each other */
    ask(t, "code points U+03B1 to U+03B6");
    count_categories(t);
    CHECK(vamel_finalize(&t->stmt));
    CHECK(vamel_end(t->db));
}

static void ask_both(const table* t, const char* when) {
    printf("\n%s\n", when);
    ask_code(t, 0x20AC);
    ask_code(t, 0x1D11E);
}

static void change_and_roll_back(table* t) {
    puts("\nBefore the changes");
    begin_work(t);
    ask_code(t, 0x20AC);
    expect(VAMEL_ROW, vamel_reset(t->stmt), "vamel_reset"); /* the first record found is current */
    bind_text(t, NAME, "SIGN OF THE EURO");
    CHECK(vamel_update(t->db, t->stmt));
    CHECK(vamel_clear_bind(t->stmt));
    ask_code(t, 0x1D11E);
    expect(VAMEL_ROW, vamel_reset(t->stmt), "vamel_reset");
    CHECK(vamel_delete(t->db, t->stmt));
    ask_both(t, "After one update and one delete");
    CHECK(vamel_finalize(&t->stmt));
    TIMED("rollback", CHECK(vamel_rollback(t->db)));
    begin_work(t);
    ask_both(t, "After the rollback");
    CHECK(vamel_finalize(&t->stmt));
    CHECK(vamel_end(t->db));
}

int main(int argc, char** argv) {
    table t = {0};
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ); /* keeps its place among the progress, in a pipe too */
    if (argc != 3) {
        fputs("usage: unicode_table DATA DATABASE   (UnicodeData.txt; a file to make)\n", stderr);
        return 2;
    }
    FILE* data = fopen(argv[1], "r");
    if (data == NULL || file_size(argv[2]) >= 0) {
        die(argv[data == NULL ? 1 : 2], data == NULL ? "cannot be opened" : "exists already");
    }
    for (int i = 0; i < FIELD_COUNT; i++) {
        t.names[i] = make_string(fields[i].name);
    }
    printf("Building %s\n", argv[2]);
    open_table(&t, argv[2], VAMEL_NO_FILE);
    build(&t, data, (double)file_size(argv[1]));
    fclose(data);
    TIMED("close", CHECK(vamel_close(&t.db)));
    printf("  file %38ld bytes\n", file_size(argv[2]));
    TIMED("open again", open_table(&t, argv[2], VAMEL_OK));
    look_up(&t);
    change_and_roll_back(&t);
    TIMED("close", CHECK(vamel_close(&t.db)));
    for (int i = 0; i < FIELD_COUNT; i++) {
        CFRelease(t.names[i]);
    }
    return 0;
}

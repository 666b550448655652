/* consumer FILE VERSION: stores a record, reads it back from the file, and removes the file. */
#include <stdio.h>
#include <string.h>
#include <vamel/errors.h>
#include <vamel/vamel.h>

static CFStringRef field;

static int is(int32_t result, int32_t expected, const char* call) {
    if (result != expected) {
        printf("%s: %s\n", call, vamel_result_name(result));
    }
    return result == expected;
}

/* With value 0, looks whether the record with value 7 is there. */
static int session(const CFStringRef* path, int32_t value) {
    const vamel_field_info info = {&field, VAMEL_TYPE_INTEGER, VAMEL_FLAG_INDEXED};
    vamel_env* env;
    vamel_db* db;
    vamel_stmt* stmt;
    int32_t found = 0;
    int ok = is(vamel_alloc_env(&env), VAMEL_OK, "alloc_env") &&
             is(vamel_set_env(env, VAMEL_OPTION_FIELD, &info), VAMEL_OK, "set_env") &&
             is(vamel_open(path, env, &db), value ? VAMEL_NO_FILE : VAMEL_OK, "open") &&
             is(vamel_free_env(&env), VAMEL_OK, "free_env") &&
             is(vamel_prepare(db, &stmt), VAMEL_OK, "prepare");
    if (ok && value) {
        ok = is(vamel_bind_int(stmt, &field, value, VAMEL_EQUAL), VAMEL_OK, "bind_int") &&
             is(vamel_insert(db, stmt), VAMEL_OK, "insert");
    } else if (ok) {
        ok = is(vamel_bind_int(stmt, &field, 7, VAMEL_EQUAL), VAMEL_OK, "bind_int") &&
             is(vamel_select(db, stmt, NULL), VAMEL_OK, "select") &&
             is(vamel_step(stmt), VAMEL_ROW, "step") &&
             is(vamel_fetch_int(stmt, &field, &found), VAMEL_OK, "fetch_int") && found == 7;
    }
    return ok && is(vamel_finalize(&stmt), VAMEL_OK, "finalize") &&
           is(vamel_close(&db), VAMEL_OK, "close");
}

int main(int argc, char** argv) {
    CFStringRef path;
    int ok;
    if (argc < 2) {
        return 2;
    }
    if (argc > 2 && argv[2][0] && strcmp(argv[2], VAMEL_VERSION_STRING) != 0) {
        printf("the package is %s, its header %s\n", argv[2], VAMEL_VERSION_STRING);
        return 1;
    }
    remove(argv[1]);
    path = CFStringCreateWithCString(NULL, argv[1], kCFStringEncodingUTF8);
    field = CFStringCreateWithCString(NULL, "number", kCFStringEncodingUTF8);
    ok = session(&path, 7) && session(&path, 0);
    CFRelease(field);
    CFRelease(path);
    return !(remove(argv[1]) == 0 && ok);
}

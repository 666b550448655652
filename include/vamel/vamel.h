/*
 * vamel: a small embedded record store.
 *
 * A host describes the fields of one table, opens a database file by path, and inserts, updates,
 * deletes and selects records through statements whose values are bound and fetched field by
 * field. The whole table lives in memory while its database is open; it is written whole on
 * commit and close and read back on open and rollback.
 *
 *     vamel_alloc_env -> vamel_set_env ... -> vamel_open -> vamel_free_env
 *         vamel_begin
 *             vamel_prepare -> vamel_bind_... -> vamel_insert / vamel_select
 *             vamel_step -> vamel_fetch_... / vamel_update / vamel_delete
 *             vamel_finalize
 *         vamel_end, vamel_commit or vamel_rollback
 *     vamel_close
 *
 * RULES THAT HOLD FOR EVERY CALL
 *
 * Results. Every function returns one of the codes of VAMEL_RESULT_CODES. Negative codes are
 * failures. Zero and positive codes are not: a call that returns one has done its work, or, for
 * VAMEL_UNKNOWN_FIELD, has told the host that there is nothing to do. Nothing is ever thrown.
 *
 * Handles. A call that makes a handle stores it through its last argument. A call that destroys a
 * handle takes a pointer to the host's variable and stores NULL there. Every other call takes the
 * handle itself. A null handle gives VAMEL_ERR_ARGUMENT before anything else is looked at. A
 * handle that was destroyed through one variable must not be used through a copy of it.
 *
 * Arguments. Strings (field names, text values, paths) are passed as a pointer to a CFStringRef,
 * read during the call only, and stay the host's. A null pointer that the call needs, or a null
 * CFStringRef behind such a pointer, gives VAMEL_ERR_ARGUMENT and changes nothing. Text crosses
 * the interface as UTF-8: text that has no UTF-8 form (a lone surrogate) counts as the empty
 * string, and text that holds U+0000 ends there. Integers are 32 bits wide and signed; counts are
 * 32 bits wide, unsigned, and in bytes unless said otherwise.
 *
 * Threads. The library has no threads of its own. One database together with its statements is to
 * be used by one thread at a time, from vamel_prepare to vamel_finalize: hosts with several
 * threads bracket their work, including those two calls, with vamel_begin and one of vamel_end,
 * vamel_commit and vamel_rollback. Different databases, and different environments, are
 * independent of each other.
 *
 * Damage. A failed insert, update or select can mark its database as damaged; each comment says
 * when. Nothing clears the mark. A damaged database still inserts, updates, deletes, selects and
 * fetches, but it is never written again: commit and rollback are refused, and close discards
 * every change since the last commit.
 */
#ifndef VAMEL_VAMEL_H
#define VAMEL_VAMEL_H

#include <stdint.h>

#if defined(__APPLE__)
#include <CoreFoundation/CoreFoundation.h>
#else
#include "vamel/vamelcf.h"
#endif

#if defined(__GNUC__)
#define VAMEL_API __attribute__((visibility("default")))
#else
#define VAMEL_API
#endif

/* The version of this header. */
#define VAMEL_VERSION_MAJOR 1
#define VAMEL_VERSION_MINOR 0
#define VAMEL_VERSION_PATCH 0
#define VAMEL_VERSION_STRING "1.0.0"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The one table of result codes: name, value, text. The constants below, and the names and texts
 * of vamel/errors.h, are made from it.
 */
#define VAMEL_RESULT_CODES(X)                                                                 \
    X(VAMEL_OK, 0, "done")                                                                    \
    X(VAMEL_ROW, 1, "a record is now current")                                                \
    X(VAMEL_DONE, 2, "no record is current: the result set is exhausted or empty")            \
    X(VAMEL_UNKNOWN_FIELD, 3, "the table has no field of that name")                          \
    X(VAMEL_NO_FILE, 4, "there was no database file: the table is empty")                     \
    X(VAMEL_NOT_WRITTEN, 5, "the database is damaged: closed without writing")                \
    X(VAMEL_FIELDS_SKIPPED, 6,                                                                \
      "read, but values of stored fields that did not match were skipped")                    \
    X(VAMEL_ERR_UNKNOWN, -1, "unexpected internal status")                                    \
    X(VAMEL_ERR_DAMAGED, -2, "the database is damaged by an earlier failure")                 \
    X(VAMEL_ERR_ARGUMENT, -3, "null argument, unknown option, no result set, or empty table") \
    X(VAMEL_ERR_MEMORY, -4, "out of memory, or a conversion failed")                          \
    X(VAMEL_ERR_NO_VALUE, -5, "no record is current, or it has no value for the field")       \
    X(VAMEL_ERR_FIELD, -6, "no field of that name, or the field has another type")            \
    X(VAMEL_ERR_FORMAT, -7, "the database file is empty or malformed")                        \
    X(VAMEL_ERR_IO, -8, "the database file cannot be written or positioned")                  \
    X(VAMEL_ERR_READ, -9, "the database file exists but cannot be opened for reading")        \
    X(VAMEL_ERR_DUPLICATE, -10, "a unique field's value is already held by another record")   \
    X(VAMEL_ERR_CHECKSUM, -11, "the database file's checksum does not match")                 \
    X(VAMEL_ERR_SCHEMA, -12, "field defined twice, too many fields, or no field defined")

#define VAMEL_RESULT_ENUMERATOR(name, value, text) name = (value),
/* Result codes; see VAMEL_RESULT_CODES. */
enum vamel_result { VAMEL_RESULT_CODES(VAMEL_RESULT_ENUMERATOR) };
#undef VAMEL_RESULT_ENUMERATOR

/* Options of vamel_set_env. */
enum vamel_option {
    VAMEL_OPTION_BACKUP_PATH = 1, /* value: const CFStringRef *, or NULL to clear the path */
    VAMEL_OPTION_FIELD = 2        /* value: const vamel_field_info * */
};

/*
 * Field types. The type decides how values compare and which fetch call reads them; it is not
 * checked when a value is bound. Any other code is accepted: such a field compares like text and
 * can be bound, stored and searched, but never fetched.
 */
enum vamel_type {
    VAMEL_TYPE_INTEGER = 1, /* 32-bit signed integer */
    VAMEL_TYPE_TEXT = 2,    /* UTF-8 text, stored with a terminating zero byte */
    VAMEL_TYPE_BINARY = 3   /* bytes */
};

/* Field flags, combined with |. Other bits are kept and mean nothing. */
enum vamel_flag {
    VAMEL_FLAG_INDEXED = 1, /* equality on this field is looked up, not scanned for */
    VAMEL_FLAG_UNIQUE = 2   /* no two records may hold equal, non-empty values */
};

/*
 * Comparison codes: how a record's value (left) must compare with the bound value (right).
 * Integers compare as numbers. Everything else compares byte by byte over the SHORTER of the two
 * lengths, so that a value equals each of its prefixes; bound text carries its terminating zero
 * byte into the comparison, so whole texts differ from their prefixes after all. An empty stored
 * value is less than everything. Any other code means equal, found by scanning all records.
 */
enum vamel_compare {
    VAMEL_EQUAL = 0,
    VAMEL_LESS = 1,
    VAMEL_GREATER = 2,
    VAMEL_LESS_OR_EQUAL = 3,
    VAMEL_GREATER_OR_EQUAL = 4
};

/* A table has at most this many fields; one that is to be read from its file again, one fewer. */
#define VAMEL_MAX_FIELDS 256

/* What a host collects before it opens a database: field definitions and a backup path. */
typedef struct vamel_env vamel_env;
/* One open database: its table in memory, its file paths, its lock. */
typedef struct vamel_db vamel_db;
/* A working object on one database: bound values, a result set with a cursor, fetched values. */
typedef struct vamel_stmt vamel_stmt;

/* One field, as VAMEL_OPTION_FIELD takes it. Read during the call only. */
typedef struct vamel_field_info {
    const CFStringRef* name; /* neither it nor the string behind it may be NULL */
    uint8_t type;            /* enum vamel_type */
    uint8_t flags;           /* enum vamel_flag bits */
} vamel_field_info;

/* ---------------------------------------------------------------------- library ---------- */

/*
 * Begins the use of the library. It keeps no state: nothing requires the call.
 *
 * Returns VAMEL_OK, however often it is called. Any thread may call it at any time.
 */
VAMEL_API int32_t vamel_init(void);

/*
 * Ends the use of the library. Nothing is released: close and free every handle first.
 *
 * Returns VAMEL_OK, however often it is called. Any thread may call it at any time.
 */
VAMEL_API int32_t vamel_term(void);

/* ------------------------------------------------------------------ environment ---------- */

/*
 * Makes an environment without fields and without a backup path.
 *
 *   env_out  receives the new environment; the host frees it with vamel_free_env.
 *
 * VAMEL_OK            *env_out holds the environment.
 * VAMEL_ERR_ARGUMENT  env_out is null.
 * VAMEL_ERR_MEMORY    *env_out is untouched.
 */
VAMEL_API int32_t vamel_alloc_env(vamel_env** env_out);

/*
 * Destroys an environment. Databases opened with it are not affected.
 *
 *   env_ptr  points to the host's variable, which becomes NULL.
 *
 * VAMEL_OK            the environment is gone.
 * VAMEL_ERR_ARGUMENT  env_ptr, or the handle behind it, is null.
 */
VAMEL_API int32_t vamel_free_env(vamel_env** env_ptr);

/*
 * Sets the backup path, or appends a field definition.
 *
 *   env     the environment; one thread at a time.
 *   option  VAMEL_OPTION_BACKUP_PATH: value is a const CFStringRef * with the path, or NULL to
 *           clear it; a later path replaces an earlier one; the empty path means no backup.
 *           VAMEL_OPTION_FIELD: value is a const vamel_field_info *; fields keep the order in
 *           which they are added, and names that differ only in case are different fields.
 *   value   read and copied during the call; stays the host's.
 *
 * VAMEL_OK            set.
 * VAMEL_ERR_ARGUMENT  env is null, the option is unknown, the path behind value is null, or the
 *                     field record, its name or the string behind the name is null.
 * VAMEL_ERR_MEMORY    out of memory. A failed path leaves the backup path empty or as it was.
 * VAMEL_ERR_SCHEMA    a field of that name is defined already, or there are 256 fields.
 *
 * DEFINE AT MOST 255 FIELDS: a table of 256 is written to a file that cannot be read, and that the
 * next open removes.
 *
 * After a failure the field definitions are as they were.
 */
VAMEL_API int32_t vamel_set_env(vamel_env* env, uint32_t option, const void* value);

/* ------------------------------------------------------------------- connection ---------- */

/*
 * Opens a database: copies the environment's fields and backup path, then reads the file, or the
 * backup file where the file is missing or cannot be read.
 *
 *   path    the database file's path. Only a regular file counts as existing.
 *   env     read and not kept: it may be freed, or serve other opens, right after the call.
 *   db_out  receives the database; the host closes it with vamel_close.
 *
 * A main file (or backup) that is empty, malformed or fails its checksum is REMOVED; a file that a
 * fault of the disk cuts short while it is read looks the same. The result of a backup that exists,
 * good or bad, replaces the main file's. A main file whose records could be read only in part
 * (VAMEL_FIELDS_SKIPPED, VAMEL_ERR_DUPLICATE, VAMEL_ERR_MEMORY) keeps what it loaded, and the
 * backup's records are loaded on top. After a main file whose records were malformed, a table
 * loaded from the backup keeps no index by field, as after vamel_rollback.
 *
 * VAMEL_OK              read.
 * VAMEL_NO_FILE         neither file exists: the table is empty and the handle is valid. The file
 *                       is made by the first commit or close that finds a record.
 * VAMEL_FIELDS_SKIPPED  read; a value was skipped whose stored field matched no field of the
 *                       environment by name and type. The handle is valid. (A stored field that
 *                       matches none and has no values gives VAMEL_OK.)
 * VAMEL_ERR_ARGUMENT    path, the string behind it, env or db_out is null; *db_out is untouched.
 * VAMEL_ERR_MEMORY      out of memory; *db_out is untouched if the database object itself could
 *                       not be had, else NULL.
 * VAMEL_ERR_SCHEMA      the environment defines no field.
 * VAMEL_ERR_FORMAT      the file is empty or malformed, and is removed where its folder allows it.
 * VAMEL_ERR_CHECKSUM    the file's checksum does not match; the file is removed likewise.
 * VAMEL_ERR_IO          the file cannot be positioned.
 * VAMEL_ERR_READ        the file exists but cannot be opened for reading.
 * VAMEL_ERR_DUPLICATE   two stored records hold the same value of a unique field.
 *
 * After every failure but those that leave it untouched, *db_out is NULL.
 */
VAMEL_API int32_t vamel_open(const CFStringRef* path, vamel_env* env, vamel_db** db_out);

/*
 * Writes the table to the file and, where a backup path is set, to the backup file; then destroys
 * the database, WHATEVER the result. Its statements are detached: they have no result set and no
 * record, calls on them that need the table give VAMEL_ERR_ARGUMENT, and they are to be finalized.
 *
 *   db_ptr  points to the host's variable, which becomes NULL.
 *
 * The table is written without the lock, which is then waited for before the database is
 * destroyed; a thread that holds the lock itself may close. Any other thread must be through with
 * the database and its statements, but for leaving the lock. The write is not atomic: the old
 * file is removed first. The new file is readable and writable by everyone. A short write (a full
 * disk) is not noticed.
 *
 * VAMEL_OK            written. With a backup path this is the backup's result: it hides a failure
 *                     to write the main file.
 * VAMEL_NOT_WRITTEN   the database is damaged: nothing was written, and the changes since the last
 *                     commit are lost.
 * VAMEL_ERR_ARGUMENT  db_ptr or the handle behind it is null; or the table holds no record and
 *                     nothing was written: the old files, if any, stay as they are.
 * VAMEL_ERR_MEMORY    out of memory, or the file would pass 4 GiB; nothing was written.
 * VAMEL_ERR_IO        a file cannot be opened for writing (the old one may be gone).
 */
VAMEL_API int32_t vamel_close(vamel_db** db_ptr);

/*
 * Enters the database's lock, waiting without a time limit. A thread that holds the lock may enter
 * it again, and then leaves it as many times.
 *
 * VAMEL_OK            the calling thread holds the lock.
 * VAMEL_ERR_ARGUMENT  db is null.
 */
VAMEL_API int32_t vamel_begin(vamel_db* db);

/*
 * Leaves the database's lock. Changes stay in memory and are written by a later commit or close.
 * A thread that does not hold the lock changes nothing.
 *
 * VAMEL_OK            left.
 * VAMEL_ERR_ARGUMENT  db is null.
 */
VAMEL_API int32_t vamel_end(vamel_db* db);

/*
 * Writes the table to the database file, not to the backup file, then leaves the lock whatever the
 * result. The write is not atomic: the old file is removed first. The new file is readable and
 * writable by everyone. A short write (a full disk) is not noticed.
 *
 * VAMEL_OK            written.
 * VAMEL_ERR_DAMAGED   refused; nothing was written.
 * VAMEL_ERR_ARGUMENT  db is null (no lock is left); or the table holds no record: nothing was
 *                     written, and the old file, if any, stays as it is.
 * VAMEL_ERR_MEMORY    out of memory, or the file would pass 4 GiB; nothing was written.
 * VAMEL_ERR_IO        the file cannot be opened for writing; the old one may be gone.
 *
 * The table in memory is the same after every result.
 */
VAMEL_API int32_t vamel_commit(vamel_db* db);

/*
 * Empties the table and reads it again from the database file, or from the backup file where the
 * main file cannot be read at all (a bad checksum does not count); then leaves the lock whatever
 * the result. Removes no file. The result sets of all statements are emptied, and no record is
 * current: the next step or reset of one that has selected gives VAMEL_DONE.
 *
 * From here on the table keeps no index by field: equality and uniqueness are tested against all
 * records (see docs/behaviour.md for what that changes).
 *
 * VAMEL_OK              read.
 * VAMEL_NO_FILE         there was no file, or the main file could not be read and the backup that
 *                       is set is missing; the table is empty.
 * VAMEL_FIELDS_SKIPPED  read; some values were skipped, as in vamel_open.
 * VAMEL_ERR_DAMAGED     refused; the table is as it was.
 * VAMEL_ERR_ARGUMENT    db is null (no lock is left).
 * VAMEL_ERR_MEMORY      out of memory; the table holds the records read so far.
 * VAMEL_ERR_FORMAT      the file is empty or malformed; the table is empty.
 * VAMEL_ERR_IO          the file cannot be positioned; the table is empty.
 * VAMEL_ERR_READ        the file exists but cannot be opened for reading; the table is empty.
 * VAMEL_ERR_DUPLICATE   two stored records hold the same value of a unique field; the table holds
 *                       the records read before the second one.
 * VAMEL_ERR_CHECKSUM    the file's checksum does not match; the table is empty.
 *
 * No failure damages the database: a commit afterwards writes what the table then holds.
 */
VAMEL_API int32_t vamel_rollback(vamel_db* db);

/* ------------------------------------------------------------------- statements ---------- */

/*
 * Makes a statement on a database: nothing bound, no result set, no current record.
 *
 *   db        the database; when it is closed, the statement is detached from it.
 *   stmt_out  receives the statement; the host destroys it with vamel_finalize.
 *
 * VAMEL_OK            *stmt_out holds the statement.
 * VAMEL_ERR_ARGUMENT  stmt_out is null; or db is null, and *stmt_out is NULL.
 * VAMEL_ERR_MEMORY    out of memory; *stmt_out is NULL.
 */
VAMEL_API int32_t vamel_prepare(vamel_db* db, vamel_stmt** stmt_out);

/*
 * Destroys a statement with its bound values, its result set and all values fetched through it.
 *
 *   stmt_ptr  points to the host's variable, which becomes NULL.
 *
 * VAMEL_OK            the statement is gone.
 * VAMEL_ERR_ARGUMENT  stmt_ptr, or the handle behind it, is null.
 */
VAMEL_API int32_t vamel_finalize(vamel_stmt** stmt_ptr);

/*
 * Releases the values fetched since the last step or reset, then makes the next record of the
 * result set current. After a select the cursor stands before the first record.
 *
 * VAMEL_ROW           a record is current.
 * VAMEL_DONE          the result set is exhausted; no record is current, nor after further steps.
 * VAMEL_ERR_ARGUMENT  stmt is null, no select has been run on it, or its database was closed; the
 *                     fetched values are released all the same.
 */
VAMEL_API int32_t vamel_step(vamel_stmt* stmt);

/*
 * Releases the values fetched since the last step or reset, then makes the first record of the
 * result set current: the next step goes on to the second.
 *
 * VAMEL_ROW           the first record is current.
 * VAMEL_DONE          the result set is empty; no record is current.
 * VAMEL_ERR_ARGUMENT  as with vamel_step.
 */
VAMEL_API int32_t vamel_reset(vamel_stmt* stmt);

/* ---------------------------------------------------------------------- binding ---------- */

/*
 * Binds an integer to a field: a value for vamel_insert and vamel_update, a criterion for
 * vamel_select. Bound values stay until vamel_clear_bind or vamel_finalize, through any number of
 * inserts, updates and selects. Binding a field twice keeps both values: the later one wins in
 * insert and update, both are criteria in select.
 *
 *   stmt     the statement.
 *   name     the field's name; any type: an integer bound to a text field is stored as 4 bytes.
 *   value    32-bit signed.
 *   compare  enum vamel_compare. It also governs the test of a unique field: bind VAMEL_EQUAL for
 *            values that are to be stored.
 *
 * VAMEL_OK            bound.
 * VAMEL_ERR_ARGUMENT  stmt, name or the string behind it is null, or the database was closed.
 * VAMEL_ERR_FIELD     the table has no field of that name (fetching gives VAMEL_UNKNOWN_FIELD).
 * VAMEL_ERR_MEMORY    out of memory.
 *
 * After a failure the bound values are as they were.
 */
VAMEL_API int32_t vamel_bind_int(vamel_stmt* stmt, const CFStringRef* name, int32_t value,
                                 int32_t compare);

/*
 * Binds text to a field. The UTF-8 form is copied, up to U+0000 if it holds one, and a terminating
 * zero byte is part of the bound value: the empty text is one byte. Otherwise as vamel_bind_int.
 *
 *   value  the text; may be released right after the call.
 *
 * VAMEL_OK, VAMEL_ERR_FIELD, VAMEL_ERR_MEMORY  as with vamel_bind_int.
 * VAMEL_ERR_ARGUMENT  as with vamel_bind_int; or value, or the string behind it, is null.
 */
VAMEL_API int32_t vamel_bind_text(vamel_stmt* stmt, const CFStringRef* name,
                                  const CFStringRef* value, int32_t compare);

/*
 * Binds bytes to a field. Otherwise as vamel_bind_int.
 *
 *   data   the bytes, copied; may be changed or freed right after the call. May be null if count
 *          is 0.
 *   count  bytes at data; 0 binds an empty value, which can be stored, is less than everything,
 *          equals nothing and can be held by any number of records in a unique field.
 *
 * VAMEL_OK, VAMEL_ERR_FIELD, VAMEL_ERR_MEMORY  as with vamel_bind_int.
 * VAMEL_ERR_ARGUMENT  as with vamel_bind_int; or data is null and count is not 0.
 */
VAMEL_API int32_t vamel_bind_binary(vamel_stmt* stmt, const CFStringRef* name, const void* data,
                                    uint32_t count, int32_t compare);

/*
 * Removes all bound values.
 *
 * VAMEL_OK            nothing is bound.
 * VAMEL_ERR_ARGUMENT  stmt is null.
 */
VAMEL_API int32_t vamel_clear_bind(vamel_stmt* stmt);

/* --------------------------------------------------------------------- fetching ---------- */

/*
 * Reads an integer field of the current record.
 *
 *   stmt       the statement.
 *   name       the name of a field of VAMEL_TYPE_INTEGER.
 *   value_out  receives the value. A stored value that is not 4 bytes long (binding does not check
 *              types) is read from its first 4 bytes, most significant first; missing ones count
 *              as zero, an empty value is 0.
 *
 * The tests are made in this order; a result other than VAMEL_OK leaves *value_out untouched:
 *
 * VAMEL_ERR_ARGUMENT   stmt, name, the string behind it or value_out is null.
 * VAMEL_ERR_MEMORY     out of memory.
 * VAMEL_ERR_ARGUMENT   the database was closed.
 * VAMEL_UNKNOWN_FIELD  the table has no field of that name (binding gives VAMEL_ERR_FIELD).
 * VAMEL_ERR_FIELD      the field has another type.
 * VAMEL_ERR_NO_VALUE   no record is current, or it holds no value for the field.
 * VAMEL_OK             read.
 */
VAMEL_API int32_t vamel_fetch_int(vamel_stmt* stmt, const CFStringRef* name, int32_t* value_out);

/*
 * Reads a text field of the current record: the stored bytes up to the first zero byte.
 *
 *   name      the name of a field of VAMEL_TYPE_TEXT.
 *   text_out  receives a string that belongs to the statement and lives until the next vamel_step,
 *             vamel_reset or vamel_finalize on it, whatever becomes of the record or the database.
 *             The host must not release it; CFRetain keeps it longer.
 *
 * Tests, their order and results as with vamel_fetch_int, and *text_out is as little touched; then
 *
 * VAMEL_ERR_MEMORY  out of memory, or the stored bytes are not UTF-8.
 */
VAMEL_API int32_t vamel_fetch_text(vamel_stmt* stmt, const CFStringRef* name,
                                   CFStringRef* text_out);

/*
 * Reads a binary field of the current record.
 *
 *   name       the name of a field of VAMEL_TYPE_BINARY.
 *   data_out   receives a pointer to a copy of the bytes. The copy belongs to the statement and
 *              lives as a fetched text does.
 *   count_out  receives their number.
 *
 * Tests, their order and results as with vamel_fetch_int, and the out-arguments are as little
 * touched; then
 *
 * VAMEL_ERR_MEMORY  out of memory, or the stored value is empty: an empty value cannot be fetched.
 */
VAMEL_API int32_t vamel_fetch_binary(vamel_stmt* stmt, const CFStringRef* name,
                                     const void** data_out, uint32_t* count_out);

/* ------------------------------------------------------------ record operations ---------- */

/*
 * Adds a record made of the bound values to the table; with nothing bound, a record without
 * values. The new record joins no result set and does not become current.
 *
 *   db    the database on which the statement was prepared.
 *   stmt  the statement; its bound values stay.
 *
 * VAMEL_OK             added.
 * VAMEL_ERR_ARGUMENT   db or stmt is null, or the statement belongs to another database.
 * VAMEL_ERR_DUPLICATE  another record holds an equal value of a unique field.
 * VAMEL_ERR_MEMORY     out of memory.
 *
 * VAMEL_ERR_DUPLICATE and VAMEL_ERR_MEMORY leave the table as it was and DAMAGE the database.
 */
VAMEL_API int32_t vamel_insert(vamel_db* db, vamel_stmt* stmt);

/*
 * Replaces the current record by a copy changed by the bound values. The copy is a new record, the
 * last of the table. The old one leaves every result set: the record before it becomes current
 * (none if it was the first, or if a select has been run since), and the next step goes on to the
 * record that followed it.
 *
 *   db, stmt  as with vamel_insert.
 *
 * VAMEL_OK             replaced. A unique value that the old record holds may be bound again.
 * VAMEL_ERR_ARGUMENT   as with vamel_insert.
 * VAMEL_ERR_NO_VALUE   no record is current.
 * VAMEL_ERR_DUPLICATE  another record holds an equal value of a unique field.
 * VAMEL_ERR_MEMORY     out of memory.
 *
 * A failure leaves table, result sets and current record as they were; VAMEL_ERR_DUPLICATE and
 * VAMEL_ERR_MEMORY DAMAGE the database.
 */
VAMEL_API int32_t vamel_update(vamel_db* db, vamel_stmt* stmt);

/*
 * Removes the current record from the table and from every result set: the record before it
 * becomes current (none if it was the first, or if a select has been run since), and the next step
 * goes on to the record that followed it, so that a loop of step and delete meets every record
 * once. Another statement on whose cursor the record stood steps back likewise; one whose cursor
 * stood behind it keeps its cursor's number and so skips a record at its next step.
 *
 *   db, stmt  as with vamel_insert.
 *
 * VAMEL_OK            removed. Values fetched from the record stay valid.
 * VAMEL_ERR_ARGUMENT  as with vamel_insert.
 * VAMEL_ERR_NO_VALUE  no record is current.
 *
 * No result damages the database.
 */
VAMEL_API int32_t vamel_delete(vamel_db* db, vamel_stmt* stmt);

/*
 * Fills the statement's result set with the records that match the bound values; with nothing
 * bound, with all records. The order is the order of insertion. The cursor stands before the first
 * record: step or reset before fetching. The current record stays what it was until then.
 *
 * The first criterion picks records, each further one narrows them, but a criterion that finds the
 * result set EMPTY picks anew: with "a = 1" matching nothing and then "b = 2", the result is every
 * record with b = 2. A picking criterion drops records without a value for its field; a narrowing
 * one keeps them.
 *
 *   db, stmt   as with vamel_insert.
 *   count_out  receives the number of records found, at first 0; may be null.
 *
 * VAMEL_OK            selected, possibly no record.
 * VAMEL_ERR_ARGUMENT  as with vamel_insert.
 * VAMEL_ERR_MEMORY    out of memory: either the new result set could not be made, and then the
 *                     statement has none and the database is DAMAGED; or it could not grow, and
 *                     then the statement keeps its earlier result set and nothing is damaged.
 */
VAMEL_API int32_t vamel_select(vamel_db* db, vamel_stmt* stmt, uint32_t* count_out);

#ifdef __cplusplus
}
#endif

#endif

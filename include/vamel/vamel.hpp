// vamel for C++17: the interface of vamel.h with owners, UTF-8 text, and errors as exceptions or
// error codes. Header only; link with the same libraries as from C.
//
//     const vamel::field id("id"), name("name");
//     vamel::environment env;
//     env.add("id", vamel::type::integer, vamel::unique).add("name", vamel::type::text);
//     vamel::database db("people.db", env);
//     vamel::statement stmt = db.prepare();
//     stmt.insert(id = 1, name = "Ann");
//     for (auto& row : stmt.select(id >= 1, id <= 9)) {
//         std::cout << row.get<std::string>(name).value_or("nobody") << '\n';
//     }
//     db.close();
//
// RULES THAT HOLD FOR EVERY CALL
//
// Failures. Every function that can fail has two forms: one throws vamel::error; the other takes a
// std::error_code& as its FIRST argument, sets it to the result code or clears it, and returns what
// an empty object or no result is. Codes compare with the constants of vamel.h: `ec ==
// VAMEL_ERR_DUPLICATE`. Both forms can throw std::bad_alloc where C++ itself is out of memory.
//
// Text is UTF-8, ends at its first U+0000 if it holds one, and fails with VAMEL_ERR_MEMORY where it
// is not valid UTF-8. Strings and bytes are read during the call and stay the caller's.
//
// Owners. environment, database and statement can be moved, not copied. One that was moved from, or
// made by default, is empty: it may be assigned to or destroyed, and every other call fails with
// VAMEL_ERR_ARGUMENT. A statement that outlives its database is safe in the same way.
//
// Threads. As in C: a database, its statements and what they return belong to one thread at a time,
// bracketed by a vamel::transaction. Different databases are independent. A vamel::field may be
// shared by all threads.
#ifndef VAMEL_VAMEL_HPP
#define VAMEL_VAMEL_HPP

#include "vamel/field.hpp"
#include "vamel/statement.hpp"

namespace vamel {

namespace detail {
// Settles a reading of the file, of which some results tell something and are no failures.
inline vamel_result settle_reading(int32_t result, const char* call, std::error_code* ec) {
    const bool told = result == VAMEL_NO_FILE || result == VAMEL_FIELDS_SKIPPED;
    settle(told ? VAMEL_OK : result, call, ec);
    return static_cast<vamel_result>(result);
}

}  // namespace detail

// --------------------------------------------------------------------------- environment ------

// What a host collects before it opens a database: field definitions and a backup path. It may be
// changed or destroyed once the database is open.
class environment {
  public:
    environment() { make(nullptr); }
    explicit environment(std::error_code& ec) { make(&ec); }

    // Appends a field. VAMEL_ERR_SCHEMA: there is one of that name, or there are 256. DEFINE AT
    // MOST 255: a table of 256 is written to a file that cannot be read, and that open removes.
    environment& add(std::string_view name, type kind, unsigned flags = 0) {
        return add(nullptr, name, kind, flags);
    }
    environment& add(std::error_code& ec, std::string_view name, type kind, unsigned flags = 0) {
        return add(&ec, name, kind, flags);
    }

    // Sets the path of the backup file, which close writes and open may read; empty: none.
    environment& backup(std::string_view path) { return backup(nullptr, path); }
    environment& backup(std::error_code& ec, std::string_view path) { return backup(&ec, path); }

    vamel_env* handle() const { return handle_.get(); }

  private:
    friend class database;

    void make(std::error_code* ec) {
        vamel_env* env = nullptr;
        detail::settle(vamel_alloc_env(&env), "environment", ec);
        handle_.reset(env);
    }
    environment& add(std::error_code* ec, std::string_view name, type kind, unsigned flags) {
        const field key(name);
        const vamel_field_info info = {key.string(), static_cast<uint8_t>(kind),
                                       static_cast<uint8_t>(flags)};
        const int32_t result = vamel_set_env(handle(), VAMEL_OPTION_FIELD, &info);
        if (result == VAMEL_OK && (flags & unique) != 0) {
            unique_fields_.push_back(key.name());
        }
        detail::settle(result, "add", ec);
        return *this;
    }
    environment& backup(std::error_code* ec, std::string_view path) {
        const detail::string text(path);
        detail::settle(*text.get() == nullptr
                           ? VAMEL_ERR_MEMORY
                           : vamel_set_env(handle(), VAMEL_OPTION_BACKUP_PATH, text.get()),
                       "backup", ec);
        return *this;
    }

    detail::owner<vamel_env, vamel_free_env> handle_;
    std::vector<std::string> unique_fields_;
};

// ------------------------------------------------------------------------------ database ------

// One open database: its table in memory, its file paths, its lock.
class database {
  public:
    database() = default;

    // Opens the file, or the backup file where it is missing or cannot be read. See opened().
    //
    // OPEN REMOVES A FILE THAT IS NO SOUND DATABASE: one that is empty, malformed
    // (VAMEL_ERR_FORMAT) or fails its checksum (VAMEL_ERR_CHECKSUM), the backup likewise. Never
    // open a path that was not meant to be a database, and copy the file first where it matters.
    database(std::string_view path, const environment& env) { open(nullptr, path, env); }
    database(std::error_code& ec, std::string_view path, const environment& env) {
        open(&ec, path, env);
    }

    // Closes, and so WRITES THE FILE, whatever it was that ended the database's life, and nobody
    // learns whether that worked. Call close() to know. So does assigning, AFTER the database that
    // is assigned has been opened: to open the same file again, close() first.
    ~database() { shut(); }
    database(database&&) noexcept = default;
    database& operator=(database&& other) noexcept {
        if (this != &other) {
            shut();
            connection_ = std::move(other.connection_);
        }
        return *this;
    }

    explicit operator bool() const { return handle() != nullptr; }
    vamel_db* handle() const { return detail::handle_of(connection_); }

    // What the open has found:
    //   VAMEL_OK              the file, or the backup file in its place.
    //   VAMEL_NO_FILE         no file: the table is empty. A misspelt path looks the same.
    //   VAMEL_FIELDS_SKIPPED  VALUES WERE LOST, of stored fields that match no field of the
    //                         environment by name and type: the next commit or close writes the
    //                         file without them. With a backup path, the backup's records were
    //                         loaded on top. To leave the files as they are, remove all records
    //                         before the object's life ends: an empty table is not written.
    vamel_result opened() const {
        return connection_ != nullptr ? connection_->opened : VAMEL_ERR_ARGUMENT;
    }

    statement prepare() { return prepare(nullptr); }
    statement prepare(std::error_code& ec) { return prepare(&ec); }

    // Writes the file, not the backup file, or reads the table again from it; see transaction,
    // which does the same for hosts of several threads. A lock that is held stays held.
    void commit() { write(nullptr); }
    void commit(std::error_code& ec) { write(&ec); }
    vamel_result rollback() { return reread(nullptr); }
    vamel_result rollback(std::error_code& ec) { return reread(&ec); }

    // Writes the file and the backup file, and leaves the object empty WHATEVER THE RESULT: there
    // is no second try, so commit first where that matters. Its statements are detached and safe.
    //
    // VAMEL_NOT_WRITTEN: the database was damaged: the changes since the last commit are lost.
    // VAMEL_ERR_ARGUMENT: the object was empty; or THE TABLE IS EMPTY, which is never written: the
    // old files stay, and with them the records that were removed. VAMEL_ERR_MEMORY, VAMEL_ERR_IO:
    // not written. With a backup path this is the result of the backup alone: a failure to write
    // the main file does not show.
    void close() { detail::settle(shut(), "close", nullptr); }
    void close(std::error_code& ec) { detail::settle(shut(), "close", &ec); }

  private:
    friend class transaction;

    void open(std::error_code* ec, std::string_view path, const environment& env) {
        auto connection = std::make_shared<detail::connection>();
        connection->unique_fields = env.unique_fields_;
        const detail::string text(path);
        const int32_t result = *text.get() != nullptr
                                   ? vamel_open(text.get(), env.handle(), &connection->db)
                                   : static_cast<int32_t>(VAMEL_ERR_MEMORY);
        connection->opened = detail::settle_reading(result, "open", ec);
        if (connection->db != nullptr) {
            connection_ = std::move(connection);
        }
    }

    // The variable that statements and transactions look at changes last: by then another thread
    // that still had to leave the lock has left it.
    int32_t shut() noexcept {
        const detail::connection_ptr connection = std::move(connection_);
        vamel_db* db = detail::handle_of(connection);
        if (db == nullptr) {
            return VAMEL_ERR_ARGUMENT;
        }
        const int32_t result = vamel_close(&db);
        connection->db = nullptr;
        return result;
    }

    statement prepare(std::error_code* ec) {
        vamel_stmt* stmt = nullptr;
        detail::settle(vamel_prepare(handle(), &stmt), "prepare", ec);
        return {stmt != nullptr ? connection_ : nullptr, stmt};
    }

    // Both leave the lock once, so they enter it first.
    void write(std::error_code* ec) {
        vamel_begin(handle());
        detail::settle(vamel_commit(handle()), "commit", ec);
    }
    vamel_result reread(std::error_code* ec) {
        vamel_begin(handle());
        return detail::settle_reading(vamel_rollback(handle()), "rollback", ec);
    }

    detail::connection_ptr connection_;
};

// --------------------------------------------------------------------------- transaction ------

// Holds the lock of a database, from its making to commit, rollback, end or the end of its scope. A
// thread may hold several, one within another. Hosts with several threads keep all work on the
// database within one, the making and destruction of statements, too:
//
//     vamel::transaction guard(db);
//     {
//         vamel::statement stmt = db.prepare();
//         stmt.insert(id = 1);
//     }
//     guard.commit();
//
// IT UNDOES NOTHING BY ITSELF: changes of a scope that is left early, by an exception say, stay in
// memory, and the next commit or close writes them. Call rollback() to take them back.
class transaction {
  public:
    explicit transaction(database& db) { begin(nullptr, db); }
    transaction(std::error_code& ec, database& db) { begin(&ec, db); }
    ~transaction() { end(); }
    transaction(const transaction&) = delete;
    transaction& operator=(const transaction&) = delete;

    // Writes the table to the database file, then leaves the lock, whatever the result.
    //
    // VAMEL_ERR_DAMAGED: an insert, update or select has failed before: nothing is written any
    // more. VAMEL_ERR_ARGUMENT: AN EMPTY TABLE IS NOT WRITTEN, and the old file stays with the
    // records that were removed; or the lock was left before, or the database closed.
    // VAMEL_ERR_MEMORY, VAMEL_ERR_IO: not written; the table in memory is as it was.
    // A full disk is not noticed; and the old file is removed before the new one is written.
    void commit() { commit(nullptr); }
    void commit(std::error_code& ec) { commit(&ec); }

    // Reads the table again from the database file, or the backup file, then leaves the lock,
    // whatever the result. Result sets are emptied, and no record is current. Results as
    // database::opened(), or failures as with opening, but no file is removed. After a failure the
    // table is empty or holds a part of the records, AND A PART WILL BE WRITTEN over the whole by
    // the next commit or close: keep a copy of the file.
    vamel_result rollback() { return rollback(nullptr); }
    vamel_result rollback(std::error_code& ec) { return rollback(&ec); }

    // Leaves the lock; changes stay in memory.
    void end() noexcept {
        vamel_db* db = detail::handle_of(connection_);
        if (db != nullptr) {
            vamel_end(db);
        }
        connection_.reset();
    }

  private:
    void begin(std::error_code* ec, database& db) {
        if (detail::settle(vamel_begin(db.handle()), "begin", ec)) {
            connection_ = db.connection_;
        }
    }
    void commit(std::error_code* ec) {
        const int32_t result = vamel_commit(detail::handle_of(connection_));
        connection_.reset();
        detail::settle(result, "commit", ec);
    }
    vamel_result rollback(std::error_code* ec) {
        const int32_t result = vamel_rollback(detail::handle_of(connection_));
        connection_.reset();
        return detail::settle_reading(result, "rollback", ec);
    }

    detail::connection_ptr connection_;
};

}  // namespace vamel

#endif

// Statements and the rows that they find, for vamel.hpp. Include that one.
#ifndef VAMEL_STATEMENT_HPP
#define VAMEL_STATEMENT_HPP

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>

#include "vamel/field.hpp"

namespace vamel {

class database;
class statement;

namespace detail {

template <class Handle, int32_t (*GiveBack)(Handle**)>
struct give_back {
    void operator()(Handle* handle) const { GiveBack(&handle); }
};
template <class Handle, int32_t (*GiveBack)(Handle**)>
using owner = std::unique_ptr<Handle, give_back<Handle, GiveBack>>;
using statement_owner = owner<vamel_stmt, vamel_finalize>;

// An open database as its statements and transactions see it.
struct connection {
    vamel_db* db = nullptr;  // null once it is closed
    vamel_result opened = VAMEL_ERR_ARGUMENT;
    std::vector<std::string> unique_fields;
    statement_owner probe;  // looks for unique values; made when first needed
};
using connection_ptr = std::shared_ptr<connection>;

inline vamel_db* handle_of(const connection_ptr& connection) {
    return connection != nullptr ? connection->db : nullptr;
}

}  // namespace detail

// The records that a select has found. A loop over it moves the cursor of the statement, which must
// stay where it is; each begin() starts over. The reference that it gives is the statement itself,
// which, like the std::error_code that the select was given, is to outlive it. EACH STEP SETS THAT
// CODE: give the calls inside the loop another one, or what they say is gone at the next record.
class rows {
  public:
    class iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = statement;
        using difference_type = std::ptrdiff_t;
        using pointer = statement*;
        using reference = statement&;

        iterator() = default;
        statement& operator*() const { return *stmt_; }
        statement* operator->() const { return stmt_; }
        inline iterator& operator++();
        bool operator==(const iterator& other) const { return stmt_ == other.stmt_; }
        bool operator!=(const iterator& other) const { return stmt_ != other.stmt_; }

      private:
        friend class rows;
        iterator(statement* stmt, std::error_code* ec) : stmt_(stmt), ec_(ec) {}
        statement* stmt_ = nullptr;
        std::error_code* ec_ = nullptr;
    };

    inline iterator begin() const;
    iterator end() const { return {}; }
    uint32_t size() const { return count_; }  // as the select has found them
    bool empty() const { return count_ == 0; }

  private:
    friend class statement;
    rows(statement* stmt, uint32_t count, std::error_code* ec)
        : stmt_(stmt), count_(count), ec_(ec) {}
    statement* stmt_;  // null where the select has failed
    uint32_t count_;
    std::error_code* ec_;
};

// A working object on one database: bound values, and a result set with a cursor on the current
// record. Values and criteria are given as `key = value` and `key < value`; see vamel::field.
class statement {
  public:
    statement() = default;
    vamel_stmt* handle() const { return handle_.get(); }

    // Adds a record of these values, and of no other: what was bound before is cleared. The new
    // record joins no result set.
    //
    // A FAILED INSERT DAMAGES THE DATABASE: after VAMEL_ERR_DUPLICATE or VAMEL_ERR_MEMORY nothing
    // is written any more, and all changes since the last commit will be lost. Use insert_checked,
    // or commit first.
    template <class... V>
    void insert(assignment<V>&&... values) {
        add(nullptr, values...);
    }
    template <class... V>
    void insert(std::error_code& ec, assignment<V>&&... values) {
        add(&ec, values...);
    }

    // Looks for each value of a unique field first. Returns whether the record was added; where a
    // value is held already, nothing happens: no failure, no damage. Costs a select for each unique
    // field; only a shortage of memory can still damage the database.
    template <class... V>
    bool insert_checked(assignment<V>&&... values) {
        return are_free<false>(nullptr, values...) && add(nullptr, values...);
    }
    template <class... V>
    bool insert_checked(std::error_code& ec, assignment<V>&&... values) {
        return are_free<false>(&ec, values...) && add(&ec, values...);
    }

    // Finds the records that meet the criteria, or all, in the order of insertion; what was bound
    // before is cleared. The current record stays what it was until the loop begins, or the next
    // step.
    //
    // CRITERIA THAT FIND NOTHING START ANEW: they narrow from left to right, but one that is
    // applied to no record at all picks from the whole table: `age >= 65, age <= 70` gives
    // everybody of at most 70 where nobody is 65. select_all_of does not. And a record WITHOUT A
    // VALUE for a field meets every criterion on it but the first: put the field that may lack one
    // first.
    template <class... V>
    rows select(criterion<V>&&... criteria) & {
        return find(nullptr, criteria...);
    }
    template <class... V>
    rows select(std::error_code& ec, criterion<V>&&... criteria) & {
        return find(&ec, criteria...);
    }

    // As select, but stops at the criterion that leaves nothing, and then finds nothing: whatever
    // is found meets all criteria, but for fields without a value, see select. It selects anew
    // after each criterion that is added: n criteria cost n selects, the first criterion is applied
    // n times. So put the one that is fastest first: equality on an indexed field.
    template <class... V>
    rows select_all_of(criterion<V>&&... criteria) & {
        return find_all_of(nullptr, criteria...);
    }
    template <class... V>
    rows select_all_of(std::error_code& ec, criterion<V>&&... criteria) & {
        return find_all_of(&ec, criteria...);
    }

    // Makes the next record of the result set current, or the first one; false: there is none.
    // VAMEL_ERR_ARGUMENT: nothing has been selected, or the database was closed.
    bool step() { return step(nullptr); }
    bool step(std::error_code& ec) { return step(&ec); }
    bool reset() { return reset(nullptr); }
    bool reset(std::error_code& ec) { return reset(&ec); }

    // The current record's value for a field, which is given as a vamel::field or by its name. T is
    // int32_t, std::string, vamel::bytes, or vamel::bytes_view, whose bytes live until the next
    // step, reset or loop; it must suit the field's type (VAMEL_ERR_FIELD).
    //
    // Nothing: the record has no value for the field, or NO RECORD IS CURRENT.
    // VAMEL_UNKNOWN_FIELD: there is no such field. VAMEL_ERR_MEMORY: the bytes are no UTF-8, or
    // they are EMPTY: no bytes at all can be stored in a binary field, but not read.
    //
    // The statement keeps what it has read until the next step, reset or loop: do not read the same
    // record without end.
    template <class T, class Key>
    std::optional<T> get(const Key& key) {
        return read<T>(nullptr, key);
    }
    template <class T, class Key>
    std::optional<T> get(std::error_code& ec, const Key& key) {
        return read<T>(&ec, key);
    }

    // Replaces the current record by a copy with these values; what was bound before is cleared.
    // The copy is a NEW RECORD, the last of the table, and in no result set: the record BEFORE the
    // old one becomes current, or none if it was the first. A loop goes on with the record that
    // followed, and so meets every record once; but within it, get before you update.
    //
    // VAMEL_ERR_NO_VALUE: no record is current. A FAILED UPDATE DAMAGES THE DATABASE as insert
    // does, with VAMEL_ERR_DUPLICATE and VAMEL_ERR_MEMORY: see update_checked.
    template <class... V>
    void update(assignment<V>&&... values) {
        replace(nullptr, values...);
    }
    template <class... V>
    void update(std::error_code& ec, assignment<V>&&... values) {
        replace(&ec, values...);
    }

    // As insert_checked, for the current record, which may keep its own value. Bytes that merely
    // begin as its own do count as held.
    template <class... V>
    bool update_checked(assignment<V>&&... values) {
        return are_free<true>(nullptr, values...) && replace(nullptr, values...);
    }
    template <class... V>
    bool update_checked(std::error_code& ec, assignment<V>&&... values) {
        return are_free<true>(&ec, values...) && replace(&ec, values...);
    }

    // Removes the current record. The one before it becomes current, as with update, and a loop
    // goes on as it should. Another statement whose cursor stood behind the record SKIPS one.
    // VAMEL_ERR_NO_VALUE: no record is current. Never damages.
    void remove() { settle(vamel_delete(db(), handle()), "remove", nullptr); }
    void remove(std::error_code& ec) { settle(vamel_delete(db(), handle()), "remove", &ec); }

    // One by one, for fields that are not known when the host is compiled. BOUND VALUES STAY
    // through any number of the ..._bound calls: the criteria of a select become values of an
    // update, and a field bound twice keeps both. Clear before each new set. For values that are to
    // be stored, `compare` is VAMEL_EQUAL, which it is here unless given: anything else upsets the
    // unique check.
    void clear_bind() { settle(vamel_clear_bind(handle()), "clear_bind", nullptr); }
    void clear_bind(std::error_code& ec) { settle(vamel_clear_bind(handle()), "clear_bind", &ec); }
    template <class Key, class T>
    void bind(const Key& key, const T& value, int32_t compare = VAMEL_EQUAL) {
        settle(bind_one(key, detail::stored(value), compare), "bind", nullptr);
    }
    template <class Key, class T>
    void bind(std::error_code& ec, const Key& key, const T& value, int32_t compare = VAMEL_EQUAL) {
        settle(bind_one(key, detail::stored(value), compare), "bind", &ec);
    }
    void insert_bound() { settle(vamel_insert(db(), handle()), "insert_bound", nullptr); }
    void insert_bound(std::error_code& ec) {
        settle(vamel_insert(db(), handle()), "insert_bound", &ec);
    }
    void update_bound() { settle(vamel_update(db(), handle()), "update_bound", nullptr); }
    void update_bound(std::error_code& ec) {
        settle(vamel_update(db(), handle()), "update_bound", &ec);
    }
    rows select_bound() & { return find_bound(VAMEL_OK, "select_bound", nullptr); }
    rows select_bound(std::error_code& ec) & { return find_bound(VAMEL_OK, "select_bound", &ec); }

  private:
    friend class database;
    friend class rows::iterator;
    friend class rows;

    statement(detail::connection_ptr connection, vamel_stmt* handle)
        : connection_(std::move(connection)), handle_(handle) {}

    vamel_db* db() const { return detail::handle_of(connection_); }

    static bool settle(int32_t result, const char* call, std::error_code* ec) {
        return detail::settle(result, call, ec);
    }
    static bool moved(std::error_code* ec, int32_t result, const char* call) {
        settle(result == VAMEL_ROW || result == VAMEL_DONE ? VAMEL_OK : result, call, ec);
        return result == VAMEL_ROW;
    }
    bool step(std::error_code* ec) {
        before_first_ = false;
        return moved(ec, vamel_step(handle()), "step");
    }
    bool reset(std::error_code* ec) {
        before_first_ = false;
        return moved(ec, vamel_reset(handle()), "reset");
    }

    // The name as the calls take it. A table has so many fields and no more: further names are
    // wrong, and the last one makes room.
    template <class Key>
    const CFStringRef* name_of(const Key& key) {
        if constexpr (std::is_same_v<Key, field>) {
            return key.string();
        } else {
            const std::string_view name(key);
            for (const field& known : names_) {
                if (known.name() == name) {
                    return known.string();
                }
            }
            if (names_.size() == VAMEL_MAX_FIELDS) {
                names_.pop_back();
            }
            return names_.emplace_back(name).string();
        }
    }

    template <class Key, class V>
    int32_t bind_one(const Key& key, V value, int32_t compare) {
        return detail::bind_value(handle(), name_of(key), value, compare);
    }
    template <class... B>
    int32_t bind_these(const B&... bound) {
        int32_t result = vamel_clear_bind(handle());
        static_cast<void>(
            ((result == VAMEL_OK && (result = detail::bind_value(handle(), bound)) == VAMEL_OK) &&
             ...));
        return result;
    }

    template <class... V>
    bool add(std::error_code* ec, const assignment<V>&... values) {
        const int32_t result = bind_these(values...);
        return settle(result == VAMEL_OK ? vamel_insert(db(), handle()) : result, "insert", ec);
    }
    template <class... V>
    bool replace(std::error_code* ec, const assignment<V>&... values) {
        const int32_t result = bind_these(values...);
        return settle(result == VAMEL_OK ? vamel_update(db(), handle()) : result, "update", ec);
    }

    // Whether no record, or none but the current one, holds one of the values in a unique field.
    template <bool OwnCounts, class... V>
    bool are_free(std::error_code* ec, const assignment<V>&... values) {
        int32_t result = db() != nullptr ? VAMEL_OK : VAMEL_ERR_ARGUMENT;
        const auto is_free = [&](const auto& value) {
            uint32_t count = 0;
            result = look_for(value, &count);
            return result == VAMEL_OK && (count == 0 || (OwnCounts && count == 1 && is_own(value)));
        };
        const bool free = result == VAMEL_OK && (is_free(values) && ...);
        return settle(result, "looking for unique values", ec) && free;
    }
    template <class V>
    bool is_own(const assignment<V>& value) {
        std::optional<detail::fetched_t<V>> own;
        detail::fetch_value(handle(), value.key.string(), own);
        return own && *own == value.value;
    }
    // Counts the records that hold a value, if its field is unique, by a statement of its own.
    template <class V>
    int32_t look_for(const assignment<V>& value, uint32_t* count) {
        const std::vector<std::string>& fields = connection_->unique_fields;
        if (std::find(fields.begin(), fields.end(), value.key.name()) == fields.end()) {
            return VAMEL_OK;
        }
        if (connection_->probe == nullptr) {
            vamel_stmt* made = nullptr;
            vamel_prepare(db(), &made);
            connection_->probe.reset(made);
        }
        vamel_stmt* probe = connection_->probe.get();
        vamel_clear_bind(probe);
        const int32_t result = probe != nullptr ? detail::bind_value(probe, value)
                                                : static_cast<int32_t>(VAMEL_ERR_MEMORY);
        return result == VAMEL_OK ? vamel_select(db(), probe, count) : result;
    }

    rows find_bound(int32_t result, const char* call, std::error_code* ec) {
        uint32_t count = 0;
        if (result == VAMEL_OK) {
            result = vamel_select(db(), handle(), &count);
        }
        before_first_ = settle(result, call, ec);
        return {before_first_ ? this : nullptr, count, ec};
    }
    template <class... V>
    rows find(std::error_code* ec, const criterion<V>&... criteria) {
        return find_bound(bind_these(criteria...), "select", ec);
    }
    template <class... V>
    rows find_all_of(std::error_code* ec, const criterion<V>&... criteria) {
        static_assert(sizeof...(V) > 0, "select() finds all records");
        int32_t result = vamel_clear_bind(handle());
        uint32_t count = 0;
        const auto narrow = [&](const auto& one) {
            result = detail::bind_value(handle(), one);
            if (result == VAMEL_OK) {
                result = vamel_select(db(), handle(), &count);
            }
            return result == VAMEL_OK && count != 0;
        };
        static_cast<void>(result == VAMEL_OK && (narrow(criteria) && ...));
        before_first_ = settle(result, "select_all_of", ec);
        return {before_first_ ? this : nullptr, before_first_ ? count : 0, ec};
    }

    template <class T, class Key>
    std::optional<T> read(std::error_code* ec, const Key& key) {
        std::optional<T> value;
        const int32_t result = detail::fetch_value(handle(), name_of(key), value);
        settle(result == VAMEL_ERR_NO_VALUE ? VAMEL_OK : result, "get", ec);
        return value;
    }

    detail::connection_ptr connection_;
    detail::statement_owner handle_;
    std::vector<field> names_;
    bool before_first_ = false;  // the cursor is, since the last select
};

inline rows::iterator& rows::iterator::operator++() {
    if (!statement::moved(ec_, vamel_step(stmt_->handle()), "step")) {
        stmt_ = nullptr;
    }
    return *this;
}

inline rows::iterator rows::begin() const {
    // The next record is the first one after a select, and takes fewer steps to find.
    const bool found =
        stmt_ != nullptr && (stmt_->before_first_ ? stmt_->step(ec_) : stmt_->reset(ec_));
    return found ? iterator(stmt_, ec_) : iterator();
}

}  // namespace vamel

#endif

#ifndef VAMEL_TOOLS_SQLTABLE_H
#define VAMEL_TOOLS_SQLTABLE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/TableFile.h"

namespace tool {

enum class SqlEngine { SQLITE, POSTGRES };

// What a value is to SQL. Text may have lost its zero byte; an empty value of a text field is empty
// text. Text that is not UTF-8 or holds a zero byte inside is bytes, and so is an integer that is
// not four bytes long.
enum class SqlForm { INTEGER, TEXT, BYTES };
SqlForm FormOf(uint32_t type, std::string_view bytes);

struct SqlColumn {
    std::string name;     // as the engine takes it
    uint32_t type = 0;    // the field's
    bool unique = false;  // asked for
    bool indexed = false;
    uint64_t odd = 0;    // values that are not what the field's type says
    size_t longest = 0;  // bytes of the longest value
};

// The table of another engine that takes a file's records: names that the engine accepts, and what
// is to be known of the values before the first one is written.
//
// A field keeps its name, unless the engine has no such name or has it already (SQLite knows no
// difference of case; PostgreSQL knows 63 bytes of a name, and has columns of its own).
struct SqlTable {
    // Reads all records once. `notes` receives what the user is to be told, a line each.
    SqlTable(const TableFile& file, SqlEngine chosen_engine, const std::string& wanted_name,
             const std::string& wanted_sequence, std::vector<std::string>* notes);

    SqlEngine engine;
    std::string name;
    std::string sequence;  // the column of the records' numbers, from 1
    std::vector<SqlColumn> columns;

  private:
    void NameColumns(const TableFile& file, std::vector<std::string>* notes);
    std::string FindFreeName(const std::string& wanted) const;
    bool IsTaken(const std::string& candidate) const;
    std::string Accept(const std::string& wanted, const std::string& otherwise) const;
    void LookAtValues(const TableFile& file);
};

// An identifier in quotes.
std::string QuoteName(const std::string& name);

}  // namespace tool

#endif

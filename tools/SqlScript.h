#ifndef VAMEL_TOOLS_SQLSCRIPT_H
#define VAMEL_TOOLS_SQLSCRIPT_H

#include <fmt/format.h>

#include <memory>

#include "tools/SqlTable.h"

namespace tool {

// The script that makes a table in another engine and fills it, in one transaction: begin, the
// records, end. A field without a value is NULL.
class SqlScript {
  public:
    explicit SqlScript(const SqlTable& table) : table_(table) {}
    SqlScript(const SqlScript&) = delete;
    SqlScript& operator=(const SqlScript&) = delete;
    virtual ~SqlScript() = default;

    virtual void AppendBegin(fmt::memory_buffer& out) const = 0;
    virtual void AppendRecord(fmt::memory_buffer& out, uint64_t number,
                              const Record& record) const = 0;
    virtual void AppendEnd(fmt::memory_buffer& out) const = 0;

    // What becomes of the odd values of a column, for the user.
    virtual std::string DescribeOdd(const SqlColumn& column) const = 0;

  protected:
    const SqlTable& table_;
};

// For the sqlite3 command. Odd values are blobs in the column of the others.
std::unique_ptr<SqlScript> MakeSqliteScript(const SqlTable& table);

// For the psql command, the records as text that COPY reads. A text column with odd values has the
// type bytea. An odd integer is the number that the library reads it as; an empty one is NULL.
std::unique_ptr<SqlScript> MakePostgresScript(const SqlTable& table);

}  // namespace tool

#endif

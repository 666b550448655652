#include "tools/SqlScript.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

// An index over the values themselves takes none that is much longer.
constexpr size_t kLongestInIndex = 2000;

class PostgresScript : public SqlScript {
  public:
    using SqlScript::SqlScript;
    void AppendBegin(fmt::memory_buffer& out) const override;
    void AppendRecord(fmt::memory_buffer& out, uint64_t number,
                      const Record& record) const override;
    void AppendEnd(fmt::memory_buffer& out) const override;
    std::string DescribeOdd(const SqlColumn& column) const override;

  private:
    void AppendUniqueIndex(fmt::memory_buffer& out, const SqlColumn& column) const;
};

const char* TypeOf(const SqlColumn& column) {
    if (column.type == VAMEL_TYPE_INTEGER) {
        return "integer";
    }
    return column.type == VAMEL_TYPE_TEXT && column.odd == 0 ? "text" : "bytea";
}

// Whether the column holds bytes.
bool IsBytes(const SqlColumn& column) {
    return column.type != VAMEL_TYPE_INTEGER && (column.type != VAMEL_TYPE_TEXT || column.odd != 0);
}

void AppendText(fmt::memory_buffer& out, std::string_view text) {
    constexpr std::string_view kControls = "\b\t\n\v\f\r\\";
    constexpr std::string_view kLetters = "btnvfr\\";
    for (const char c : text) {
        const size_t at = kControls.find(c);
        if (at == std::string_view::npos) {
            out.push_back(c);
        } else {
            out.push_back('\\');
            out.push_back(kLetters[at]);
        }
    }
}

void AppendValue(fmt::memory_buffer& out, const SqlColumn& column, std::string_view bytes) {
    if (IsBytes(column)) {
        Append(out, "\\\\x");
        AppendHex(out, column.type == VAMEL_TYPE_TEXT ? TextOf(bytes) : bytes);
    } else if (column.type == VAMEL_TYPE_TEXT) {
        AppendText(out, TextOf(bytes));
    } else if (bytes.empty()) {
        Append(out, "\\N");
    } else {
        fmt::format_to(fmt::appender(out), "{}", IntegerOf(bytes));
    }
}

std::string PostgresScript::DescribeOdd(const SqlColumn& column) const {
    return column.type == VAMEL_TYPE_TEXT
               ? "the column is of type bytea"
               : "written as the numbers that their first 4 bytes are, empty ones as NULL";
}

// Without the stop at the first error, records behind a failed COPY would be taken for statements.
void PostgresScript::AppendBegin(fmt::memory_buffer& out) const {
    fmt::format_to(fmt::appender(out),
                   "-- Load with: psql DATABASE < this file\n\\set ON_ERROR_STOP on\nBEGIN;\n"
                   "SET LOCAL client_encoding = 'UTF8';\nCREATE TABLE {} (\n"
                   "  {} bigint PRIMARY KEY",
                   QuoteName(table_.name), QuoteName(table_.sequence));
    for (const SqlColumn& column : table_.columns) {
        fmt::format_to(fmt::appender(out), ",\n  {} {}", QuoteName(column.name), TypeOf(column));
    }
    fmt::format_to(fmt::appender(out), "\n);\nCOPY {} FROM stdin;\n", QuoteName(table_.name));
}

void PostgresScript::AppendRecord(fmt::memory_buffer& out, uint64_t number,
                                  const Record& record) const {
    fmt::format_to(fmt::appender(out), "{}", number);
    for (size_t i = 0; i < table_.columns.size(); ++i) {
        const auto bytes = record.Get(i);
        out.push_back('\t');
        if (bytes) {
            AppendValue(out, table_.columns[i], *bytes);
        } else {
            Append(out, "\\N");
        }
    }
    out.push_back('\n');
}

// Any number of records may hold an empty value of a unique field. The engine names the indexes,
// so that no name is too long or taken.
void PostgresScript::AppendUniqueIndex(fmt::memory_buffer& out, const SqlColumn& column) const {
    const std::string name = QuoteName(column.name);
    fmt::format_to(fmt::appender(out), "CREATE UNIQUE INDEX ON {} ({})", QuoteName(table_.name),
                   column.longest > kLongestInIndex ? "md5(" + name + ")" : name);
    if (column.type != VAMEL_TYPE_INTEGER) {
        fmt::format_to(fmt::appender(out), " WHERE octet_length({}) > 0", name);
    }
    Append(out, ";\n");
}

void PostgresScript::AppendEnd(fmt::memory_buffer& out) const {
    Append(out, "\\.\n");
    for (const SqlColumn& column : table_.columns) {
        if (column.unique) {
            AppendUniqueIndex(out, column);
        } else if (column.indexed) {
            fmt::format_to(
                fmt::appender(out), "CREATE INDEX ON {} USING {} ({});\n", QuoteName(table_.name),
                column.longest > kLongestInIndex ? "hash" : "btree", QuoteName(column.name));
        }
    }
    Append(out, "COMMIT;\n");
}

}  // namespace

std::unique_ptr<SqlScript> MakePostgresScript(const SqlTable& table) {
    return std::make_unique<PostgresScript>(table);
}

}  // namespace tool

#include "tools/SqlScript.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

class SqliteScript : public SqlScript {
  public:
    using SqlScript::SqlScript;
    void AppendBegin(fmt::memory_buffer& out) const override;
    void AppendRecord(fmt::memory_buffer& out, uint64_t number,
                      const Record& record) const override;
    void AppendEnd(fmt::memory_buffer& out) const override;
    std::string DescribeOdd(const SqlColumn&) const override { return "written as blobs"; }
};

const char* TypeOf(const SqlColumn& column) {
    switch (column.type) {
        case VAMEL_TYPE_INTEGER:
            return "INTEGER";
        case VAMEL_TYPE_TEXT:
            return "TEXT";
        default:
            return "BLOB";
    }
}

void AppendBlob(fmt::memory_buffer& out, std::string_view bytes) {
    Append(out, "x'");
    AppendHex(out, bytes);
    out.push_back('\'');
}

bool HasControls(std::string_view text) {
    for (const char c : text) {
        if (c >= 0 && c < ' ') {
            return true;
        }
    }
    return false;
}

// The command that reads the script drops a carriage return at the end of a line, also inside
// quotes.
void AppendText(fmt::memory_buffer& out, std::string_view text) {
    if (HasControls(text)) {
        Append(out, "CAST(");
        AppendBlob(out, text);
        Append(out, " AS TEXT)");
        return;
    }
    out.push_back('\'');
    for (const char c : text) {
        out.push_back(c);
        if (c == '\'') {
            out.push_back(c);
        }
    }
    out.push_back('\'');
}

void AppendValue(fmt::memory_buffer& out, uint32_t type, std::string_view bytes) {
    switch (FormOf(type, bytes)) {
        case SqlForm::INTEGER:
            fmt::format_to(fmt::appender(out), "{}", IntegerOf(bytes));
            break;
        case SqlForm::TEXT:
            AppendText(out, TextOf(bytes));
            break;
        case SqlForm::BYTES:
            AppendBlob(out, type == VAMEL_TYPE_TEXT ? TextOf(bytes) : bytes);
    }
}

void SqliteScript::AppendBegin(fmt::memory_buffer& out) const {
    fmt::format_to(fmt::appender(out),
                   "-- Load with: sqlite3 DATABASE < this file\nBEGIN;\nCREATE TABLE {} (\n"
                   "  {} INTEGER PRIMARY KEY",
                   QuoteName(table_.name), QuoteName(table_.sequence));
    for (const SqlColumn& column : table_.columns) {
        fmt::format_to(fmt::appender(out), ",\n  {} {}", QuoteName(column.name), TypeOf(column));
    }
    Append(out, "\n);\n");
}

void SqliteScript::AppendRecord(fmt::memory_buffer& out, uint64_t number,
                                const Record& record) const {
    fmt::format_to(fmt::appender(out), "INSERT INTO {} VALUES({}", QuoteName(table_.name), number);
    for (size_t i = 0; i < table_.columns.size(); ++i) {
        const auto bytes = record.Get(i);
        out.push_back(',');
        if (bytes) {
            AppendValue(out, table_.columns[i].type, *bytes);
        } else {
            Append(out, "NULL");
        }
    }
    Append(out, ");\n");
}

// Any number of records may hold an empty value of a unique field.
void SqliteScript::AppendEnd(fmt::memory_buffer& out) const {
    for (const SqlColumn& column : table_.columns) {
        if (!column.unique && !column.indexed) {
            continue;
        }
        const std::string index =
            table_.name + '_' + column.name + (column.unique ? "_unique" : "_index");
        fmt::format_to(fmt::appender(out), "CREATE {}INDEX {} ON {} ({})",
                       column.unique ? "UNIQUE " : "", QuoteName(index), QuoteName(table_.name),
                       QuoteName(column.name));
        if (column.unique) {
            fmt::format_to(fmt::appender(out), " WHERE length({}) > 0", QuoteName(column.name));
        }
        Append(out, ";\n");
    }
    Append(out, "COMMIT;\n");
}

}  // namespace

std::unique_ptr<SqlScript> MakeSqliteScript(const SqlTable& table) {
    return std::make_unique<SqliteScript>(table);
}

}  // namespace tool

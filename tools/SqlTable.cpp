#include "tools/SqlTable.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>

#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

constexpr size_t kLongestPostgresName = 63;
constexpr const char* kPostgresColumns[] = {"tableoid", "xmin", "cmin", "xmax", "cmax", "ctid"};

// The first whole characters that fit.
std::string Cut(const std::string& text, size_t count) {
    while (count < text.size() && (text[count] & 0xc0) == 0x80) {
        --count;
    }
    return text.substr(0, count);
}

}  // namespace

SqlForm FormOf(uint32_t type, std::string_view bytes) {
    if (type == VAMEL_TYPE_INTEGER && bytes.size() == 4) {
        return SqlForm::INTEGER;
    }
    const std::string_view text = TextOf(bytes);
    const bool is_text = type == VAMEL_TYPE_TEXT && text.find('\0') == std::string_view::npos;
    return is_text && IsUtf8(text) ? SqlForm::TEXT : SqlForm::BYTES;
}

std::string QuoteName(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted += c;
        if (c == '"') {
            quoted += c;
        }
    }
    return quoted + '"';
}

SqlTable::SqlTable(const TableFile& file, SqlEngine chosen_engine, const std::string& wanted_name,
                   const std::string& wanted_sequence, std::vector<std::string>* notes)
    : engine(chosen_engine), name(Accept(wanted_name, "records")) {
    if (engine == SqlEngine::SQLITE && strncasecmp(name.c_str(), "sqlite_", 7) == 0) {
        name = "t_" + name;
    }
    if (name != wanted_name) {
        notes->push_back(fmt::format("the table is called {}", name));
    }
    NameColumns(file, notes);
    sequence = FindFreeName(Accept(wanted_sequence, "seq"));
    if (sequence != wanted_sequence) {
        notes->push_back(fmt::format("the sequence column is called {}", sequence));
    }
    LookAtValues(file);
}

// A name that the engine could have, near to the one that is wanted.
std::string SqlTable::Accept(const std::string& wanted, const std::string& otherwise) const {
    if (wanted.empty() || !IsUtf8(wanted)) {
        return otherwise;
    }
    std::string accepted =
        engine == SqlEngine::POSTGRES ? Cut(wanted, kLongestPostgresName) : wanted;
    std::replace_if(
        accepted.begin(), accepted.end(), [](char c) { return c >= 0 && c < ' '; }, ' ');
    return accepted;
}

bool SqlTable::IsTaken(const std::string& candidate) const {
    if (engine == SqlEngine::POSTGRES &&
        std::find(std::begin(kPostgresColumns), std::end(kPostgresColumns), candidate) !=
            std::end(kPostgresColumns)) {
        return true;
    }
    return std::any_of(columns.begin(), columns.end(), [&](const SqlColumn& column) {
        return engine == SqlEngine::SQLITE ? strcasecmp(column.name.c_str(), candidate.c_str()) == 0
                                           : column.name == candidate;
    });
}

std::string SqlTable::FindFreeName(const std::string& wanted) const {
    std::string candidate = wanted;
    for (int i = 2; IsTaken(candidate); ++i) {
        const std::string suffix = fmt::format("_{}", i);
        const size_t most = engine == SqlEngine::POSTGRES ? kLongestPostgresName : SIZE_MAX;
        candidate = Cut(wanted, std::min(wanted.size(), most - suffix.size())) + suffix;
    }
    return candidate;
}

void SqlTable::NameColumns(const TableFile& file, std::vector<std::string>* notes) {
    for (const FieldSpec& field : file.GetFields()) {
        SqlColumn column;
        column.type = field.type;
        column.name = FindFreeName(Accept(field.name, fmt::format("field_{}", columns.size() + 1)));
        if (column.name != field.name) {
            notes->push_back(
                fmt::format("the column of field {} ({}) is called {}", columns.size() + 1,
                            IsUtf8(field.name) ? field.name : "no UTF-8", column.name));
        }
        columns.push_back(std::move(column));
    }
}

void SqlTable::LookAtValues(const TableFile& file) {
    Record record;
    for (RecordReader reader(file); reader.Next(&record);) {
        for (const StoredValue& value : record.GetValues()) {
            if (value.field == kNoField) {
                continue;
            }
            SqlColumn& column = columns[value.field];
            const bool may_be_odd =
                column.type == VAMEL_TYPE_INTEGER || column.type == VAMEL_TYPE_TEXT;
            if (may_be_odd && FormOf(column.type, value.bytes) == SqlForm::BYTES) {
                ++column.odd;
            }
            column.longest = std::max(column.longest, value.bytes.size());
        }
    }
}

}  // namespace tool

#include "tools/FileCheck.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

// Equal values are neighbours in this order, by which the library compares: integers as numbers,
// anything else byte by byte, so that a value stands before those that begin with it.
int Compare(uint32_t type, std::string_view a, std::string_view b) {
    if (type == VAMEL_TYPE_INTEGER) {
        const int32_t x = IntegerOf(a);
        const int32_t y = IntegerOf(b);
        return (x > y ? 1 : 0) - (x < y ? 1 : 0);
    }
    return a.compare(b);
}

// A value equals those that begin with it.
bool AreEqual(uint32_t type, std::string_view a, std::string_view b) {
    return Compare(type, a, type == VAMEL_TYPE_INTEGER ? b : b.substr(0, a.size())) == 0;
}

}  // namespace

FileCheck::FileCheck(const TableFile& file, const std::vector<size_t>& unique)
    : file_(file),
      warnings_(file.GetWarnings()),
      irregular_(file.GetFields().size()),
      not_utf8_(file.GetFields().size()),
      values_(unique.size()) {
    if (file.GetFields().size() == kMostFieldsInFile) {
        warnings_.push_back(
            "255 fields: a file with one more can be written, but never be read again");
    }
    ReadRecords(unique);
    TellAll();
    for (size_t i = 0; i < unique.size(); ++i) {
        CheckUnique(unique[i], &values_[i]);
    }
}

void FileCheck::ReadRecords(const std::vector<size_t>& unique) {
    RecordReader reader(file_);
    for (Record record; reader.Next(&record);) {
        CheckRecord(record, reader.GetDone());
        for (size_t i = 0; i < unique.size(); ++i) {
            const std::optional<std::string_view> value = record.Get(unique[i]);
            if (value && !value->empty()) {
                values_[i].push_back(file_.GetOffsetOf(*value));
            }
        }
    }
    CheckEnd(reader.GetOffset());
}

void FileCheck::CheckRecord(const Record& record, uint32_t number) {
    if (record.HasRepeats()) {
        repeated_.Note(number);
    }
    for (const StoredValue& value : record.GetValues()) {
        if (value.field == kNoField) {
            undescribed_.Note(number);
            continue;
        }
        const uint32_t type = file_.GetFields()[value.field].type;
        if (!IsRegular(type, value.bytes)) {
            const bool text = type == VAMEL_TYPE_TEXT && !IsUtf8(TextOf(value.bytes));
            (text ? not_utf8_ : irregular_)[value.field].Note(number);
        }
    }
}

void FileCheck::CheckEnd(uint64_t end) {
    if (end != file_.GetContentSize()) {
        warnings_.push_back(fmt::format("byte {}: {} bytes follow the last record", end,
                                        file_.GetContentSize() - end));
    }
}

void FileCheck::Tell(const Finding& finding, const std::string& what) {
    if (finding.count != 0) {
        warnings_.push_back(
            fmt::format("record {}: {}; {} such in all", finding.first, what, finding.count));
    }
}

void FileCheck::TellAll() {
    Tell(undescribed_, "a value belongs to no field");
    Tell(repeated_, "two values belong to one field");
    for (size_t i = 0; i < irregular_.size(); ++i) {
        const FieldSpec& field = file_.GetFields()[i];
        Tell(not_utf8_[i], fmt::format("field '{}': text that is not UTF-8", Visible(field.name)));
        Tell(irregular_[i], fmt::format("field '{}': {}", Visible(field.name),
                                        field.type == VAMEL_TYPE_INTEGER
                                            ? "an integer that is not 4 bytes long"
                                            : "text without one zero byte at its end"));
    }
}

void FileCheck::CheckUnique(size_t field, std::vector<uint32_t>* values) {
    const uint32_t type = file_.GetFields()[field].type;
    std::sort(values->begin(), values->end(), [&](uint32_t a, uint32_t b) {
        const int order = Compare(type, file_.GetValueAt(a), file_.GetValueAt(b));
        return order != 0 ? order < 0 : a < b;
    });
    uint32_t pairs = 0;
    size_t first = 0;
    for (size_t i = 1; i < values->size(); ++i) {
        if (AreEqual(type, file_.GetValueAt((*values)[i - 1]), file_.GetValueAt((*values)[i]))) {
            first = pairs == 0 ? i : first;
            ++pairs;
        }
    }
    if (pairs != 0) {
        warnings_.push_back(fmt::format(
            "field '{}' is not unique: records {} and {} hold equal "
            "values; {} such pairs in all",
            Visible(file_.GetFields()[field].name), FindRecord(field, (*values)[first - 1]),
            FindRecord(field, (*values)[first]), pairs));
    }
}

uint32_t FileCheck::FindRecord(size_t field, uint32_t offset) const {
    RecordReader reader(file_);
    for (Record record; reader.Next(&record);) {
        const std::optional<std::string_view> value = record.Get(field);
        if (value && file_.GetOffsetOf(*value) == offset) {
            break;
        }
    }
    return reader.GetDone();
}

}  // namespace tool

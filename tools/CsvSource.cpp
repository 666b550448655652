#include <fmt/format.h>

#include <charconv>
#include <optional>

#include "tools/CsvReader.h"
#include "tools/RecordSource.h"
#include "tools/ToolError.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

class CsvSource final : public RecordSource {
  public:
    CsvSource(InputFile* in, ImportSchema* schema, bool has_header);
    bool Read(std::vector<NewValue>* values) override;
    uint64_t GetLine() const override { return reader_.GetLine(); }

  private:
    void ReadHeader();
    size_t FieldOfColumn(const std::string& name);
    bool ReadRow();
    std::string Convert(const CsvCell& cell, const ImportField& field);
    std::string ConvertInteger(const CsvCell& cell, const ImportField& field);
    std::string ConvertText(const CsvCell& cell, const ImportField& field);
    std::string ConvertBinary(const CsvCell& cell, const ImportField& field);
    [[noreturn]] void Fail(const ImportField& field, const std::string& reason) const {
        in_->Fail(GetLine(), fmt::format("field {}: {}", field.name, reason));
    }

    InputFile* in_;
    ImportSchema* schema_;
    CsvReader reader_;
    std::vector<CsvCell> row_;
    std::vector<size_t> columns_;  // the field of each
};

std::string Quote(const std::string& text) {
    return '"' + Shorten(text) + '"';
}

std::optional<std::string> BytesAfter0x(const CsvCell& cell) {
    if (cell.quoted || cell.text.compare(0, 2, "0x") != 0) {
        return std::nullopt;
    }
    return BytesOfHex(std::string_view(cell.text).substr(2));
}

CsvSource::CsvSource(InputFile* in, ImportSchema* schema, bool has_header)
    : in_(in), schema_(schema), reader_(in) {
    if (has_header) {
        ReadHeader();
    } else if (schema->IsOpen()) {
        throw ToolError(EXIT_WRONG_USE, "without a header the fields must be given: use --field");
    } else {
        for (size_t i = 0; i < schema->GetFields().size(); ++i) {
            columns_.push_back(i);
        }
    }
    schema->Close();
}

void CsvSource::ReadHeader() {
    if (!ReadRow()) {
        in_->Fail(1,
                  "a header with the names of the fields is expected; use --no-header if the "
                  "input has none");
    }
    for (const CsvCell& cell : row_) {
        const size_t field = FieldOfColumn(cell.text);
        for (const size_t other : columns_) {
            if (other == field) {
                in_->Fail(GetLine(), fmt::format("column {} is there twice", Quote(cell.text)));
            }
        }
        columns_.push_back(field);
    }
}

size_t CsvSource::FieldOfColumn(const std::string& name) {
    const size_t field = schema_->Find(name);
    if (field != kNoField) {
        return field;
    }
    if (!schema_->IsOpen()) {
        in_->Fail(GetLine(), fmt::format("there is no field {}; the fields are {}", Quote(name),
                                         schema_->ListNames()));
    }
    if (name.empty() || !IsUtf8(name) || name.find('\0') != std::string::npos) {
        in_->Fail(GetLine(),
                  fmt::format("{} cannot name a field: a name is UTF-8, not empty", Quote(name)));
    }
    if (schema_->IsFull()) {
        in_->Fail(GetLine(), ImportSchema::kTooMany);
    }
    return schema_->Add(name, VAMEL_TYPE_TEXT);
}

// The next row that is not just an empty line.
bool CsvSource::ReadRow() {
    while (reader_.Read(&row_)) {
        if (columns_.size() == 1 || row_.size() > 1 || row_[0].quoted || !row_[0].text.empty()) {
            return true;
        }
    }
    return false;
}

bool CsvSource::Read(std::vector<NewValue>* values) {
    values->clear();
    if (!ReadRow()) {
        return false;
    }
    if (row_.size() != columns_.size()) {
        in_->Fail(GetLine(),
                  fmt::format("{} cells where {} are expected", row_.size(), columns_.size()));
    }
    for (size_t i = 0; i < row_.size(); ++i) {
        if (row_[i].quoted || !row_[i].text.empty()) {
            values->push_back({columns_[i], Convert(row_[i], schema_->GetFields()[columns_[i]])});
        }
    }
    return true;
}

std::string CsvSource::Convert(const CsvCell& cell, const ImportField& field) {
    switch (field.type) {
        case VAMEL_TYPE_INTEGER:
            return ConvertInteger(cell, field);
        case VAMEL_TYPE_TEXT:
            return ConvertText(cell, field);
        default:
            return ConvertBinary(cell, field);
    }
}

std::string CsvSource::ConvertInteger(const CsvCell& cell, const ImportField& field) {
    if (const auto bytes = BytesAfter0x(cell)) {
        return *bytes;
    }
    int32_t number = 0;
    const char* end = cell.text.data() + cell.text.size();
    const auto parsed = std::from_chars(cell.text.data(), end, number);
    if (parsed.ptr != end || parsed.ec == std::errc::invalid_argument) {
        Fail(field, Quote(cell.text) + " is no integer");
    }
    if (parsed.ec == std::errc::result_out_of_range) {
        Fail(field, Quote(cell.text) + " is outside -2147483648 to 2147483647");
    }
    return BytesOfInteger(number);
}

std::string CsvSource::ConvertText(const CsvCell& cell, const ImportField& field) {
    if (!IsUtf8(cell.text)) {
        Fail(field, Quote(cell.text) + " is not UTF-8");
    }
    if (cell.text.find('\0') != std::string::npos) {
        Fail(field, Quote(cell.text) + " holds a zero byte, which would end the text");
    }
    return cell.text + '\0';
}

std::string CsvSource::ConvertBinary(const CsvCell& cell, const ImportField& field) {
    if (cell.text.empty()) {
        return {};
    }
    const auto bytes = BytesAfter0x({cell.text, false});
    if (!bytes) {
        Fail(field, Quote(cell.text) +
                        " is no binary value: pairs of hexadecimal digits after "
                        "0x are expected");
    }
    return *bytes;
}

}  // namespace

std::unique_ptr<RecordSource> MakeCsvSource(InputFile* in, ImportSchema* schema, bool has_header) {
    return std::make_unique<CsvSource>(in, schema, has_header);
}

}  // namespace tool

#include "tools/TableFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "base/Status.h"
#include "persist/CVLFile.h"
#include "persist/Cipher.h"
#include "tools/ContentWalk.h"
#include "tools/ReadWhole.h"
#include "tools/ValueText.h"

namespace tool {

namespace {

constexpr uint32_t kChecksumSize = 4;
constexpr uint8_t kRecordEnd = 255;

// A count that reads as negative stands for none.
uint32_t CountOf(uint32_t stored) {
    return static_cast<int32_t>(stored) < 0 ? 0 : stored;
}

}  // namespace

Damage::Damage(const std::string& file, uint64_t offset, const std::string& expected,
               const std::string& found)
    : ToolError(EXIT_DIFFERS, fmt::format("{}: damaged at byte {}: expected {}, found {}", file,
                                          offset, expected, found)) {}

TableFile::TableFile(const std::string& path, Checksum checksum)
    : name_(path == "-" ? "standard input" : path) {
    std::fill(std::begin(field_of_number_), std::end(field_of_number_), kNoField);
    ReadWhole(path, name_, &buffer_);
    file_size_ = buffer_.GetLength();
    if (file_size_ < kChecksumSize) {
        throw Damage(name_, 0, "a database file of at least 4 bytes",
                     fmt::format("{} bytes", file_size_));
    }
    content_size_ = file_size_ - kChecksumSize;
    Decipher(checksum);
    try {
        ReadFields();
    } catch (const Damage&) {
        RequireChecksum();  // if that is where the fault comes from
        throw;
    }
}

// A buffer whose checksum does not match is deciphered all the same.
void TableFile::Decipher(Checksum checksum) {
    try {
        buffer_.Unseal(CVLFile::kKey);
    } catch (int) {
        checksum_matches_ = false;
    }
    checksum_ = LoadBigEndian(buffer_.GetData() + content_size_);
    if (checksum == MUST_MATCH) {
        RequireChecksum();
    }
}

void TableFile::RequireChecksum() const {
    if (checksum_matches_) {
        return;
    }
    const uint32_t sum = SumBytes(buffer_.GetData(), content_size_);
    throw Damage(name_, content_size_,
                 fmt::format("the checksum {:08x} of the bytes before it", sum),
                 fmt::format("{:08x}", checksum_));
}

void TableFile::ReadFields() {
    ContentWalk walk(name_, buffer_.GetData(), 0, content_size_);
    const uint32_t count = CountOf(walk.TakeNumber("the field count"));
    if (count > kMostFieldsInFile) {
        walk.Fail(0, "a field count of at most 255", fmt::format("{}", count));
    }
    for (uint32_t i = 0; i < count; ++i) {
        FieldSpec field = ReadField(&walk);
        Warn(field);
        field_of_number_[field.number] = i;
        fields_.push_back(std::move(field));
    }
    record_count_ = CountOf(walk.TakeNumber("the record count"));
    records_at_ = walk.GetOffset();
}

// The name ends at its first zero byte, wherever in the content, and the next field begins where
// the size says: so the library reads it.
FieldSpec TableFile::ReadField(ContentWalk* walk) {
    FieldSpec field;
    field.type = walk->TakeNumber("a field's type");
    field.number = walk->TakeByte("a field's number");
    const uint32_t size = walk->TakeNumber("a field's name size");
    const uint64_t at = walk->GetOffset();
    const unsigned char* name = walk->Peek();
    const void* end = std::memchr(name, 0, walk->GetRemaining());
    walk->Take(size, "a field's name");
    if (end == nullptr) {
        walk->Fail(at, "a zero byte at the end of a field's name", "none in the rest of the file");
    }
    const auto length = static_cast<size_t>(static_cast<const unsigned char*>(end) - name);
    field.name.assign(reinterpret_cast<const char*>(name), length);
    if (length + 1 != size) {
        warnings_.push_back(fmt::format("field {}: the name takes {} bytes, its size says {}",
                                        fields_.size(), length + 1, size));
    }
    return field;
}

void TableFile::Warn(const FieldSpec& field) {
    const auto warn = [&](const std::string& what) {
        warnings_.push_back(fmt::format("field {}: {}", fields_.size(), what));
    };
    if (!IsUtf8(field.name)) {
        warn("the name is not UTF-8, so that no host can ask for it");
    }
    if (FindField(field.name) != kNoField) {
        warn("another field has the same name");
    }
    if (field_of_number_[field.number] != kNoField) {
        warn("another field has the same number, whose values are this field's");
    }
    if (field.number == kRecordEnd) {
        warn("its number is 255, so that no record can hold a value for it");
    }
    if (field.type > UINT8_MAX) {
        warn(fmt::format("no host can ask for the type {}", field.type));
    }
}

size_t TableFile::FindField(std::string_view name) const {
    const auto found = std::find_if(fields_.begin(), fields_.end(),
                                    [name](const FieldSpec& f) { return f.name == name; });
    return found != fields_.end() ? static_cast<size_t>(found - fields_.begin()) : kNoField;
}

size_t TableFile::GetField(std::string_view name) const {
    const size_t field = FindField(name);
    if (field != kNoField) {
        return field;
    }
    throw ToolError(EXIT_WRONG_USE, fmt::format("{}: no field is called '{}'; there are: {}", name_,
                                                Visible(name), ListNames()));
}

std::string TableFile::ListNames() const {
    std::string names;
    for (const FieldSpec& field : fields_) {
        names += (names.empty() ? "" : ", ") + Visible(field.name);
    }
    return names.empty() ? "none" : names;
}

std::string_view TableFile::GetValueAt(uint32_t offset) const {
    const unsigned char* bytes = buffer_.GetData() + offset;
    return {reinterpret_cast<const char*>(bytes), LoadBigEndian(bytes - 4)};
}

uint32_t TableFile::GetOffsetOf(std::string_view bytes) const {
    return static_cast<uint32_t>(reinterpret_cast<const unsigned char*>(bytes.data()) -
                                 buffer_.GetData());
}

void TableFile::CheckRecords() const {
    Record record;
    for (RecordReader reader(*this); reader.Next(&record);) {
    }
}

RecordReader::RecordReader(const TableFile& file) : file_(file), offset_(file.records_at_) {}

bool RecordReader::Next(Record* record) {
    if (done_ == file_.record_count_) {
        return false;
    }
    ReadAt(offset_, record);
    ++done_;
    return true;
}

void RecordReader::ReadAt(uint64_t offset, Record* record) {
    ContentWalk walk(file_.name_, file_.buffer_.GetData(), offset, file_.content_size_);
    record->Clear(file_.fields_.size(), offset);
    uint8_t number = walk.TakeByte("a record: a value's number or the record's end");
    while (number != kRecordEnd) {
        const uint32_t length = walk.TakeNumber("a value's length");
        const unsigned char* bytes = walk.Take(length, "a value");
        record->Add({file_.field_of_number_[number],
                     number,
                     {reinterpret_cast<const char*>(bytes), length}});
        number = walk.TakeByte("a record: a value's number or the record's end");
    }
    offset_ = walk.GetOffset();
}

void Record::Clear(size_t fields, uint64_t offset) {
    values_.clear();
    by_field_.assign(fields, {});
    offset_ = offset;
    repeats_ = false;
}

void Record::Add(const StoredValue& value) {
    if (value.field == kNoField) {
        values_.push_back(value);
        return;
    }
    std::string_view& place = by_field_[value.field];
    if (place.data() == nullptr) {
        values_.push_back(value);
    } else {
        repeats_ = true;
        std::find_if(values_.begin(), values_.end(), [&value](const StoredValue& v) {
            return v.field == value.field;
        })->bytes = value.bytes;
    }
    place = value.bytes;
}

}  // namespace tool

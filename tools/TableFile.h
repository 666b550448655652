#ifndef VAMEL_TOOLS_TABLEFILE_H
#define VAMEL_TOOLS_TABLEFILE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "persist/CCBuffer.h"
#include "tools/ToolError.h"

namespace tool {

class ContentWalk;

constexpr size_t kMostFieldsInFile = 255;
constexpr size_t kNoField = SIZE_MAX;

// A field as the file describes it. The name is UTF-8 in every file that the library wrote.
struct FieldSpec {
    std::string name;
    uint32_t type = 0;   // enum vamel_type, or any other number
    uint8_t number = 0;  // what the file's values call it by; its position, where the library wrote
};

// A value as it is stored: text with its terminating zero byte. Points into its TableFile.
struct StoredValue {
    size_t field = kNoField;  // position in TableFile::GetFields; kNoField: nothing describes it
    uint8_t number = 0;
    std::string_view bytes;
};

// One record, in place: valid while its TableFile is, and until the next record is read into it.
class Record {
  public:
    // In stored order. What is stored twice stands once, with the later value, as the library reads
    // it.
    const std::vector<StoredValue>& GetValues() const { return values_; }
    // The value for a field, by its position: the last one stored. Nothing where it is absent.
    std::optional<std::string_view> Get(size_t field) const {
        const std::string_view value = by_field_[field];
        return value.data() != nullptr ? std::optional(value) : std::nullopt;
    }
    uint64_t GetOffset() const { return offset_; }  // in the file
    bool HasRepeats() const { return repeats_; }    // a field's value was stored twice

  private:
    friend class RecordReader;
    void Clear(size_t fields, uint64_t offset);
    void Add(const StoredValue& value);

    std::vector<StoredValue> values_;
    std::vector<std::string_view> by_field_;
    uint64_t offset_ = 0;
    bool repeats_ = false;
};

// The file does not hold what it should.
class Damage : public ToolError {
  public:
    Damage(const std::string& file, uint64_t offset, const std::string& expected,
           const std::string& found);
};

// A whole database file in memory, deciphered in place, so that an offset in the content is the
// offset in the file. The file is opened for reading only, and never changed, renamed or removed.
class TableFile {
  public:
    // Whether a checksum that does not match ends the reading (the default) or is kept to be told.
    enum Checksum { MUST_MATCH, IS_TOLD };

    // Reads FILE, or standard input for "-", and its field list. Throws Damage for what is not
    // well-formed, and ToolError with EXIT_FILE_TROUBLE for what cannot be read.
    explicit TableFile(const std::string& path, Checksum checksum = MUST_MATCH);
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    const std::string& GetName() const { return name_; }  // for messages
    const std::vector<FieldSpec>& GetFields() const { return fields_; }
    // The position of the first field of that name, or kNoField.
    size_t FindField(std::string_view name) const;
    // As FindField; throws ToolError with EXIT_WRONG_USE and the names that there are.
    size_t GetField(std::string_view name) const;

    std::string ListNames() const;  // of all fields, for messages

    uint32_t GetRecordCount() const { return record_count_; }  // as the file tells it
    uint64_t GetFileSize() const { return file_size_; }
    uint64_t GetContentSize() const { return content_size_; }  // without the checksum
    bool ChecksumMatches() const { return checksum_matches_; }
    uint32_t GetChecksum() const { return checksum_; }  // as stored
    // Throws Damage for a checksum that does not match.
    void RequireChecksum() const;

    // The value whose bytes begin at that offset in the file. 32 bits do for every offset.
    std::string_view GetValueAt(uint32_t offset) const;
    uint32_t GetOffsetOf(std::string_view bytes) const;

    // Throws Damage for the first fault in the records.
    void CheckRecords() const;

    // Oddities of the field list that readers cope with.
    const std::vector<std::string>& GetWarnings() const { return warnings_; }

  private:
    friend class RecordReader;
    void Decipher(Checksum checksum);
    void ReadFields();
    FieldSpec ReadField(ContentWalk* walk);
    void Warn(const FieldSpec& field);

    std::string name_;
    CCBuffer buffer_;
    std::vector<FieldSpec> fields_;
    std::vector<std::string> warnings_;
    size_t field_of_number_[256];
    uint64_t file_size_ = 0;
    uint64_t content_size_ = 0;
    uint64_t records_at_ = 0;
    uint32_t record_count_ = 0;
    uint32_t checksum_ = 0;
    bool checksum_matches_ = true;
};

// Walks the records of a file, from the first to the last:
//
//     Record record;
//     for (RecordReader reader(file); reader.Next(&record);) ...
//
// Any number of readers may walk one file.
class RecordReader {
  public:
    explicit RecordReader(const TableFile& file);

    // Reads the next record; false behind the last one. Throws Damage.
    bool Next(Record* record);
    // Reads the record that begins at an offset which a record gave.
    void ReadAt(uint64_t offset, Record* record);
    uint32_t GetDone() const { return done_; }      // records read
    uint64_t GetOffset() const { return offset_; }  // behind the record read last

  private:
    const TableFile& file_;
    uint64_t offset_;
    uint32_t done_ = 0;
};

}  // namespace tool

#endif

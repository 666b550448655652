#ifndef VAMEL_TOOLS_TABLEWRITER_H
#define VAMEL_TOOLS_TABLEWRITER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "persist/CCBuffer.h"
#include "tools/TableFile.h"

namespace tool {

// Makes the bytes of a database file, the same that the library writes for the same fields and
// records:
//
//     writer.AddField("id", VAMEL_TYPE_INTEGER);
//     writer.AddValue(0, bytes); writer.EndRecord(); ...
//     writer.Finish();
//
// Fields may be added until the end: their list is put before the records by Finish. A field is
// known by its position. Throws ToolError with EXIT_FILE_TROUBLE for more than a file can hold.
class TableWriter {
  public:
    TableWriter() = default;

    // Throws ToolError with EXIT_WRONG_USE for more fields than a reader accepts.
    void AddField(std::string name, uint32_t type);
    const std::vector<FieldSpec>& GetFields() const { return fields_; }

    void AddValue(size_t field, std::string_view bytes);
    void EndRecord();
    uint32_t GetRecordCount() const { return records_; }

    // Completes the bytes. There must be a record: a table without any has no file.
    void Finish();
    std::string_view GetBytes() const {
        return {reinterpret_cast<const char*>(buffer_.GetData()), buffer_.GetLength()};
    }

  private:
    unsigned char* Extend(uint64_t count);
    unsigned char* WriteFields(unsigned char* to) const;
    uint64_t MeasureFields() const;

    std::vector<FieldSpec> fields_;
    CCBuffer buffer_;
    uint32_t records_ = 0;
};

}  // namespace tool

#endif

#ifndef VAMEL_TOOLS_IMPORTSCHEMA_H
#define VAMEL_TOOLS_IMPORTSCHEMA_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/TableFile.h"

namespace tool {

struct ImportField {
    std::string name;
    uint32_t type = 0;
    uint8_t flags = 0;  // enum vamel_flag
};

// The fields of the table that an import makes or adds to. They are known beforehand, from the
// command line or from the file that is there; or, while the schema is open, the input says them.
// Throws ToolError with EXIT_WRONG_USE.
class ImportSchema {
  public:
    // `options` are the field options of the command line: "name:type[:indexed][:unique]", in which
    // the name may hold colons of its own.
    explicit ImportSchema(const std::vector<std::string>& options);

    // Takes the fields of a file, in the file's order. Those of the command line must be among
    // them, with the same type; only their flags count.
    void Adopt(const TableFile& file);

    const std::vector<ImportField>& GetFields() const { return fields_; }
    bool IsOpen() const { return open_; }
    void Close() { open_ = false; }
    bool HasUnique() const;

    // Whether there are as many fields as a file can have, and what to say of one more.
    bool IsFull() const { return fields_.size() >= kMostFieldsInFile; }
    static constexpr const char* kTooMany = "more than 255 fields: no reader accepts such a file";

    // The position of a field, or kNoField.
    size_t Find(std::string_view name) const;
    // Adds a field, without flags, to an open schema. Its position.
    size_t Add(std::string name, uint32_t type);
    // "id, name, age", for messages.
    std::string ListNames() const;

  private:
    void AddOption(const std::string& option);

    std::vector<ImportField> fields_;
    bool open_ = true;
};

}  // namespace tool

#endif

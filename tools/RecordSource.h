#ifndef VAMEL_TOOLS_RECORDSOURCE_H
#define VAMEL_TOOLS_RECORDSOURCE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/ImportSchema.h"
#include "tools/InputFile.h"

namespace tool {

// A value to store.
struct NewValue {
    size_t field;  // position in the schema
    std::string bytes;
};

// Where an import takes its records from.
class RecordSource {
  public:
    RecordSource() = default;
    RecordSource(const RecordSource&) = delete;
    RecordSource& operator=(const RecordSource&) = delete;
    virtual ~RecordSource() = default;

    // The values of the next record, each field once at most; false behind the last record. Throws
    // ToolError that names the line and the reason. May add fields to a schema that is open.
    virtual bool Read(std::vector<NewValue>* values) = 0;

    // The line in which the record read last begins.
    virtual uint64_t GetLine() const = 0;
};

// Rows of comma-separated values. The header names the columns' fields; without one, the columns
// are the schema's fields in order. Where the schema is open, the header makes fields of type text.
//
// A cell with nothing in it is no value; "" is the empty text, or the empty binary value. Integers
// are decimal; binary values, and values stored against their field's type, are hexadecimal after
// 0x. An empty line is passed over, unless there is one column only.
std::unique_ptr<RecordSource> MakeCsvSource(InputFile* in, ImportSchema* schema, bool has_header);

// A JSON object a line; see JsonValue.h. Where the schema is open, the first value under a name
// makes the field: a number an integer, a string text, anything else binary. Empty lines are passed
// over.
std::unique_ptr<RecordSource> MakeJsonSource(InputFile* in, ImportSchema* schema);

}  // namespace tool

#endif

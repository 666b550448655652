#ifndef VAMEL_TOOLS_JSONVALUE_H
#define VAMEL_TOOLS_JSONVALUE_H

#include <fmt/format.h>

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/TableFile.h"

// How records stand in JSON lines, so that a file written out and read in again is the same byte
// for byte.
//
//   {"fields":[{"name":"id","type":"integer"},{"name":"photo","type":"binary"}]}
//   {"id":5,"name":"ann"}
//   {"name":"bob","photo":{"hex":"00ff"}}
//   {}
//
// One record a line, the members in the order in which the record stores its values, which a reader
// has to keep. An absent value is left out; a reader takes null for absent, too. The first line may
// be a field list instead, in the order of the file; no record looks like it, since no value is an
// array.
//
// A value is
//   a number         four bytes in an integer field
//   a string         text in a text field: UTF-8 without U+0000, then one zero byte, not in JSON
//   {"hex":"00ff"}   the stored bytes as they are, in a field of any type: binary values, and what
//                    is stored against its field's type (an empty value of a text field, text that
//                    is not UTF-8, an integer of three bytes)
//
// A type is "integer", "text", "binary" or a number. A name that is not UTF-8 stands as U+0000 and
// its bytes in hexadecimal.
namespace tool {

// Appends text in quotes. It must be UTF-8.
void AppendJsonString(fmt::memory_buffer& out, std::string_view text);

// Appends a field's name in quotes.
void AppendJsonName(fmt::memory_buffer& out, std::string_view name);

// Appends a field list, without a line end.
void AppendJsonFields(fmt::memory_buffer& out, const std::vector<FieldSpec>& fields);

// Appends a stored value for a field of that type.
void AppendJsonValue(fmt::memory_buffer& out, uint32_t type, std::string_view bytes);

// The name that a member's key, or the "name" of a field list, stands for.
std::string NameFromJson(const std::string& key);

// The bytes to store for a value that is not null. Throws std::invalid_argument with a reason that
// can be shown to the user: "a number is expected, not a string".
std::string ValueFromJson(const nlohmann::json& value, uint32_t type);

}  // namespace tool

#endif

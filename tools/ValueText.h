#ifndef VAMEL_TOOLS_VALUETEXT_H
#define VAMEL_TOOLS_VALUETEXT_H

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

// "integer", "text", "binary", or the number of a type that has no name.
std::string TypeName(uint32_t type);
// The type of such a name, or nothing.
std::optional<uint32_t> TypeFromName(std::string_view name);

bool IsUtf8(std::string_view text);

// The text with every control character, and every byte that is not UTF-8, as an escape such as \n
// or \x1b, so that it can go to a terminal and stays on its line.
std::string Visible(std::string_view text);
// Whether that is surely the text itself.
bool IsVisible(std::string_view text);
// The beginning of the text, as visible, that a line of a message can take.
std::string Shorten(std::string_view text);

// Whether the value is what hosts normally store in a field of that type: four bytes; UTF-8 that
// holds one zero byte, at its end; anything for binary. A field of any other type is binary.
bool IsRegular(uint32_t type, std::string_view bytes);

// The integer of four bytes, most significant first.
int32_t IntegerOf(std::string_view bytes);
// The four bytes of an integer.
std::string BytesOfInteger(int32_t value);

// Text without the zero byte at its end, if it has one.
std::string_view TextOf(std::string_view bytes);

void AppendHex(fmt::memory_buffer& out, std::string_view bytes);
// The bytes of an even number of hexadecimal digits, or nothing.
std::optional<std::string> BytesOfHex(std::string_view digits);

inline void Append(fmt::memory_buffer& out, std::string_view text) {
    out.append(text.data(), text.data() + text.size());
}

// The value for people: an integer in decimal, text as it is, anything else in hexadecimal after
// 0x.
void AppendPlain(fmt::memory_buffer& out, uint32_t type, std::string_view bytes);

// The value as one CSV column: absent is nothing, empty text is "", and other values stand in
// quotes where they need them.
void AppendCsv(fmt::memory_buffer& out, uint32_t type, std::optional<std::string_view> bytes);
void AppendCsvText(fmt::memory_buffer& out, std::string_view text);

}  // namespace tool

#endif

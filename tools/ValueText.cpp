#include "tools/ValueText.h"

#include <algorithm>

#include "base/BigEndian.h"
#include "platform/utf8.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

constexpr const char* kTypeNames[] = {nullptr, "integer", "text", "binary"};
constexpr std::string_view kDigits = "0123456789abcdef";

int DigitOf(char c) {
    const size_t at = kDigits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c | 0x20) : c);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

bool EndsItself(std::string_view bytes) {
    return !bytes.empty() && bytes.find('\0') == bytes.size() - 1;
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

std::string TypeName(uint32_t type) {
    return type >= VAMEL_TYPE_INTEGER && type <= VAMEL_TYPE_BINARY ? kTypeNames[type]
                                                                   : std::to_string(type);
}

std::optional<uint32_t> TypeFromName(std::string_view name) {
    for (uint32_t type = VAMEL_TYPE_INTEGER; type <= VAMEL_TYPE_BINARY; ++type) {
        if (name == kTypeNames[type]) {
            return type;
        }
    }
    uint64_t number = 0;
    for (const char c : name) {
        if (c < '0' || c > '9' || number > UINT32_MAX) {
            return std::nullopt;
        }
        number = number * 10 + static_cast<uint64_t>(c - '0');
    }
    if (name.empty() || number > UINT32_MAX) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(number);
}

bool IsUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    size_t count = 0;
    return utf8::IsAscii(bytes, text.size()) || utf8::Decode(bytes, text.size(), nullptr, &count);
}

bool IsRegular(uint32_t type, std::string_view bytes) {
    switch (type) {
        case VAMEL_TYPE_INTEGER:
            return bytes.size() == 4;
        case VAMEL_TYPE_TEXT:
            return EndsItself(bytes) && IsUtf8(bytes);
        default:
            return true;
    }
}

int32_t IntegerOf(std::string_view bytes) {
    return LoadInteger(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

std::string BytesOfInteger(int32_t value) {
    unsigned char bytes[4];
    StoreBigEndian(static_cast<uint32_t>(value), bytes);
    return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}

std::string_view TextOf(std::string_view bytes) {
    if (!bytes.empty() && bytes.back() == '\0') {
        bytes.remove_suffix(1);
    }
    return bytes;
}

void AppendHex(fmt::memory_buffer& out, std::string_view bytes) {
    const size_t at = out.size();
    out.resize(at + 2 * bytes.size());
    char* to = out.data() + at;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *to++ = kDigits[byte >> 4];
        *to++ = kDigits[byte & 15];
    }
}

std::optional<std::string> BytesOfHex(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int high = DigitOf(digits[i]);
        const int low = DigitOf(digits[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

void AppendPlain(fmt::memory_buffer& out, uint32_t type, std::string_view bytes) {
    if (type == VAMEL_TYPE_INTEGER && bytes.size() == 4) {
        const fmt::format_int number(IntegerOf(bytes));
        Append(out, {number.data(), number.size()});
    } else if (type == VAMEL_TYPE_TEXT && IsRegular(type, bytes)) {
        Append(out, TextOf(bytes));
    } else {
        Append(out, "0x");
        AppendHex(out, bytes);
    }
}

void AppendCsv(fmt::memory_buffer& out, uint32_t type, std::optional<std::string_view> bytes) {
    if (!bytes) {
        return;
    }
    if (bytes->empty()) {
        Append(out, "\"\"");
    } else if (type == VAMEL_TYPE_TEXT && IsRegular(type, *bytes)) {
        AppendCsvText(out, TextOf(*bytes));
    } else {
        AppendPlain(out, type, *bytes);
    }
}

void AppendCsvText(fmt::memory_buffer& out, std::string_view text) {
    if (!text.empty() && text.find_first_of("\",\r\n") == std::string_view::npos) {
        Append(out, text);
        return;
    }
    out.push_back('"');
    for (const char c : text) {
        if (c == '"') {
            out.push_back('"');
        }
        out.push_back(c);
    }
    out.push_back('"');
}

// Bytes C2 80 to C2 9F are control characters too.
bool IsVisible(std::string_view text) {
    return std::none_of(text.begin(), text.end(), IsControl) &&
           text.find('\xc2') == std::string_view::npos && IsUtf8(text);
}

std::string Visible(std::string_view text) {
    const bool is_utf8 = IsUtf8(text);
    std::string safe;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        const bool c1 =
            c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
        if (c == '\n') {
            safe += "\\n";
        } else if (c == '\t') {
            safe += "\\t";
        } else if (c1 && is_utf8) {
            safe += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[++i]));
        } else if (IsControl(text[i]) || (c >= 0x80 && !is_utf8)) {
            safe += fmt::format("\\x{:02x}", c);
        } else {
            safe += text[i];
        }
    }
    return safe;
}

std::string Shorten(std::string_view text) {
    constexpr size_t kMost = 40;
    if (text.size() <= kMost) {
        return Visible(text);
    }
    size_t count = kMost;
    while (count > kMost - 3 && (text[count] & 0xc0) == 0x80) {
        --count;  // not within a character
    }
    return Visible(text.substr(0, count)) + "...";
}

}  // namespace tool

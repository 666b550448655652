#include "tools/JsonValue.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

void AppendEscape(fmt::memory_buffer& out, char c) {
    switch (c) {
        case '\n':
            return Append(out, "\\n");
        case '\t':
            return Append(out, "\\t");
        case '\r':
            return Append(out, "\\r");
        case '"':
            return Append(out, "\\\"");
        case '\\':
            return Append(out, "\\\\");
        default:
            fmt::format_to(fmt::appender(out), "\\u{:04x}", static_cast<unsigned char>(c));
    }
}

// How many bytes at the beginning of the text need an escape. Control characters all do: what is
// printed may go to a terminal. U+0080 to U+009F are C2 80 to C2 9F.
size_t CountEscaped(std::string_view text) {
    const auto c = static_cast<unsigned char>(text[0]);
    if (c == 0xc2) {
        return static_cast<unsigned char>(text[1]) < 0xa0 ? 2 : 0;
    }
    return c < 0x20 || c == 0x7f || c == '"' || c == '\\' ? 1 : 0;
}

[[noreturn]] void Refuse(const char* expected, const nlohmann::json& value) {
    throw std::invalid_argument(fmt::format("{} is expected, not {} {}", expected,
                                            value.is_structured() ? "an" : "a", value.type_name()));
}

std::string BytesOfObject(const nlohmann::json& value) {
    const auto hex = value.find("hex");
    const bool shaped = value.size() == 1 && hex != value.end() && hex->is_string();
    std::optional<std::string> bytes;
    if (shaped) {
        bytes = BytesOfHex(hex->get_ref<const std::string&>());
    }
    if (!bytes) {
        throw std::invalid_argument("an object is expected to be {\"hex\":\"00ff\"}");
    }
    return *bytes;
}

std::string BytesOfNumber(const nlohmann::json& value) {
    if (!value.is_number_integer()) {
        Refuse("an integer", value);
    }
    const bool large = value.is_number_unsigned() && value.get<uint64_t>() > INT32_MAX;
    const int64_t number = large ? INT64_MAX : value.get<int64_t>();
    if (number < INT32_MIN || number > INT32_MAX) {
        throw std::invalid_argument(
            fmt::format("{} does not fit into an integer of 32 bits", value.dump()));
    }
    return BytesOfInteger(static_cast<int32_t>(number));
}

std::string BytesOfText(const nlohmann::json& value) {
    if (!value.is_string()) {
        Refuse("a string", value);
    }
    std::string text = value.get<std::string>();
    if (text.find('\0') != std::string::npos) {
        throw std::invalid_argument("text cannot hold U+0000; use {\"hex\":\"...\"}");
    }
    text.push_back('\0');
    return text;
}

}  // namespace

void AppendJsonString(fmt::memory_buffer& out, std::string_view text) {
    out.push_back('"');
    size_t done = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (const size_t count = CountEscaped(text.substr(i))) {
            Append(out, text.substr(done, i - done));
            done = i + count;
            i = done - 1;
            AppendEscape(out, text[i]);
        }
    }
    Append(out, text.substr(done));
    out.push_back('"');
}

void AppendJsonName(fmt::memory_buffer& out, std::string_view name) {
    if (IsUtf8(name)) {
        AppendJsonString(out, name);
        return;
    }
    Append(out, "\"\\u0000");
    AppendHex(out, name);
    out.push_back('"');
}

void AppendJsonValue(fmt::memory_buffer& out, uint32_t type, std::string_view bytes) {
    const bool regular = IsRegular(type, bytes);
    if (regular && type == VAMEL_TYPE_INTEGER) {
        const fmt::format_int number(IntegerOf(bytes));
        Append(out, {number.data(), number.size()});
    } else if (regular && type == VAMEL_TYPE_TEXT) {
        AppendJsonString(out, TextOf(bytes));
    } else {
        Append(out, "{\"hex\":\"");
        AppendHex(out, bytes);
        Append(out, "\"}");
    }
}

void AppendJsonFields(fmt::memory_buffer& out, const std::vector<FieldSpec>& fields) {
    Append(out, "{\"fields\":[");
    for (const FieldSpec& field : fields) {
        Append(out, &field != &fields.front() ? ",{\"name\":" : "{\"name\":");
        AppendJsonName(out, field.name);
        const bool named = field.type >= VAMEL_TYPE_INTEGER && field.type <= VAMEL_TYPE_BINARY;
        fmt::format_to(fmt::appender(out), named ? ",\"type\":\"{}\"}}" : ",\"type\":{}}}",
                       TypeName(field.type));
    }
    Append(out, "]}");
}

std::string NameFromJson(const std::string& key) {
    if (key.empty() || key[0] != '\0') {
        return key;
    }
    const std::optional<std::string> name = BytesOfHex(std::string_view(key).substr(1));
    return name ? *name : key;
}

std::string ValueFromJson(const nlohmann::json& value, uint32_t type) {
    if (value.is_object()) {
        return BytesOfObject(value);
    }
    if (type == VAMEL_TYPE_INTEGER) {
        return BytesOfNumber(value);
    }
    if (type == VAMEL_TYPE_TEXT) {
        return BytesOfText(value);
    }
    Refuse("{\"hex\":\"00ff\"}", value);
}

}  // namespace tool

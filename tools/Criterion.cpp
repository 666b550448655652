#include "tools/Criterion.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>

#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

struct Operator {
    std::string_view sign;
    int compare;
};

// The longer ones first: one begins another.
constexpr Operator kOperators[] = {{"<=", VAMEL_LESS_OR_EQUAL},
                                   {">=", VAMEL_GREATER_OR_EQUAL},
                                   {"<", VAMEL_LESS},
                                   {">", VAMEL_GREATER},
                                   {"=", VAMEL_EQUAL}};

const Operator* OperatorAt(std::string_view text) {
    for (const Operator& op : kOperators) {
        if (text.substr(0, op.sign.size()) == op.sign) {
            return &op;
        }
    }
    return nullptr;
}

bool BeginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

[[noreturn]] void Refuse(const std::string& condition, const std::string& reason) {
    throw ToolError(EXIT_WRONG_USE, fmt::format("--where '{}': {}", condition, reason));
}

std::string ReadInteger(const std::string& condition, const std::string& digits) {
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(digits.c_str(), &end, 10);
    if (digits.empty() || *end != '\0') {
        Refuse(condition, fmt::format("'{}' is not an integer", digits));
    }
    if (errno != 0 || number < INT32_MIN || number > INT32_MAX) {
        Refuse(condition, fmt::format("{} does not fit into 32 bits", digits));
    }
    return BytesOfInteger(static_cast<int32_t>(number));
}

std::string ReadBytes(const std::string& condition, std::string_view digits) {
    const std::optional<std::string> bytes =
        BytesOfHex(digits.substr(BeginsWith(digits, "0x") ? 2 : 0));
    if (!bytes) {
        Refuse(condition, fmt::format("'{}' is not bytes in hexadecimal", digits));
    }
    return *bytes;
}

std::string ReadOperand(const std::string& condition, uint32_t type, std::string text) {
    switch (type) {
        case VAMEL_TYPE_INTEGER:
            return ReadInteger(condition, text);
        case VAMEL_TYPE_TEXT:
            text.push_back('\0');
            return text;
        default:
            return ReadBytes(condition, text);
    }
}

}  // namespace

Criterion::Criterion(const TableFile& file, const std::string& condition) : text(condition) {
    size_t at = FindOperator(file);
    const bool blank = text[at] == ' ';
    at += blank ? 1 : 0;
    const Operator* op = OperatorAt(std::string_view(text).substr(at));
    compare = op->compare;
    at += op->sign.size();
    at += blank && at < text.size() && text[at] == ' ' ? 1 : 0;
    operand = ReadOperand(text, file.GetFields()[field].type, text.substr(at));
}

// Finds the field; gives where the comparison, or the blank before it, begins.
size_t Criterion::FindOperator(const TableFile& file) {
    const std::string* longest = nullptr;
    for (const FieldSpec& known : file.GetFields()) {
        if (!BeginsWith(text, known.name) ||
            (longest != nullptr && known.name.size() <= longest->size())) {
            continue;
        }
        const std::string_view rest = std::string_view(text).substr(known.name.size());
        if (OperatorAt(rest.substr(BeginsWith(rest, " ") ? 1 : 0)) != nullptr) {
            longest = &known.name;
        }
    }
    if (longest == nullptr) {
        Refuse(text, "expected a field, one of = < > <= >=, and a value; fields are: " +
                         file.ListNames());
    }
    field = file.GetField(*longest);
    return longest->size();
}

}  // namespace tool

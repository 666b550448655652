#include "tools/ImportSchema.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/ToolError.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

[[noreturn]] void ThrowWrongUse(const std::string& message) {
    throw ToolError(EXIT_WRONG_USE, message);
}

// Cuts off what stands behind the last colon, if it is `word`.
bool CutWord(std::string* option, std::string_view word) {
    const size_t colon = option->rfind(':');
    if (colon == std::string::npos || option->compare(colon + 1, std::string::npos, word) != 0) {
        return false;
    }
    option->resize(colon);
    return true;
}

std::string ListOf(const std::vector<ImportField>& fields) {
    std::string list;
    for (const ImportField& field : fields) {
        list += (list.empty() ? "" : ", ") + field.name + ":" + TypeName(field.type);
    }
    return list;
}

}  // namespace

ImportSchema::ImportSchema(const std::vector<std::string>& options) : open_(options.empty()) {
    for (const std::string& option : options) {
        AddOption(option);
    }
}

void ImportSchema::AddOption(const std::string& option) {
    std::string rest = option;
    ImportField field;
    for (bool cut = true; cut;) {
        const bool unique = CutWord(&rest, "unique");
        const bool indexed = CutWord(&rest, "indexed");
        field.flags |= unique ? VAMEL_FLAG_UNIQUE : 0;
        field.flags |= indexed ? VAMEL_FLAG_INDEXED : 0;
        cut = unique || indexed;
    }
    const size_t colon = rest.rfind(':');
    const auto type = colon != std::string::npos && colon != 0
                          ? TypeFromName(std::string_view(rest).substr(colon + 1))
                          : std::nullopt;
    if (!type || *type > UINT8_MAX) {
        ThrowWrongUse(
            fmt::format("--field {}: write name:type[:indexed][:unique]; a type is "
                        "integer, text, binary or a number up to 255",
                        option));
    }
    field.name = rest.substr(0, colon);
    field.type = *type;
    if (Find(field.name) != kNoField) {
        ThrowWrongUse(fmt::format("--field {}: the field is there twice", option));
    }
    if (IsFull()) {
        ThrowWrongUse(fmt::format("--field {}: {}", option, kTooMany));
    }
    fields_.push_back(std::move(field));
}

void ImportSchema::Adopt(const TableFile& file) {
    std::vector<ImportField> adopted;
    for (const FieldSpec& field : file.GetFields()) {
        adopted.push_back({field.name, field.type, 0});
    }
    for (const ImportField& field : fields_) {
        const auto same = std::find_if(adopted.begin(), adopted.end(), [&field](const auto& other) {
            return other.name == field.name && other.type == field.type;
        });
        if (same == adopted.end()) {
            ThrowWrongUse(fmt::format("{}: has no field {} of type {}; its fields are {}",
                                      file.GetName(), field.name, TypeName(field.type),
                                      ListOf(adopted)));
        }
        same->flags = field.flags;
    }
    fields_ = std::move(adopted);
    open_ = false;
}

bool ImportSchema::HasUnique() const {
    return std::any_of(fields_.begin(), fields_.end(), [](const ImportField& field) {
        return (field.flags & VAMEL_FLAG_UNIQUE) != 0;
    });
}

size_t ImportSchema::Find(std::string_view name) const {
    for (size_t i = 0; i < fields_.size(); ++i) {
        if (fields_[i].name == name) {
            return i;
        }
    }
    return kNoField;
}

size_t ImportSchema::Add(std::string name, uint32_t type) {
    fields_.push_back({std::move(name), type, 0});
    return fields_.size() - 1;
}

std::string ImportSchema::ListNames() const {
    return ListOf(fields_);
}

}  // namespace tool

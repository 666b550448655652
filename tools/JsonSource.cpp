#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/JsonValue.h"
#include "tools/RecordSource.h"
#include "tools/ToolError.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

using Object = nlohmann::ordered_json;

class JsonSource final : public RecordSource {
  public:
    JsonSource(InputFile* in, ImportSchema* schema) : in_(in), schema_(schema) {}
    bool Read(std::vector<NewValue>* values) override;
    uint64_t GetLine() const override { return line_; }

  private:
    bool ReadObject(Object* object);
    Object Parse() const;
    static bool IsFieldList(const Object& object);
    void TakeFieldList(const Object& object);
    void TakeField(const Object& entry);
    size_t AddField(const std::string& name, uint32_t type);
    void Add(NewValue value, std::vector<NewValue>* values) const;
    NewValue Convert(const std::string& key, const Object& value);
    size_t FieldOf(const std::string& key, const Object& value);
    [[noreturn]] void Fail(const std::string& reason) const { in_->Fail(line_, reason); }

    InputFile* in_;
    ImportSchema* schema_;
    std::string text_;
    uint64_t line_ = 0;
    bool begun_ = false;
};

uint32_t TypeOf(const Object& value) {
    if (value.is_number()) {
        return VAMEL_TYPE_INTEGER;
    }
    return value.is_string() ? VAMEL_TYPE_TEXT : VAMEL_TYPE_BINARY;
}

std::optional<uint32_t> TypeFromJson(const Object& type) {
    return type.is_string() || type.is_number_unsigned()
               ? TypeFromName(type.is_string() ? type.get<std::string>() : type.dump())
               : std::nullopt;
}

// A message of the parser without its own name, the line, which it takes for the first, and the
// text that it has read.
std::string ReasonOf(const nlohmann::json::exception& error) {
    std::string message = error.what();
    message.resize(std::min(message.size(), message.find("; last read")));
    const size_t column = message.find("column ");
    const size_t name_end = message.find("] ");
    return "no JSON: " + message.substr(column != std::string::npos     ? column
                                        : name_end != std::string::npos ? name_end + 2
                                                                        : 0);
}

// Fails for a key that stands twice in the record, of which the parser would keep one value; and
// for nesting that no value has, before it can exhaust the stack.
Object JsonSource::Parse() const {
    constexpr int kDeepest = 8;
    size_t keys = 0;
    const auto look = [&](int depth, nlohmann::json::parse_event_t event, const Object&) {
        if (depth > kDeepest) {
            Fail("objects or arrays are nested too deeply");
        }
        keys += depth == 1 && event == nlohmann::json::parse_event_t::key ? 1 : 0;
        return true;
    };
    Object object;
    try {
        object = Object::parse(text_, look);
    } catch (const nlohmann::json::exception& error) {
        Fail(ReasonOf(error));
    }
    if (!object.is_object()) {
        Fail("an object is expected, as in {\"name\":\"ann\"}");
    }
    if (object.size() != keys) {
        Fail("a name stands twice");
    }
    return object;
}

// The next line that is not blank.
bool JsonSource::ReadObject(Object* object) {
    do {
        line_ = in_->GetLine();
        if (!in_->ReadLine(&text_)) {
            return false;
        }
    } while (text_.find_first_not_of(" \t") == std::string::npos);
    *object = Parse();
    return true;
}

bool JsonSource::IsFieldList(const Object& object) {
    return object.size() == 1 && object.begin().key() == "fields" && object.front().is_array();
}

bool JsonSource::Read(std::vector<NewValue>* values) {
    values->clear();
    Object object;
    if (!ReadObject(&object)) {
        return false;
    }
    if (!begun_ && IsFieldList(object)) {
        TakeFieldList(object.front());
        begun_ = true;
        return Read(values);
    }
    begun_ = true;
    for (const auto& member : object.items()) {
        if (!member.value().is_null()) {
            Add(Convert(member.key(), member.value()), values);
        }
    }
    return true;
}

// Two keys may stand for one name.
void JsonSource::Add(NewValue value, std::vector<NewValue>* values) const {
    if (std::any_of(values->begin(), values->end(),
                    [&](const NewValue& other) { return other.field == value.field; })) {
        Fail("a name stands twice");
    }
    values->push_back(std::move(value));
}

// The fields of an open schema; they must agree with those of any other.
void JsonSource::TakeFieldList(const Object& list) {
    for (const Object& entry : list) {
        TakeField(entry);
    }
    schema_->Close();
}

void JsonSource::TakeField(const Object& entry) {
    const bool sound = entry.is_object() && entry.contains("name") && entry["name"].is_string() &&
                       entry.contains("type");
    const auto type = sound ? TypeFromJson(entry["type"]) : std::nullopt;
    if (!type) {
        Fail(
            R"(a field list is expected to look like {"fields":[{"name":"id","type":"integer"}]})");
    }
    const std::string name = NameFromJson(entry["name"].get<std::string>());
    const size_t field = schema_->Find(name);
    if (schema_->IsOpen() && field == kNoField) {
        AddField(name, *type);
    } else if (schema_->IsOpen()) {
        Fail(fmt::format("field {} is there twice", name));
    } else if (field == kNoField || schema_->GetFields()[field].type != *type) {
        Fail(fmt::format("there is no field {} of type {}; the fields are {}", name,
                         TypeName(*type), schema_->ListNames()));
    }
}

size_t JsonSource::AddField(const std::string& name, uint32_t type) {
    if (name.find('\0') != std::string::npos) {
        Fail("the name of a field holds U+0000");
    }
    if (schema_->IsFull()) {
        Fail(ImportSchema::kTooMany);
    }
    return schema_->Add(name, type);
}

NewValue JsonSource::Convert(const std::string& key, const Object& value) {
    try {
        const size_t field = FieldOf(key, value);
        return {field, ValueFromJson(nlohmann::json(value), schema_->GetFields()[field].type)};
    } catch (const std::invalid_argument& error) {
        Fail(fmt::format("field {}: {}", Shorten(key), error.what()));
    }
}

size_t JsonSource::FieldOf(const std::string& key, const Object& value) {
    const std::string name = NameFromJson(key);
    const size_t field = schema_->Find(name);
    if (field != kNoField) {
        return field;
    }
    if (!schema_->IsOpen()) {
        Fail(fmt::format("there is no field {}; the fields are {}", Shorten(key),
                         schema_->ListNames()));
    }
    return AddField(name, TypeOf(value));
}

}  // namespace

std::unique_ptr<RecordSource> MakeJsonSource(InputFile* in, ImportSchema* schema) {
    return std::make_unique<JsonSource>(in, schema);
}

}  // namespace tool

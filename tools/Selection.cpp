#include "tools/Selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <new>

#include "base/Status.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

// Memory is all that can be short here.
void Expect(int32_t status) {
    if (status != ENGINE_OK) {
        throw std::bad_alloc();
    }
}

DATASTRUCT Describe(CDBField* field, std::string_view bytes, int compare = VAMEL_EQUAL) {
    DATASTRUCT value;
    value.field = field;
    value.data = const_cast<char*>(bytes.data());
    value.length = static_cast<uint32_t>(bytes.size());
    value.compare = compare;
    return value;
}

}  // namespace

Selection::Selection(const TableFile& file, const std::vector<Criterion>& criteria,
                     const std::vector<size_t>& indexed)
    : file_(file), criteria_(criteria), reader_(file), field_at_(file.GetFields().size()) {
    MakeSchema(indexed);
    Load();
}

bool Selection::IsAsked(size_t field) const {
    const std::string& name = file_.GetFields()[field].name;
    return std::any_of(criteria_.begin(), criteria_.end(),
                       [&](const Criterion& c) { return file_.GetFields()[c.field].name == name; });
}

// Fields of one name and type are one field for the library. A table has at least one field.
void Selection::MakeSchema(const std::vector<size_t>& indexed) {
    CDBFieldArray schema;
    for (size_t i = 0; i < field_at_.size(); ++i) {
        const FieldSpec& field = file_.GetFields()[i];
        const bool has_index = std::find(indexed.begin(), indexed.end(), i) != indexed.end();
        CCString name;
        if (IsAsked(i) && schema.SearchField(field.name.c_str()) == nullptr) {
            Expect(name.CopyString(field.name.c_str(), -1) < 0 ? ENGINE_MEMORY : ENGINE_OK);
            Expect(schema.CreateField(name, static_cast<int32_t>(field.type),
                                      has_index ? VAMEL_FLAG_INDEXED : 0));
        }
    }
    if (schema.GetSize() == 0) {
        Expect(schema.CreateField(CCString(), VAMEL_TYPE_BINARY, 0));
    }
    Expect(table_.Init(&schema));
    for (size_t i = 0; i < field_at_.size(); ++i) {
        const FieldSpec& field = file_.GetFields()[i];
        CDBField* made = IsAsked(i) ? table_.GetFields()->SearchField(field.name.c_str()) : nullptr;
        const bool same = made != nullptr && made->GetType() == static_cast<int32_t>(field.type);
        field_at_[i] = same ? made : nullptr;
    }
}

void Selection::Load() {
    Record record;
    for (RecordReader reader(file_); reader.Next(&record);) {
        LoadRecord(record);
    }
}

void Selection::LoadRecord(const Record& record) {
    CDBNodeRoom room;
    for (const StoredValue& value : record.GetValues()) {
        if (value.field != kNoField && field_at_[value.field] != nullptr) {
            room.AddValue(static_cast<uint32_t>(value.bytes.size()));
        }
    }
    CDBNode* made = nullptr;
    Expect(table_.CreateNode(&made, room));
    std::unique_ptr<CDBNode> node(made);
    for (const StoredValue& value : record.GetValues()) {
        if (value.field != kNoField && field_at_[value.field] != nullptr) {
            const DATASTRUCT put = Describe(field_at_[value.field], value.bytes);
            Expect(table_.PutNodeValue(made, &put, nullptr));
        }
    }
    Expect(table_.InsertNode(made));
    static_cast<void>(node.release());  // the table's from now on
    offsets_.push_back(static_cast<uint32_t>(record.GetOffset()));
}

std::vector<std::string> Selection::Search() {
    std::vector<std::string> steps;
    if (criteria_.empty()) {
        Expect(table_.FindNodes(&search_, nullptr));
        steps.push_back(fmt::format("no criterion: all {} records", search_.GetCount()));
    }
    for (const Criterion& criterion : criteria_) {
        steps.push_back(
            fmt::format("{}. {} {}", steps.size() + 1, criterion.text, Apply(criterion)));
    }
    return steps;
}

std::string Selection::Apply(const Criterion& criterion) {
    const uint32_t before = search_.GetCount();
    const DATASTRUCT key =
        Describe(field_at_[criterion.field], criterion.operand, criterion.compare);
    Expect(table_.FindNodes(&search_, &key));
    if (before != 0) {
        return fmt::format("narrowed: {} of {} left; those without a value stay",
                           search_.GetCount(), before);
    }
    const bool first = &criterion == &criteria_.front();
    return fmt::format("{}: {} of {} records",
                       first ? "seeded" : "nothing was left to narrow: seeded anew",
                       search_.GetCount(), offsets_.size());
}

bool Selection::Next(Record* record) {
    const CDBNode* node = started_ ? search_.GetNextCache() : search_.GetFirstCache();
    started_ = true;
    if (node == nullptr) {
        return false;
    }
    reader_.ReadAt(offsets_[node->GetSequence() - 1], record);
    return true;
}

}  // namespace tool

#include "store/CDBFieldArray.h"

#include <cstring>
#include <new>
#include <utility>

#include "base/Status.h"

namespace {

// The first bytes of a name as a number, which is the whole name when it is shorter.
struct Beginning {
    explicit Beginning(const char* name) {
        char bytes[sizeof number] = {};
        size_t length = 0;
        while (length < sizeof number && name[length] != 0) {
            bytes[length] = name[length];
            ++length;
        }
        std::memcpy(&number, bytes, sizeof number);
        is_whole = length < sizeof number;
    }
    uint64_t number;
    bool is_whole;
};

}  // namespace

CDBField* CDBFieldArray::SearchField(const char* name) const {
    const Beginning beginning(name);
    for (size_t i = 0; i < fields_.size(); ++i) {
        if (beginnings_[i] == beginning.number &&
            (beginning.is_whole || fields_[i]->GetName() == name)) {
            return fields_[i].get();
        }
    }
    return nullptr;
}

int32_t CDBFieldArray::CreateField(const CCString& name, int32_t type, int32_t flags) {
    if (SearchField(name) != nullptr) {
        return ENGINE_NAME_TAKEN;
    }
    std::unique_ptr<CDBField> field(new (std::nothrow) CDBField);
    if (field == nullptr) {
        return ENGINE_MEMORY;
    }
    if (fields_.size() >= VAMEL_MAX_FIELDS) {
        return ENGINE_TOO_MANY_FIELDS;
    }
    const int32_t status = field->SetInfo(name, static_cast<uint8_t>(fields_.size()), type, flags);
    if (status != ENGINE_OK) {
        return status;
    }
    try {
        beginnings_.reserve(fields_.size() + 1);
        fields_.push_back(std::move(field));
        beginnings_.push_back(Beginning(name.GetText()).number);
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
    return ENGINE_OK;
}

int32_t CDBFieldArray::DeleteAllFields() {
    fields_.clear();
    beginnings_.clear();
    return ENGINE_OK;
}

int32_t CDBFieldArray::CloneFieldArray(const CDBFieldArray* source) {
    DeleteAllFields();
    if (source == nullptr) {
        return ENGINE_OK;
    }
    for (const auto& field : source->fields_) {
        const int32_t status = CreateField(field->GetName(), field->GetType(), field->GetFlags());
        if (status != ENGINE_OK) {
            DeleteAllFields();
            return status;
        }
    }
    return ENGINE_OK;
}

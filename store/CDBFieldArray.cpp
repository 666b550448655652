#include "store/CDBFieldArray.h"

#include <new>
#include <utility>

#include "base/Status.h"

CDBField* CDBFieldArray::SearchField(const char* name) const {
    // Few fields, whose names differ early: telling them apart by hash first takes longer.
    for (const auto& field : fields_) {
        if (field->GetName() == name) {
            return field.get();
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
        fields_.push_back(std::move(field));
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
    return ENGINE_OK;
}

int32_t CDBFieldArray::DeleteAllFields() {
    fields_.clear();
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

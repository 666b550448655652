#ifndef VAMEL_STORE_CDBFIELDARRAY_H
#define VAMEL_STORE_CDBFIELDARRAY_H

#include <cstdint>
#include <memory>
#include <vector>

#include "store/CDBField.h"

// The ordered, owning set of a table's fields: at most 256, with different names; a field's index
// is its position. Pointers to fields are valid until DeleteAllFields or the array's end.
class CDBFieldArray {
  public:
    CDBFieldArray() = default;
    CDBFieldArray(const CDBFieldArray&) = delete;
    CDBFieldArray& operator=(const CDBFieldArray&) = delete;
    virtual ~CDBFieldArray() = default;

    uint32_t GetSize() const { return static_cast<uint32_t>(fields_.size()); }
    CDBField* GetField(uint32_t position) const { return fields_[position].get(); }

    // The field of exactly that name, or null.
    CDBField* SearchField(const CCString& name) const { return SearchField(name.GetText()); }
    CDBField* SearchField(const char* name) const;

    // Append a field. ENGINE_OK, ENGINE_NAME_TAKEN, ENGINE_MEMORY, ENGINE_TOO_MANY_FIELDS, tested
    // in that order; the array is as it was after a failure.
    int32_t CreateField(const CCString& name, int32_t type, int32_t flags);

    // ENGINE_OK.
    int32_t DeleteAllFields();

    // Become a copy of `source`, empty for a null one. ENGINE_OK, or ENGINE_MEMORY and empty.
    int32_t CloneFieldArray(const CDBFieldArray* source);

  private:
    std::vector<std::unique_ptr<CDBField>> fields_;
    std::vector<uint64_t> beginnings_;  // of the fields' names
};

#endif

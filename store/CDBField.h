#ifndef VAMEL_STORE_CDBFIELD_H
#define VAMEL_STORE_CDBFIELD_H

#include <cstdint>

#include "base/CCString.h"

// One column of the table. Records, indexes and bound values refer to a field by pointer: its
// identity is the object, not the name. Unchanged once its array has made it.
class CDBField {
  public:
    CDBField() = default;
    CDBField(const CDBField&) = delete;
    CDBField& operator=(const CDBField&) = delete;
    virtual ~CDBField() = default;

    // ENGINE_OK, or ENGINE_MEMORY with nothing changed but, possibly, the name's storage.
    int32_t SetInfo(const CCString& name, uint8_t index, int32_t type, int32_t flags);

    const CCString& GetName() const { return name_; }
    uint32_t GetHash() const { return hash_; }  // of the name
    uint8_t GetIndex() const { return index_; }
    int32_t GetType() const { return type_; }
    int32_t GetFlags() const { return flags_; }
    bool IsIndexed() const;
    bool IsUnique() const;

  private:
    CCString name_;
    uint32_t hash_ = 0;
    uint8_t index_ = 0;
    int32_t type_ = 0;
    int32_t flags_ = 0;
};

#endif

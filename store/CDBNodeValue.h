#ifndef VAMEL_STORE_CDBNODEVALUE_H
#define VAMEL_STORE_CDBNODEVALUE_H

#include <cstdint>

#include "store/CDBField.h"
#include "store/DATASTRUCT.h"

// A record's value for one field: an owned copy of bytes, a link in the record's chain of values.
// The field is set once. An empty value (length 0) is a value.
class CDBNodeValue {
  public:
    explicit CDBNodeValue(CDBField* field = nullptr) : field_(field) {}
    CDBNodeValue(const CDBNodeValue&) = delete;
    CDBNodeValue& operator=(const CDBNodeValue&) = delete;
    virtual ~CDBNodeValue();  // does not touch the next value

    const void* GetData() const { return data_; }
    uint32_t GetLength() const { return length_; }
    CDBField* GetField() const { return field_; }
    CDBNodeValue* GetNext() const { return next_; }
    void SetNext(CDBNodeValue* next) { next_ = next; }

    // Resize; new bytes are not initialised. ENGINE_OK, or ENGINE_MEMORY with nothing changed.
    int32_t Alloc(uint32_t size);
    void Free();

    // Take a copy of the descriptor's bytes. ENGINE_OK, or ENGINE_MEMORY with nothing changed.
    int32_t SetValue(const DATASTRUCT* value);

    // Give the length and all bytes, each where there is a place for it; the caller has made room.
    // ENGINE_OK.
    int32_t GetValue(void* buffer, uint32_t* length) const;

    // Negative, 0 or positive as this value is less than, equal to or greater than the key, by the
    // type of THIS value's field. An empty value is less than any key, an empty one included; an
    // empty key is less than any other value. Integers compare by their first 4 bytes, missing ones
    // counting as zero; everything else bytewise over the shorter length, so that a value equals
    // its prefixes.
    int32_t CompareValue(const DATASTRUCT* key) const;

  private:
    void* data_ = nullptr;
    uint32_t length_ = 0;
    CDBField* field_;
    CDBNodeValue* next_ = nullptr;
};

#endif

#ifndef VAMEL_STORE_CDBNODEVALUE_H
#define VAMEL_STORE_CDBNODEVALUE_H

#include <cstddef>
#include <cstdint>

#include "store/CDBField.h"
#include "store/DATASTRUCT.h"

// A record's value for one field: an owned copy of bytes, a link in the record's chain of values.
// The field is set once. An empty value (length 0) is a value.
//
// Few bytes lie in the value itself; more lie right behind it, where its record has left room, or
// else in a block of the C heap.
class CDBNodeValue final {
  public:
    // `room` bytes behind the object are the value's to use.
    explicit CDBNodeValue(CDBField* field = nullptr, uint32_t room = 0)
        : field_(field), room_(room & 0x7fffffffU), on_heap_(0), heap_(nullptr) {}
    CDBNodeValue(const CDBNodeValue&) = delete;
    CDBNodeValue& operator=(const CDBNodeValue&) = delete;
    virtual ~CDBNodeValue() { Free(); }  // does not touch the next value

    // The bytes that a value of that length needs behind it to stay off the heap; for long values a
    // number that no record has room for.
    static size_t GetRoom(uint32_t length) {
        if (length <= kInside) {
            return 0;
        }
        return length < UINT16_MAX ? (size_t{length} + 7) & ~size_t{7} : UINT16_MAX;
    }

    // The bytes; null for a value that holds none.
    const void* GetData() const {
        return length_ != 0 ? const_cast<CDBNodeValue*>(this)->Place() : nullptr;
    }
    uint32_t GetLength() const { return length_; }
    CDBField* GetField() const { return field_; }
    CDBNodeValue* GetNext() const { return next_; }
    void SetNext(CDBNodeValue* next) { next_ = next; }

    // Whether the value can have that length where it is, without taking memory.
    bool HasRoomFor(uint32_t length) const {
        return on_heap_ == 0 && (length <= kInside || length <= room_);
    }

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
    static constexpr uint32_t kInside = 8;

    void* Place() {
        if (on_heap_) {
            return heap_;
        }
        return length_ <= kInside ? static_cast<void*>(inside_) : static_cast<void*>(this + 1);
    }

    CDBField* field_;
    CDBNodeValue* next_ = nullptr;
    uint32_t length_ = 0;
    uint32_t room_ : 31;
    uint32_t on_heap_ : 1;
    union {
        void* heap_;
        unsigned char inside_[kInside];
    };
};

#endif

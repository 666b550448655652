#ifndef VAMEL_STORE_CDBNODE_H
#define VAMEL_STORE_CDBNODE_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "base/Prefetch.h"
#include "store/CDBNodeValue.h"

class CDBNode;

// A record's neighbours among the records that hold an equal value, in a ring.
struct CDBKeyLink {
    CDBNode* previous = nullptr;
    CDBNode* next = nullptr;
};

// What a record is to have room for in its own block.
struct CDBNodeRoom {
    uint32_t keys = 0;  // places in rings of equal values
    size_t values = 0;  // bytes for values

    // A long value gets none: it lies on the heap, and its room would lie idle.
    void AddValue(uint32_t length) {
        if (length <= INT16_MAX) {
            values += (sizeof(CDBNodeValue) + CDBNodeValue::GetRoom(length) + 7) & ~size_t{7};
        }
    }
};

// A record: an owned chain of values, in the order in which fields first received one, at most one
// for each field. Fields are matched by identity.
//
// A record that a table makes is one block: the values lie, as long as they fit, right behind what
// is read with them.
//
//   CDBNode | value bytes value bytes ... | CDBKeyLink x keys
//
// So making one is one allocation. What does not fit, or comes later, lies on the heap.
class CDBNode final {
  public:
    CDBNode() = default;
    CDBNode(const CDBNode&) = delete;
    CDBNode& operator=(const CDBNode&) = delete;
    virtual ~CDBNode();
    // The block may be larger than the object, so its size is not for delete to tell.
    // NOLINTNEXTLINE(misc-new-delete-overloads): new is the global one
    static void operator delete(void* block) { ::operator delete(block); }

    // A record with room; null when memory is short. To be deleted as any other.
    static CDBNode* Create(const CDBNodeRoom& room);

    CDBNodeValue* GetHead() const { return head_; }

    // Starts to fetch a record's first bytes from memory, which goes on while other work is done.
    // Null, and what is no record, does no harm.
    static constexpr size_t kFewValues = 256;  // bytes with the first values, however they lie
    static constexpr size_t kAllValues = 320;  // bytes with all values of most records
    static void Fetch(const void* record, size_t bytes = kFewValues) { Prefetch(record, bytes); }

    // The value for the field, or null.
    CDBNodeValue* SearchNodeValue(const CDBField* field) const {
        CDBNodeValue* value = head_;
        while (value != nullptr && value->GetField() != field) {
            value = value->GetNext();
        }
        return value;
    }

    // Append a value, unchecked, its next link as it is; the record owns it from now on. The value.
    CDBNodeValue* InsertNodeValue(CDBNodeValue* value);

    // A new value, in no record, with a copy of the descriptor's bytes; null when memory is short.
    // The caller owns it.
    static CDBNodeValue* CreateNodeValue(const DATASTRUCT* value);

    // Set the value for the descriptor's field. ENGINE_OK, or ENGINE_MEMORY with nothing changed. A
    // new value takes room for `reserve` bytes, if that is more than it needs.
    int32_t PutNodeValue(const DATASTRUCT* value, uint32_t reserve = 0);

    // Whether all these values can be put without taking memory, so that it cannot fail.
    bool HasRoomFor(const std::vector<DATASTRUCT*>& values) const;

    // Read the value for the descriptor's field: its length, and all its bytes where data is not
    // null; the caller has made room. ENGINE_OK, or ENGINE_NO_VALUE, the descriptor untouched.
    int32_t GetNodeValue(DATASTRUCT* value) const;

    // Destroy one value. ENGINE_OK, or ENGINE_NO_VALUE for none. Removing the FIRST value empties
    // the record: the values behind it are cut off and belong to nobody. So it is defined; the
    // library itself never removes a single value.
    int32_t DeleteNodeValue(CDBNodeValue* value);
    int32_t DeleteNodeValue(const DATASTRUCT* value);

    // Destroy all values. ENGINE_OK. The record still refers to the first of them: it may neither
    // be read nor destroyed afterwards. So it is defined; the library itself never calls it.
    int32_t DeleteAllNodeValues();

    // The record's number in the order of insertion, given by its table.
    uint64_t GetSequence() const { return sequence_; }
    void SetSequence(uint64_t sequence) { sequence_ = sequence; }

    // Its place in the list of its table's records.
    static constexpr uint32_t kNoPlace = UINT32_MAX;
    uint32_t GetPlace() const { return place_; }
    void SetPlace(uint32_t place) { place_ = place; }

    // The record's place in ring number `at`; the record has room for it.
    CDBKeyLink* GetKey(uint32_t at) { return Keys() + at; }
    uint32_t GetKeyCount() const { return keys_; }

  private:
    char* Block() { return reinterpret_cast<char*>(this); }
    CDBKeyLink* Keys() { return reinterpret_cast<CDBKeyLink*>(Block() + end_); }
    CDBNodeValue* MakeValue(const DATASTRUCT* value, uint32_t reserve);
    void Destroy(CDBNodeValue* value);

    CDBNodeValue* head_ = nullptr;
    uint64_t sequence_ = 0;
    uint16_t free_ = 0;  // where the free room for values begins, from the beginning of the block
    uint16_t end_ = 0;   // where it ends
    uint16_t keys_ = 0;
    uint32_t place_ = kNoPlace;
};

#endif

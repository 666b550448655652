#ifndef VAMEL_STORE_CDBVALUEMAP_H
#define VAMEL_STORE_CDBVALUEMAP_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "store/CDBNode.h"
#include "store/CDBValueOrder.h"

// Which records hold a value: for one field that is indexed or unique, a growing hash table from a
// value (the compared integer, or the exact bytes) to the ring of records that hold it, in the
// order of insertion. Records with an empty value, or none, stay out: they equal nothing.
//
//   slots    hash, first record, whether there are more    (open addressing, linear probing, at
//                      |                                    most 4/5 full)
//                      v  ring of equal values, through the records' own key links
//                   record <-> record <-> record <-> (first)
//
// It answers what equality finds in the field's index, or in the list of all records, without
// walking them: one probe is the whole answer for integers, for text among texts (whose only zero
// byte is their last, so that none is a prefix of another), and where all values are as long as the
// key. Otherwise values equal their prefixes, and CDBValueOrder, made when it is first needed,
// finds them. Nothing throws.
class CDBValueMap {
  public:
    // `key` is the number of the records' key link for this map.
    CDBValueMap(CDBField* field, uint32_t key) : field_(field), key_(key) {}
    CDBValueMap(const CDBValueMap&) = delete;
    CDBValueMap& operator=(const CDBValueMap&) = delete;
    ~CDBValueMap() { Clear(); }

    CDBField* GetField() const { return field_; }

    // Forget all records. Equality will be asked for within one of `buckets` buckets.
    void Reset(uint32_t buckets);

    // Take a record in, or let it go. ENGINE_OK, or ENGINE_MEMORY and it is not in.
    int32_t Add(CDBNode* record);
    void Remove(CDBNode* record);

    // Make room for so many more records, so that adding them cannot fail. False when memory is
    // short.
    bool Reserve(uint32_t more);

    // Let a record stand last among those with its value.
    void MoveToEnd(CDBNode* record);

    // Start to fetch from memory what looking for a value, or adding it, will need: first the slot,
    // and a little later, with the number that this gave, the record.
    uint32_t FetchSlot(const void* data, uint32_t length) const;
    void FetchRecord(uint32_t hash) const;

    // Append the records whose values equal the key, ring by ring, as many as `most`. False, and
    // nothing appended, when memory is short: the records must then be walked.
    bool FindEqual(const DATASTRUCT* key, size_t most, std::vector<CDBNode*>* out);

  private:
    struct Value {
        const void* data;
        uint32_t length;
    };

    // 12 bytes on a 64-bit host, where a pointer of its own would make it 16.
    // cppcheck-suppress noConstructor; the whole table comes zeroed
    class Slot {
      public:
        bool IsFree() const { return Bits() == 0; }
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the price of the lowest bit
        CDBNode* First() const { return reinterpret_cast<CDBNode*>(Bits() & ~uintptr_t{1}); }
        // A ring of one record is not looked at: its key link is far from its values.
        bool MayBeMore() const { return (Bits() & 1U) != 0; }
        void Set(CDBNode* first, bool more) {
            const uintptr_t bits = reinterpret_cast<uintptr_t>(first) | (more ? 1U : 0U);
            std::memcpy(bits_, &bits, sizeof bits);
        }
        uint32_t hash;

      private:
        uintptr_t Bits() const {
            uintptr_t bits;
            std::memcpy(&bits, bits_, sizeof bits);
            return bits;
        }
        unsigned char bits_[sizeof(uintptr_t)];
    };

    void Clear();
    bool IsInteger() const { return field_->GetType() == VAMEL_TYPE_INTEGER; }
    Value ValueOf(const CDBNode* record) const;
    uint32_t Hash(const Value& value) const;
    bool IsSame(const CDBNode* record, const Value& value) const;
    bool IsRegular(const Value& value) const;
    bool IsOneProbe(const Value& key) const;
    uint32_t BucketOf(const Value& value) const;

    uint32_t Home(uint32_t hash) const;
    uint32_t Next(uint32_t slot) const { return slot + 1 < capacity_ ? slot + 1 : 0; }
    uint32_t FindSlot(const Value& value, uint32_t hash) const;
    uint32_t FindSlotOf(const CDBNode* first) const;
    bool Resize(uint64_t wanted);
    void EraseSlot(uint32_t slot);

    void StartRing(Slot* slot, uint32_t hash, CDBNode* record);
    void InsertBefore(CDBNode* first, CDBNode* record);
    void Unlink(const CDBKeyLink* link);
    void JoinRing(Slot* slot, CDBNode* record);
    void Count(const Value& value, int32_t by);

    bool MakeOrder();
    void AppendRing(CDBNode* first, bool more, const Value& key, size_t most,
                    std::vector<CDBNode*>* out);

    CDBField* field_;
    uint32_t key_;
    uint32_t buckets_ = 1;
    uint32_t capacity_ = 0;
    uint32_t used_ = 0;
    Slot* slots_ = nullptr;
    uint64_t irregular_ = 0;  // records with a value that one probe may not be enough for
    uint32_t length_ = 0;     // of all values since the map was last empty
    bool lengths_differ_ = false;
    std::unique_ptr<CDBValueOrder> order_;
};

#endif

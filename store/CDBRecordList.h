#ifndef VAMEL_STORE_CDBRECORDLIST_H
#define VAMEL_STORE_CDBRECORDLIST_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/CDBNode.h"

// The records of a table, in the order of insertion, each with its number in that order: one array,
// so that a walk knows which records come next and fetches them from memory before they are needed.
//
//   record 3 | gone | record 5 | gone | gone | record 9 |   (to be appended: 10)
//
// A record that goes leaves a gap; each record knows its place, so nothing is searched. Gaps go
// when they would make the array grow, or are three quarters of it. The records are the table's.
class CDBRecordList {
  public:
    struct Entry {
        CDBNode* record;  // null for a gap
        uint64_t sequence;
    };

    CDBRecordList() = default;
    CDBRecordList(const CDBRecordList&) = delete;
    CDBRecordList& operator=(const CDBRecordList&) = delete;

    uint32_t GetCount() const { return count_; }
    bool Holds(const CDBNode* record) const;

    // Make room for so many more records. ENGINE_OK, or ENGINE_MEMORY and nothing changed.
    int32_t Reserve(size_t more);

    // Append a record that is in no list, and give it the next number. ENGINE_OK, or ENGINE_MEMORY
    // and nothing changed.
    int32_t Append(CDBNode* record);

    // Take a record out that is in the list.
    void Remove(CDBNode* record);

    // Take a record out and append it. There is room for one more.
    void MoveToEnd(CDBNode* record);

    // Forget all records, and destroy them. Their numbers are not given again.
    void DestroyAll();

    // Walks the records in order, fetching those ahead. The list may not change meanwhile.
    class Walk {
      public:
        explicit Walk(const CDBRecordList& list)
            : at_(list.entries_.data()), end_(at_ + list.entries_.size()) {}
        // The next record with its number; null past the last.
        const Entry* NextEntry() {
            while (at_ != end_ && at_->record == nullptr) {
                ++at_;
            }
            return at_ != end_ ? at_++ : nullptr;
        }
        // The next record, of which the caller will read that much; null past the last.
        CDBNode* Next(size_t bytes = CDBNode::kFewValues) {
            const Entry* entry = NextEntry();
            if (entry == nullptr) {
                return nullptr;
            }
            if (end_ - entry > kAhead) {
                CDBNode::Fetch(entry[kAhead].record, bytes);
            }
            return entry->record;
        }

      private:
        static constexpr ptrdiff_t kAhead = 20;  // 12 to 32 do about equally well
        const Entry* at_;
        const Entry* end_;
    };

  private:
    void Compact();

    std::vector<Entry> entries_;
    uint32_t count_ = 0;
    uint64_t next_ = 1;
};

#endif

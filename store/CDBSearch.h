#ifndef VAMEL_STORE_CDBSEARCH_H
#define VAMEL_STORE_CDBSEARCH_H

#include <cstdint>
#include <vector>

#include "store/CDBHash.h"

// A result set: records in the order in which the index holds them, and a cursor over them. The
// records are the table's. Growing may throw std::bad_alloc; nothing else throws.
//
//   built -> cursor before the first record
//   GetNextCache, GetFirstCache -> on a record, or past the end: no record
//
// A record that is taken out leaves a mark, so that nothing moves; its place is found by its number
// in the order of insertion, in which a fresh result set ascends. Marks that lie together know
// where their run begins and ends, so that the cursor passes any number of them in one step:
//
//   record 3 | run 1..3 |  ...  | run 1..3 | record 9 | run 5..5 | record 12
class CDBSearch {
  public:
    CDBSearch() = default;
    CDBSearch(const CDBSearch&) = delete;
    CDBSearch& operator=(const CDBSearch&) = delete;

    uint32_t GetCount() const { return live_; }
    bool IsSmall() const { return cache_.capacity() <= 64; }  // holds little memory

    // 1 if the value compares with the key as the key's comparison code asks, else 0.
    static int32_t TestValue(const CDBNodeValue* value, const DATASTRUCT* key);

    // Whether a record other than `except` in the key's bucket of the index matches the key. Throws
    // nothing.
    static bool HasMatch(const CDBHash* index, const DATASTRUCT* key, const CDBNode* except);

    // Append every record of the index, bucket by bucket; `expected` is how many there may be.
    // ENGINE_OK.
    int32_t CacheNodesAll(const CDBHash* index, size_t expected = 0);

    // Append the records of the key's bucket that hold a value for its field and match it; without
    // a key, every record. ENGINE_OK. One bucket is a complete search for equality, and always in
    // the list of all records, which has only one.
    int32_t CacheNodesFirst(const CDBHash* index, const DATASTRUCT* key);

    // As CacheNodesFirst, with the answer of somebody who knew the matches, in any order.
    // ENGINE_OK.
    int32_t CacheMatches(std::vector<CDBNode*>* matches);

    // Keep only the records that match the key, or hold NO value for its field: unlike in
    // CacheNodesFirst these stay, and that is meant. Nothing without a key. ENGINE_OK.
    int32_t CacheNodesNext(const DATASTRUCT* key);

    // Move the cursor to the first or the next record, and give the record there, or null.
    CDBNode* GetFirstCache();
    CDBNode* GetNextCache();
    // The record at the cursor, or null.
    CDBNode* GetCacheNode() const;

    // Take a record out. A cursor that stands on it steps back by one, so that the next record is
    // the one that followed. A cursor behind it keeps its number, and so skips a record: that is
    // meant. ENGINE_OK, or ENGINE_NO_VALUE when the record is not held.
    int32_t ReleaseFromCache(const CDBNode* record);

    // Drop every record: the table has emptied itself.
    void Clear();

  private:
    // A record with its number in the order of insertion, or the mark of one. Of a run of marks,
    // the first knows where the last one is and the last where the first is; the others know
    // nothing.
    struct Entry {
        uint64_t sequence;
        uintptr_t what;  // the record, or the other end of the run, doubled, plus 1
        bool IsMark() const { return (what & 1U) != 0; }
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the price of the lowest bit
        CDBNode* Record() const { return reinterpret_cast<CDBNode*>(what); }
        size_t OtherEnd() const { return what >> 1; }
        void SetOtherEnd(size_t at) { what = at << 1 | 1U; }
    };

    static constexpr size_t kBefore = SIZE_MAX;

    void Start(size_t expected);
    void Append(CDBNode* record, uint64_t sequence);
    void FetchAhead(size_t at) const;
    size_t Find(const CDBNode* record) const;
    void Mark(size_t at);
    size_t After(size_t at) const;
    size_t Behind(size_t at) const;

    std::vector<Entry> cache_;
    size_t cursor_ = 0;  // kBefore, a record's place, or past the end
    uint32_t live_ = 0;  // records
    bool ascending_ = true;
};

#endif

#ifndef VAMEL_STORE_CDBSEARCH_H
#define VAMEL_STORE_CDBSEARCH_H

#include <cstdint>
#include <vector>

#include "store/CDBHash.h"

// A result set: records in the order in which the index holds them, and a cursor over them. The
// records are the table's. Growing may throw std::bad_alloc; nothing else throws.
//
//   built -> cursor -1, before the first record
//   GetNextCache, GetFirstCache -> on a record, or past the end: no record
class CDBSearch {
  public:
    CDBSearch() = default;
    CDBSearch(const CDBSearch&) = delete;
    CDBSearch& operator=(const CDBSearch&) = delete;

    uint32_t GetCount() const { return static_cast<uint32_t>(cache_.size()); }

    // 1 if the value compares with the key as the key's comparison code asks, else 0.
    static int32_t TestValue(const CDBNodeValue* value, const DATASTRUCT* key);

    // Append every record of the index, bucket by bucket. ENGINE_OK.
    int32_t CacheNodesAll(const CDBHash* index);

    // Append the records of the key's bucket that hold a value for its field and match it; without
    // a key, every record. ENGINE_OK. One bucket is a complete search for equality, and always in
    // the list of all records, which has only one.
    int32_t CacheNodesFirst(const CDBHash* index, const DATASTRUCT* key);

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
    std::vector<CDBNode*> cache_;
    int32_t cursor_ = 0;
};

#endif

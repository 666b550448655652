#ifndef VAMEL_STORE_CDBHASH_H
#define VAMEL_STORE_CDBHASH_H

#include <cstdint>

#include "store/CDBHashNode.h"
#include "store/CDBNode.h"

// An index: buckets of chained links to records, each chain in the order of insertion.
//
//   bucket 0   head -> link <-> link <-> link <- tail      records without the value, too
//   bucket 1   (empty)
//   ...
//
// An index without a field holds every record in bucket 0: it is the table's list of records. The
// index owns its links, never the records. A record leaves the index before its value changes.
//
// A record with room for it carries its own link, so that adding it takes no memory and removing it
// no search; other links lie on the heap.
class CDBHash {
  public:
    static constexpr uint32_t kNoPlace = UINT32_MAX;

    CDBHash() = default;
    // `place` is the number of the records' own links for this index.
    CDBHash(CDBField* field, uint32_t count, uint32_t place = kNoPlace)
        : count_(count), field_(field), place_(place) {}
    CDBHash(const CDBHash&) = delete;
    CDBHash& operator=(const CDBHash&) = delete;
    ~CDBHash();

    CDBField* GetField() const { return field_; }
    uint32_t GetBucketCount() const { return count_; }

    // Take `count` empty buckets in place of the old ones, whose links are not freed. ENGINE_OK, or
    // ENGINE_MEMORY and no buckets.
    int32_t AllocHash(uint32_t count);

    // Give up the buckets, not the links. ENGINE_OK.
    int32_t FreeHash();

    // The first link of a bucket; null for a bucket that is empty or does not exist.
    CDBHashNode* GetHeadHashNode(uint32_t bucket) const;

    // Append a link to a bucket, or take it out without freeing it; the bucket's number is reduced
    // modulo the bucket count, and a null link ignored.
    void PushHashNode(uint32_t hash, CDBHashNode* link);
    void PopHashNode(uint32_t hash, CDBHashNode* link);

    // The first link of the bucket that stands for the record, or null.
    CDBHashNode* SearchHashNode(uint32_t bucket, const CDBNode* record) const;

    // Append the record to the bucket of its value. ENGINE_OK, or ENGINE_MEMORY.
    int32_t AddHashNode(CDBNode* record);

    // Take the record out of the bucket of its value. ENGINE_OK, or ENGINE_NO_VALUE when it is not
    // there.
    int32_t DeleteHashNode(CDBNode* record);

    // Whether the record is in the bucket of its value.
    bool Holds(CDBNode* record) const { return FindLink(record, BucketOf(record)) != nullptr; }

    // The bucket of a value.
    uint32_t GetHashValue(const CDBNodeValue* value) const;
    uint32_t GetHashValue(const DATASTRUCT* value) const;

    // Free every link and leave the buckets as they are, for buckets that are about to go. Links
    // that lie in records go with them. ENGINE_OK.
    int32_t DeleteAllHashNodes();

    // Free a link that was taken out; one that lies in its record becomes the record's again.
    void FreeLink(CDBHashNode* link);

    // Take the whole chain of a bucket out: its first link.
    CDBHashNode* TakeChain(uint32_t bucket);

    // The bucket of a record: that of its value, 0 without one.
    uint32_t BucketOf(const CDBNode* record) const;

  private:
    struct Bucket {
        CDBHashNode* head = nullptr;
        CDBHashNode* tail = nullptr;
    };

    CDBHashNode* TakeLink(CDBNode* record, uint32_t bucket);
    CDBHashNode* FindLink(CDBNode* record, uint32_t bucket) const;

    uint32_t count_ = 1;
    Bucket* buckets_ = nullptr;
    CDBField* field_ = nullptr;
    uint32_t place_ = kNoPlace;
    uint64_t links_ = 0;      // in the buckets
    uint64_t own_links_ = 0;  // of these, those that lie in their records
};

#endif

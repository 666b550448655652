#ifndef VAMEL_STORE_CDBHASH_H
#define VAMEL_STORE_CDBHASH_H

#include <cstdint>

#include "store/CDBNode.h"

// One record's place in a bucket.
struct CDBHashNode {
    CDBNode* record = nullptr;
    CDBHashNode* previous = nullptr;
    CDBHashNode* next = nullptr;
};

// An index: buckets of chained links to records, each chain in the order of insertion.
//
//   bucket 0   head -> link <-> link <-> link <- tail      records without the value, too
//   bucket 1   (empty)
//   ...
//
// An index without a field holds every record in bucket 0: it is the table's list of records. The
// index owns its links, never the records. A record leaves the index before its value changes.
class CDBHash {
  public:
    CDBHash() = default;
    CDBHash(CDBField* field, uint32_t count) : count_(count), field_(field) {}
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

    // The bucket of a value.
    uint32_t GetHashValue(const CDBNodeValue* value) const;
    uint32_t GetHashValue(const DATASTRUCT* value) const;

    // Free every link and leave the buckets as they are, for buckets that are about to go.
    // ENGINE_OK.
    int32_t DeleteAllHashNodes();

  private:
    struct Bucket {
        CDBHashNode* head = nullptr;
        CDBHashNode* tail = nullptr;
    };

    uint32_t BucketOf(const CDBNode* record) const;

    uint32_t count_ = 1;
    Bucket* buckets_ = nullptr;
    CDBField* field_ = nullptr;
};

#endif

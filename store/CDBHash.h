#ifndef VAMEL_STORE_CDBHASH_H
#define VAMEL_STORE_CDBHASH_H

#include <cstdint>

#include "store/CDBHashNode.h"
#include "store/CDBNode.h"
#include "store/CDBRecordList.h"

// An index: buckets of chained links to records, each chain in the order of insertion.
//
//   bucket 0   head -> link <-> link <-> link <- tail      records without the value, too
//   bucket 1   (empty)
//   ...
//
// An index without a field holds every record in bucket 0: it is the table's list of records. The
// index owns its links, never the records. A record leaves the index before its value changes.
//
// Within a map the chains, which say what a look-up finds but are seldom walked, are made from the
// map's list of records when they are first asked for.
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

    // The first link of a bucket; null for a bucket that is empty or does not exist, and where
    // there is no memory to make the chains.
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

    // The bucket of a record: that of its value, 0 without one.
    uint32_t BucketOf(const CDBNode* record) const;

    // Free every link and leave the buckets as they are, for buckets that are about to go.
    // ENGINE_OK.
    int32_t DeleteAllHashNodes();

    // For the map: make the chains from `list` when they are first asked for, before which the
    // index stands for whatever the list holds.
    void FollowList(const CDBRecordList* list) { list_ = list; }
    const CDBRecordList* GetList() const { return list_; }  // null once the chains are made

  private:
    struct Bucket {
        CDBHashNode* head = nullptr;
        CDBHashNode* tail = nullptr;
    };

    bool MakeChains();
    void Append(Bucket& bucket, CDBHashNode* link);
    int32_t Add(CDBNode* record);

    uint32_t count_ = 1;
    Bucket* buckets_ = nullptr;
    CDBField* field_ = nullptr;
    const CDBRecordList* list_ = nullptr;
    uint64_t links_ = 0;
};

#endif

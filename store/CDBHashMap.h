#ifndef VAMEL_STORE_CDBHASHMAP_H
#define VAMEL_STORE_CDBHASHMAP_H

#include <cstdint>
#include <memory>
#include <vector>

#include "store/CDBHash.h"

// A table's indexes, owned, in the order in which they were added, and the list of records that the
// first of them stands for. A record is in every index or in none.
class CDBHashMap {
  public:
    CDBHashMap() = default;
    CDBHashMap(const CDBHashMap&) = delete;
    CDBHashMap& operator=(const CDBHashMap&) = delete;

    // Add an empty index over the field, null for the list of all records. ENGINE_OK, or
    // ENGINE_MEMORY with nothing changed.
    int32_t AddHash(CDBField* field);

    // The index over the field, null for the list of all records; null where there is none.
    CDBHash* GetHash(const CDBField* field) const;

    // The records in the indexes.
    CDBRecordList* GetRecords() { return &records_; }
    const CDBRecordList* GetRecords() const { return &records_; }

    // Whether no index has chains to keep up with the list of records.
    bool FollowsRecords() const;

    // Add the record to every index. ENGINE_OK, or ENGINE_MEMORY and the record is in none.
    int32_t AddHashNode(CDBNode* record);

    // Take the record out of every index that holds it. ENGINE_OK.
    int32_t DeleteHashNode(CDBNode* record);

    // Destroy every index. Their records are destroyed before, by the list. ENGINE_OK.
    int32_t DeleteAllHash();

  private:
    CDBRecordList records_;
    std::vector<std::unique_ptr<CDBHash>> hashes_;
};

#endif

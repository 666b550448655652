#ifndef VAMEL_STORE_CDBHASHMAP_H
#define VAMEL_STORE_CDBHASHMAP_H

#include <cstdint>
#include <memory>
#include <vector>

#include "store/CDBHash.h"

// A table's indexes, owned, in the order in which they were added. A record is in every index or in
// none.
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

    // Add the record to every index. ENGINE_OK, or ENGINE_MEMORY and the record is in none.
    int32_t AddHashNode(CDBNode* record);

    // Take the record out of every index that holds it. ENGINE_OK.
    int32_t DeleteHashNode(CDBNode* record);

    // Destroy every index. ENGINE_OK.
    int32_t DeleteAllHash();

    // Destroy every index over a field.
    void DeleteFieldHashes();

  private:
    std::vector<std::unique_ptr<CDBHash>> hashes_;
};

#endif

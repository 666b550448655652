#ifndef VAMEL_TOOLS_UNIQUEGUARD_H
#define VAMEL_TOOLS_UNIQUEGUARD_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "store/CDBTable.h"
#include "tools/ImportSchema.h"

namespace tool {

// Finds out whether a record would break the uniqueness of a field, as an insert would: a table of
// the library holds the unique fields of all records, and nothing else.
//
//     for each value: if (guard.Put(field, bytes)) ... is taken
//     guard.EndRecord(where)
class UniqueGuard {
  public:
    static constexpr uint64_t kFree = 0;

    explicit UniqueGuard(const ImportSchema& schema);

    // Takes a value of the record at hand. kFree, or the record that holds it already, by the
    // number that EndRecord gave it.
    uint64_t Put(size_t field, std::string_view bytes);
    void EndRecord(uint64_t where);

  private:
    uint64_t FindHolder(const DATASTRUCT& value);
    void NeedRecord();

    CDBTable table_;
    std::vector<CDBField*> fields_;  // by position in the schema; null for what is not unique
    std::unique_ptr<CDBNode> record_;
    std::vector<uint64_t> where_;
};

}  // namespace tool

#endif

#ifndef VAMEL_STORE_CDBTABLE_H
#define VAMEL_STORE_CDBTABLE_H

#include <cstdint>
#include <memory>
#include <vector>

#include "store/CDBCursor.h"
#include "store/CDBFieldArray.h"
#include "store/CDBHashMap.h"
#include "store/CDBNode.h"
#include "store/CDBSearch.h"
#include "store/CDBValueMap.h"

// The one in-memory table of a database: its schema, its records and the indexes that link them.
//
//   schema   a copy of the environment's fields, filled once
//   indexes  [0] all records, in order of insertion   [1..] one for each indexed field
//   values   for each indexed or unique field: from a value to the records that hold it, which
//            answers equality without a walk; the results are those of the walk
//   cursors  those that may refer to records first, the others behind them
//
// Records are numbered in the order of insertion, in which every chain and every fresh result set
// ascends.
//
// Records that are linked in belong to the table, all others to the caller. All operations give an
// engine status; none throws. One thread at a time.
class CDBTable {
  public:
    CDBTable() = default;
    CDBTable(const CDBTable&) = delete;
    CDBTable& operator=(const CDBTable&) = delete;
    ~CDBTable();

    CDBFieldArray* GetFields() { return &schema_; }
    CDBHashMap* GetIndexes() { return &indexes_; }
    int32_t GetRecordCount() const { return record_count_; }
    const CDBRecordList* GetRecords() const { return indexes_.GetRecords(); }
    // The bytes that the linked records' values take in a file, numbers and lengths included.
    uint64_t GetContentSize() const { return content_size_; }

    // Copy the schema and add the indexes. ENGINE_OK, ENGINE_MEMORY, or ENGINE_EMPTY_SCHEMA.
    // Indexes made before stay: a table is initialised once.
    int32_t Init(const CDBFieldArray* source);

    // Destroy every record and all indexes but the list of all records; the schema stays. Equality
    // and uniqueness are then tested against all records. ENGINE_OK.
    int32_t Term();

    // A new empty record, null when memory is short; `room` tells what its values will need. To be
    // linked into this table only. ENGINE_OK or ENGINE_MEMORY.
    int32_t CreateNode(CDBNode** out, const CDBNodeRoom& room = CDBNodeRoom());

    // A new record with copies of all values, not linked in, with room for `changes` to them.
    // ENGINE_OK; ENGINE_MEMORY, *out untouched.
    int32_t CloneNode(CDBNode** out, const CDBNode* source,
                      const std::vector<DATASTRUCT*>& changes = {});

    // Link a record into every index; the table then owns it. ENGINE_OK, or ENGINE_MEMORY and
    // nothing changed.
    int32_t InsertNode(CDBNode* record);

    // Unlink a record from every index and from every cursor but `caller`, whose owner has seen to
    // it; the record is then the caller's. The count falls whether it was linked or not. ENGINE_OK.
    int32_t ReleaseNode(CDBNode* record, const CDBCursor* caller = nullptr);

    // Replace a linked record by a copy of it with these values, which becomes the last record and
    // is in no result set. A record that has room for the values is itself that copy; else it is
    // destroyed: use its pointer no more. The old record is taken out of the caller's cursor, which
    // moves as CDBCursor::ReleaseFromCache says, and out of all others. ENGINE_OK; ENGINE_NO_FIELD,
    // ENGINE_DUPLICATE or ENGINE_MEMORY, and nothing changed.
    int32_t UpdateNode(CDBNode* record, const std::vector<DATASTRUCT*>& values, CDBCursor* caller);

    // Destroy a record that is not linked in; nothing for null. ENGINE_OK.
    static int32_t DeleteNode(CDBNode* record);

    // Start a search, or narrow one that holds records: a search that holds NONE is started anew,
    // also after a narrowing that emptied it, and that is meant. A null key starts with all
    // records. ENGINE_OK, or ENGINE_MEMORY (also for a null search), the search's records
    // undefined.
    int32_t FindNodes(CDBSearch* search, const DATASTRUCT* key);

    // Start to fetch from memory what looking for these values, or adding them, will need.
    void FetchAhead(const std::vector<DATASTRUCT*>& values) const;

    // The values of a field of this table that is indexed or unique, else null.
    CDBValueMap* GetValues(const CDBField* field) const;

    // Take memory at once for so many more records, if it can be had.
    void Reserve(uint32_t records);

    // Set a record's value. A value of a unique field must match, by its own comparison code, no
    // linked record but the FIRST match when that is `replaced`. ENGINE_OK; ENGINE_NO_FIELD,
    // ENGINE_DUPLICATE or ENGINE_MEMORY and nothing changed.
    int32_t PutNodeValue(CDBNode* record, const DATASTRUCT* value, const CDBNode* replaced);

    // Read a record's value, as CDBNode does. ENGINE_OK, ENGINE_NO_FIELD or ENGINE_NO_VALUE.
    static int32_t GetNodeValue(const CDBNode* record, DATASTRUCT* value);

    // For CDBCursor.
    void AttachCursor(CDBCursor* cursor);
    void DetachCursor(CDBCursor* cursor);
    void PromoteCursor(CDBCursor* cursor);

  private:
    const CDBHash* GetRecordIndex();
    int32_t MakeValueMaps();
    int32_t LinkValues(CDBNode* record);
    void UnlinkValues(CDBNode* record);
    void ReleaseFromCursors(const CDBNode* record, const CDBCursor* caller);
    int32_t CheckValue(const DATASTRUCT* value, const CDBNode* replaced);
    bool IsTaken(const DATASTRUCT* value, const CDBNode* replaced);
    bool CanChange(const CDBNode* record, const std::vector<DATASTRUCT*>& values);
    void Change(CDBNode* record, const std::vector<DATASTRUCT*>& values);
    int32_t Exchange(CDBNode* record, const std::vector<DATASTRUCT*>& values, CDBCursor* caller);
    bool FindMatches(const DATASTRUCT* key, size_t most);
    int32_t Walk(CDBSearch* search, const DATASTRUCT* key);
    void DestroyRecords();

    CDBFieldArray schema_;
    CDBHashMap indexes_;
    std::vector<std::unique_ptr<CDBValueMap>> values_;  // by field; null where there is none
    uint32_t value_maps_ = 0;
    int32_t record_count_ = 0;
    uint64_t content_size_ = 0;
    std::vector<CDBNode*> matches_;  // of one look-up; kept so that it need not grow each time
    CDBCursor* first_cursor_ = nullptr;
    CDBCursor* last_cursor_ = nullptr;
};

#endif

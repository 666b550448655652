#ifndef VAMEL_API_CVLSTATEMENT_H
#define VAMEL_API_CVLSTATEMENT_H

#include <cstdint>
#include <memory>
#include <vector>

#include "persist/CCBuffer.h"
#include "store/CDBCursor.h"
#include "store/CDBTable.h"

// A host's working object on one table: what it has bound, what it has selected, and what it has
// fetched since the cursor last moved. Results are codes of the public header; nothing is thrown.
class CVLStatement {
  public:
    explicit CVLStatement(CDBTable* table) : cursor_(table) {}
    CVLStatement(const CVLStatement&) = delete;
    CVLStatement& operator=(const CVLStatement&) = delete;
    ~CVLStatement();

    CDBTable* GetTable() const { return cursor_.GetTable(); }  // null once the database is closed
    CDBNode* GetCurrent() const { return cursor_.GetCurrent(); }
    CDBCursor* GetCursor() { return &cursor_; }

    // The result set; null until the first select, after one that found no memory, and after close.
    CDBSearch* GetSearch() const { return cursor_.GetSearch(); }

    // Take a new, empty result set; the current record stays. VAMEL_OK, or VAMEL_ERR_MEMORY and
    // there is none. The old one is destroyed, or handed over through `old`, which a select that
    // fails half way puts back with RestoreSearch.
    int32_t CreateSearch(std::unique_ptr<CDBSearch>* old = nullptr);
    void DeleteSearch();
    void RestoreSearch(std::unique_ptr<CDBSearch> old);

    // Keep a result set that is done with, if it is small, for the next select to use again.
    void RecycleSearch(std::unique_ptr<CDBSearch> old);

    // Move the cursor to the next or the first record. VAMEL_ROW, VAMEL_DONE, or VAMEL_ERR_ARGUMENT
    // without a result set.
    int32_t step();
    int32_t reset();

    // The number of records in the result set. VAMEL_OK, or VAMEL_ERR_ARGUMENT without one.
    int32_t count(uint32_t* count_out) const;

    // Take a record out of the result set; the record where the cursor then stands is current.
    void ReleaseFromCache(const CDBNode* record) { cursor_.ReleaseFromCache(record); }

    // Bind a copy of a value; for null data, room that the caller fills. The copy; null, and
    // nothing changed, when memory is short.
    DATASTRUCT* alloc_bind_data(const DATASTRUCT& value);
    void free_bind_data();
    const std::vector<DATASTRUCT*>& GetBindData() const { return bind_data_; }

    // Take over a value that is handed out to the host. VAMEL_OK, or VAMEL_ERR_MEMORY: a string
    // then stays the caller's, a buffer is destroyed.
    int32_t reg_fetch_str(CFStringRef string);
    int32_t reg_fetch_binary(std::unique_ptr<CCBuffer> buffer);

    // Release what was handed out.
    void free_fetch_str();
    void free_fetch_binary();
    void free_fetch_data();

  private:
    int32_t MakeCurrent(CDBNode* record);

    CDBCursor cursor_;
    std::unique_ptr<CDBSearch> spare_;
    std::vector<DATASTRUCT*> bind_data_;
    std::vector<CFStringRef> fetch_str_;
    std::vector<std::unique_ptr<CCBuffer>> fetch_binary_;
};

#endif

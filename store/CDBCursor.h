#ifndef VAMEL_STORE_CDBCURSOR_H
#define VAMEL_STORE_CDBCURSOR_H

#include <cstdint>
#include <memory>

#include "store/CDBSearch.h"

class CDBTable;

// A statement's standing in a table: its result set and its current record. The table knows every
// cursor on it, so that neither ever refers to a record that is gone:
//
//   a record is removed   it leaves the result set; a cursor whose current record it was moves to
//                         the record at which its result set then stands, or to none
//   the table is emptied  the result set is empty, no record is current
//   the table goes        there is no table, no result set, no current record
//
// Used by one thread at a time, together with its table.
class CDBCursor {
  public:
    explicit CDBCursor(CDBTable* table);
    CDBCursor(const CDBCursor&) = delete;
    CDBCursor& operator=(const CDBCursor&) = delete;
    ~CDBCursor();

    CDBTable* GetTable() const { return table_; }
    CDBSearch* GetSearch() const { return search_.get(); }
    CDBNode* GetCurrent() const { return current_; }
    void SetCurrent(CDBNode* record) { current_ = record; }

    // Replace the result set, null for none; the old one is handed over. The current record stays.
    std::unique_ptr<CDBSearch> ExchangeSearch(std::unique_ptr<CDBSearch> search);

    // Take a record out of the result set and make the record current at which the result set then
    // stands. Without a result set, only a current record that is the removed one is given up.
    void ReleaseFromCache(const CDBNode* record);

    // For the table: a record goes that another statement removed.
    void OnRecordReleased(const CDBNode* record);
    // For the table: all records go.
    void OnTableEmptied();
    // For the table: it goes itself.
    void OnTableDestroyed();

  private:
    friend class CDBTable;  // keeps the list

    CDBTable* table_;
    std::unique_ptr<CDBSearch> search_;
    CDBNode* current_ = nullptr;
    CDBCursor* previous_ = nullptr;
    CDBCursor* next_ = nullptr;
    bool holds_records_ = false;  // has had a result set: may refer to records
};

#endif

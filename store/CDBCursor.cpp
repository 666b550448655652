#include "store/CDBCursor.h"

#include <utility>

#include "store/CDBTable.h"

CDBCursor::CDBCursor(CDBTable* table) : table_(table) {
    if (table_ != nullptr) {
        table_->AttachCursor(this);
    }
}

CDBCursor::~CDBCursor() {
    if (table_ != nullptr) {
        table_->DetachCursor(this);
    }
}

std::unique_ptr<CDBSearch> CDBCursor::ExchangeSearch(std::unique_ptr<CDBSearch> search) {
    search_.swap(search);
    if (table_ != nullptr && search_ != nullptr && !holds_records_) {
        table_->PromoteCursor(this);
    }
    return search;
}

void CDBCursor::ReleaseFromCache(const CDBNode* record) {
    if (search_ != nullptr) {
        search_->ReleaseFromCache(record);
        current_ = search_->GetCacheNode();
    } else if (current_ == record) {
        current_ = nullptr;
    }
}

void CDBCursor::OnRecordReleased(const CDBNode* record) {
    if (search_ != nullptr) {
        search_->ReleaseFromCache(record);
    }
    if (current_ == record) {
        current_ = search_ != nullptr ? search_->GetCacheNode() : nullptr;
    }
}

void CDBCursor::OnTableEmptied() {
    if (search_ != nullptr) {
        search_->Clear();
    }
    current_ = nullptr;
}

void CDBCursor::OnTableDestroyed() {
    table_ = nullptr;
    search_.reset();
    current_ = nullptr;
    previous_ = nullptr;
    next_ = nullptr;
}

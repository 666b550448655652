#include "store/CDBTable.h"

#include <memory>
#include <new>

#include "base/Status.h"

CDBTable::~CDBTable() {
    Term();
    CDBCursor* cursor = first_cursor_;
    while (cursor != nullptr) {
        CDBCursor* next = cursor->next_;
        cursor->OnTableDestroyed();
        cursor = next;
    }
}

int32_t CDBTable::Init(const CDBFieldArray* source) {
    int32_t status = schema_.CloneFieldArray(source);
    if (status != ENGINE_OK) {
        return status;
    }
    if (schema_.GetSize() == 0) {
        return ENGINE_EMPTY_SCHEMA;
    }
    status = indexes_.AddHash(nullptr);
    for (uint32_t i = 0; status == ENGINE_OK && i < schema_.GetSize(); ++i) {
        if (schema_.GetField(i)->IsIndexed()) {
            status = indexes_.AddHash(schema_.GetField(i));
        }
    }
    return status;
}

void CDBTable::DestroyRecords(const CDBHash* list) {
    for (CDBCursor* cursor = first_cursor_; cursor != nullptr; cursor = cursor->next_) {
        cursor->OnTableEmptied();
    }
    const CDBHashNode* link = list->GetHeadHashNode(0);
    for (; link != nullptr; link = link->next) {
        delete link->record;
    }
}

int32_t CDBTable::Term() {
    const CDBHash* list = indexes_.GetHash(nullptr);
    if (list == nullptr) {
        return ENGINE_OK;
    }
    DestroyRecords(list);
    indexes_.DeleteAllHash();
    indexes_.AddHash(nullptr);
    record_count_ = 0;
    return ENGINE_OK;
}

// Term may have found no memory for a new list; a table that has a schema then makes it here.
CDBHash* CDBTable::GetRecordList() {
    CDBHash* list = indexes_.GetHash(nullptr);
    if (list == nullptr && schema_.GetSize() != 0 && indexes_.AddHash(nullptr) == ENGINE_OK) {
        list = indexes_.GetHash(nullptr);
    }
    return list;
}

int32_t CDBTable::CreateNode(CDBNode** out) {
    *out = new (std::nothrow) CDBNode;
    return *out != nullptr ? ENGINE_OK : ENGINE_MEMORY;
}

int32_t CDBTable::CloneNode(CDBNode** out, const CDBNode* source) {
    std::unique_ptr<CDBNode> copy(new (std::nothrow) CDBNode);
    if (copy == nullptr) {
        return ENGINE_MEMORY;
    }
    for (const CDBNodeValue* v = source->GetHead(); v != nullptr; v = v->GetNext()) {
        DATASTRUCT value;
        value.field = v->GetField();
        value.data = const_cast<void*>(v->GetData());
        value.length = v->GetLength();
        const int32_t status = copy->PutNodeValue(&value);
        if (status != ENGINE_OK) {
            return status;
        }
    }
    *out = copy.release();
    return ENGINE_OK;
}

int32_t CDBTable::InsertNode(CDBNode* record) {
    if (GetRecordList() == nullptr) {
        return ENGINE_MEMORY;
    }
    const int32_t status = indexes_.AddHashNode(record);
    if (status == ENGINE_OK) {
        ++record_count_;
    }
    return status;
}

int32_t CDBTable::ReleaseNode(CDBNode* record, const CDBCursor* caller) {
    CDBCursor* cursor = first_cursor_;
    for (; cursor != nullptr && cursor->holds_records_; cursor = cursor->next_) {
        if (cursor != caller) {
            cursor->OnRecordReleased(record);
        }
    }
    const int32_t status = indexes_.DeleteHashNode(record);
    --record_count_;
    return status;
}

int32_t CDBTable::DeleteNode(CDBNode* record) {
    delete record;
    return ENGINE_OK;
}

int32_t CDBTable::FindNodes(CDBSearch* search, const DATASTRUCT* key) {
    if (search == nullptr) {
        return ENGINE_MEMORY;
    }
    if (search->GetFirstCache() != nullptr) {
        return search->CacheNodesNext(key);
    }
    const CDBHash* index = nullptr;
    if (key != nullptr && key->compare == VAMEL_EQUAL) {
        index = indexes_.GetHash(key->field);
    }
    if (index == nullptr) {
        index = GetRecordList();
    }
    if (index == nullptr) {
        return ENGINE_MEMORY;
    }
    try {
        return search->CacheNodesFirst(index, key);
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
}

// Whether a record other than the first match, when that is `replaced`, matches the value. Throws
// std::bad_alloc.
bool CDBTable::IsTaken(const DATASTRUCT* value, const CDBNode* replaced) {
    const CDBHash* index = indexes_.GetHash(value->field);
    if (index == nullptr) {
        index = GetRecordList();
    }
    if (index == nullptr) {
        throw std::bad_alloc();
    }
    CDBSearch search;
    search.CacheNodesFirst(index, value);
    const CDBNode* match = search.GetFirstCache();
    if (match != nullptr && match == replaced) {
        match = search.GetNextCache();
    }
    return match != nullptr;
}

int32_t CDBTable::PutNodeValue(CDBNode* record, const DATASTRUCT* value, const CDBNode* replaced) {
    if (value->field == nullptr) {
        return ENGINE_NO_FIELD;
    }
    try {
        if (value->field->IsUnique() && IsTaken(value, replaced)) {
            return ENGINE_DUPLICATE;
        }
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
    return record->PutNodeValue(value);
}

int32_t CDBTable::GetNodeValue(const CDBNode* record, DATASTRUCT* value) {
    return value->field != nullptr ? record->GetNodeValue(value) : ENGINE_NO_FIELD;
}

void CDBTable::AttachCursor(CDBCursor* cursor) {
    cursor->previous_ = last_cursor_;
    cursor->next_ = nullptr;
    (last_cursor_ != nullptr ? last_cursor_->next_ : first_cursor_) = cursor;
    last_cursor_ = cursor;
}

void CDBTable::DetachCursor(CDBCursor* cursor) {
    (cursor->previous_ != nullptr ? cursor->previous_->next_ : first_cursor_) = cursor->next_;
    (cursor->next_ != nullptr ? cursor->next_->previous_ : last_cursor_) = cursor->previous_;
}

// Cursors that may refer to records stand first, so that removing a record does not pass by
// statements that never selected.
void CDBTable::PromoteCursor(CDBCursor* cursor) {
    DetachCursor(cursor);
    cursor->previous_ = nullptr;
    cursor->next_ = first_cursor_;
    (first_cursor_ != nullptr ? first_cursor_->previous_ : last_cursor_) = cursor;
    first_cursor_ = cursor;
    cursor->holds_records_ = true;
}

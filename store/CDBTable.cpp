#include "store/CDBTable.h"

#include <algorithm>
#include <memory>
#include <new>

#include "base/Status.h"

namespace {

// Matches that a table keeps room for between look-ups.
constexpr size_t kMostKept = 1024;

// The most bytes that a value takes before or after the changes.
uint32_t GetReserve(const CDBNodeValue* value, const std::vector<DATASTRUCT*>& changes) {
    uint32_t most = value->GetLength();
    for (const DATASTRUCT* change : changes) {
        if (change->field == value->GetField()) {
            most = std::max(most, change->length);
        }
    }
    return most;
}

// The room for a record's values and those that changes add. Changes to one field count each: a
// little room is lost where a host binds a field twice.
CDBNodeRoom GetRoom(const CDBNode* source, const std::vector<DATASTRUCT*>& changes) {
    CDBNodeRoom room;
    for (const CDBNodeValue* v = source->GetHead(); v != nullptr; v = v->GetNext()) {
        room.AddValue(GetReserve(v, changes));
    }
    for (const DATASTRUCT* change : changes) {
        if (source->SearchNodeValue(change->field) == nullptr) {
            room.AddValue(change->length);
        }
    }
    return room;
}

uint64_t GetStoredSize(const CDBNode* record) {
    uint64_t size = 1;
    for (const CDBNodeValue* v = record->GetHead(); v != nullptr; v = v->GetNext()) {
        size += 5 + uint64_t{v->GetLength()};
    }
    return size;
}

}  // namespace

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
    return status == ENGINE_OK ? MakeValueMaps() : status;
}

int32_t CDBTable::MakeValueMaps() {
    try {
        values_.clear();
        value_maps_ = 0;
        for (uint32_t i = 0; i < schema_.GetSize(); ++i) {
            CDBField* field = schema_.GetField(i);
            values_.emplace_back();
            if (field->IsIndexed() || field->IsUnique()) {
                values_.back() = std::make_unique<CDBValueMap>(field, value_maps_++);
                const CDBHash* index = indexes_.GetHash(field);
                values_.back()->Reset(index != nullptr ? index->GetBucketCount() : 1);
            }
        }
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
    return ENGINE_OK;
}

CDBValueMap* CDBTable::GetValues(const CDBField* field) const {
    const uint32_t at = field != nullptr ? field->GetIndex() : UINT32_MAX;
    return at < values_.size() && schema_.GetField(at) == field ? values_[at].get() : nullptr;
}

void CDBTable::DestroyRecords() {
    for (CDBCursor* cursor = first_cursor_; cursor != nullptr; cursor = cursor->next_) {
        cursor->OnTableEmptied();
    }
    for (const auto& values : values_) {
        if (values != nullptr) {
            values->Reset(1);
        }
    }
    indexes_.DeleteAllHash();
    indexes_.GetRecords()->DestroyAll();
}

int32_t CDBTable::Term() {
    if (indexes_.GetHash(nullptr) == nullptr) {
        return ENGINE_OK;
    }
    DestroyRecords();
    indexes_.AddHash(nullptr);
    record_count_ = 0;
    content_size_ = 0;
    return ENGINE_OK;
}

// The index of all records. Term may have found no memory for a new one; a table that has a schema
// then makes it here.
const CDBHash* CDBTable::GetRecordIndex() {
    const CDBHash* index = indexes_.GetHash(nullptr);
    if (index == nullptr && schema_.GetSize() != 0 && indexes_.AddHash(nullptr) == ENGINE_OK) {
        index = indexes_.GetHash(nullptr);
    }
    return index;
}

int32_t CDBTable::CreateNode(CDBNode** out, const CDBNodeRoom& room) {
    CDBNodeRoom needed = room;
    needed.keys = value_maps_;
    *out = CDBNode::Create(needed);
    return *out != nullptr ? ENGINE_OK : ENGINE_MEMORY;
}

int32_t CDBTable::CloneNode(CDBNode** out, const CDBNode* source,
                            const std::vector<DATASTRUCT*>& changes) {
    CDBNode* made = nullptr;
    if (CreateNode(&made, GetRoom(source, changes)) != ENGINE_OK) {
        return ENGINE_MEMORY;
    }
    std::unique_ptr<CDBNode> copy(made);
    for (const CDBNodeValue* v = source->GetHead(); v != nullptr; v = v->GetNext()) {
        DATASTRUCT value;
        value.field = v->GetField();
        value.data = const_cast<void*>(v->GetData());
        value.length = v->GetLength();
        const int32_t status = copy->PutNodeValue(&value, GetReserve(v, changes));
        if (status != ENGINE_OK) {
            return status;
        }
    }
    *out = copy.release();
    return ENGINE_OK;
}

int32_t CDBTable::LinkValues(CDBNode* record) {
    for (const auto& values : values_) {
        if (values != nullptr && values->Add(record) != ENGINE_OK) {
            UnlinkValues(record);
            return ENGINE_MEMORY;
        }
    }
    return ENGINE_OK;
}

void CDBTable::UnlinkValues(CDBNode* record) {
    for (const auto& values : values_) {
        if (values != nullptr) {
            values->Remove(record);
        }
    }
}

int32_t CDBTable::InsertNode(CDBNode* record) {
    if (GetRecordIndex() == nullptr || record->GetKeyCount() != value_maps_) {
        return ENGINE_MEMORY;
    }
    int32_t status = indexes_.AddHashNode(record);
    if (status == ENGINE_OK) {
        status = LinkValues(record);
        if (status != ENGINE_OK) {
            indexes_.DeleteHashNode(record);
        }
    }
    if (status == ENGINE_OK) {
        ++record_count_;
        content_size_ += GetStoredSize(record);
    }
    return status;
}

void CDBTable::ReleaseFromCursors(const CDBNode* record, const CDBCursor* caller) {
    CDBCursor* cursor = first_cursor_;
    for (; cursor != nullptr && cursor->holds_records_; cursor = cursor->next_) {
        if (cursor != caller) {
            cursor->OnRecordReleased(record);
        }
    }
}

int32_t CDBTable::ReleaseNode(CDBNode* record, const CDBCursor* caller) {
    ReleaseFromCursors(record, caller);
    if (indexes_.GetRecords()->Holds(record)) {
        UnlinkValues(record);
        content_size_ -= GetStoredSize(record);
    }
    const int32_t status = indexes_.DeleteHashNode(record);
    --record_count_;
    return status;
}

int32_t CDBTable::UpdateNode(CDBNode* record, const std::vector<DATASTRUCT*>& values,
                             CDBCursor* caller) {
    for (const DATASTRUCT* value : values) {
        const int32_t status = CheckValue(value, record);
        if (status != ENGINE_OK) {
            return status;
        }
    }
    if (!CanChange(record, values)) {
        return Exchange(record, values, caller);
    }
    caller->ReleaseFromCache(record);
    ReleaseFromCursors(record, caller);
    Change(record, values);
    return ENGINE_OK;
}

// Whether a linked record can take the values where it is, so that nothing can fail.
bool CDBTable::CanChange(const CDBNode* record, const std::vector<DATASTRUCT*>& values) {
    if (!indexes_.FollowsRecords() || !record->HasRoomFor(values) ||
        indexes_.GetRecords()->Reserve(1) != ENGINE_OK) {
        return false;
    }
    return std::all_of(values.begin(), values.end(), [this](const DATASTRUCT* value) {
        CDBValueMap* map = GetValues(value->field);
        return map == nullptr || map->Reserve(1);
    });
}

// A changed record is a new one: in every order it stands last.
void CDBTable::Change(CDBNode* record, const std::vector<DATASTRUCT*>& values) {
    const auto changes = [&values](const CDBField* field) {
        return std::any_of(values.begin(), values.end(),
                           [field](const DATASTRUCT* value) { return value->field == field; });
    };
    for (const auto& map : values_) {
        if (map != nullptr) {
            changes(map->GetField()) ? map->Remove(record) : map->MoveToEnd(record);
        }
    }
    content_size_ -= GetStoredSize(record);
    for (const DATASTRUCT* value : values) {
        record->PutNodeValue(value);
    }
    content_size_ += GetStoredSize(record);
    LinkValues(record);  // those that it stayed in know it
    indexes_.GetRecords()->MoveToEnd(record);
}

int32_t CDBTable::Exchange(CDBNode* record, const std::vector<DATASTRUCT*>& values,
                           CDBCursor* caller) {
    CDBNode* made = nullptr;
    int32_t status = CloneNode(&made, record, values);
    std::unique_ptr<CDBNode> copy(made);
    for (size_t i = 0; status == ENGINE_OK && i < values.size(); ++i) {
        status = copy->PutNodeValue(values[i]);
    }
    if (status == ENGINE_OK) {
        status = InsertNode(copy.get());
    }
    if (status == ENGINE_OK) {
        static_cast<void>(copy.release());  // the table's from now on
        caller->ReleaseFromCache(record);
        ReleaseNode(record, caller);
        DeleteNode(record);
    }
    return status;
}

int32_t CDBTable::DeleteNode(CDBNode* record) {
    delete record;
    return ENGINE_OK;
}

// The first `most` matches of an equality into matches_, as the walk of the field's index or, where
// there is none, of all records would find them. False when it must be walked after all.
bool CDBTable::FindMatches(const DATASTRUCT* key, size_t most) {
    CDBValueMap* values = GetValues(key->field);
    matches_.clear();
    return values != nullptr && values->FindEqual(key, most, &matches_);
}

void CDBTable::FetchAhead(const std::vector<DATASTRUCT*>& values) const {
    for (const DATASTRUCT* value : values) {
        if (const CDBValueMap* map = GetValues(value->field)) {
            map->FetchSlot(value->data, value->length);
        }
    }
}

void CDBTable::Reserve(uint32_t records) {
    indexes_.GetRecords()->Reserve(records);
    for (const auto& map : values_) {
        if (map != nullptr) {
            map->Reserve(records);
        }
    }
}

int32_t CDBTable::FindNodes(CDBSearch* search, const DATASTRUCT* key) {
    if (search == nullptr) {
        return ENGINE_MEMORY;
    }
    if (search->GetFirstCache() != nullptr) {
        return search->CacheNodesNext(key);
    }
    try {
        if (key != nullptr && key->compare == VAMEL_EQUAL && FindMatches(key, SIZE_MAX)) {
            const int32_t status = search->CacheMatches(&matches_);
            if (matches_.capacity() > kMostKept) {
                std::vector<CDBNode*>().swap(matches_);
            }
            return status;
        }
        return Walk(search, key);
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
}

int32_t CDBTable::Walk(CDBSearch* search, const DATASTRUCT* key) {
    const CDBHash* index = nullptr;
    if (key != nullptr && key->compare == VAMEL_EQUAL) {
        index = indexes_.GetHash(key->field);
    }
    if (index == nullptr) {
        index = GetRecordIndex();
    }
    if (index == nullptr) {
        return ENGINE_MEMORY;
    }
    if (key == nullptr) {
        return search->CacheNodesAll(index, static_cast<size_t>(std::max(record_count_, 0)));
    }
    return search->CacheNodesFirst(index, key);
}

// Whether a record other than `replaced` matches the value, by the value's own comparison code:
// that is when the first match is another one, or there is a second. Throws std::bad_alloc.
bool CDBTable::IsTaken(const DATASTRUCT* value, const CDBNode* replaced) {
    const bool equality = value->compare < VAMEL_LESS || value->compare > VAMEL_GREATER_OR_EQUAL;
    if (equality && FindMatches(value, 2)) {
        return std::any_of(matches_.begin(), matches_.end(),
                           [replaced](const CDBNode* match) { return match != replaced; });
    }
    const CDBHash* index = indexes_.GetHash(value->field);
    if (index == nullptr) {
        index = GetRecordIndex();
    }
    if (index == nullptr) {
        throw std::bad_alloc();
    }
    return CDBSearch::HasMatch(index, value, replaced);
}

int32_t CDBTable::CheckValue(const DATASTRUCT* value, const CDBNode* replaced) {
    if (value->field == nullptr) {
        return ENGINE_NO_FIELD;
    }
    try {
        return value->field->IsUnique() && IsTaken(value, replaced) ? ENGINE_DUPLICATE : ENGINE_OK;
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
}

int32_t CDBTable::PutNodeValue(CDBNode* record, const DATASTRUCT* value, const CDBNode* replaced) {
    const int32_t status = CheckValue(value, replaced);
    return status == ENGINE_OK ? record->PutNodeValue(value) : status;
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

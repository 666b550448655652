#include "store/CDBHash.h"

#include <algorithm>
#include <new>

#include "base/CalcHashValue.h"
#include "base/Status.h"

CDBHash::~CDBHash() {
    DeleteAllHashNodes();
    FreeHash();
}

int32_t CDBHash::AllocHash(uint32_t count) {
    FreeHash();
    count_ = count;
    buckets_ = new (std::nothrow) Bucket[count];
    return buckets_ != nullptr ? ENGINE_OK : ENGINE_MEMORY;
}

int32_t CDBHash::FreeHash() {
    delete[] buckets_;
    buckets_ = nullptr;
    list_ = nullptr;
    return ENGINE_OK;
}

// The chains that the index would have if it had been told of every record. False, and as it was,
// when memory is short.
bool CDBHash::MakeChains() {
    const CDBRecordList* list = list_;
    if (list == nullptr) {
        return true;
    }
    list_ = nullptr;
    CDBRecordList::Walk walk(*list);
    for (CDBNode* record = walk.Next(); record != nullptr; record = walk.Next()) {
        if (Add(record) != ENGINE_OK) {
            DeleteAllHashNodes();
            std::fill_n(buckets_, count_, Bucket());
            list_ = list;
            return false;
        }
    }
    return true;
}

CDBHashNode* CDBHash::GetHeadHashNode(uint32_t bucket) const {
    // Which chains there are does not change, only whether they have been made.
    if (list_ != nullptr && !const_cast<CDBHash*>(this)->MakeChains()) {
        return nullptr;
    }
    return buckets_ != nullptr && bucket < count_ ? buckets_[bucket].head : nullptr;
}

void CDBHash::PushHashNode(uint32_t hash, CDBHashNode* link) {
    if (link != nullptr && buckets_ != nullptr && MakeChains()) {
        Append(buckets_[hash % count_], link);
    }
}

void CDBHash::Append(Bucket& bucket, CDBHashNode* link) {
    link->previous = bucket.tail;
    link->next = nullptr;
    if (bucket.head == nullptr) {
        bucket.head = link;
    } else {
        bucket.tail->next = link;
    }
    bucket.tail = link;
    ++links_;
}

void CDBHash::PopHashNode(uint32_t hash, CDBHashNode* link) {
    if (link == nullptr || buckets_ == nullptr) {
        return;
    }
    Bucket& bucket = buckets_[hash % count_];
    if (link->previous == nullptr) {
        bucket.head = link->next;
    } else {
        link->previous->next = link->next;
    }
    if (link->next == nullptr) {
        bucket.tail = link->previous;
    } else {
        link->next->previous = link->previous;
    }
    --links_;
}

CDBHashNode* CDBHash::SearchHashNode(uint32_t bucket, const CDBNode* record) const {
    CDBHashNode* link = GetHeadHashNode(bucket);
    while (link != nullptr && link->record != record) {
        link = link->next;
    }
    return link;
}

int32_t CDBHash::Add(CDBNode* record) {
    auto* link = buckets_ != nullptr ? new (std::nothrow) CDBHashNode : nullptr;
    if (link == nullptr) {
        return ENGINE_MEMORY;
    }
    link->record = record;
    Append(buckets_[BucketOf(record)], link);
    return ENGINE_OK;
}

int32_t CDBHash::AddHashNode(CDBNode* record) {
    return MakeChains() ? Add(record) : ENGINE_MEMORY;
}

int32_t CDBHash::DeleteHashNode(CDBNode* record) {
    const uint32_t bucket = BucketOf(record);
    CDBHashNode* link = SearchHashNode(bucket, record);
    if (link == nullptr) {
        return ENGINE_NO_VALUE;
    }
    PopHashNode(bucket, link);
    delete link;
    return ENGINE_OK;
}

uint32_t CDBHash::GetHashValue(const CDBNodeValue* value) const {
    return CalcHashValue(value->GetData(), value->GetLength(), count_);
}

uint32_t CDBHash::GetHashValue(const DATASTRUCT* value) const {
    return CalcHashValue(value->data, value->length, count_);
}

int32_t CDBHash::DeleteAllHashNodes() {
    for (uint32_t i = 0; links_ != 0 && buckets_ != nullptr && i < count_; ++i) {
        CDBHashNode* link = buckets_[i].head;
        while (link != nullptr) {
            CDBHashNode* next = link->next;
            delete link;
            link = next;
        }
    }
    links_ = 0;
    return ENGINE_OK;
}

uint32_t CDBHash::BucketOf(const CDBNode* record) const {
    const CDBNodeValue* value = field_ != nullptr ? record->SearchNodeValue(field_) : nullptr;
    return value != nullptr ? GetHashValue(value) : 0;
}

#include "store/CDBHash.h"

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
    return ENGINE_OK;
}

CDBHashNode* CDBHash::GetHeadHashNode(uint32_t bucket) const {
    return buckets_ != nullptr && bucket < count_ ? buckets_[bucket].head : nullptr;
}

void CDBHash::PushHashNode(uint32_t hash, CDBHashNode* link) {
    if (link == nullptr || buckets_ == nullptr) {
        return;
    }
    Bucket& bucket = buckets_[hash % count_];
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

// The record's own link if it is free, else one from the heap; null when memory is short.
CDBHashNode* CDBHash::TakeLink(CDBNode* record, uint32_t bucket) {
    CDBHashNode* own = record->GetLink(place_);
    if (own != nullptr && own->record == nullptr) {
        *record->GetBucket(place_) = static_cast<uint16_t>(bucket);
        own->record = record;
        ++own_links_;
        return own;
    }
    auto* link = new (std::nothrow) CDBHashNode;
    if (link != nullptr) {
        link->record = record;
    }
    return link;
}

CDBHashNode* CDBHash::FindLink(CDBNode* record, uint32_t bucket) const {
    CDBHashNode* own = record->GetLink(place_);
    if (own != nullptr && own->record != nullptr && *record->GetBucket(place_) == bucket) {
        return own;
    }
    return links_ != own_links_ ? SearchHashNode(bucket, record) : nullptr;
}

void CDBHash::FreeLink(CDBHashNode* link) {
    CDBNode* record = own_links_ != 0 ? link->record : nullptr;
    if (record != nullptr && link == record->GetLink(place_)) {
        link->record = nullptr;
        --own_links_;
    } else {
        delete link;
    }
}

int32_t CDBHash::AddHashNode(CDBNode* record) {
    const uint32_t bucket = BucketOf(record);
    CDBHashNode* link = TakeLink(record, bucket);
    if (link == nullptr) {
        return ENGINE_MEMORY;
    }
    PushHashNode(bucket, link);
    return ENGINE_OK;
}

int32_t CDBHash::DeleteHashNode(CDBNode* record) {
    const uint32_t bucket = BucketOf(record);
    CDBHashNode* link = FindLink(record, bucket);
    if (link == nullptr) {
        return ENGINE_NO_VALUE;
    }
    PopHashNode(bucket, link);
    FreeLink(link);
    return ENGINE_OK;
}

uint32_t CDBHash::GetHashValue(const CDBNodeValue* value) const {
    return CalcHashValue(value->GetData(), value->GetLength(), count_);
}

uint32_t CDBHash::GetHashValue(const DATASTRUCT* value) const {
    return CalcHashValue(value->data, value->length, count_);
}

int32_t CDBHash::DeleteAllHashNodes() {
    // Where every link lies in its record there is nothing to free, and no chain to walk.
    const bool all_own = links_ == own_links_;
    for (uint32_t i = 0; !all_own && buckets_ != nullptr && i < count_; ++i) {
        CDBHashNode* link = buckets_[i].head;
        while (link != nullptr) {
            CDBHashNode* next = link->next;
            FreeLink(link);
            link = next;
        }
    }
    return ENGINE_OK;
}

CDBHashNode* CDBHash::TakeChain(uint32_t bucket) {
    CDBHashNode* link = GetHeadHashNode(bucket);
    if (link != nullptr) {
        buckets_[bucket] = Bucket();
    }
    return link;
}

uint32_t CDBHash::BucketOf(const CDBNode* record) const {
    const CDBNodeValue* value = field_ != nullptr ? record->SearchNodeValue(field_) : nullptr;
    return value != nullptr ? GetHashValue(value) : 0;
}

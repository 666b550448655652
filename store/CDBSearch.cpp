#include "store/CDBSearch.h"

#include <algorithm>

#include "base/Status.h"

int32_t CDBSearch::TestValue(const CDBNodeValue* value, const DATASTRUCT* key) {
    const int32_t c = value->CompareValue(key);
    switch (key->compare) {
        case VAMEL_LESS:
            return c < 0 ? 1 : 0;
        case VAMEL_GREATER:
            return c > 0 ? 1 : 0;
        case VAMEL_LESS_OR_EQUAL:
            return c <= 0 ? 1 : 0;
        case VAMEL_GREATER_OR_EQUAL:
            return c >= 0 ? 1 : 0;
        default:
            return c == 0 ? 1 : 0;
    }
}

int32_t CDBSearch::CacheNodesAll(const CDBHash* index) {
    for (uint32_t bucket = 0; bucket < index->GetBucketCount(); ++bucket) {
        const CDBHashNode* link = index->GetHeadHashNode(bucket);
        for (; link != nullptr; link = link->next) {
            if (link->record != nullptr) {
                cache_.push_back(link->record);
            }
        }
    }
    cursor_ = -1;
    return ENGINE_OK;
}

int32_t CDBSearch::CacheNodesFirst(const CDBHash* index, const DATASTRUCT* key) {
    if (key == nullptr) {
        return CacheNodesAll(index);
    }
    const CDBHashNode* link = index->GetHeadHashNode(index->GetHashValue(key));
    for (; link != nullptr; link = link->next) {
        CDBNode* record = link->record;
        const CDBNodeValue* value =
            record != nullptr ? record->SearchNodeValue(key->field) : nullptr;
        if (value != nullptr && TestValue(value, key) != 0) {
            cache_.push_back(record);
        }
    }
    cursor_ = -1;
    return ENGINE_OK;
}

int32_t CDBSearch::CacheNodesNext(const DATASTRUCT* key) {
    if (key == nullptr) {
        return ENGINE_OK;
    }
    const auto fails = [key](const CDBNode* record) {
        const CDBNodeValue* value = record->SearchNodeValue(key->field);
        return value != nullptr && TestValue(value, key) == 0;
    };
    cache_.erase(std::remove_if(cache_.begin(), cache_.end(), fails), cache_.end());
    cursor_ = -1;
    return ENGINE_OK;
}

CDBNode* CDBSearch::GetFirstCache() {
    cursor_ = 0;
    return GetCacheNode();
}

CDBNode* CDBSearch::GetNextCache() {
    // Past the end it stays past the end, however often it is asked.
    if (cursor_ < INT32_MAX) {
        ++cursor_;
    }
    return GetCacheNode();
}

CDBNode* CDBSearch::GetCacheNode() const {
    const auto at = static_cast<size_t>(cursor_);
    return cursor_ >= 0 && at < cache_.size() ? cache_[at] : nullptr;
}

int32_t CDBSearch::ReleaseFromCache(const CDBNode* record) {
    const auto found = std::find(cache_.begin(), cache_.end(), record);
    if (found == cache_.end()) {
        return ENGINE_NO_VALUE;
    }
    if (GetCacheNode() == record) {
        --cursor_;
    }
    cache_.erase(found);
    return ENGINE_OK;
}

void CDBSearch::Clear() {
    cache_.clear();
    cursor_ = -1;
}

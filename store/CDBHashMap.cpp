#include "store/CDBHashMap.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/CalcHashValue.h"
#include "base/Status.h"

namespace {

uint32_t BucketCount(const CDBField* field) {
    const int32_t type = field != nullptr ? field->GetType() : 0;
    return type >= VAMEL_TYPE_INTEGER && type <= VAMEL_TYPE_BINARY ? kHashBuckets : 1;
}

}  // namespace

int32_t CDBHashMap::AddHash(CDBField* field) {
    const uint32_t count = BucketCount(field);
    std::unique_ptr<CDBHash> hash(new (std::nothrow) CDBHash(field, count));
    if (hash == nullptr || hash->AllocHash(count) != ENGINE_OK) {
        return ENGINE_MEMORY;
    }
    const CDBHash* list = GetHash(nullptr);
    if (field != nullptr && list != nullptr && list->GetHeadHashNode(0) == nullptr) {
        hash->FollowList(list);
    } else if (field == nullptr && list == nullptr) {
        hash->UseRecordLinks();
    }
    try {
        hashes_.push_back(std::move(hash));
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
    return ENGINE_OK;
}

CDBHash* CDBHashMap::GetHash(const CDBField* field) const {
    for (const auto& hash : hashes_) {
        if (hash->GetField() == field) {
            return hash.get();
        }
    }
    return nullptr;
}

int32_t CDBHashMap::AddHashNode(CDBNode* record) {
    for (const auto& hash : hashes_) {
        const int32_t status = hash->GetList() == nullptr ? hash->AddHashNode(record) : ENGINE_OK;
        if (status != ENGINE_OK) {
            DeleteHashNode(record);
            return status;
        }
    }
    return ENGINE_OK;
}

int32_t CDBHashMap::DeleteHashNode(CDBNode* record) {
    for (const auto& hash : hashes_) {
        if (hash->GetList() == nullptr) {
            hash->DeleteHashNode(record);
        }
    }
    return ENGINE_OK;
}

int32_t CDBHashMap::DeleteAllHash() {
    hashes_.clear();
    return ENGINE_OK;
}

void CDBHashMap::DeleteFieldHashes() {
    const auto has_field = [](const auto& hash) { return hash->GetField() != nullptr; };
    hashes_.erase(std::remove_if(hashes_.begin(), hashes_.end(), has_field), hashes_.end());
}

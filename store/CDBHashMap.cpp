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
    if (records_.GetCount() == 0) {
        hash->FollowList(&records_);
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

bool CDBHashMap::FollowsRecords() const {
    return std::all_of(hashes_.begin(), hashes_.end(),
                       [](const auto& hash) { return hash->GetList() != nullptr; });
}

int32_t CDBHashMap::AddHashNode(CDBNode* record) {
    for (const auto& hash : hashes_) {
        const int32_t status = hash->GetList() == nullptr ? hash->AddHashNode(record) : ENGINE_OK;
        if (status != ENGINE_OK) {
            DeleteHashNode(record);
            return status;
        }
    }
    if (records_.Append(record) != ENGINE_OK) {
        DeleteHashNode(record);
        return ENGINE_MEMORY;
    }
    return ENGINE_OK;
}

int32_t CDBHashMap::DeleteHashNode(CDBNode* record) {
    for (const auto& hash : hashes_) {
        if (hash->GetList() == nullptr) {
            hash->DeleteHashNode(record);
        }
    }
    if (records_.Holds(record)) {
        records_.Remove(record);
    }
    return ENGINE_OK;
}

int32_t CDBHashMap::DeleteAllHash() {
    hashes_.clear();
    return ENGINE_OK;
}

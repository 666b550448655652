#include "store/CDBRecordList.h"

#include <algorithm>
#include <new>

#include "base/Status.h"

namespace {

constexpr size_t kFewEntries = 64;  // of which gaps do not matter

}  // namespace

bool CDBRecordList::Holds(const CDBNode* record) const {
    const uint32_t place = record->GetPlace();
    return place < entries_.size() && entries_[place].record == record;
}

int32_t CDBRecordList::Reserve(size_t more) {
    if (entries_.capacity() - entries_.size() >= more) {
        return ENGINE_OK;
    }
    if (count_ < entries_.size() - entries_.size() / 4) {
        Compact();
    }
    if (more >= CDBNode::kNoPlace - entries_.size()) {
        return ENGINE_MEMORY;
    }
    try {
        const size_t wanted = entries_.size() + more;
        if (wanted > entries_.capacity()) {
            entries_.reserve(std::max(wanted, entries_.size() + entries_.size() / 2));
        }
    } catch (const std::bad_alloc&) {
        return ENGINE_MEMORY;
    }
    return ENGINE_OK;
}

int32_t CDBRecordList::Append(CDBNode* record) {
    if (Reserve(1) != ENGINE_OK) {
        return ENGINE_MEMORY;
    }
    record->SetSequence(next_);
    record->SetPlace(static_cast<uint32_t>(entries_.size()));
    entries_.push_back({record, next_++});
    ++count_;
    return ENGINE_OK;
}

void CDBRecordList::Remove(CDBNode* record) {
    entries_[record->GetPlace()].record = nullptr;
    record->SetPlace(CDBNode::kNoPlace);
    --count_;
    if (count_ < entries_.size() / 4 && entries_.size() > kFewEntries) {
        Compact();
    }
}

void CDBRecordList::MoveToEnd(CDBNode* record) {
    entries_[record->GetPlace()].record = nullptr;
    record->SetSequence(next_);
    record->SetPlace(static_cast<uint32_t>(entries_.size()));
    entries_.push_back({record, next_++});
}

void CDBRecordList::Compact() {
    Walk walk(*this);
    uint32_t place = 0;
    while (CDBNode* record = walk.Next()) {
        entries_[place] = {record, record->GetSequence()};
        record->SetPlace(place++);
    }
    entries_.resize(place);
}

void CDBRecordList::DestroyAll() {
    Walk walk(*this);
    while (CDBNode* record = walk.Next()) {
        delete record;
    }
    std::vector<Entry>().swap(entries_);
    count_ = 0;
}

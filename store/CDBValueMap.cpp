#include "store/CDBValueMap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/BigEndian.h"
#include "base/CalcHashValue.h"
#include "base/Prefetch.h"
#include "base/Status.h"

namespace {

// The last step of a hash: every bit of the input reaches every bit of the result.
uint32_t Mix(uint64_t h) {
    h ^= h >> 32;
    h *= 0xd6e8feb86659fd93U;
    h ^= h >> 32;
    h *= 0xd6e8feb86659fd93U;
    return static_cast<uint32_t>(h >> 32);
}

// As Mix, for 32 bits, and no two numbers get the same.
uint32_t MixNumber(uint32_t h) {
    h ^= h >> 16;
    h *= 0x85ebca6bU;
    h ^= h >> 13;
    h *= 0xc2b2ae35U;
    return h ^ h >> 16;
}

uint32_t HashBytes(const void* data, uint32_t length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    uint64_t h = length * 0x9e3779b97f4a7c15U;
    uint64_t word;
    for (; length >= sizeof word; length -= 8, bytes += 8) {
        std::memcpy(&word, bytes, sizeof word);
        h = (h ^ word) * 0xff51afd7ed558ccdU;
        h ^= h >> 32;
    }
    word = 0;
    if (length != 0) {
        std::memcpy(&word, bytes, length);
    }
    return Mix(h ^ word);
}

}  // namespace

void CDBValueMap::Clear() {
    std::free(slots_);
    slots_ = nullptr;
    capacity_ = 0;
    used_ = 0;
    irregular_ = 0;
    length_ = 0;
    lengths_differ_ = false;
    order_.reset();
}

void CDBValueMap::Reset(uint32_t buckets) {
    Clear();
    buckets_ = buckets;
}

CDBValueMap::Value CDBValueMap::ValueOf(const CDBNode* record) const {
    const CDBNodeValue* value = record->SearchNodeValue(field_);
    if (value == nullptr) {
        return {nullptr, 0};
    }
    return {value->GetData(), value->GetLength()};
}

uint32_t CDBValueMap::Hash(const Value& value) const {
    if (IsInteger()) {
        return MixNumber(static_cast<uint32_t>(LoadInteger(value.data, value.length)));
    }
    return HashBytes(value.data, value.length);
}

// Whether the record's value is the one that has the same hash. Numbers are: the record, which is
// far from its slot, is not looked at.
bool CDBValueMap::IsSame(const CDBNode* record, const Value& value) const {
    CDBNode::Fetch(record);
    if (IsInteger()) {
        return true;
    }
    const Value held = ValueOf(record);
    return held.length == value.length && std::memcmp(held.data, value.data, held.length) == 0;
}

// An integer of 4 bytes, or bytes of which only the last is zero.
bool CDBValueMap::IsRegular(const Value& value) const {
    if (IsInteger()) {
        return value.length == 4;
    }
    const auto* bytes = static_cast<const unsigned char*>(value.data);
    // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): no value here is empty
    return std::memchr(bytes, 0, value.length) == bytes + value.length - 1;
}

// Whether the key's own ring is all that can equal it.
bool CDBValueMap::IsOneProbe(const Value& key) const {
    return IsInteger() || (irregular_ == 0 && IsRegular(key)) ||
           (!lengths_differ_ && length_ == key.length);
}

uint32_t CDBValueMap::BucketOf(const Value& value) const {
    return CalcHashValue(value.data, value.length, buckets_);
}

uint32_t CDBValueMap::Home(uint32_t hash) const {
    return static_cast<uint32_t>(static_cast<uint64_t>(hash) * capacity_ >> 32);
}

// The slot of the value's ring, or the free slot where it would begin. There is a free slot.
uint32_t CDBValueMap::FindSlot(const Value& value, uint32_t hash) const {
    uint32_t at = Home(hash);
    while (!slots_[at].IsFree()) {
        if (slots_[at].hash == hash && IsSame(slots_[at].First(), value)) {
            break;
        }
        at = Next(at);
    }
    return at;
}

// The slot that begins with this record, or a free one when it is not the first of its ring.
uint32_t CDBValueMap::FindSlotOf(const CDBNode* first) const {
    uint32_t at = Home(Hash(ValueOf(first)));
    while (!slots_[at].IsFree() && slots_[at].First() != first) {
        at = Next(at);
    }
    return at;
}

uint32_t CDBValueMap::FetchSlot(const void* data, uint32_t length) const {
    if (length == 0 || capacity_ == 0) {
        return 0;
    }
    const uint32_t hash = Hash({data, length});
    Prefetch(slots_ + Home(hash), 1);
    return hash;
}

void CDBValueMap::FetchRecord(uint32_t hash) const {
    for (uint32_t at = capacity_ != 0 ? Home(hash) : 0; at < capacity_; ++at) {
        if (slots_[at].IsFree() || slots_[at].hash == hash) {
            return CDBNode::Fetch(slots_[at].First(), CDBNode::kAllValues);
        }
    }
}

bool CDBValueMap::Reserve(uint32_t more) {
    const uint64_t used = uint64_t{used_} + more;
    if (used <= uint64_t{capacity_} / 5 * 4) {
        return true;
    }
    const uint64_t half_more = capacity_ + static_cast<uint64_t>(capacity_) / 2;
    return Resize(std::max<uint64_t>({20, half_more, (used / 4 + 1) * 5}));
}

bool CDBValueMap::Resize(uint64_t wanted) {
    if (wanted > UINT32_MAX) {
        return false;
    }
    const auto capacity = static_cast<uint32_t>(wanted);
    auto* slots = static_cast<Slot*>(std::calloc(capacity, sizeof(Slot)));
    if (slots == nullptr) {
        return false;
    }
    std::swap(slots, slots_);
    const uint32_t old_capacity = capacity_;
    capacity_ = capacity;
    for (uint32_t i = 0; i < old_capacity; ++i) {
        if (!slots[i].IsFree()) {
            uint32_t at = Home(slots[i].hash);
            while (!slots_[at].IsFree()) {
                at = Next(at);
            }
            slots_[at] = slots[i];
        }
    }
    std::free(slots);
    return true;
}

// Closes the gap: what lies behind it and would be cut off from its home moves up.
void CDBValueMap::EraseSlot(uint32_t at) {
    uint32_t gap = at;
    for (uint32_t i = Next(at); !slots_[i].IsFree(); i = Next(i)) {
        const uint32_t home = Home(slots_[i].hash);
        const bool stays = gap < i ? (home > gap && home <= i) : (home > gap || home <= i);
        if (!stays) {
            slots_[gap] = slots_[i];
            gap = i;
        }
    }
    slots_[gap].Set(nullptr, false);
    --used_;
}

void CDBValueMap::StartRing(Slot* slot, uint32_t hash, CDBNode* record) {
    *record->GetKey(key_) = {record, record};
    slot->Set(record, false);
    slot->hash = hash;
    ++used_;
    if (order_ != nullptr) {
        try {
            order_->Insert(record);
        } catch (const std::bad_alloc&) {
            order_.reset();  // made anew when it is needed
        }
    }
}

void CDBValueMap::InsertBefore(CDBNode* first, CDBNode* record) {
    CDBNode* last = first->GetKey(key_)->previous;
    *record->GetKey(key_) = {last, first};
    last->GetKey(key_)->next = record;
    first->GetKey(key_)->previous = record;
}

void CDBValueMap::Unlink(const CDBKeyLink* link) {
    link->previous->GetKey(key_)->next = link->next;
    link->next->GetKey(key_)->previous = link->previous;
}

void CDBValueMap::JoinRing(Slot* slot, CDBNode* record) {
    InsertBefore(slot->First(), record);
    slot->Set(slot->First(), true);
}

void CDBValueMap::Count(const Value& value, int32_t by) {
    if (!IsRegular(value)) {
        irregular_ += static_cast<uint64_t>(static_cast<int64_t>(by));
    }
}

int32_t CDBValueMap::Add(CDBNode* record) {
    const Value value = ValueOf(record);
    if (value.length == 0 || record->GetKey(key_)->next != nullptr) {
        return ENGINE_OK;
    }
    if (!Reserve(1)) {
        return ENGINE_MEMORY;
    }
    const uint32_t hash = Hash(value);
    if (used_ == 0) {
        length_ = value.length;
        lengths_differ_ = false;
    }
    lengths_differ_ = lengths_differ_ || value.length != length_;
    Slot* slot = slots_ + FindSlot(value, hash);
    if (slot->IsFree()) {
        StartRing(slot, hash, record);
    } else {
        JoinRing(slot, record);
    }
    Count(value, 1);
    return ENGINE_OK;
}

void CDBValueMap::Remove(CDBNode* record) {
    CDBKeyLink* link = record->GetKey(key_);
    if (link->next == nullptr) {
        return;
    }
    const uint32_t at = FindSlotOf(record);
    CDBNode* next = link->next;
    if (slots_[at].First() == record) {
        if (order_ != nullptr) {
            next != record ? order_->Replace(record, next) : order_->Erase(record);
        }
        if (next != record) {
            slots_[at].Set(next, next->GetKey(key_)->next != record);
        } else {
            EraseSlot(at);
        }
    }
    Unlink(link);
    *link = CDBKeyLink();
    Count(ValueOf(record), -1);
}

void CDBValueMap::MoveToEnd(CDBNode* record) {
    CDBKeyLink* link = record->GetKey(key_);
    if (link->next == nullptr || link->next == record) {
        return;  // not in, or alone
    }
    Slot& slot = slots_[FindSlotOf(record)];
    if (!slot.IsFree()) {
        if (order_ != nullptr) {
            order_->Replace(record, link->next);
        }
        slot.Set(link->next, true);  // in a ring, what was before the first is now behind the last
        return;
    }
    if (link->next->GetSequence() > record->GetSequence()) {  // it is not the last
        const Value value = ValueOf(record);
        CDBNode* first = slots_[FindSlot(value, Hash(value))].First();
        Unlink(link);
        InsertBefore(first, record);
    }
}

bool CDBValueMap::MakeOrder() {
    if (order_ != nullptr) {
        return true;
    }
    try {
        auto order = std::make_unique<CDBValueOrder>(field_, buckets_);
        for (uint32_t i = 0; i < capacity_; ++i) {
            if (!slots_[i].IsFree()) {
                order->Insert(slots_[i].First());
            }
        }
        order_ = std::move(order);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// Equal integers can lie in different buckets when they are not 4 bytes long.
void CDBValueMap::AppendRing(CDBNode* first, bool more, const Value& key, size_t most,
                             std::vector<CDBNode*>* out) {
    const bool all = buckets_ <= 1 || !IsInteger() || (irregular_ == 0 && key.length == 4);
    const uint32_t bucket = all ? 0 : BucketOf(key);
    CDBNode* record = first;
    do {
        if (all || BucketOf(ValueOf(record)) == bucket) {
            out->push_back(record);
        }
        record = more ? record->GetKey(key_)->next : first;
    } while (record != first && out->size() < most);
}

bool CDBValueMap::FindEqual(const DATASTRUCT* key, size_t most, std::vector<CDBNode*>* out) {
    const Value value = {key->data, key->length};
    if (value.length == 0 || used_ == 0) {
        return true;
    }
    try {
        if (IsOneProbe(value)) {
            const Slot& slot = slots_[FindSlot(value, Hash(value))];
            if (!slot.IsFree()) {
                AppendRing(slot.First(), slot.MayBeMore(), value, most, out);
            }
            return true;
        }
        if (!MakeOrder()) {
            return false;
        }
        std::vector<CDBNode*> rings;
        order_->FindEqual(value.data, value.length, &rings);
        for (size_t i = 0; i < rings.size() && out->size() < most; ++i) {
            AppendRing(rings[i], true, value, most, out);
        }
    } catch (const std::bad_alloc&) {
        out->clear();
        return false;
    }
    return true;
}

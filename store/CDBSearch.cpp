#include "store/CDBSearch.h"

#include <algorithm>

#include "base/BigEndian.h"
#include "base/Status.h"

namespace {

// Whether a comparison's sign is what the code asks for.
bool IsAsked(int32_t c, int32_t compare) {
    switch (compare) {
        case VAMEL_LESS:
            return c < 0;
        case VAMEL_GREATER:
            return c > 0;
        case VAMEL_LESS_OR_EQUAL:
            return c <= 0;
        case VAMEL_GREATER_OR_EQUAL:
            return c >= 0;
        default:
            return c == 0;
    }
}

// The test of one key against many values: what depends on the key alone is done once.
class KeyTest {
  public:
    explicit KeyTest(const DATASTRUCT* key)
        : key_(key),
          numbers_(key->length != 0 && key->field != nullptr &&
                   key->field->GetType() == VAMEL_TYPE_INTEGER),
          sought_(numbers_ ? LoadInteger(key->data, key->length) : 0) {}

    bool Passes(const CDBNodeValue* value) const {
        if (!numbers_ || value->GetLength() == 0) {
            return IsAsked(value->CompareValue(key_), key_->compare);
        }
        const int32_t stored = LoadInteger(value->GetData(), value->GetLength());
        return IsAsked((stored > sought_ ? 1 : 0) - (stored < sought_ ? 1 : 0), key_->compare);
    }

    // Whether the record holds a value for the key's field that passes.
    bool Matches(const CDBNode* record) const {
        const CDBNodeValue* value =
            record != nullptr ? record->SearchNodeValue(key_->field) : nullptr;
        return value != nullptr && Passes(value);
    }

    // Whether the record lacks a value for the key's field, or holds one that passes.
    bool Tolerates(const CDBNode* record) const {
        const CDBNodeValue* value = record->SearchNodeValue(key_->field);
        return value == nullptr || Passes(value);
    }

  private:
    const DATASTRUCT* key_;
    bool numbers_;
    int32_t sought_;
};

// Calls visit with each record of one bucket, in order, until it answers false. An index whose
// chains have not been made is walked along the list of all records, so that a walk takes no
// memory.
template <typename Visit>
void WalkBucket(const CDBHash* index, uint32_t bucket, Visit visit) {
    if (index->GetList() == nullptr) {
        const CDBHashNode* link = index->GetHeadHashNode(bucket);
        while (link != nullptr && visit(link->record)) {
            link = link->next;
        }
        return;
    }
    const bool all = index->GetBucketCount() == 1;
    CDBRecordList::Walk walk(*index->GetList());
    CDBNode* record = walk.Next();
    while (record != nullptr && ((!all && index->BucketOf(record) != bucket) || visit(record))) {
        record = walk.Next();
    }
}

}  // namespace

int32_t CDBSearch::TestValue(const CDBNodeValue* value, const DATASTRUCT* key) {
    return IsAsked(value->CompareValue(key), key->compare) ? 1 : 0;
}

bool CDBSearch::HasMatch(const CDBHash* index, const DATASTRUCT* key, const CDBNode* except) {
    const KeyTest test(key);
    bool found = false;
    WalkBucket(index, index->GetHashValue(key), [&](const CDBNode* record) {
        found = record != except && test.Matches(record);
        return !found;
    });
    return found;
}

// Before anything is appended. A result set without records has at most marks, which go.
void CDBSearch::Start(size_t expected) {
    if (live_ == 0) {
        cache_.clear();
        ascending_ = true;
    } else if (cache_.size() == 1) {
        cache_.front().sequence = cache_.front().Record()->GetSequence();
    }
    if (expected != 0) {
        cache_.reserve(cache_.size() + expected);
    }
    cursor_ = kBefore;
}

void CDBSearch::Append(CDBNode* record, uint64_t sequence) {
    ascending_ = ascending_ && (cache_.empty() || cache_.back().sequence < sequence);
    cache_.push_back({sequence, reinterpret_cast<uintptr_t>(record)});
    ++live_;
}

int32_t CDBSearch::CacheNodesAll(const CDBHash* index, size_t expected) {
    Start(expected);
    if (index->GetList() != nullptr && index->GetBucketCount() == 1) {
        CDBRecordList::Walk walk(*index->GetList());
        while (const CDBRecordList::Entry* entry = walk.NextEntry()) {
            Append(entry->record, entry->sequence);
        }
        return ENGINE_OK;
    }
    for (uint32_t bucket = 0; bucket < index->GetBucketCount(); ++bucket) {
        const CDBHashNode* link = index->GetHeadHashNode(bucket);
        for (; link != nullptr; link = link->next) {
            if (link->record != nullptr) {
                Append(link->record, link->record->GetSequence());
            }
        }
    }
    return ENGINE_OK;
}

int32_t CDBSearch::CacheNodesFirst(const CDBHash* index, const DATASTRUCT* key) {
    if (key == nullptr) {
        return CacheNodesAll(index);
    }
    Start(0);
    const KeyTest test(key);
    WalkBucket(index, index->GetHashValue(key), [&](CDBNode* record) {
        if (test.Matches(record)) {
            Append(record, record->GetSequence());
        }
        return true;
    });
    return ENGINE_OK;
}

int32_t CDBSearch::CacheMatches(std::vector<CDBNode*>* matches) {
    Start(matches->size());
    if (matches->size() == 1 && cache_.empty()) {
        // Its number would only be compared with itself, and it is still being fetched from memory.
        Append(matches->front(), 0);
        return ENGINE_OK;
    }
    const auto earlier = [](const CDBNode* a, const CDBNode* b) {
        return a->GetSequence() < b->GetSequence();
    };
    if (!std::is_sorted(matches->begin(), matches->end(), earlier)) {
        std::sort(matches->begin(), matches->end(), earlier);
    }
    for (CDBNode* record : *matches) {
        Append(record, record->GetSequence());
    }
    return ENGINE_OK;
}

int32_t CDBSearch::CacheNodesNext(const DATASTRUCT* key) {
    if (key == nullptr) {
        return ENGINE_OK;
    }
    const KeyTest test(key);
    size_t kept = 0;
    for (size_t i = 0; i < cache_.size(); ++i) {
        FetchAhead(i);
        if (!cache_[i].IsMark() && test.Tolerates(cache_[i].Record())) {
            cache_[kept++] = cache_[i];
        }
    }
    cache_.resize(kept);
    live_ = static_cast<uint32_t>(kept);
    cursor_ = kBefore;
    return ENGINE_OK;
}

// The place of the first record behind `at`, past the end if there is none.
size_t CDBSearch::After(size_t at) const {
    const size_t next = at + 1;  // the first place behind kBefore is 0
    return next < cache_.size() && cache_[next].IsMark() ? cache_[next].OtherEnd() + 1 : next;
}

// The place of the last record before `at`, kBefore if there is none.
size_t CDBSearch::Behind(size_t at) const {
    const size_t previous = at - 1;  // kBefore is the place before 0
    return at != 0 && cache_[previous].IsMark() ? cache_[previous].OtherEnd() - 1 : previous;
}

CDBNode* CDBSearch::GetFirstCache() {
    cursor_ = After(kBefore);
    return GetCacheNode();
}

CDBNode* CDBSearch::GetNextCache() {
    if (cursor_ == kBefore || cursor_ < cache_.size()) {
        cursor_ = After(cursor_);
        FetchAhead(cursor_);
    }
    return GetCacheNode();
}

CDBNode* CDBSearch::GetCacheNode() const {
    return cursor_ < cache_.size() ? cache_[cursor_].Record() : nullptr;
}

// Whoever looks at this record will soon look at one a little further on. What is read here of
// marks is no record's address, and does no harm.
void CDBSearch::FetchAhead(size_t at) const {
    constexpr size_t kAhead = 12;
    if (at < cache_.size() && cache_.size() - at > kAhead) {
        CDBNode::Fetch(cache_[at + kAhead].Record());
    }
}

// The record's place, or the end.
size_t CDBSearch::Find(const CDBNode* record) const {
    const auto is_it = [record](const Entry& entry) { return entry.Record() == record; };
    if (cursor_ < cache_.size() && is_it(cache_[cursor_])) {
        return cursor_;
    }
    auto found = cache_.begin();
    if (ascending_ && cache_.size() > 1) {
        const auto before = [](const Entry& entry, uint64_t sequence) {
            return entry.sequence < sequence;
        };
        found = std::lower_bound(found, cache_.end(), record->GetSequence(), before);
        found = found != cache_.end() && is_it(*found) ? found : cache_.end();
    } else {
        found = std::find_if(found, cache_.end(), is_it);
    }
    return static_cast<size_t>(found - cache_.begin());
}

// Makes a mark of a record, and one run of it and the runs on both sides.
void CDBSearch::Mark(size_t at) {
    const size_t first = Behind(at) + 1;
    const size_t last = After(at) - 1;
    cache_[at].SetOtherEnd(at);
    cache_[first].SetOtherEnd(last);
    cache_[last].SetOtherEnd(first);
    --live_;
}

int32_t CDBSearch::ReleaseFromCache(const CDBNode* record) {
    const size_t at = Find(record);
    if (at == cache_.size()) {
        return ENGINE_NO_VALUE;
    }
    if (cursor_ == at) {
        cursor_ = Behind(at);
    } else if (cursor_ != kBefore && cursor_ > at && cursor_ < cache_.size()) {
        cursor_ = After(cursor_);
    }
    Mark(at);
    return ENGINE_OK;
}

void CDBSearch::Clear() {
    cache_.clear();
    live_ = 0;
    cursor_ = kBefore;
    ascending_ = true;
}

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

// The records of one bucket, in order. An index whose chains have not been made is walked along the
// list of all records, so that a walk takes no memory.
class BucketWalk {
  public:
    BucketWalk(const CDBHash* index, uint32_t bucket)
        : index_(index),
          bucket_(bucket),
          link_(index->GetList() != nullptr ? index->GetList()->GetHeadHashNode(0)
                                            : index->GetHeadHashNode(bucket)) {
        Settle();
    }
    CDBNode* Get() const { return link_ != nullptr ? link_->record : nullptr; }
    bool AtEnd() const { return link_ == nullptr; }
    void Next() {
        link_ = link_->next;
        Settle();
    }

  private:
    void Settle() {
        while (link_ != nullptr && index_->GetList() != nullptr &&
               index_->BucketOf(link_->record) != bucket_) {
            link_ = link_->next;
        }
    }

    const CDBHash* index_;
    uint32_t bucket_;
    const CDBHashNode* link_;
};

}  // namespace

int32_t CDBSearch::TestValue(const CDBNodeValue* value, const DATASTRUCT* key) {
    return IsAsked(value->CompareValue(key), key->compare) ? 1 : 0;
}

bool CDBSearch::HasMatch(const CDBHash* index, const DATASTRUCT* key, const CDBNode* except) {
    const KeyTest test(key);
    BucketWalk walk(index, index->GetHashValue(key));
    while (!walk.AtEnd() && (walk.Get() == except || !test.Matches(walk.Get()))) {
        walk.Next();
    }
    return !walk.AtEnd();
}

// Before anything is appended. A result set without records has at most marks, which go.
void CDBSearch::Start(size_t expected) {
    if (live_ == 0) {
        cache_.clear();
        ascending_ = true;
    }
    if (expected != 0) {
        cache_.reserve(cache_.size() + expected);
    }
    cursor_ = kBefore;
}

void CDBSearch::Append(CDBNode* record) {
    const uint64_t sequence = record->GetSequence();
    ascending_ = ascending_ && (cache_.empty() || cache_.back().sequence < sequence);
    cache_.push_back({sequence, reinterpret_cast<uintptr_t>(record)});
    ++live_;
}

int32_t CDBSearch::CacheNodesAll(const CDBHash* index, size_t expected) {
    Start(expected);
    for (uint32_t bucket = 0; bucket < index->GetBucketCount(); ++bucket) {
        const CDBHashNode* link = index->GetHeadHashNode(bucket);
        for (; link != nullptr; link = link->next) {
            if (link->record != nullptr) {
                Append(link->record);
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
    for (BucketWalk walk(index, index->GetHashValue(key)); !walk.AtEnd(); walk.Next()) {
        if (test.Matches(walk.Get())) {
            Append(walk.Get());
        }
    }
    return ENGINE_OK;
}

int32_t CDBSearch::CacheMatches(std::vector<CDBNode*>* matches) {
    Start(matches->size());
    const auto earlier = [](const CDBNode* a, const CDBNode* b) {
        return a->GetSequence() < b->GetSequence();
    };
    if (!std::is_sorted(matches->begin(), matches->end(), earlier)) {
        std::sort(matches->begin(), matches->end(), earlier);
    }
    for (CDBNode* record : *matches) {
        Append(record);
    }
    return ENGINE_OK;
}

int32_t CDBSearch::CacheNodesNext(const DATASTRUCT* key) {
    if (key == nullptr) {
        return ENGINE_OK;
    }
    const KeyTest test(key);
    const auto goes = [&test](const Entry& entry) {
        return entry.IsMark() || !test.Tolerates(entry.Record());
    };
    cache_.erase(std::remove_if(cache_.begin(), cache_.end(), goes), cache_.end());
    live_ = static_cast<uint32_t>(cache_.size());
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
    }
    return GetCacheNode();
}

CDBNode* CDBSearch::GetCacheNode() const {
    return cursor_ < cache_.size() ? cache_[cursor_].Record() : nullptr;
}

// The record's place, or the end.
size_t CDBSearch::Find(const CDBNode* record) const {
    const auto is_it = [record](const Entry& entry) { return entry.Record() == record; };
    auto found = cache_.begin();
    if (ascending_) {
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

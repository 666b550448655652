#include "store/CDBValueOrder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/CalcHashValue.h"

namespace {

// The length of what two strings of bytes begin with alike.
template <typename Bytes>
uint32_t CommonLength(const Bytes& a, const Bytes& b) {
    const uint32_t shorter = std::min(a.length, b.length);
    const auto* end = a.data + shorter;
    return static_cast<uint32_t>(std::mismatch(a.data, end, b.data).first - a.data);
}

}  // namespace

CDBValueOrder::Bytes CDBValueOrder::Less::Of(const CDBNode* record) const {
    const CDBNodeValue* value = record->SearchNodeValue(field);
    const uint32_t length = value->GetLength();
    return {static_cast<const unsigned char*>(value->GetData()), length,
            CalcHashValue(value->GetData(), length, buckets)};
}

bool CDBValueOrder::Less::Before(const Bytes& a, const Bytes& b) {
    if (a.bucket != b.bucket) {
        return a.bucket < b.bucket;
    }
    const int c = std::memcmp(a.data, b.data, std::min(a.length, b.length));
    return c != 0 ? c < 0 : a.length < b.length;
}

void CDBValueOrder::Replace(CDBNode* record, CDBNode* by) {
    auto node = records_.extract(record);
    if (!node.empty()) {
        node.value() = by;
        records_.insert(std::move(node));
    }
}

void CDBValueOrder::FindEqual(const void* data, uint32_t length, std::vector<CDBNode*>* out) const {
    const Bytes key = {static_cast<const unsigned char*>(data), length,
                       CalcHashValue(data, length, records_.key_comp().buckets)};
    FindLonger(key, out);
    FindPrefixes(key, out);
}

// The key itself and what it is a prefix of follow each other.
void CDBValueOrder::FindLonger(const Bytes& key, std::vector<CDBNode*>* out) const {
    const Less& less = records_.key_comp();
    for (auto it = records_.lower_bound(key); it != records_.end(); ++it) {
        const Bytes value = less.Of(*it);
        if (value.bucket != key.bucket || CommonLength(value, key) != key.length) {
            return;
        }
        out->push_back(*it);
    }
}

// The last value before the key is either its longest proper prefix or shows how much of the key a
// prefix can still have: it cannot be longer than what the two have in common.
void CDBValueOrder::FindPrefixes(Bytes key, std::vector<CDBNode*>* out) const {
    const Less& less = records_.key_comp();
    auto it = records_.lower_bound(key);
    while (it != records_.begin()) {
        const Bytes value = less.Of(*--it);
        const uint32_t common = value.bucket == key.bucket ? CommonLength(value, key) : 0;
        if (common == 0) {
            return;
        }
        key.length = common;
        if (common == value.length) {
            out->push_back(*it);
        } else {
            it = records_.upper_bound(key);
        }
    }
}

#ifndef VAMEL_STORE_CDBVALUEORDER_H
#define VAMEL_STORE_CDBVALUEORDER_H

#include <cstdint>
#include <set>
#include <vector>

#include "store/CDBNode.h"

// The different values of a field, in order: by bucket, then by bytes, a value behind its prefixes.
// Each is stood for by one record that holds it. Answers which values are prefixes of a key, or
// have it as a prefix, where that cannot be told from the length. Growing may throw std::bad_alloc.
class CDBValueOrder {
  public:
    // Values are told apart by bucket when `buckets` is more than 1.
    CDBValueOrder(const CDBField* field, uint32_t buckets) : records_(Less{field, buckets}) {}

    void Insert(CDBNode* record) { records_.insert(record); }
    void Erase(CDBNode* record) { records_.erase(record); }
    // Let another record with the same value stand for it.
    void Replace(CDBNode* record, CDBNode* by);

    // Append the records whose values are equal to the key: it, its prefixes, what it is a prefix
    // of; all in the key's bucket. The key is not empty.
    void FindEqual(const void* data, uint32_t length, std::vector<CDBNode*>* out) const;

  private:
    struct Bytes {
        const unsigned char* data;
        uint32_t length;
        uint32_t bucket;
    };
    struct Less {
        using is_transparent = void;
        const CDBField* field;
        uint32_t buckets;
        Bytes Of(const CDBNode* record) const;
        static bool Before(const Bytes& a, const Bytes& b);
        bool operator()(const CDBNode* a, const CDBNode* b) const { return Before(Of(a), Of(b)); }
        bool operator()(const CDBNode* a, const Bytes& b) const { return Before(Of(a), b); }
        bool operator()(const Bytes& a, const CDBNode* b) const { return Before(a, Of(b)); }
    };

    void FindLonger(const Bytes& key, std::vector<CDBNode*>* out) const;
    void FindPrefixes(Bytes key, std::vector<CDBNode*>* out) const;

    std::set<CDBNode*, Less> records_;
};

#endif

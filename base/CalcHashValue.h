#ifndef VAMEL_BASE_CALCHASHVALUE_H
#define VAMEL_BASE_CALCHASHVALUE_H

#include <cstdint>

// The buckets of an index over integers, text or bytes, and of the hash of a field's name.
constexpr uint32_t kHashBuckets = 1987;

// The one hash function: the bucket, 0 to buckets - 1, of `length` bytes at `data`; 0 for null
// data. buckets must not be 0.
//
// It depends on the first byte and the length ONLY. Results of searches come out in bucket order,
// so this weakness is part of what hosts see: do not mend it.
uint32_t CalcHashValue(const void* data, uint32_t length, uint32_t buckets);

#endif

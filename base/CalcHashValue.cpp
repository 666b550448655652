#include "base/CalcHashValue.h"

// h = h * 137 + first byte, `length` times over, modulo 2^32. Repeated steps of one affine map make
// an affine map, so the length's binary digits do in 32 rounds what a value of gigabytes would
// otherwise take seconds for.
uint32_t CalcHashValue(const void* data, uint32_t length, uint32_t buckets) {
    if (data == nullptr || length == 0) {
        return 0;
    }
    uint32_t h = 0;
    uint32_t factor = 137;
    uint32_t addend = *static_cast<const unsigned char*>(data);
    for (uint32_t steps = length; steps != 0; steps >>= 1) {
        if ((steps & 1U) != 0) {
            h = h * factor + addend;
        }
        addend += addend * factor;
        factor *= factor;
    }
    return h % buckets;
}

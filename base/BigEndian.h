#ifndef VAMEL_BASE_BIGENDIAN_H
#define VAMEL_BASE_BIGENDIAN_H

#include <cstdint>

// Integers are stored, hashed, compared and written most significant byte first on every host.

inline void StoreBigEndian(uint32_t value, unsigned char* to) {
    to[0] = static_cast<unsigned char>(value >> 24);
    to[1] = static_cast<unsigned char>(value >> 16);
    to[2] = static_cast<unsigned char>(value >> 8);
    to[3] = static_cast<unsigned char>(value);
}

inline uint32_t LoadBigEndian(const unsigned char* from) {
    return static_cast<uint32_t>(from[0]) << 24 | static_cast<uint32_t>(from[1]) << 16 |
           static_cast<uint32_t>(from[2]) << 8 | static_cast<uint32_t>(from[3]);
}

// The integer at the first 4 of `length` bytes; bytes that are missing count as zero.
inline int32_t LoadInteger(const void* data, uint32_t length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    if (length >= 4) {
        return static_cast<int32_t>(LoadBigEndian(bytes));
    }
    unsigned char padded[4] = {};
    for (uint32_t i = 0; i < length; ++i) {
        padded[i] = bytes[i];
    }
    return static_cast<int32_t>(LoadBigEndian(padded));
}

#endif

#ifndef VAMEL_BASE_PREFETCH_H
#define VAMEL_BASE_PREFETCH_H

#include <cstddef>

// Starts to fetch bytes from memory, which goes on while other work is done. An address where
// nothing is does no harm.
inline void Prefetch(const void* address, size_t bytes) {
#if defined(__GNUC__)
    for (size_t at = 0; at < bytes; at += 64) {
        __builtin_prefetch(static_cast<const char*>(address) + at);
    }
#else
    static_cast<void>(address);
    static_cast<void>(bytes);
#endif
}

#endif

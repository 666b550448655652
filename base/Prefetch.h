#ifndef VAMEL_BASE_PREFETCH_H
#define VAMEL_BASE_PREFETCH_H

#include <cstddef>
#include <cstdint>

// Starts to fetch bytes from memory, which goes on while other work is done. An address where
// nothing is does no harm.
inline void Prefetch(const void* address, size_t bytes) {
#if defined(__GNUC__)
    for (size_t at = 0; at < bytes; at += 64) {
        // Reckoned as a number: as a pointer it must not leave its object.
        // NOLINTNEXTLINE(performance-no-int-to-ptr): nobody reads through it
        __builtin_prefetch(reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(address) + at));
    }
#else
    static_cast<void>(address);
    static_cast<void>(bytes);
#endif
}

#endif

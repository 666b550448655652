#ifndef VAMEL_PLATFORM_UTF8_H
#define VAMEL_PLATFORM_UTF8_H

#include <cstddef>
#include <cstdint>

/*
 * Strict conversion between UTF-8 and UTF-16.
 *
 * The functions keep no state, allocate nothing and throw nothing; any thread may call them.
 * No UTF-8 text takes more UTF-16 units than it has bytes, and no UTF-16 text takes more than
 * kMaxBytesPerUnit bytes per unit.
 */
namespace utf8 {

constexpr size_t kMaxBytesPerUnit = 3;

/* How far a conversion came. */
struct Progress {
    size_t units;
    size_t bytes;
};

/* Whether every byte, or every unit, is below 0x80. */
bool IsAscii(const uint8_t* text, size_t size);
bool IsAscii(const uint16_t* text, size_t count);

/*
 * Converts `size` bytes of UTF-8 and sets *count to the number of units. With null `units` it only
 * counts; else there must be room for the number that counting gave. Returns false for invalid
 * text, with *count and the units unspecified. Reads no byte past `size`.
 */
bool Decode(const uint8_t* text, size_t size, uint16_t* units, size_t* count);

/*
 * Converts `count` units to at most `room` bytes, whole characters only; with null `out` it only
 * measures, and `room` means nothing. A surrogate without a partner among the units becomes
 * `lossByte`, or ends the conversion when that is 0. `count` times kMaxBytesPerUnit must not wrap.
 */
Progress Encode(const uint16_t* units, size_t count, uint8_t lossByte, uint8_t* out, size_t room);

}  // namespace utf8

#endif

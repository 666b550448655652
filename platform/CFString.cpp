#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/utf8.h"
#include "vamel/vamelcf.h"

/*
 * One string, in one block of memory:
 *
 *     +------------+--------+-------+-----------------------------+
 *     | references | length | ascii | length units                |
 *     +------------+--------+-------+-----------------------------+
 *                                     1 byte each if ascii, else 2
 *
 * A string whose units are all ASCII is kept as their bytes, which are their UTF-8 form as well:
 * making and reading it is a copy. Names and most values are such strings.
 *
 * Nothing but the reference count changes after the string is made, so threads may share it.
 */
struct __CFString {  // NOLINT(bugprone-reserved-identifier): named by the interface
    __CFString(size_t unitCount, bool isAscii) : length(unitCount), ascii(isAscii) {}

    const void* Text() const { return this + 1; }
    void* Text() { return this + 1; }

    mutable std::atomic<size_t> references{1};
    const size_t length;  // in units, at most kMaxUnits
    const bool ascii;
};

namespace {

/* The UTF-8 form of a string of this length, with its terminator, still has a size that fits. */
constexpr size_t kMaxUnits = (static_cast<size_t>(LONG_MAX) - 1) / utf8::kMaxBytesPerUnit;
static_assert(kMaxUnits < (SIZE_MAX - sizeof(__CFString)) / sizeof(UniChar),
              "the size of a string object must not wrap");
static_assert(sizeof(__CFString) % alignof(UniChar) == 0, "units follow the header");

/* A part of a string that lies within it. */
struct Span {
    size_t begin;
    size_t length;
};

/* A string with room for its units; null if it would be too long or memory is out. */
__CFString* NewString(size_t length, bool ascii) {
    if (length > kMaxUnits) {
        return nullptr;  // GCOVR_EXCL_LINE: a text of 2^61 bytes, or 700 MB on 32-bit hosts
    }
    const size_t unitSize = ascii ? sizeof(UInt8) : sizeof(UniChar);
    void* block = std::malloc(sizeof(__CFString) + length * unitSize);
    if (block == nullptr) {
        return nullptr;
    }
    return new (block) __CFString(length, ascii);
}

__CFString* NewAsciiString(const UInt8* text, size_t size) {
    __CFString* string = NewString(size, true);
    if (string != nullptr) {
        std::memcpy(string->Text(), text, size);
    }
    return string;
}

/* The part of `range` that lies within `length` units; no sum can overflow. */
Span Clamp(CFRange range, size_t length) {
    const CFIndex limit = static_cast<CFIndex>(length);
    if (range.location < 0) {
        range.length = range.length < 0 ? 0 : range.length + range.location;
        range.location = 0;
    }
    const CFIndex begin = std::min(range.location, limit);
    const CFIndex count = std::min(std::max(range.length, CFIndex{0}), limit - begin);
    return {static_cast<size_t>(begin), static_cast<size_t>(count)};
}

utf8::Progress Encode(const __CFString& string, Span span, UInt8 lossByte, UInt8* out,
                      size_t room) {
    if (!string.ascii) {
        const UniChar* units = static_cast<const UniChar*>(string.Text()) + span.begin;
        return utf8::Encode(units, span.length, lossByte, out, room);
    }
    if (out == nullptr) {
        return {span.length, span.length};
    }
    const size_t count = std::min(span.length, room);
    std::memcpy(out, static_cast<const UInt8*>(string.Text()) + span.begin, count);
    return {count, count};
}

}  // namespace

CFStringRef CFStringCreateWithCString(CFAllocatorRef /*alloc*/, const char* cStr,
                                      CFStringEncoding encoding) {
    if (cStr == nullptr || encoding != kCFStringEncodingUTF8) {
        return nullptr;
    }
    const UInt8* text = reinterpret_cast<const UInt8*>(cStr);
    const size_t size = std::strlen(cStr);
    if (utf8::IsAscii(text, size)) {
        return NewAsciiString(text, size);
    }
    size_t count = 0;
    if (!utf8::Decode(text, size, nullptr, &count)) {
        return nullptr;
    }
    __CFString* string = NewString(count, false);
    if (string != nullptr) {
        utf8::Decode(text, size, static_cast<UniChar*>(string->Text()), &count);
    }
    return string;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef /*alloc*/, const UniChar* chars,
                                         CFIndex numChars) {
    if (numChars < 0 || (chars == nullptr && numChars > 0)) {
        return nullptr;
    }
    const size_t count = static_cast<size_t>(numChars);
    if (count > kMaxUnits) {  // before the units are looked at: there cannot be so many
        return nullptr;
    }
    const bool ascii = utf8::IsAscii(chars, count);
    __CFString* string = NewString(count, ascii);
    if (string == nullptr) {
        return nullptr;
    }
    if (ascii) {
        std::transform(chars, chars + count, static_cast<UInt8*>(string->Text()),
                       [](UniChar unit) { return static_cast<UInt8>(unit); });
    } else {
        std::copy(chars, chars + count, static_cast<UniChar*>(string->Text()));
    }
    return string;
}

CFIndex CFStringGetLength(CFStringRef theString) {
    return theString == nullptr ? 0 : static_cast<CFIndex>(theString->length);
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean /*isExternalRepresentation*/, UInt8* buffer,
                         CFIndex maxBufLen, CFIndex* usedBufLen) {
    utf8::Progress done = {0, 0};
    if (theString != nullptr && encoding == kCFStringEncodingUTF8) {
        const size_t room = static_cast<size_t>(std::max(maxBufLen, CFIndex{0}));
        done = Encode(*theString, Clamp(range, theString->length), lossByte, buffer, room);
    }
    if (usedBufLen != nullptr) {
        *usedBufLen = static_cast<CFIndex>(done.bytes);
    }
    return static_cast<CFIndex>(done.units);
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
    if (buffer == nullptr || bufferSize < 1) {
        return 0;
    }
    buffer[0] = '\0';
    if (theString == nullptr || encoding != kCFStringEncodingUTF8) {
        return 0;
    }
    const size_t room = static_cast<size_t>(bufferSize) - 1;
    const utf8::Progress done =
        Encode(*theString, {0, theString->length}, 0, reinterpret_cast<UInt8*>(buffer), room);
    const bool complete = done.units == theString->length;
    buffer[complete ? done.bytes : 0] = '\0';
    return complete ? 1 : 0;
}

CFTypeRef CFRetain(CFTypeRef cf) {
    if (cf != nullptr) {
        static_cast<CFStringRef>(cf)->references.fetch_add(1, std::memory_order_relaxed);
    }
    return cf;
}

void CFRelease(CFTypeRef cf) {
    if (cf == nullptr) {
        return;
    }
    CFStringRef string = static_cast<CFStringRef>(cf);
    // Acquire and release: whatever other threads read of the string happened before the free. The
    // holder of the only reference needs no locked step to find that out.
    if (string->references.load(std::memory_order_acquire) == 1 ||
        string->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        string->~__CFString();
        std::free(const_cast<__CFString*>(string));
    }
}

/*
 * vamelcf: the platform's string objects for systems that have none of their own.
 *
 * A string is an immutable sequence of UTF-16 units with a reference count. It is made with one
 * reference, which belongs to the maker; every CFRetain adds one, every CFRelease gives one back,
 * and the last CFRelease destroys the string.
 *
 * Characters. Lengths, positions and ranges count UTF-16 units: a character above U+FFFF takes
 * two, a surrogate pair. A string made from units may hold surrogates without a partner ("lone"
 * surrogates), which have no UTF-8 form, and U+0000 anywhere. UTF-8 is read and written strictly:
 * overlong forms, encoded surrogates, values above U+10FFFF and cut sequences are invalid.
 *
 * Threads. Any thread may call any function on any string at any time, as long as the thread, or
 * somebody on its behalf, holds a reference for the length of the call. There is no other state.
 *
 * Failure. Nothing is ever thrown. A null string is safe in every call.
 */
#ifndef VAMEL_VAMELCF_H
#define VAMEL_VAMELCF_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define VAMELCF_API __attribute__((visibility("default")))
#else
#define VAMELCF_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Boolean;   /* 0 is false, 1 is true */
typedef uint8_t UInt8;           /* a byte */
typedef uint16_t UInt16;         /* 16 bits, unsigned */
typedef uint32_t UInt32;         /* 32 bits, unsigned */
typedef UInt16 UniChar;          /* one UTF-16 unit */
typedef signed long CFIndex;     /* a length, position or count */
typedef UInt32 CFStringEncoding; /* names an encoding of text in bytes */
typedef const void* CFTypeRef;   /* any object; strings are the only ones */

/* A string. NULL is none. */
/* NOLINTNEXTLINE(bugprone-reserved-identifier): hosts may forward declare it by this name. */
typedef const struct __CFString* CFStringRef;
/* An allocator. There is but kCFAllocatorDefault. */
/* NOLINTNEXTLINE(bugprone-reserved-identifier): as above. */
typedef const struct __CFAllocator* CFAllocatorRef;

/* length units from position location on. */
typedef struct CFRange {
    CFIndex location; /* the first unit, counted from 0 */
    CFIndex length;   /* how many units */
} CFRange;

/* The only allocator. The argument is there for the interface's sake: malloc serves every call. */
#define kCFAllocatorDefault NULL

/* The only encoding that is known; every other one fails as each function says. */
enum { kCFStringEncodingUTF8 = 0x08000100 };

/* Returns the range of len units from position loc on. */
static inline CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

/*
 * Makes a string from encoded text.
 *
 *   alloc     ignored.
 *   cStr      the text, up to its zero byte; read during the call only.
 *   encoding  kCFStringEncodingUTF8.
 *
 * Returns the string, whose one reference is the caller's to release; NULL if cStr is null or not
 * valid UTF-8, the encoding is unknown, the text is too long, or memory is out.
 */
VAMELCF_API CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                                  CFStringEncoding encoding);

/*
 * Makes a string from UTF-16 units, whatever they are: lone surrogates and U+0000 are kept.
 *
 *   alloc     ignored.
 *   chars     the units; read during the call only. May be null if numChars is 0.
 *   numChars  how many units there are.
 *
 * Returns the string, whose one reference is the caller's to release; NULL if numChars is negative
 * or too large, chars is null although numChars is positive, or memory is out.
 */
VAMELCF_API CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars,
                                                     CFIndex numChars);

/* Returns the string's length in UTF-16 units, in constant time; 0 for a null string. */
VAMELCF_API CFIndex CFStringGetLength(CFStringRef theString);

/*
 * Converts a range of a string, without adding a terminator, or measures what it would take.
 *
 *   theString   the string.
 *   range       the units to convert; what lies outside the string is left out. A range that cuts
 *               a surrogate pair makes the half inside it a lone surrogate.
 *   encoding    kCFStringEncodingUTF8.
 *   lossByte    0: the conversion stops at a lone surrogate. Other: this byte stands in for each
 *               lone surrogate, and the conversion goes on.
 *   isExternalRepresentation  ignored: UTF-8 is written without a byte order mark either way.
 *   buffer      receives the bytes. NULL: nothing is written, only measured.
 *   maxBufLen   the buffer's size in bytes; a negative one counts as 0. The conversion stops before
 *               the first character that does not fit whole. Ignored when measuring.
 *   usedBufLen  if not null, receives the number of bytes written or measured.
 *
 * Returns the number of UTF-16 units converted: less than the range holds if the conversion was
 * stopped, 0 (and no bytes) if the string is null or the encoding unknown.
 */
VAMELCF_API CFIndex CFStringGetBytes(CFStringRef theString, CFRange range,
                                     CFStringEncoding encoding, UInt8 lossByte,
                                     Boolean isExternalRepresentation, UInt8* buffer,
                                     CFIndex maxBufLen, CFIndex* usedBufLen);

/*
 * Converts a whole string and adds a zero byte. U+0000 inside the string becomes a zero byte, too,
 * and does not end the conversion.
 *
 *   theString   the string.
 *   buffer      receives the text.
 *   bufferSize  the buffer's size in bytes, terminator included.
 *   encoding    kCFStringEncodingUTF8.
 *
 * Returns 1 if done. Returns 0 if the string or the buffer is null, the encoding is unknown, the
 * string holds a lone surrogate, or the buffer is too small for text and terminator; then the
 * buffer, if it has room for a byte at all, holds the empty text.
 */
VAMELCF_API Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                       CFStringEncoding encoding);

/*
 * Adds a reference, which the caller gives back with CFRelease.
 *
 *   cf  the string, or NULL, for which nothing is done.
 *
 * Returns cf.
 */
VAMELCF_API CFTypeRef CFRetain(CFTypeRef cf);

/*
 * Gives a reference back. With the last one the string is destroyed and its memory freed.
 *
 *   cf  the string, or NULL, for which nothing is done.
 */
VAMELCF_API void CFRelease(CFTypeRef cf);

#ifdef __cplusplus
}
#endif

#endif

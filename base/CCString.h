#ifndef VAMEL_BASE_CCSTRING_H
#define VAMEL_BASE_CCSTRING_H

#include <cstdint>

#include "vamel/vamel.h"

// An owned, zero-terminated 8-bit string: UTF-8 for names, text values and paths. The place where
// the platform's strings enter and leave the library.
//
// Invariants: without a block, capacity and length are 0; with one, the text is bytes 0 to
// length - 1 and byte `length` is zero. A string without a block reads as the empty text. No
// operation interprets multi-byte sequences, and none throws: what cannot grow says so. A source
// text may lie inside the string itself. One thread at a time.
//
// The results follow no common pattern; each is what its comment says.
class CCString {
  public:
    CCString() = default;
    // Reserves `size` bytes; the text is empty. Nothing is reserved for 0 or less.
    explicit CCString(int32_t size);
    CCString(const CCString&) = delete;
    CCString& operator=(const CCString&) = delete;
    ~CCString();

    // The text; "" where there is no block. Valid until the string changes.
    const char* GetText() const { return buffer_ != nullptr ? buffer_ : ""; }
    int32_t GetLength() const { return length_; }      // bytes before the terminator
    int32_t GetCapacity() const { return capacity_; }  // bytes in the block
    bool HasBlock() const { return buffer_ != nullptr; }

    // Free the block: the string is as new.
    void ClearString();
    void FreeBuffer() { ClearString(); }

    // The storage rule. 0 or less frees the block and returns null; less than the capacity changes
    // nothing; anything else resizes the block to exactly `size` bytes and zeroes the last one.
    // Null, and nothing changed, when memory is short.
    char* AllocBuffer(int32_t size);

    // Replace the content with the first `count` characters of `text`, -1 for all of it. The new
    // length; 0 for a null text, nothing changed; -1 when storage cannot be had. Another negative
    // count frees the block and fails.
    int32_t CopyString(const char* text, int32_t count);

    // Replace the content with the UTF-8 form of a platform string, up to its first U+0000. The new
    // length; 0 or -1, with an empty text, when it cannot be converted or no storage can be had.
    int32_t CopyString(const CFStringRef* text);

    // Append `text`. The new length; -1, nothing changed, when storage cannot be had.
    int32_t CatString(const char* text);

    // Overwrite from `position` on with `text`. The new length; -1, nothing changed, when storage
    // cannot be had or the position lies outside the text.
    int32_t Replace(const char* text, int32_t position);

    // Make a platform string of the text; the caller releases it. The length, or -1 with a null
    // string stored when the text is not UTF-8 or memory is short.
    int32_t GetCFStringRef(CFStringRef* out) const;

    // The number of bytes equal to `c`.
    int32_t Count(char c) const;

    // The index of the first `c` at or after `start` (-1 means 0). Not found: the length. A start
    // below -1 or above the length is returned as it is.
    int32_t Search(char c, int32_t start) const;

    // The index of the last `c` at or before `start` (-1 means the last). Not found: -1. A start
    // below -1, or at or above the length, is returned as it is; without a block the length is.
    int32_t SearchReverse(char c, int32_t start) const;

    // The byte offset of the first occurrence of `text`, or -1.
    int32_t Search(const char* text) const;

    // Replace only the first `from` at or after `start` (-1 means 0). Its index, or -1.
    int32_t Replace(char from, char to, int32_t start);

    // Replace only the last `from` at or before `start` (-1 means the last). Its index, or -1.
    int32_t ReplaceReverse(char from, char to, int32_t start);

    // Remove the characters from `first` to `last`, both included. The new length; 0, nothing
    // changed, when one lies outside the text or they are out of order.
    int32_t TrimMid(int32_t first, int32_t last);

    // Remove the last character, once, if it is `c`. The length afterwards.
    int32_t TrimRight(char c);

    // Lower A to Z up to the first zero byte. The length.
    int32_t StringLower();

    bool operator==(const char* text) const;
    bool operator==(const CCString& other) const { return *this == other.GetText(); }
    bool operator!=(const char* text) const { return !(*this == text); }
    bool operator!=(const CCString& other) const { return !(*this == other); }

    // -1 when the longer text is shorter than `count`, else the two texts' strncmp.
    int32_t CompareString(const char* text, int32_t count) const;
    int32_t CompareString(const CCString& other, int32_t count) const;

    // The character at `index`; the terminator for every index outside the text.
    char& operator[](int32_t index);

  private:
    int32_t FailConversion();
    int32_t FailStorage();

    char* buffer_ = nullptr;
    int32_t capacity_ = 0;
    int32_t length_ = 0;
};

// Convert `in` into `out`: VAMEL_OK, also for text that has no UTF-8 form (`out` is then empty), or
// VAMEL_ERR_MEMORY.
int32_t get_CCString(CCString& out, const CFStringRef* in);

// As get_CCString, but VAMEL_ERR_MEMORY for every shortage of memory: text that cannot be converted
// leaves a block with the empty text, a shortage leaves none. What hosts pass goes this way, so
// that no shortage is taken for an empty string.
int32_t ConvertString(CCString& out, const CFStringRef* in);

// Make a platform string, which the caller releases: VAMEL_OK, or VAMEL_ERR_MEMORY when `in` is not
// UTF-8 or memory is short.
int32_t get_vamel_string(CFStringRef* out, const CCString& in);

#endif

#include "platform/utf8.h"

#include <cstring>

namespace utf8 {

namespace {

constexpr uint32_t kFirstHigh = 0xD800;
constexpr uint32_t kFirstLow = 0xDC00;
constexpr uint32_t kFirstPair = 0x10000;  // the first character that takes two units
constexpr uint32_t kLast = 0x10FFFF;

bool IsHigh(uint32_t value) {
    return (value & ~0x3FFU) == kFirstHigh;
}
bool IsLow(uint32_t value) {
    return (value & ~0x3FFU) == kFirstLow;
}

/* Tests a machine word at a time: the mask looks the same in either byte order. */
template <typename Unit>
bool AllBelow128(const Unit* text, size_t count, uint64_t mask) {
    constexpr size_t kStep = sizeof(uint64_t) / sizeof(Unit);
    size_t i = 0;
    for (; count - i >= kStep; i += kStep) {
        uint64_t word;
        std::memcpy(&word, text + i, sizeof word);
        if ((word & mask) != 0) {
            return false;
        }
    }
    for (; i < count; i++) {
        if (text[i] >= 0x80) {
            return false;
        }
    }
    return true;
}

/* The length of the sequence that `lead` opens; 0 if it can open none. */
size_t SequenceLength(uint8_t lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {  // C0 and C1 open overlong forms only
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

/* Reads the character at `text` and returns the length of its sequence; 0 if it is invalid. */
size_t ReadSequence(const uint8_t* text, size_t size, uint32_t* character) {
    static constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, kFirstPair};  // by length
    const size_t length = SequenceLength(text[0]);
    if (length < 2 || length > size) {
        *character = text[0];
        return length > size ? 0 : length;
    }
    uint32_t value = text[0] & (0x7FU >> length);
    for (size_t i = 1; i < length; i++) {
        if ((text[i] & 0xC0U) != 0x80) {
            return 0;
        }
        value = value << 6 | (text[i] & 0x3FU);
    }
    *character = value;
    const bool valid = value >= kLeast[length] && value <= kLast && !IsHigh(value) && !IsLow(value);
    return valid ? length : 0;
}

size_t WriteUnits(uint32_t character, uint16_t* out) {
    if (character < kFirstPair) {
        out[0] = static_cast<uint16_t>(character);
        return 1;
    }
    out[0] = static_cast<uint16_t>(kFirstHigh + ((character - kFirstPair) >> 10));
    out[1] = static_cast<uint16_t>(kFirstLow + (character & 0x3FFU));
    return 2;
}

/* Reads the character at `units`, a lone surrogate as itself; returns how many units it takes. */
size_t ReadUnits(const uint16_t* units, size_t count, uint32_t* character) {
    *character = units[0];
    if (!IsHigh(units[0]) || count < 2 || !IsLow(units[1])) {
        return 1;
    }
    *character = kFirstPair + ((units[0] - kFirstHigh) << 10) + (units[1] - kFirstLow);
    return 2;
}

/* Writes the sequence of a character and returns its length. */
size_t WriteSequence(uint32_t character, uint8_t* out) {
    if (character < 0x80) {
        out[0] = static_cast<uint8_t>(character);
        return 1;
    }
    const size_t length = character < 0x800 ? 2 : character < kFirstPair ? 3 : 4;
    for (size_t i = length - 1; i > 0; i--) {
        out[i] = static_cast<uint8_t>(0x80U | (character & 0x3FU));
        character >>= 6;
    }
    out[0] = static_cast<uint8_t>((0xF00U >> length) | character);
    return length;
}

}  // namespace

bool IsAscii(const uint8_t* text, size_t size) {
    return AllBelow128(text, size, 0x8080808080808080U);
}

bool IsAscii(const uint16_t* text, size_t count) {
    return AllBelow128(text, count, 0xFF80FF80FF80FF80U);
}

bool Decode(const uint8_t* text, size_t size, uint16_t* units, size_t* count) {
    *count = 0;
    for (size_t at = 0; at < size;) {
        uint32_t character;
        const size_t length = ReadSequence(text + at, size - at, &character);
        if (length == 0) {
            return false;
        }
        uint16_t unread[2];
        *count += WriteUnits(character, units != nullptr ? units + *count : unread);
        at += length;
    }
    return true;
}

Progress Encode(const uint16_t* units, size_t count, uint8_t lossByte, uint8_t* out, size_t room) {
    Progress done = {0, 0};
    while (done.units < count) {
        uint32_t character;
        uint8_t sequence[4] = {lossByte};
        const size_t taken = ReadUnits(units + done.units, count - done.units, &character);
        const bool lone = IsHigh(character) || IsLow(character);
        const size_t length = lone ? 1 : WriteSequence(character, sequence);
        if (lone && lossByte == 0) {
            break;
        }
        if (out != nullptr) {
            if (length > room - done.bytes) {
                break;
            }
            std::memcpy(out + done.bytes, sequence, length);
        }
        done.units += taken;
        done.bytes += length;
    }
    return done;
}

}  // namespace utf8

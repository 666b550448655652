#include "persist/Cipher.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t kWord = sizeof(uint64_t);
constexpr size_t kBlock = 4 * kWord;
constexpr uint64_t kEveryByte = 0x0101010101010101U;

#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
// The first byte in memory is the highest.
inline uint64_t Later(uint64_t word, unsigned bytes) {
    return word >> (8 * bytes);
}
inline uint64_t LastByte(uint64_t word) {
    return word & 0xff;
}
inline uint64_t AsFirst(uint64_t byte) {
    return byte << 56;
}
#else
inline uint64_t Later(uint64_t word, unsigned bytes) {
    return word << (8 * bytes);
}
inline uint64_t LastByte(uint64_t word) {
    return word >> 56;
}
inline uint64_t AsFirst(uint64_t byte) {
    return byte;
}
#endif

inline uint64_t Load(const unsigned char* from) {
    uint64_t word;
    std::memcpy(&word, from, kWord);
    return word;
}

inline void Store(uint64_t word, unsigned char* to) {
    std::memcpy(to, &word, kWord);
}

// Each byte becomes the XOR of itself and all before it in the word.
inline uint64_t Chain(uint64_t word) {
    word ^= Later(word, 1);
    word ^= Later(word, 2);
    return word ^ Later(word, 4);
}

// Sums bytes in four lanes of 16 bits, which hold 128 words.
class Sum {
  public:
    void Add(uint64_t word) { lanes_ += (word & kLow) + (word >> 8 & kLow); }
    void AddByte(unsigned char byte) { total_ += byte; }
    void Fold() {
        const uint64_t pairs = (lanes_ & kLow32) + (lanes_ >> 16 & kLow32);
        total_ += static_cast<uint32_t>(pairs) + static_cast<uint32_t>(pairs >> 32);
        lanes_ = 0;
    }
    uint32_t Total() const { return total_; }

  private:
    static constexpr uint64_t kLow = 0x00ff00ff00ff00ffU;
    static constexpr uint64_t kLow32 = 0x0000ffff0000ffffU;
    uint64_t lanes_ = 0;
    uint32_t total_ = 0;
};

constexpr size_t kFoldAfter = 128 * kWord;

}  // namespace

uint32_t SumBytes(const unsigned char* data, size_t count) {
    Sum sum;
    for (; count >= kWord;) {
        size_t run = std::min(count / kWord * kWord, kFoldAfter);
        count -= run;
        for (; run != 0; run -= kWord, data += kWord) {
            sum.Add(Load(data));
        }
        sum.Fold();
    }
    for (; count != 0; --count) {
        sum.AddByte(*data++);
    }
    return sum.Total();
}

// The words begin anywhere in the key, so it is followed by its own beginning.
Cipher::Cipher(const char* key) : key_(key), length_(std::strlen(key)) {
    for (size_t i = 0; HasWords() && i < length_ + kWord - 1; ++i) {
        words_[i] = static_cast<unsigned char>(key[i % length_]);
    }
}

inline uint64_t Cipher::NextKeyWord() {
    const uint64_t word = Load(words_ + at_);
    at_ += kWord;
    while (at_ >= length_) {
        at_ -= length_;
    }
    return word;
}

inline unsigned char Cipher::NextKeyByte() {
    const auto byte = static_cast<unsigned char>(key_[at_]);
    at_ = at_ + 1 < length_ ? at_ + 1 : 0;
    return byte;
}

uint32_t Cipher::Encrypt(unsigned char* data, size_t count) {
    Sum sum;
    uint64_t carry = previous_;
    while (HasWords() && count >= kBlock) {
        size_t run = std::min(count / kBlock * kBlock, kFoldAfter);
        count -= run;
        for (; run != 0; run -= kBlock, data += kBlock) {
            uint64_t words[4];
            for (size_t i = 0; i < 4; ++i) {
                const uint64_t plain = Load(data + i * kWord);
                sum.Add(plain);
                words[i] = Chain(plain ^ NextKeyWord());
            }
            // Only one XOR for each word waits for the word before it.
            for (size_t i = 0; i < 4; ++i) {
                const uint64_t cipher = words[i] ^ carry * kEveryByte;
                carry ^= LastByte(words[i]);
                Store(cipher, data + i * kWord);
            }
        }
        sum.Fold();
    }
    previous_ = static_cast<unsigned char>(carry);
    for (; count != 0; --count, ++data) {
        sum.AddByte(*data);
        previous_ = static_cast<unsigned char>(previous_ ^ *data ^ NextKeyByte());
        *data = previous_;
    }
    return sum.Total();
}

uint32_t Cipher::Decrypt(unsigned char* data, size_t count) {
    Sum sum;
    uint64_t carry = previous_;
    while (HasWords() && count >= kWord) {
        size_t run = std::min(count / kWord * kWord, kFoldAfter);
        count -= run;
        for (; run != 0; run -= kWord, data += kWord) {
            const uint64_t cipher = Load(data);
            const uint64_t plain = cipher ^ (Later(cipher, 1) | AsFirst(carry)) ^ NextKeyWord();
            carry = LastByte(cipher);
            sum.Add(plain);
            Store(plain, data);
        }
        sum.Fold();
    }
    previous_ = static_cast<unsigned char>(carry);
    for (; count != 0; --count, ++data) {
        const unsigned char cipher = *data;
        *data = static_cast<unsigned char>(previous_ ^ cipher ^ NextKeyByte());
        sum.AddByte(*data);
        previous_ = cipher;
    }
    return sum.Total();
}

#ifndef VAMEL_PERSIST_CIPHER_H
#define VAMEL_PERSIST_CIPHER_H

#include <cstddef>
#include <cstdint>

// The cipher of database files and the sum of plain bytes, in one pass over any number of pieces:
//
//   cipher[i] = plain[i] ^ key[i mod key length] ^ cipher[i - 1]       cipher[-1] = 0
//
// Eight bytes at a time, with the same result on every host. An empty key is its terminating zero.
class Cipher {
  public:
    explicit Cipher(const char* key);

    // Encrypt or decrypt the next piece in place; gives the sum of its plain bytes, modulo 2^32.
    uint32_t Encrypt(unsigned char* data, size_t count);
    uint32_t Decrypt(unsigned char* data, size_t count);

    uint32_t GetKeyLength() const { return static_cast<uint32_t>(length_); }

  private:
    static constexpr size_t kMostWords = 64;  // a longer key is taken byte by byte

    bool HasWords() const { return length_ != 0 && length_ <= kMostWords; }
    uint64_t NextKeyWord();
    unsigned char NextKeyByte();

    const char* key_;
    size_t length_;
    size_t at_ = 0;               // in the key
    unsigned char previous_ = 0;  // the last cipher byte
    unsigned char words_[kMostWords + 7];
};

// The sum of bytes, modulo 2^32.
uint32_t SumBytes(const unsigned char* data, size_t count);

#endif

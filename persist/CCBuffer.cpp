#include "persist/CCBuffer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/BigEndian.h"
#include "base/Status.h"
#include "persist/Cipher.h"

namespace {

constexpr uint32_t kChecksumSize = 4;

// What a size that cannot be had means: a file too large for the host's numbers is no damaged file.
int SizeStatus() {
    return errno == EOVERFLOW ? FILE_MEMORY : FILE_SIZE;
}

// The size of a stream, which is left at its end.
uint32_t MeasureStream(FILE* stream) {
    errno = 0;
    if (std::fseek(stream, 0, SEEK_END) != 0) {
        throw SizeStatus();
    }
    const long size = std::ftell(stream);
    if (size <= 0) {
        throw SizeStatus();
    }
    if (static_cast<uint64_t>(size) > UINT32_MAX) {
        throw int{FILE_MEMORY};
    }
    return static_cast<uint32_t>(size);
}

}  // namespace

CCBuffer::~CCBuffer() {
    FreeBuffer();
}

void CCBuffer::FreeBuffer() {
    std::free(data_);
    data_ = nullptr;
    cursor_ = nullptr;
    length_ = 0;
    capacity_ = 0;
}

unsigned char* CCBuffer::AllocBuffer(uint32_t size) {
    if (size == 0) {
        FreeBuffer();
        return nullptr;
    }
    if (size < capacity_) {
        return data_;
    }
    const uint64_t step = std::max<uint64_t>(grow_step_, 1);
    const uint64_t wanted = capacity_ + step * ((size - capacity_) / step + 1);
    if (wanted > UINT32_MAX) {
        return nullptr;
    }
    void* block = std::realloc(data_, static_cast<size_t>(wanted));
    if (block == nullptr) {
        return nullptr;
    }
    data_ = static_cast<unsigned char*>(block);
    cursor_ = data_ + length_;
    capacity_ = size;
    return data_;
}

unsigned char* CCBuffer::MakeBuffer(uint32_t size) {
    unsigned char* block = AllocBuffer(size);
    if (block != nullptr) {
        length_ = size;
    }
    return block;
}

unsigned char* CCBuffer::Extend(uint32_t n) {
    if (n > UINT32_MAX - length_ || AllocBuffer(length_ + n) == nullptr) {
        throw int{FILE_MEMORY};
    }
    // Behind the content, where Decode or a smaller MakeBuffer leaves the cursor, nothing is owned.
    unsigned char* at = std::min(cursor_, data_ + length_);
    cursor_ = at + n;
    length_ += n;
    return at;
}

void CCBuffer::WriteBuffer(const void* src, uint32_t n) {
    unsigned char* to = Extend(n);
    if (n != 0) {
        std::memcpy(to, src, n);
    }
}

uint32_t CCBuffer::ReadBuffer(void* dst, uint32_t n) {
    if (cursor_ == nullptr || dst == nullptr) {
        throw int{FILE_BOUNDS};
    }
    const unsigned char* from = cursor_;
    SkipPointer(n);
    std::memcpy(dst, from, n);
    return n;
}

void CCBuffer::SkipPointer(uint32_t n) {
    if (static_cast<uint64_t>(GetPosition()) + n > length_) {
        throw int{FILE_BOUNDS};
    }
    cursor_ += n;
}

void CCBuffer::ClearBuffer() {
    length_ = 0;
    cursor_ = data_;
}

void CCBuffer::Encode() {
    unsigned char bytes[kChecksumSize];
    StoreBigEndian(SumBytes(data_, length_), bytes);
    WriteBuffer(bytes, sizeof bytes);
}

uint32_t CCBuffer::Decode() {
    if (length_ < kChecksumSize) {
        throw int{FILE_CHECKSUM};
    }
    return CutChecksum(SumBytes(data_, length_ - kChecksumSize));
}

// The content is at least as long as the checksum.
uint32_t CCBuffer::CutChecksum(uint32_t sum) {
    const uint32_t count = length_ - kChecksumSize;
    Rewind();
    SkipPointer(count);
    unsigned char bytes[kChecksumSize];
    ReadBuffer(bytes, sizeof bytes);
    if (LoadBigEndian(bytes) != sum) {
        throw int{FILE_CHECKSUM};
    }
    length_ = count;
    return kChecksumSize;
}

uint32_t CCBuffer::Encryption(const char* key) {
    Cipher cipher(key);
    cipher.Encrypt(data_, length_);
    return cipher.GetKeyLength();
}

uint32_t CCBuffer::Decryption(const char* key) {
    Cipher cipher(key);
    cipher.Decrypt(data_, length_);
    return cipher.GetKeyLength();
}

void CCBuffer::Seal(const char* key) {
    if (length_ > UINT32_MAX - kChecksumSize || AllocBuffer(length_ + kChecksumSize) == nullptr) {
        throw int{FILE_MEMORY};
    }
    Cipher cipher(key);
    StoreBigEndian(cipher.Encrypt(data_, length_), data_ + length_);
    cipher.Encrypt(data_ + length_, kChecksumSize);
    length_ += kChecksumSize;
    cursor_ = data_ + length_;
}

void CCBuffer::Unseal(const char* key) {
    Cipher cipher(key);
    if (length_ < kChecksumSize) {
        cipher.Decrypt(data_, length_);
        throw int{FILE_CHECKSUM};
    }
    const uint32_t sum = cipher.Decrypt(data_, length_ - kChecksumSize);
    cipher.Decrypt(data_ + length_ - kChecksumSize, kChecksumSize);
    CutChecksum(sum);
}

uint32_t CCBuffer::ToFile(FILE* stream) {
    if (data_ == nullptr) {
        throw int{FILE_BOUNDS};
    }
    std::fwrite(data_, length_, 1, stream);
    return length_;
}

void CCBuffer::FromFile(FILE* stream) {
    const uint32_t size = MeasureStream(stream);
    if (std::fseek(stream, 0, SEEK_SET) != 0) {
        throw int{FILE_REWIND};
    }
    if (AllocBuffer(size) == nullptr) {
        throw int{FILE_MEMORY};
    }
    const size_t got = std::fread(data_, 1, size, stream);
    std::memset(data_ + got, 0, size - got);
    length_ = size;
    cursor_ = data_ + size;
}

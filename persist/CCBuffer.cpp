#include "persist/CCBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/BigEndian.h"
#include "base/Status.h"

namespace {

constexpr uint32_t kChecksumSize = 4;

// The bytes of a key, over and over.
class KeyStream {
  public:
    explicit KeyStream(const char* key) : key_(key), length_(std::strlen(key)) {}
    uint32_t GetLength() const { return static_cast<uint32_t>(length_); }
    unsigned char Next() {
        const auto byte = static_cast<unsigned char>(key_[at_]);
        at_ = at_ + 1 < length_ ? at_ + 1 : 0;
        return byte;
    }

  private:
    const char* key_;
    size_t length_;
    size_t at_ = 0;
};

// The size of a stream, which is left at its end.
uint32_t MeasureStream(FILE* stream) {
    if (std::fseek(stream, 0, SEEK_END) != 0) {
        throw int{FILE_SIZE};
    }
    const long size = std::ftell(stream);
    if (size <= 0) {
        throw int{FILE_SIZE};
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

void CCBuffer::WriteBuffer(const void* src, uint32_t n) {
    if (n > UINT32_MAX - length_ || AllocBuffer(length_ + n) == nullptr) {
        throw int{FILE_MEMORY};
    }
    // Behind the content, where Decode or a smaller MakeBuffer leaves the cursor, nothing is owned.
    cursor_ = std::min(cursor_, data_ + length_);
    if (n != 0) {
        std::memcpy(cursor_, src, n);
    }
    cursor_ += n;
    length_ += n;
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

uint32_t CCBuffer::Sum(uint32_t count) const {
    uint32_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) {
        sum += data_[i];
    }
    return sum;
}

void CCBuffer::Encode() {
    unsigned char bytes[kChecksumSize];
    StoreBigEndian(Sum(length_), bytes);
    WriteBuffer(bytes, sizeof bytes);
}

uint32_t CCBuffer::Decode() {
    if (length_ < kChecksumSize) {
        throw int{FILE_CHECKSUM};
    }
    const uint32_t count = length_ - kChecksumSize;
    const uint32_t sum = Sum(count);
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
    KeyStream keys(key);
    unsigned char previous = 0;
    for (uint32_t i = 0; i < length_; ++i) {
        previous = static_cast<unsigned char>(previous ^ data_[i] ^ keys.Next());
        data_[i] = previous;
    }
    return keys.GetLength();
}

uint32_t CCBuffer::Decryption(const char* key) {
    KeyStream keys(key);
    unsigned char previous = 0;
    for (uint32_t i = 0; i < length_; ++i) {
        const unsigned char cipher = data_[i];
        data_[i] = static_cast<unsigned char>(previous ^ cipher ^ keys.Next());
        previous = cipher;
    }
    return keys.GetLength();
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

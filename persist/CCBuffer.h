#ifndef VAMEL_PERSIST_CCBUFFER_H
#define VAMEL_PERSIST_CCBUFFER_H

#include <cstdint>
#include <cstdio>

// A growable byte buffer with one position, at which it is written and read.
//
//   data            cursor                 data + length        allocated end
//    |---------------|----------------------|....................|
//
// Invariants: data <= cursor <= data + length, but for Decode and a smaller MakeBuffer, which leave
// the cursor behind the content; the allocation is larger than the capacity, which is the size last
// asked for. Sizes are 32 bits wide: what would pass them counts as memory that cannot be had.
// Failures are thrown as a plain int, a FileStatus. One thread at a time.
class CCBuffer {
  public:
    CCBuffer() = default;
    explicit CCBuffer(int32_t step) : grow_step_(static_cast<uint32_t>(step)) {}
    CCBuffer(const CCBuffer&) = delete;
    CCBuffer& operator=(const CCBuffer&) = delete;
    ~CCBuffer();

    unsigned char* GetData() const { return data_; }
    uint32_t GetLength() const { return length_; }
    uint32_t GetCapacity() const { return capacity_; }
    uint32_t GetPosition() const { return static_cast<uint32_t>(cursor_ - data_); }
    void Rewind() { cursor_ = data_; }

    // Free the block: the buffer is as new, its grow step kept.
    void FreeBuffer();

    // Make room. 0 frees the block and answers null; less than the capacity changes nothing;
    // anything else resizes the block to the capacity plus whole grow steps, more than `size`, and
    // moves the cursor to the end of the content. Null, and nothing changed, when memory is short.
    unsigned char* AllocBuffer(uint32_t size);

    // Make room and take it all as content, uninitialised; the cursor stays. As AllocBuffer.
    unsigned char* MakeBuffer(uint32_t size);

    // Write n bytes at the cursor and count them as added to the content. Throws FILE_MEMORY; so
    // does writing nothing to an empty buffer.
    void WriteBuffer(const void* src, uint32_t n);

    // Count n bytes at the cursor as added to the content, and move the cursor behind them: where
    // to write them. Throws FILE_MEMORY, as WriteBuffer does.
    unsigned char* Extend(uint32_t n);

    // Read n bytes at the cursor. n. Throws FILE_BOUNDS past the content or for a null buffer or
    // destination.
    uint32_t ReadBuffer(void* dst, uint32_t n);

    // Move the cursor on. Throws FILE_BOUNDS past the content.
    void SkipPointer(uint32_t n);

    // Drop the content, keep the memory.
    void ClearBuffer();

    // Append the checksum: the sum of all bytes, 32 bits, most significant byte first. Throws
    // FILE_MEMORY.
    void Encode();

    // Verify the checksum and cut it off. 4. Throws FILE_CHECKSUM.
    uint32_t Decode();

    // The cipher, in place: each byte is XORed with the key and with the cipher byte before it.
    // The length of the key.
    uint32_t Encryption(const char* key);
    uint32_t Decryption(const char* key);

    // Encode and Encryption, or Decryption and Decode, in one pass over the bytes. Throw
    // FILE_MEMORY or FILE_CHECKSUM.
    void Seal(const char* key);
    void Unseal(const char* key);

    // Write the content to a stream; a short write is not noticed. The length. Throws FILE_BOUNDS
    // when there is no block.
    uint32_t ToFile(FILE* stream);

    // Replace the content with a whole stream's; what a short read leaves out is zero. Throws
    // FILE_SIZE for an empty or unseekable stream, FILE_REWIND, FILE_MEMORY.
    void FromFile(FILE* stream);

  protected:
    // The bytes from the cursor to the end of the content.
    uint32_t GetRemaining() const { return length_ - GetPosition(); }
    const unsigned char* GetCursor() const { return cursor_; }

  private:
    uint32_t CutChecksum(uint32_t sum);

    unsigned char* data_ = nullptr;
    unsigned char* cursor_ = nullptr;
    uint32_t length_ = 0;
    uint32_t capacity_ = 0;
    uint32_t grow_step_ = 256;
};

#endif

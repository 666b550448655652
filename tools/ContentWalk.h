#ifndef VAMEL_TOOLS_CONTENTWALK_H
#define VAMEL_TOOLS_CONTENTWALK_H

#include <fmt/format.h>

#include <cstdint>
#include <string>

#include "base/BigEndian.h"
#include "tools/TableFile.h"

namespace tool {

// A position in a file's content that moves on only over bytes that are there; every step names
// what it takes, so that a fault can say what was expected.
class ContentWalk {
  public:
    ContentWalk(const std::string& file, const unsigned char* data, uint64_t at, uint64_t end)
        : file_(file), data_(data), at_(at), end_(end) {}

    uint64_t GetOffset() const { return at_; }
    uint64_t GetRemaining() const { return end_ - at_; }
    const unsigned char* Peek() const { return data_ + at_; }

    // The next bytes, in place. Throws Damage.
    const unsigned char* Take(uint64_t count, const char* what) {
        if (count > end_ - at_) {
            Fail(at_, fmt::format("{} bytes of {}", count, what),
                 fmt::format("the end of the content after {}", end_ - at_));
        }
        const unsigned char* bytes = data_ + at_;
        at_ += count;
        return bytes;
    }
    uint32_t TakeNumber(const char* what) { return LoadBigEndian(Take(4, what)); }
    uint8_t TakeByte(const char* what) { return *Take(1, what); }

    [[noreturn]] void Fail(uint64_t offset, const std::string& expected,
                           const std::string& found) const {
        throw Damage(file_, offset, expected, found);
    }

  private:
    const std::string& file_;
    const unsigned char* data_;
    uint64_t at_;
    uint64_t end_;
};

}  // namespace tool

#endif

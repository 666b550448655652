#include "tools/ReadWhole.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/ToolError.h"

namespace tool {

namespace {

constexpr uint64_t kFirstRoom = 1 << 16;
constexpr uint64_t kMostRoom = UINT32_MAX - 4096;

[[noreturn]] void Fail(const std::string& name, const std::string& reason) {
    throw ToolError(EXIT_FILE_TROUBLE, name + ": cannot be read: " + reason);
}

// An open file, closed at the end of its scope; standard input stays open.
class Source {
  public:
    Source(const std::string& path, const std::string& name)
        : descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
          name_(name) {
        if (descriptor_ < 0) {
            Fail(name, std::strerror(errno));
        }
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() {
        if (descriptor_ != STDIN_FILENO) {
            close(descriptor_);
        }
    }

    // The size of a regular file, 0 for anything else.
    uint64_t GetSize() const {
        struct stat about;
        if (fstat(descriptor_, &about) != 0 || !S_ISREG(about.st_mode)) {
            return 0;
        }
        return static_cast<uint64_t>(about.st_size);
    }

    // 0 at the end.
    size_t Read(unsigned char* to, size_t room) const {
        ssize_t got = 0;
        do {
            got = read(descriptor_, to, room);
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            Fail(name_, std::strerror(errno));
        }
        return static_cast<size_t>(got);
    }

  private:
    int descriptor_;
    const std::string& name_;
};

unsigned char* MakeRoom(CCBuffer* buffer, uint64_t room, const std::string& name) {
    if (room > kMostRoom) {
        Fail(name, "it is larger than a database file can be (4 GiB)");
    }
    unsigned char* block = buffer->AllocBuffer(static_cast<uint32_t>(room));
    if (block == nullptr) {
        Fail(name, "there is not enough memory");
    }
    return block;
}

}  // namespace

void ReadWhole(const std::string& path, const std::string& name, CCBuffer* buffer) {
    const Source source(path, name);
    // One byte more than the file, so that its end is seen without making more room.
    uint64_t room = std::max(source.GetSize() + 1, kFirstRoom);
    unsigned char* block = MakeRoom(buffer, room, name);
    uint64_t length = 0;
    while (const size_t got = source.Read(block + length, room - length)) {
        length += got;
        if (length == room) {
            room = room < kMostRoom ? std::min(room * 2, kMostRoom) : room + 1;
            block = MakeRoom(buffer, room, name);
        }
    }
    buffer->MakeBuffer(static_cast<uint32_t>(length));
}

}  // namespace tool

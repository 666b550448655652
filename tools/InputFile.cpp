#include "tools/InputFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/ToolError.h"

namespace tool {

namespace {

constexpr size_t kPiece = 1 << 16;
constexpr unsigned char kByteOrderMark[] = {0xef, 0xbb, 0xbf};

[[noreturn]] void ThrowUnreadable(const std::string& name) {
    throw ToolError(EXIT_FILE_TROUBLE,
                    fmt::format("{}: cannot be read: {}", name, std::strerror(errno)));
}

}  // namespace

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : path), bytes_(kPiece) {
    if (path != "-") {
        descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    struct stat status;
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
        ThrowUnreadable(name_);
    }
    if (S_ISREG(status.st_mode)) {
        size_ = static_cast<uint64_t>(status.st_size);
    }
    PassByteOrderMark();
}

InputFile::~InputFile() {
    if (descriptor_ > 0) {
        close(descriptor_);
    }
}

void InputFile::PassByteOrderMark() {
    // A pipe may give the mark byte by byte.
    while (end_ < sizeof kByteOrderMark && std::memcmp(bytes_.data(), kByteOrderMark, end_) == 0) {
        if (!Fill()) {
            return;
        }
    }
    if (std::memcmp(bytes_.data(), kByteOrderMark, sizeof kByteOrderMark) == 0) {
        at_ = sizeof kByteOrderMark;
    }
}

// Reads more behind what has not been taken yet.
bool InputFile::Fill() {
    if (at_ == end_) {
        before_ += end_;
        at_ = end_ = 0;
    }
    ssize_t got;
    do {
        got = read(descriptor_, bytes_.data() + end_, bytes_.size() - end_);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        ThrowUnreadable(name_);
    }
    end_ += static_cast<size_t>(got);
    return got > 0;
}

bool InputFile::ReadLine(std::string* line) {
    line->clear();
    if (Peek() == kEnd) {
        return false;
    }
    while (Peek() != kEnd) {
        const unsigned char* from = bytes_.data() + at_;
        const void* stop = std::memchr(from, '\n', end_ - at_);
        const size_t count =
            stop != nullptr ? static_cast<size_t>(static_cast<const unsigned char*>(stop) - from)
                            : end_ - at_;
        line->append(reinterpret_cast<const char*>(from), count);
        at_ += count;
        if (line->size() > kLongest) {
            Fail(line_, "the line is longer than a database file can be (4 GiB)");
        }
        if (stop != nullptr) {
            Next();
            break;
        }
    }
    if (!line->empty() && line->back() == '\r') {
        line->pop_back();
    }
    return true;
}

void InputFile::Fail(uint64_t line, const std::string& reason) const {
    throw ToolError(EXIT_WRONG_USE, fmt::format("{}: line {}: {}", name_, line, reason));
}

}  // namespace tool

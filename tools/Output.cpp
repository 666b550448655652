#include "tools/Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/ToolError.h"

namespace tool {

void Output::Flush() {
    const char* from = buffer_.data();
    size_t left = closed_ ? 0 : buffer_.size();
    while (left != 0) {
        const ssize_t put = write(descriptor_, from, left);
        if (put < 0 && errno == EPIPE) {
            closed_ = true;
            break;
        }
        if (put < 0 && errno != EINTR) {
            throw ToolError(EXIT_FILE_TROUBLE,
                            name_ + ": cannot be written: " + std::strerror(errno));
        }
        if (put > 0) {
            from += put;
            left -= static_cast<size_t>(put);
        }
    }
    buffer_.clear();
}

}  // namespace tool

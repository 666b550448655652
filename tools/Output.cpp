#include "tools/Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/ToolError.h"
#include "tools/ValueText.h"

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

void Tell(std::string_view line) {
    const std::string shown = Visible(line) + '\n';
    std::fwrite(shown.data(), 1, shown.size(), stderr);
}

void Say(std::string_view line) {
    Output out;
    Append(out.GetBuffer(), Visible(line));
    out.GetBuffer().push_back('\n');
    out.Flush();
}

}  // namespace tool

#ifndef VAMEL_TOOLS_OUTPUT_H
#define VAMEL_TOOLS_OUTPUT_H

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace tool {

// Collects output and writes it in large pieces.
//
//     Output out;
//     Append(out.GetBuffer(), "..."); out.FlushIfLarge(); ... out.Flush();
//
// Throws ToolError with EXIT_FILE_TROUBLE when it cannot be written. A reader that has gone away
// (a closed pipe) ends the output without a word: see IsClosed.
class Output {
  public:
    explicit Output(int descriptor = 1, std::string name = "standard output")
        : descriptor_(descriptor), name_(std::move(name)) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    fmt::memory_buffer& GetBuffer() { return buffer_; }
    bool IsClosed() const { return closed_; }
    void FlushIfLarge() {
        if (buffer_.size() >= kLarge) {
            Flush();
        }
    }
    void Flush();

  private:
    static constexpr size_t kLarge = 1 << 18;

    fmt::memory_buffer buffer_;
    int descriptor_;
    std::string name_;
    bool closed_ = false;
};

// One line on standard error, for people: what would move a terminal's cursor is shown escaped. A
// standard error that cannot be written loses the line, and nothing else.
void Tell(std::string_view line);

// One line on standard output, likewise escaped. Throws as Output does.
void Say(std::string_view line);

}  // namespace tool

#endif

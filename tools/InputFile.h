#ifndef VAMEL_TOOLS_INPUTFILE_H
#define VAMEL_TOOLS_INPUTFILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

// A file of text, or standard input for "-", byte by byte and line by line. A byte order mark at
// its beginning is passed over. Throws ToolError with EXIT_FILE_TROUBLE when it cannot be read.
class InputFile {
  public:
    static constexpr int kEnd = -1;

    explicit InputFile(const std::string& path);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    // The next byte, or kEnd; Peek leaves it there.
    int Peek() { return at_ < end_ || Fill() ? bytes_[at_] : kEnd; }
    int Next() {
        const int byte = Peek();
        if (byte != kEnd) {
            ++at_;
            line_ += byte == '\n' ? 1 : 0;
        }
        return byte;
    }

    // What is longer than a database file can be is refused before memory runs out.
    static constexpr uint64_t kLongest = UINT32_MAX;

    // The next line without its end; false where there is none.
    bool ReadLine(std::string* line);

    // The number of the line in which the next byte stands, from 1.
    uint64_t GetLine() const { return line_; }
    uint64_t GetDone() const { return before_ + at_; }  // bytes taken
    uint64_t GetSize() const { return size_; }          // 0 where nobody knows

    // Throws ToolError with EXIT_WRONG_USE: "people.csv: line 3: reason".
    [[noreturn]] void Fail(uint64_t line, const std::string& reason) const;

  private:
    bool Fill();
    void PassByteOrderMark();

    std::string name_;
    int descriptor_ = 0;
    std::vector<unsigned char> bytes_;
    size_t at_ = 0;
    size_t end_ = 0;
    uint64_t before_ = 0;  // bytes that the buffer has held before
    uint64_t size_ = 0;
    uint64_t line_ = 1;
};

}  // namespace tool

#endif

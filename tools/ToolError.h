#ifndef VAMEL_TOOLS_TOOLERROR_H
#define VAMEL_TOOLS_TOOLERROR_H

#include <stdexcept>
#include <string>

namespace tool {

// What the command ends with.
enum ExitStatus {
    EXIT_DONE = 0,
    EXIT_DIFFERS = 1,      // two files differ, or one is damaged
    EXIT_WRONG_USE = 2,    // also: a field that is not there, input that does not parse
    EXIT_FILE_TROUBLE = 3  // a file cannot be read or written
};

// Ends the command with a status and one line on standard error, which names the file, the place
// and the reason.
class ToolError : public std::runtime_error {
  public:
    ToolError(ExitStatus status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    ExitStatus GetStatus() const { return status_; }

  private:
    ExitStatus status_;
};

}  // namespace tool

#endif

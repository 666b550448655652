#ifndef VAMEL_TOOLS_CRITERION_H
#define VAMEL_TOOLS_CRITERION_H

#include <cstddef>
#include <string>

#include "tools/TableFile.h"

namespace tool {

// A condition on one field, from the command line: 'age<30', 'name=ann', 'photo>=ff00'.
//
// The name is the longest one of a field that the condition begins with. One blank may stand before
// the comparison and then one behind it. Integers are decimal, text is taken as it is, anything
// else is hexadecimal, with or without 0x.
struct Criterion {
    // Throws ToolError with EXIT_WRONG_USE.
    Criterion(const TableFile& file, const std::string& condition);

    std::string text;     // as given
    size_t field = 0;     // position in the file
    int compare = 0;      // enum vamel_compare
    std::string operand;  // the bytes to compare with: text with its terminating zero byte

  private:
    size_t FindOperator(const TableFile& file);
};

}  // namespace tool

#endif

#ifndef VAMEL_TOOLS_READWHOLE_H
#define VAMEL_TOOLS_READWHOLE_H

#include <string>

#include "persist/CCBuffer.h"

namespace tool {

// Reads a whole file, or standard input for "-", into the buffer. Files, pipes and devices alike;
// `name` is what messages call it. Throws ToolError with EXIT_FILE_TROUBLE.
void ReadWhole(const std::string& path, const std::string& name, CCBuffer* buffer);

}  // namespace tool

#endif

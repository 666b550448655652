#include "fuzz/Harness.h"

// A database file and a backup with any plain content behind a good checksum.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in{data, size};
    const std::string main = in.Take(8 * in.Below(256));
    RunFiles(twin::Seal(main), twin::Seal(in.Take(in.size)));
    return 0;
}

#include "vamel/vamel.h"

namespace {

// Tells the version of a library file without running it: strings libvamel.so.1 | grep '^vamel '
[[gnu::used]] const char version_text[] = "vamel " VAMEL_VERSION_STRING " (embedded record store)";

}  // namespace

int32_t vamel_init(void) {
    return VAMEL_OK;
}

int32_t vamel_term(void) {
    return VAMEL_OK;
}

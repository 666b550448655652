// The C++ header alone and twice, in a second unit of the program.
#include "vamel/vamel.hpp"
#include "vamel/vamel.hpp"  // NOLINT: on purpose
const std::error_category& CategoryOfOtherUnit();
const std::error_category& CategoryOfOtherUnit() {
    const vamel::database none;
    return none ? std::generic_category() : make_error_code(VAMEL_ERR_IO).category();
}

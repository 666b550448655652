// Each public header stands alone in C++, whatever was or was not included before it.
#include "vamel/errors.h"
#include "vamel/vamel.h"
static_assert(VAMEL_ERR_SCHEMA == -12 && VAMEL_FIELDS_SKIPPED == 6, "codes are fixed");
#include "vamel/vamel.hpp"
const std::error_category& CategoryOfOtherUnit();
int main() {
    const bool one_category = CategoryOfOtherUnit() == vamel::category();
    return vamel_result_name(-10)[0] == 'V' && vamel_result_text(99)[0] == 'n' && one_category ? 0
                                                                                               : 1;
}

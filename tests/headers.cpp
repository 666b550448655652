// Each public header stands alone in C++, whatever was or was not included before it.
#include "vamel/errors.h"
#include "vamel/vamel.h"
static_assert(VAMEL_ERR_SCHEMA == -12 && VAMEL_FIELDS_SKIPPED == 6, "codes are fixed");
int main() {
    return vamel_result_name(-10)[0] == 'V' && vamel_result_text(99)[0] == 'n' ? 0 : 1;
}

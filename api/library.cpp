#include "vamel/vamel.h"

int32_t vamel_init(void) {
    return VAMEL_OK;
}

int32_t vamel_term(void) {
    return VAMEL_OK;
}

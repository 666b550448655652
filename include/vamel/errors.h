/*
 * Names and texts of the result codes, from the table VAMEL_RESULT_CODES.
 */
#ifndef VAMEL_ERRORS_H
#define VAMEL_ERRORS_H

#include "vamel/vamel.h"

/*
 * The name of a result code, such as "VAMEL_ERR_DUPLICATE"; "VAMEL_?" for a number that is none.
 * The string is static. Any thread may call it.
 */
static inline const char* vamel_result_name(int32_t code) {
#define VAMEL_RESULT_CASE(name, value, text) \
    case value:                              \
        return #name;
    switch (code) {
        VAMEL_RESULT_CODES(VAMEL_RESULT_CASE)
        default:
            return "VAMEL_?";
    }
#undef VAMEL_RESULT_CASE
}

/*
 * The text of a result code, without a full stop; "not a result code" for a number that is none.
 * The string is static. Any thread may call it.
 */
static inline const char* vamel_result_text(int32_t code) {
#define VAMEL_RESULT_CASE(name, value, text) \
    case value:                              \
        return text;
    switch (code) {
        VAMEL_RESULT_CODES(VAMEL_RESULT_CASE)
        default:
            return "not a result code";
    }
#undef VAMEL_RESULT_CASE
}

#endif

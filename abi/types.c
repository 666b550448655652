/*
 * What hosts and libraries agree on beyond the exported functions, which cannot tell it: a field
 * definition crosses the interface behind a void pointer, and constants as numbers.
 */
#include <vamel/vamel.h>

struct agreed {
    vamel_field_info field_info;
    enum vamel_result result;
    enum vamel_option option;
    enum vamel_type type;
    enum vamel_flag flag;
    enum vamel_compare compare;
    CFRange range;
    Boolean boolean;
    char max_fields[VAMEL_MAX_FIELDS];
    char utf8[kCFStringEncodingUTF8];
};

void agreed_types(const struct agreed* all);
void agreed_types(const struct agreed* all) {
    (void)all;
}

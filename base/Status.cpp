#include "base/Status.h"

#include "vamel/vamel.h"

int32_t DB_ERROR(int32_t status) {
    static constexpr int32_t kResults[] = {
        VAMEL_OK,         VAMEL_ERR_MEMORY,    VAMEL_ERR_NO_VALUE, VAMEL_ERR_DUPLICATE,
        VAMEL_ERR_SCHEMA, VAMEL_UNKNOWN_FIELD, VAMEL_ERR_SCHEMA,   VAMEL_ERR_SCHEMA};
    const auto index = static_cast<uint32_t>(status);
    return index < sizeof kResults / sizeof *kResults ? kResults[index] : VAMEL_ERR_UNKNOWN;
}

int32_t IO_ERROR(int32_t status) {
    switch (status) {
        case 0:
            return VAMEL_OK;
        case FILE_MEMORY:
            return VAMEL_ERR_MEMORY;
        case FILE_SIZE:
            return VAMEL_ERR_FORMAT;
        case FILE_REWIND:
        case FILE_WRITE:
            return VAMEL_ERR_IO;
        case FILE_CHECKSUM:
            return VAMEL_ERR_CHECKSUM;
        default:
            return VAMEL_ERR_UNKNOWN;
    }
}

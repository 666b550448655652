#ifndef VAMEL_BASE_STATUS_H
#define VAMEL_BASE_STATUS_H

#include <cstdint>

// Statuses of the record store.
enum EngineStatus : int32_t {
    ENGINE_OK = 0,
    ENGINE_MEMORY = 1,     // memory exhausted; also: a search without a result set
    ENGINE_NO_VALUE = 2,   // the record, bucket or result set does not hold what was asked for
    ENGINE_DUPLICATE = 3,  // a unique field's value is held by another record
    ENGINE_NAME_TAKEN = 4,
    ENGINE_NO_FIELD = 5,  // the value descriptor names no field
    ENGINE_TOO_MANY_FIELDS = 6,
    ENGINE_EMPTY_SCHEMA = 7
};

// Statuses thrown by the byte buffer, as a plain int.
enum FileStatus : int32_t {
    FILE_MEMORY = 1,
    FILE_BOUNDS = 2,     // read, skip or write beyond the content
    FILE_SIZE = 257,     // not positioned at the end, or nothing there
    FILE_REWIND = 258,   // not positioned back at the start
    FILE_WRITE = 259,    // kept for the mapping; nothing raises it
    FILE_CHECKSUM = 260  // shorter than its checksum, or the checksum does not match
};

// The result code of an engine status; VAMEL_ERR_UNKNOWN for a number that is none.
int32_t DB_ERROR(int32_t status);

// The result code of a file status; VAMEL_ERR_UNKNOWN for FILE_BOUNDS and for a number that is
// none.
int32_t IO_ERROR(int32_t status);

#endif

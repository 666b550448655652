#ifndef VAMEL_STORE_DATASTRUCT_H
#define VAMEL_STORE_DATASTRUCT_H

#include <cstdint>

class CDBField;

// A value on its way into the store, out of it, or to be searched for. It owns nothing.
struct DATASTRUCT {
    CDBField* field = nullptr;
    void* data = nullptr;  // for a read: the caller's buffer, or null to ask for the length only
    uint32_t length = 0;   // bytes at data; a read sets it to the stored length
    int32_t compare = 0;   // enum vamel_compare; looked at by searches only
};

#endif

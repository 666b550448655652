#include "store/CDBNodeValue.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/BigEndian.h"
#include "base/Status.h"

CDBNodeValue::~CDBNodeValue() {
    Free();
}

// Nothing is asked for as one byte: realloc to zero would free the block and answer null.
int32_t CDBNodeValue::Alloc(uint32_t size) {
    void* block = std::realloc(data_, std::max<size_t>(size, 1));
    if (block == nullptr) {
        return ENGINE_MEMORY;
    }
    data_ = block;
    length_ = size;
    return ENGINE_OK;
}

void CDBNodeValue::Free() {
    std::free(data_);
    data_ = nullptr;
    length_ = 0;
}

int32_t CDBNodeValue::SetValue(const DATASTRUCT* value) {
    const int32_t status = Alloc(value->length);
    if (status == ENGINE_OK && value->length != 0) {
        std::memcpy(data_, value->data, value->length);
    }
    return status;
}

int32_t CDBNodeValue::GetValue(void* buffer, uint32_t* length) const {
    if (length != nullptr) {
        *length = length_;
    }
    if (buffer != nullptr && length_ != 0) {
        std::memcpy(buffer, data_, length_);
    }
    return ENGINE_OK;
}

int32_t CDBNodeValue::CompareValue(const DATASTRUCT* key) const {
    if (length_ == 0) {
        return -1;
    }
    if (key->length == 0) {
        return 1;
    }
    if (field_->GetType() == VAMEL_TYPE_INTEGER) {
        const int32_t stored = LoadInteger(data_, length_);
        const int32_t sought = LoadInteger(key->data, key->length);
        return (stored > sought ? 1 : 0) - (stored < sought ? 1 : 0);
    }
    return std::memcmp(data_, key->data, std::min(length_, key->length));
}

#include "store/CDBNodeValue.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/BigEndian.h"
#include "base/Status.h"

int32_t CDBNodeValue::Alloc(uint32_t size) {
    if (HasRoomFor(size)) {
        // Both places can be the old one and the new one: the bytes that stay move along.
        void* from = Place();
        const uint32_t kept = std::min(length_, size);
        length_ = size;
        std::memmove(Place(), from, kept);
        return ENGINE_OK;
    }
    // Nothing is asked for as one byte: realloc to zero would free the block and answer null.
    void* block = std::realloc(on_heap_ != 0 ? heap_ : nullptr, std::max<size_t>(size, 1));
    if (block == nullptr) {
        return ENGINE_MEMORY;
    }
    if (on_heap_ == 0) {
        std::memcpy(block, Place(), std::min(length_, size));
    }
    heap_ = block;
    on_heap_ = 1;
    length_ = size;
    return ENGINE_OK;
}

void CDBNodeValue::Free() {
    if (on_heap_ != 0) {
        std::free(heap_);
        on_heap_ = 0;
    }
    length_ = 0;
}

int32_t CDBNodeValue::SetValue(const DATASTRUCT* value) {
    const int32_t status = Alloc(value->length);
    if (status == ENGINE_OK && value->length != 0) {
        std::memmove(Place(), value->data, value->length);
    }
    return status;
}

int32_t CDBNodeValue::GetValue(void* buffer, uint32_t* length) const {
    if (length != nullptr) {
        *length = length_;
    }
    if (buffer != nullptr && length_ != 0) {
        std::memcpy(buffer, GetData(), length_);
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
        const int32_t stored = LoadInteger(GetData(), length_);
        const int32_t sought = LoadInteger(key->data, key->length);
        return (stored > sought ? 1 : 0) - (stored < sought ? 1 : 0);
    }
    return std::memcmp(GetData(), key->data, std::min(length_, key->length));
}

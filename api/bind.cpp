#include <cstring>

#include "api/FieldName.h"
#include "api/Handles.h"
#include "base/BigEndian.h"

namespace {

// Binds `count` bytes to the field of that name, which is the last step of every bind call. For
// null data the bytes are the caller's to write: *bound_out is where.
int32_t Bind(CVLStatement* stmt, const CFStringRef* name, const void* data, uint32_t count,
             int32_t compare, DATASTRUCT** bound_out = nullptr) {
    const FieldName field_name(name);
    if (field_name.GetResult() != VAMEL_OK) {
        return field_name.GetResult();
    }
    if (stmt->GetTable() == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    DATASTRUCT value;
    value.field = field_name.FindIn(stmt->GetTable()->GetFields());
    if (value.field == nullptr) {
        return VAMEL_ERR_FIELD;
    }
    value.data = const_cast<void*>(data);
    value.length = count;
    value.compare = compare;
    DATASTRUCT* bound = stmt->alloc_bind_data(value);
    if (bound_out != nullptr) {
        *bound_out = bound;
    }
    return bound != nullptr ? VAMEL_OK : VAMEL_ERR_MEMORY;
}

// The bytes of a text's UTF-8 form with a terminator; 0 where they cannot be had. What has no UTF-8
// form is measured as far as it has one.
uint32_t MeasureText(CFStringRef text) {
    CFRange all;
    all.location = 0;
    all.length = CFStringGetLength(text);
    CFIndex used = 0;
    CFStringGetBytes(text, all, kCFStringEncodingUTF8, 0, 0, nullptr, 0, &used);
    return used >= 0 && used < INT32_MAX ? static_cast<uint32_t>(used) + 1 : 0;
}

}  // namespace

int32_t vamel_bind_int(vamel_stmt* stmt, const CFStringRef* name, int32_t value, int32_t compare) {
    if (stmt == nullptr || IsMissing(name)) {
        return VAMEL_ERR_ARGUMENT;
    }
    unsigned char bytes[4];
    StoreBigEndian(static_cast<uint32_t>(value), bytes);
    return Bind(Object(stmt), name, bytes, sizeof bytes, compare);
}

int32_t vamel_bind_text(vamel_stmt* stmt, const CFStringRef* name, const CFStringRef* value,
                        int32_t compare) {
    if (stmt == nullptr || IsMissing(name) || IsMissing(value)) {
        return VAMEL_ERR_ARGUMENT;
    }
    // Converted straight into the bound value; what has no UTF-8 form is the empty text.
    DATASTRUCT* bound = nullptr;
    const uint32_t count = MeasureText(*value);
    if (count == 0) {
        return VAMEL_ERR_MEMORY;
    }
    const int32_t result = Bind(Object(stmt), name, nullptr, count, compare, &bound);
    if (result == VAMEL_OK) {
        auto* text = static_cast<char*>(bound->data);
        if (!CFStringGetCString(*value, text, static_cast<CFIndex>(count), kCFStringEncodingUTF8)) {
            text[0] = '\0';
        }
        bound->length = static_cast<uint32_t>(std::strlen(text)) + 1;
    }
    return result;
}

int32_t vamel_bind_binary(vamel_stmt* stmt, const CFStringRef* name, const void* data,
                          uint32_t count, int32_t compare) {
    if (stmt == nullptr || IsMissing(name) || (data == nullptr && count != 0)) {
        return VAMEL_ERR_ARGUMENT;
    }
    return Bind(Object(stmt), name, data, count, compare);
}

int32_t vamel_clear_bind(vamel_stmt* stmt) {
    if (stmt == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(stmt)->free_bind_data();
    return VAMEL_OK;
}

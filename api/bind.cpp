#include "api/Handles.h"
#include "base/BigEndian.h"

namespace {

// Binds `count` bytes to the field of that name, which is the last step of every bind call.
int32_t Bind(CVLStatement* stmt, const CCString& name, const void* data, uint32_t count,
             int32_t compare) {
    if (stmt->GetTable() == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    DATASTRUCT value;
    value.field = stmt->GetTable()->GetFields()->SearchField(name);
    if (value.field == nullptr) {
        return VAMEL_ERR_FIELD;
    }
    value.data = const_cast<void*>(data);
    value.length = count;
    value.compare = compare;
    return stmt->alloc_bind_data(value) != nullptr ? VAMEL_OK : VAMEL_ERR_MEMORY;
}

int32_t BindBytes(CVLStatement* stmt, const CFStringRef* name, const void* data, uint32_t count,
                  int32_t compare) {
    CCString field_name;
    const int32_t result = get_CCString(field_name, name);
    return result == VAMEL_OK ? Bind(stmt, field_name, data, count, compare) : result;
}

}  // namespace

int32_t vamel_bind_int(vamel_stmt* stmt, const CFStringRef* name, int32_t value, int32_t compare) {
    if (stmt == nullptr || IsMissing(name)) {
        return VAMEL_ERR_ARGUMENT;
    }
    unsigned char bytes[4];
    StoreBigEndian(static_cast<uint32_t>(value), bytes);
    return BindBytes(Object(stmt), name, bytes, sizeof bytes, compare);
}

int32_t vamel_bind_text(vamel_stmt* stmt, const CFStringRef* name, const CFStringRef* value,
                        int32_t compare) {
    if (stmt == nullptr || IsMissing(name) || IsMissing(value)) {
        return VAMEL_ERR_ARGUMENT;
    }
    CCString text;
    const int32_t result = get_CCString(text, value);
    if (result != VAMEL_OK) {
        return result;
    }
    const auto count = static_cast<uint32_t>(text.GetLength()) + 1;
    return BindBytes(Object(stmt), name, text.GetText(), count, compare);
}

int32_t vamel_bind_binary(vamel_stmt* stmt, const CFStringRef* name, const void* data,
                          uint32_t count, int32_t compare) {
    if (stmt == nullptr || IsMissing(name) || (data == nullptr && count != 0)) {
        return VAMEL_ERR_ARGUMENT;
    }
    return BindBytes(Object(stmt), name, data, count, compare);
}

int32_t vamel_clear_bind(vamel_stmt* stmt) {
    if (stmt == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(stmt)->free_bind_data();
    return VAMEL_OK;
}

#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "api/FieldName.h"
#include "api/Handles.h"
#include "base/BigEndian.h"

namespace {

// The steps that all fetch calls share: finds the current record's value for the field of that name
// and type. The order of the tests is part of the interface.
int32_t FindValue(const CVLStatement* stmt, const CFStringRef* name, int32_t type,
                  const CDBNodeValue** value_out) {
    const FieldName field_name(name);
    if (field_name.GetResult() != VAMEL_OK) {
        return field_name.GetResult();
    }
    if (stmt->GetTable() == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const CDBField* field = field_name.FindIn(stmt->GetTable()->GetFields());
    if (field == nullptr) {
        return VAMEL_UNKNOWN_FIELD;
    }
    if (field->GetType() != type) {
        return VAMEL_ERR_FIELD;
    }
    const CDBNode* record = stmt->GetCurrent();
    const CDBNodeValue* value = record != nullptr ? record->SearchNodeValue(field) : nullptr;
    if (value == nullptr) {
        return VAMEL_ERR_NO_VALUE;
    }
    *value_out = value;
    return VAMEL_OK;
}

// A platform string of the stored bytes up to the first zero byte. Bound text has one; bytes that
// were bound as something else may lack it, and are copied to get one.
int32_t MakeString(const CDBNodeValue* value, CFStringRef* out) {
    const auto* bytes = static_cast<const char*>(value->GetData());
    const uint32_t length = value->GetLength();
    if (length != 0 && std::memchr(bytes, 0, length) != nullptr) {
        *out = CFStringCreateWithCString(kCFAllocatorDefault, bytes, kCFStringEncodingUTF8);
        return *out != nullptr ? VAMEL_OK : VAMEL_ERR_MEMORY;
    }
    CCString text;
    if (length >= INT32_MAX ||
        text.CopyString(length != 0 ? bytes : "", static_cast<int32_t>(length)) == -1) {
        return VAMEL_ERR_MEMORY;
    }
    return get_vamel_string(out, text);
}

}  // namespace

int32_t vamel_fetch_int(vamel_stmt* stmt, const CFStringRef* name, int32_t* value_out) {
    if (stmt == nullptr || IsMissing(name) || value_out == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const CDBNodeValue* value = nullptr;
    const int32_t result = FindValue(Object(stmt), name, VAMEL_TYPE_INTEGER, &value);
    if (result == VAMEL_OK) {
        *value_out = LoadInteger(value->GetData(), value->GetLength());
    }
    return result;
}

int32_t vamel_fetch_text(vamel_stmt* stmt, const CFStringRef* name, CFStringRef* text_out) {
    if (stmt == nullptr || IsMissing(name) || text_out == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const CDBNodeValue* value = nullptr;
    int32_t result = FindValue(Object(stmt), name, VAMEL_TYPE_TEXT, &value);
    if (result != VAMEL_OK) {
        return result;
    }
    CFStringRef string = nullptr;
    result = MakeString(value, &string);
    if (result != VAMEL_OK) {
        return result;
    }
    result = Object(stmt)->reg_fetch_str(string);
    if (result != VAMEL_OK) {
        CFRelease(string);
        return result;
    }
    *text_out = string;
    return VAMEL_OK;
}

int32_t vamel_fetch_binary(vamel_stmt* stmt, const CFStringRef* name, const void** data_out,
                           uint32_t* count_out) {
    if (stmt == nullptr || IsMissing(name) || data_out == nullptr || count_out == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const CDBNodeValue* value = nullptr;
    int32_t result = FindValue(Object(stmt), name, VAMEL_TYPE_BINARY, &value);
    if (result != VAMEL_OK) {
        return result;
    }
    std::unique_ptr<CCBuffer> buffer(new (std::nothrow) CCBuffer);
    // An empty buffer cannot be had: an empty value fails here.
    if (buffer == nullptr || buffer->MakeBuffer(value->GetLength()) == nullptr) {
        return VAMEL_ERR_MEMORY;
    }
    const void* bytes = buffer->GetData();
    value->GetValue(buffer->GetData(), nullptr);
    result = Object(stmt)->reg_fetch_binary(std::move(buffer));
    if (result == VAMEL_OK) {
        *data_out = bytes;
        *count_out = value->GetLength();
    }
    return result;
}

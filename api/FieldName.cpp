#include "api/FieldName.h"

FieldName::FieldName(const CFStringRef* name) {
    if (!CFStringGetCString(*name, short_, kShort, kCFStringEncodingUTF8)) {
        result_ = ConvertString(long_, name);
        text_ = long_.GetText();
    }
}

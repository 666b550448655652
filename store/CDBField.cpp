#include "store/CDBField.h"

#include "base/CalcHashValue.h"
#include "base/Status.h"

int32_t CDBField::SetInfo(const CCString& name, uint8_t index, int32_t type, int32_t flags) {
    if (name_.CopyString(name.GetText(), -1) == -1) {
        return ENGINE_MEMORY;
    }
    hash_ = CalcHashValue(name_.GetText(), static_cast<uint32_t>(name_.GetLength()), kHashBuckets);
    index_ = index;
    type_ = type;
    flags_ = flags;
    return ENGINE_OK;
}

bool CDBField::IsIndexed() const {
    return (flags_ & VAMEL_FLAG_INDEXED) != 0;
}

bool CDBField::IsUnique() const {
    return (flags_ & VAMEL_FLAG_UNIQUE) != 0;
}

#include "api/CVLEnvironment.h"

#include "base/Status.h"

int32_t CVLEnvironment::SetBackupPath(const CFStringRef* path) {
    if (path == nullptr) {
        backup_path_.ClearString();
        return VAMEL_OK;
    }
    CCString text;
    const int32_t result = ConvertString(text, path);
    if (result != VAMEL_OK) {
        return result;
    }
    return backup_path_.CopyString(text.GetText(), -1) != -1 ? VAMEL_OK : VAMEL_ERR_MEMORY;
}

int32_t CVLEnvironment::AddField(const vamel_field_info* info) {
    CCString name;
    const int32_t result = ConvertString(name, info->name);
    if (result != VAMEL_OK) {
        return result;
    }
    return DB_ERROR(fields_.CreateField(name, info->type, info->flags));
}

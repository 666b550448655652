#include "api/CVLEnvironment.h"

#include "base/Status.h"

int32_t CVLEnvironment::SetBackupPath(const CFStringRef* path) {
    if (path == nullptr) {
        backup_path_.ClearString();
        return VAMEL_OK;
    }
    return get_CCString(backup_path_, path);
}

int32_t CVLEnvironment::AddField(const vamel_field_info* info) {
    CCString name;
    const int32_t result = get_CCString(name, info->name);
    if (result != VAMEL_OK) {
        return result;
    }
    return DB_ERROR(fields_.CreateField(name, info->type, info->flags));
}

#include <new>

#include "api/Handles.h"

int32_t vamel_alloc_env(vamel_env** env_out) {
    if (env_out == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    auto* env = new (std::nothrow) CVLEnvironment;
    if (env == nullptr) {
        return VAMEL_ERR_MEMORY;
    }
    *env_out = Handle(env);
    return VAMEL_OK;
}

int32_t vamel_free_env(vamel_env** env_ptr) {
    if (env_ptr == nullptr || *env_ptr == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    delete Object(*env_ptr);
    *env_ptr = nullptr;
    return VAMEL_OK;
}

namespace {

int32_t SetBackupPath(CVLEnvironment* env, const CFStringRef* path) {
    if (path != nullptr && *path == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    return env->SetBackupPath(path);
}

int32_t AddField(CVLEnvironment* env, const vamel_field_info* info) {
    if (info == nullptr || IsMissing(info->name)) {
        return VAMEL_ERR_ARGUMENT;
    }
    return env->AddField(info);
}

}  // namespace

int32_t vamel_set_env(vamel_env* env, uint32_t option, const void* value) {
    if (env == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    switch (option) {
        case VAMEL_OPTION_BACKUP_PATH:
            return SetBackupPath(Object(env), static_cast<const CFStringRef*>(value));
        case VAMEL_OPTION_FIELD:
            return AddField(Object(env), static_cast<const vamel_field_info*>(value));
        default:
            return VAMEL_ERR_ARGUMENT;
    }
}

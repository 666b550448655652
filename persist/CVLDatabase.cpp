#include "persist/CVLDatabase.h"

#include "api/CVLEnvironment.h"
#include "base/Status.h"
#include "persist/CVLFile.h"

namespace {

bool IsRuined(int32_t result) {
    return result == VAMEL_ERR_FORMAT || result == VAMEL_ERR_CHECKSUM;
}

}  // namespace

CVLDatabase::CVLDatabase() {
    InitializeCriticalSectionAPI(&lock_);
}

CVLDatabase::~CVLDatabase() {
    damaged_ = 0;
    DeleteCriticalSectionAPI(&lock_);
}

int32_t CVLDatabase::SetEnvironment(CVLEnvironment* env) {
    if (env == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const CCString& backup = env->GetBackupPath();
    if (backup.GetLength() != 0 && backup_path_.CopyString(backup.GetText(), -1) == -1) {
        return VAMEL_ERR_MEMORY;
    }
    return DB_ERROR(table_.Init(env->GetFields()));
}

int32_t CVLDatabase::SetDBFilePath(const CFStringRef* path) {
    return ConvertString(file_path_, path);
}

int32_t CVLDatabase::OpenDBSub(const CCString& path) {
    CVLFile file;
    const int32_t result = file.FileIn(path);
    return result == VAMEL_OK ? file.Deserialize(&table_) : result;
}

int32_t CVLDatabase::OpenDB() {
    const int32_t result = OpenDBSub(file_path_);
    if (result == VAMEL_OK) {
        return result;
    }
    if (IsRuined(result)) {
        DeleteFileAPI(file_path_.GetText());
    }
    if (backup_path_.GetLength() == 0) {
        return result;
    }
    const int32_t backup = OpenDBSub(backup_path_);
    if (IsRuined(backup)) {
        DeleteFileAPI(backup_path_.GetText());
    }
    return backup == VAMEL_NO_FILE ? result : backup;
}

int32_t CVLDatabase::CommitDB() {
    if (IsDamaged()) {
        return VAMEL_ERR_DAMAGED;
    }
    CVLFile file;
    const int32_t result = file.Serialize(&table_);
    return result < 0 ? result : file.FileOut(file_path_);
}

int32_t CVLDatabase::RollbackDB() {
    if (IsDamaged()) {
        return VAMEL_ERR_DAMAGED;
    }
    table_.Term();
    CVLFile file;
    int32_t result = file.FileIn(file_path_);
    if (result != VAMEL_OK && backup_path_.GetLength() != 0) {
        result = file.FileIn(backup_path_);
    }
    return result == VAMEL_OK ? file.Deserialize(&table_) : result;
}

int32_t CVLDatabase::CloseDB() {
    if (IsDamaged()) {
        return VAMEL_NOT_WRITTEN;
    }
    CVLFile file;
    int32_t result = file.Serialize(&table_);
    if (result < 0) {
        return result;
    }
    result = file.FileOut(file_path_);
    if (backup_path_.GetLength() != 0) {
        result = file.FileOut(backup_path_);
    }
    return result;
}

#include <memory>
#include <new>

#include "api/Handles.h"

namespace {

int32_t Build(CVLDatabase* db, const CFStringRef* path, CVLEnvironment* env) {
    if (!db->HasLock()) {
        return VAMEL_ERR_MEMORY;
    }
    int32_t result = db->SetEnvironment(env);
    if (result >= 0) {
        result = db->SetDBFilePath(path);
    }
    return result >= 0 ? db->OpenDB() : result;
}

}  // namespace

int32_t vamel_open(const CFStringRef* path, vamel_env* env, vamel_db** db_out) {
    if (env == nullptr || IsMissing(path) || db_out == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    std::unique_ptr<CVLDatabase> db(new (std::nothrow) CVLDatabase);
    if (db == nullptr) {
        return VAMEL_ERR_MEMORY;
    }
    const int32_t result = Build(db.get(), path, Object(env));
    if (result < 0) {
        db.reset();
    }
    *db_out = Handle(db.release());
    return result;
}

int32_t vamel_close(vamel_db** db_ptr) {
    if (db_ptr == nullptr || *db_ptr == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    CVLDatabase* db = Object(*db_ptr);
    const int32_t result = db->CloseDB();
    delete db;
    *db_ptr = nullptr;
    return result;
}

int32_t vamel_begin(vamel_db* db) {
    if (db == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(db)->Enter();
    return VAMEL_OK;
}

int32_t vamel_end(vamel_db* db) {
    if (db == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(db)->Leave();
    return VAMEL_OK;
}

int32_t vamel_commit(vamel_db* db) {
    if (db == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const int32_t result = Object(db)->CommitDB();
    Object(db)->Leave();
    return result;
}

int32_t vamel_rollback(vamel_db* db) {
    if (db == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    const int32_t result = Object(db)->RollbackDB();
    Object(db)->Leave();
    return result;
}

#include <new>

#include "api/Handles.h"

int32_t vamel_prepare(vamel_db* db, vamel_stmt** stmt_out) {
    if (stmt_out == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    *stmt_out = nullptr;
    if (db == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    auto* stmt = new (std::nothrow) CVLStatement(Object(db)->GetTable());
    *stmt_out = Handle(stmt);
    return stmt != nullptr ? VAMEL_OK : VAMEL_ERR_MEMORY;
}

int32_t vamel_finalize(vamel_stmt** stmt_ptr) {
    if (stmt_ptr == nullptr || *stmt_ptr == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    delete Object(*stmt_ptr);
    *stmt_ptr = nullptr;
    return VAMEL_OK;
}

int32_t vamel_step(vamel_stmt* stmt) {
    if (stmt == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(stmt)->free_fetch_data();
    return Object(stmt)->step();
}

int32_t vamel_reset(vamel_stmt* stmt) {
    if (stmt == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(stmt)->free_fetch_data();
    return Object(stmt)->reset();
}

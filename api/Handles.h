#ifndef VAMEL_API_HANDLES_H
#define VAMEL_API_HANDLES_H

#include "api/CVLEnvironment.h"
#include "api/CVLStatement.h"
#include "persist/CVLDatabase.h"
#include "vamel/vamel.h"

// The objects behind the host's handles, and back. Null stays null.

inline CVLEnvironment* Object(vamel_env* env) {
    return reinterpret_cast<CVLEnvironment*>(env);
}
inline CVLDatabase* Object(vamel_db* db) {
    return reinterpret_cast<CVLDatabase*>(db);
}
inline CVLStatement* Object(vamel_stmt* stmt) {
    return reinterpret_cast<CVLStatement*>(stmt);
}

inline vamel_env* Handle(CVLEnvironment* env) {
    return reinterpret_cast<vamel_env*>(env);
}
inline vamel_db* Handle(CVLDatabase* db) {
    return reinterpret_cast<vamel_db*>(db);
}
inline vamel_stmt* Handle(CVLStatement* stmt) {
    return reinterpret_cast<vamel_stmt*>(stmt);
}

// Whether a string argument is missing: the pointer, or the string behind it.
inline bool IsMissing(const CFStringRef* string) {
    return string == nullptr || *string == nullptr;
}

#endif

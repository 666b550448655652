#ifndef VAMEL_API_CVLENVIRONMENT_H
#define VAMEL_API_CVLENVIRONMENT_H

#include <cstdint>

#include "base/CCString.h"
#include "store/CDBFieldArray.h"

// What a database needs from its host: a backup path (empty: none) and the table's fields, in the
// order in which they were added. Databases copy it and keep no reference.
class CVLEnvironment {
  public:
    CVLEnvironment() = default;
    CVLEnvironment(const CVLEnvironment&) = delete;
    CVLEnvironment& operator=(const CVLEnvironment&) = delete;

    const CCString& GetBackupPath() const { return backup_path_; }
    CDBFieldArray* GetFields() { return &fields_; }

    // Replace the backup path, or clear it for a null one. VAMEL_OK or VAMEL_ERR_MEMORY.
    int32_t SetBackupPath(const CFStringRef* path);

    // Append a field. VAMEL_OK, VAMEL_ERR_MEMORY or VAMEL_ERR_SCHEMA.
    int32_t AddField(const vamel_field_info* info);

  private:
    CCString backup_path_;
    CDBFieldArray fields_;
};

#endif

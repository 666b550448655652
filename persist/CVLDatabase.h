#ifndef VAMEL_PERSIST_CVLDATABASE_H
#define VAMEL_PERSIST_CVLDATABASE_H

#include <cstdint>

#include "base/CCString.h"
#include "base/PlatformAPI.h"
#include "store/CDBTable.h"

class CVLEnvironment;

// One open database: two file paths, the table, the damaged flag and the lock. Built by
// SetEnvironment, SetDBFilePath, OpenDB, in that order; a negative result at one of them ends it.
// The operations give result codes and take no lock.
class CVLDatabase {
  public:
    CVLDatabase();
    CVLDatabase(const CVLDatabase&) = delete;
    CVLDatabase& operator=(const CVLDatabase&) = delete;
    ~CVLDatabase();  // waits until no other thread holds the lock

    CDBTable* GetTable() { return &table_; }
    bool HasLock() const { return lock_ != nullptr; }
    void Enter() { EnterCriticalSectionAPI(&lock_); }
    void Leave() { LeaveCriticalSectionAPI(&lock_); }
    bool IsDamaged() const { return damaged_ != 0; }
    void SetDamaged() { damaged_ = 1; }  // for good

    // Copy the backup path and the fields. VAMEL_OK, VAMEL_ERR_ARGUMENT for none, VAMEL_ERR_MEMORY,
    // VAMEL_ERR_SCHEMA for an environment without fields.
    int32_t SetEnvironment(CVLEnvironment* env);

    // VAMEL_OK or VAMEL_ERR_MEMORY.
    int32_t SetDBFilePath(const CFStringRef* path);

    // Load the table: only VAMEL_OK from the main file ends it there, any other result tries the
    // backup, if one is set, ON TOP. A file that is malformed or fails its checksum is removed. The
    // backup's result counts unless the backup is missing.
    int32_t OpenDB();
    // Read one file into the table: VAMEL_NO_FILE, or what FileIn and Deserialize give.
    int32_t OpenDBSub(const CCString& path);

    // Write the main file. VAMEL_ERR_DAMAGED, or what Serialize and FileOut give.
    int32_t CommitDB();

    // Empty the table and load it anew. The backup stands in only for a main file that cannot be
    // read at all, not for one that fails its checksum; nothing is removed. VAMEL_ERR_DAMAGED, or
    // what FileIn and Deserialize give.
    int32_t RollbackDB();

    // Write the main file and, if one is set, the backup, whose result then counts.
    // VAMEL_NOT_WRITTEN when damaged, or what Serialize and FileOut give.
    int32_t CloseDB();

  private:
    CCString file_path_;
    CCString backup_path_;  // empty: no backup is kept
    CDBTable table_;
    int32_t damaged_ = 0;
    OpaqueMPCriticalRegionID* lock_ = nullptr;
};

#endif

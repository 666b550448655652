#ifndef VAMEL_BASE_PLATFORMAPI_H
#define VAMEL_BASE_PLATFORMAPI_H

#include <cstdint>

// Thin wrappers around the platform: a lock, files, sleep and time. Two sources implement them:
// PlatformPosix.cpp, and PlatformApple.cpp over the platform's own services.

// A critical region: mutual exclusion between threads. The thread that is in it may enter it again,
// and is out once it has left it as many times.
struct OpaqueMPCriticalRegionID;

// Make a region. 0, or an error status with a null *id.
int32_t InitializeCriticalSectionAPI(OpaqueMPCriticalRegionID** id);

// Enter, waiting without a limit. Nothing for a null id, or when there is no region.
void EnterCriticalSectionAPI(OpaqueMPCriticalRegionID** id);

// Leave once. 0, or an error status, and nothing else, when the calling thread is not in the
// region.
int32_t LeaveCriticalSectionAPI(OpaqueMPCriticalRegionID** id);

// Wait until no other thread is in the region, then destroy it. *id is not cleared. The calling
// thread may be in it.
void DeleteCriticalSectionAPI(OpaqueMPCriticalRegionID** id);

// 1 if the path names a regular file, else 0: a directory or a device is no database.
int32_t IsFileExistAPI(const char* path);

// Remove a file. 0, or the C library's error.
int32_t DeleteFileAPI(const char* path);

// Sleep for one second, whatever the argument.
void SleepFunction(int32_t seconds);

// The path of the user's desktop folder, with a "/" behind it. `out` has room for 101 bytes; it is
// left alone when there is no such folder or its path is longer than 99 bytes.
void GetTempFilePath(char* out);

// Seconds since 1970.
double GetTime();

#endif

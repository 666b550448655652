// Not yet run on such a machine.

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/PlatformAPI.h"

namespace {

// Whether the path is that of a regular file; `file` receives its reference.
bool FindFile(const char* path, FSRef* file) {
    CFStringRef text = CFStringCreateWithCString(kCFAllocatorDefault, path, kCFStringEncodingUTF8);
    if (text == nullptr) {
        return false;
    }
    CFURLRef url =
        CFURLCreateWithFileSystemPath(kCFAllocatorDefault, text, kCFURLPOSIXPathStyle, false);
    CFRelease(text);
    if (url == nullptr) {
        return false;
    }
    const bool found = CFURLGetFSRef(url, file);
    CFRelease(url);
    return found;
}

bool IsFolder(const FSRef* file) {
    FSCatalogInfo info;
    return FSGetCatalogInfo(file, kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr) == noErr &&
           (info.nodeFlags & kFSNodeIsDirectoryMask) != 0;
}

}  // namespace

int32_t InitializeCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    return static_cast<int32_t>(MPCreateCriticalRegion(id));
}

void EnterCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    if (id != nullptr) {
        MPEnterCriticalRegion(*id, kDurationForever);
    }
}

int32_t LeaveCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    return id != nullptr ? static_cast<int32_t>(MPExitCriticalRegion(*id)) : 0;
}

void DeleteCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    if (id != nullptr) {
        MPEnterCriticalRegion(*id, kDurationForever);
        MPExitCriticalRegion(*id);
        MPDeleteCriticalRegion(*id);
    }
}

int32_t IsFileExistAPI(const char* path) {
    FSRef file;
    return path != nullptr && FindFile(path, &file) && !IsFolder(&file) ? 1 : 0;
}

int32_t DeleteFileAPI(const char* path) {
    return std::remove(path);
}

void SleepFunction(int32_t /*seconds*/) {
    sleep(1);
}

void GetTempFilePath(char* out) {
    FSRef folder;
    FSFindFolder(kOnSystemDisk, kDesktopFolderType, kDontCreateFolder, &folder);
    CFURLRef url = CFURLCreateFromFSRef(kCFAllocatorDefault, &folder);
    if (url == nullptr) {
        return;
    }
    CFStringRef text = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
    CFRelease(url);
    if (text == nullptr) {
        return;
    }
    char path[100];
    if (CFStringGetCString(text, path, sizeof path, kCFStringEncodingUTF8)) {
        std::strcpy(out, path);
        std::strcat(out, "/");
    }
    CFRelease(text);
}

double GetTime() {
    struct timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-06;
}

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>

#include "base/PlatformAPI.h"

// The owner is kept beside the mutex so that leaving a region from outside is an error status and
// not undefined behaviour. Only the owner itself can read its own id there, so the test needs no
// lock.
struct OpaqueMPCriticalRegionID {
    std::mutex mutex;
    std::atomic<std::thread::id> owner{std::thread::id()};
    uint32_t depth = 0;

    bool IsMine() const {
        return owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }
    void Enter() {
        if (!IsMine()) {
            mutex.lock();
            owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
        ++depth;
    }
    void Leave() {
        if (--depth == 0) {
            owner.store(std::thread::id(), std::memory_order_relaxed);
            mutex.unlock();
        }
    }
};

int32_t InitializeCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    *id = new (std::nothrow) OpaqueMPCriticalRegionID;
    return *id != nullptr ? 0 : ENOMEM;
}

void EnterCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    if (id != nullptr && *id != nullptr) {
        (*id)->Enter();
    }
}

int32_t LeaveCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    if (id == nullptr || *id == nullptr) {
        return 0;
    }
    if (!(*id)->IsMine()) {
        return EPERM;
    }
    (*id)->Leave();
    return 0;
}

void DeleteCriticalSectionAPI(OpaqueMPCriticalRegionID** id) {
    if (id == nullptr || *id == nullptr) {
        return;
    }
    EnterCriticalSectionAPI(id);
    while (LeaveCriticalSectionAPI(id) == 0) {
        // Out as many times as the calling thread was in.
    }
    delete *id;
}

int32_t IsFileExistAPI(const char* path) {
    struct stat status;
    return path != nullptr && stat(path, &status) == 0 && S_ISREG(status.st_mode) ? 1 : 0;
}

int32_t DeleteFileAPI(const char* path) {
    return std::remove(path);
}

void SleepFunction(int32_t /*seconds*/) {
    sleep(1);
}

void GetTempFilePath(char* out) {
    constexpr size_t kLimit = 100;
    const char* home = std::getenv("HOME");
    if (home == nullptr) {
        return;
    }
    char path[kLimit];
    const int length = std::snprintf(path, sizeof path, "%s/Desktop", home);
    if (length > 0 && static_cast<size_t>(length) < kLimit) {
        std::memcpy(out, path, static_cast<size_t>(length));
        std::memcpy(out + length, "/", 2);
    }
}

double GetTime() {
    struct timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-06;
}

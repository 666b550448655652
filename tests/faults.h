#ifndef VAMEL_TESTS_FAULTS_H
#define VAMEL_TESTS_FAULTS_H

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

// Makes calls of the C library fail, in a program that is linked with --wrap for them; CMakeLists.txt
// has the list. Included once in such a program, it gives it an operator new as well.
struct Faults {
    enum Kind { NONE, ALLOCATION, CALL, CUT } kind = NONE;  // CUT: a transfer stops half way
    long left = 0;         // the call that fails, counted from now
    bool forever = false;  // and all calls after it
    bool armed = false;
    std::string_view hit = "";  // the first function that failed
    size_t largest = 0;         // block asked for while armed

    bool Strike(Kind which, std::string_view function, size_t size = 0) {
        largest = armed ? std::max(largest, size) : largest;
        const bool strikes = armed && which == kind && (--left == 0 || (left < 0 && forever));
        hit = strikes && hit.empty() ? function : hit;
        return strikes;
    }
} faults;

// clang-format off
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
#define VAMEL_WRAP(kind, size, type, failure, function, parameters, ...) \
    decltype(function) __real_##function; \
    type __wrap_##function parameters { \
        return faults.Strike(Faults::kind, #function, size) ? failure : __real_##function(__VA_ARGS__); \
    }
#define VAMEL_WRAP_TRANSFER(function, pointer) \
    decltype(function) __real_##function; \
    size_t __wrap_##function(pointer data, size_t size, size_t n, FILE* f) { \
        const bool none = faults.Strike(Faults::CALL, #function), half = faults.Strike(Faults::CUT, #function); \
        return __real_##function(data, 1, none ? 0 : half ? size * n / 2 : size * n, f) / size; \
    }
#define VAMEL_NEW(array) \
    void* operator new array(size_t size, const std::nothrow_t&) noexcept { return __wrap_malloc(size); } \
    void* operator new array(size_t size) { \
        void* block = __wrap_malloc(size); \
        return block != nullptr ? block : throw std::bad_alloc(); \
    } \
    void operator delete array(void* block) noexcept { std::free(block); } \
    void operator delete array(void* block, size_t) noexcept { std::free(block); }
extern "C" {
VAMEL_WRAP(ALLOCATION, n, void*, nullptr, malloc, (size_t n), n)
VAMEL_WRAP(ALLOCATION, n * size, void*, nullptr, calloc, (size_t n, size_t size), n, size)
VAMEL_WRAP(ALLOCATION, n, void*, nullptr, realloc, (void* block, size_t n), block, n)
VAMEL_WRAP(CALL, 0, FILE*, nullptr, fopen, (const char* path, const char* mode), path, mode)
VAMEL_WRAP(CALL, 0, int, (__real_fclose(f), EOF), fclose, (FILE* f), f)
VAMEL_WRAP(CALL, 0, int, -1, fseek, (FILE* f, long offset, int from), f, offset, from)
VAMEL_WRAP(CALL, 0, long, -1, ftell, (FILE* f), f)
VAMEL_WRAP(CALL, 0, int, -1, remove, (const char* path), path)
VAMEL_WRAP(CALL, 0, int, -1, chmod, (const char* path, mode_t mode), path, mode)
VAMEL_WRAP_TRANSFER(fread, void*)
VAMEL_WRAP_TRANSFER(fwrite, const void*)
}
VAMEL_NEW()
VAMEL_NEW([])
// NOLINTEND(bugprone-reserved-identifier)
// clang-format on

#endif

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "vamel/vamel.h"

// Makes calls of the C library fail, in a program that is linked with --wrap for each of them. It
// is to be included once in such a program, to which it gives an operator new as well.
struct Faults {
    enum Kind { NONE, ALLOCATION, CALL, TEXT } kind = NONE;
    bool armed = false, forever = false;  // forever: the call that fails and all after it
    int left = 0;                         // calls up to it
    int error = 0;                        // the errno that it sets, if it is to set one
    size_t length = 0;                    // of a text, instead of the true one
    std::string_view hit = "";            // the first function that failed
    int strikes = 0;
    size_t largest = 0;  // block asked for while armed

    bool Strike(Kind which, std::string_view function, size_t size = 0) {
        largest = armed && size > largest ? size : largest;
        const bool fails = armed && which == kind && (--left == 0 || (left < 0 && forever));
        hit = fails && hit.empty() ? function : hit;
        strikes += fails ? 1 : 0;
        errno = fails && error != 0 ? error : errno;
        return fails;
    }
} faults;

// clang-format off
#define VAMEL_WRAP(kind, size, type, failure, function, parameters, ...) \
    decltype(function) __real_##function; \
    type __wrap_##function parameters { \
        const std::string_view name(#function, sizeof #function - 1); \
        return faults.Strike(Faults::kind, name, size) ? failure : __real_##function(__VA_ARGS__); \
    }
#define VAMEL_WRAP_TRANSFER(function, pointer) /* cut short half way */ \
    decltype(function) __real_##function; \
    size_t __wrap_##function(pointer data, size_t size, size_t n, FILE* f) { \
        return __real_##function(data, 1, size * n / (faults.Strike(Faults::CALL, #function) ? 2 : 1), f) / size; \
    }
#define VAMEL_NEW(array) \
    [[gnu::noinline]] void* operator new array(size_t size, const std::nothrow_t&) noexcept { return __wrap_malloc(size); } \
    [[gnu::noinline]] void* operator new array(size_t size) { \
        if (void* block = __wrap_malloc(size)) { return block; } throw std::bad_alloc(); } \
    [[gnu::noinline]] void operator delete array(void* block) noexcept { std::free(block); } \
    [[gnu::noinline]] void operator delete array(void* block, size_t) noexcept { std::free(block); }
extern "C" {
VAMEL_WRAP(ALLOCATION, n, void*, nullptr, malloc, (size_t n), n)
VAMEL_WRAP(ALLOCATION, n * size, void*, nullptr, calloc, (size_t n, size_t size), n, size)
VAMEL_WRAP(ALLOCATION, n, void*, nullptr, realloc, (void* block, size_t n), block, n)
VAMEL_WRAP(CALL, 0, FILE*, nullptr, fopen, (const char* path, const char* mode), path, mode)
VAMEL_WRAP(CALL, 0, FILE*, nullptr, fopen64, (const char* path, const char* mode), path, mode)
VAMEL_WRAP(CALL, 0, int, (__real_fclose(f), EOF), fclose, (FILE* f), f)
VAMEL_WRAP(CALL, 0, int, -1, fseek, (FILE* f, long offset, int from), f, offset, from)
VAMEL_WRAP(CALL, 0, long, -1, ftell, (FILE* f), f)
VAMEL_WRAP(CALL, 0, int, -1, remove, (const char* path), path)
VAMEL_WRAP(CALL, 0, int, -1, chmod, (const char* path, mode_t mode), path, mode)
VAMEL_WRAP(TEXT, 0, size_t, faults.length, strlen, (const char* s), s)
VAMEL_WRAP(TEXT, 0, CFIndex, (*used = CFIndex(faults.length), 0), CFStringGetBytes,
           (CFStringRef s, CFRange range, CFStringEncoding encoding, UInt8 loss, Boolean external,
            UInt8* to, CFIndex room, CFIndex* used), s, range, encoding, loss, external, to, room, used)
VAMEL_WRAP_TRANSFER(fread, void*)
VAMEL_WRAP_TRANSFER(fwrite, const void*)
}
VAMEL_NEW()
VAMEL_NEW([])

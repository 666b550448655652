#ifndef VAMEL_FUZZ_HARNESS_H
#define VAMEL_FUZZ_HARNESS_H

#include <fstream>

#include "fuzz/Twin.h"
#include "tests/support.h"

// Every type, with and without index and uniqueness.
inline const std::vector<Field> kFields = {{"i", 1, 3}, {"t", 2, 3}, {"b", 3, 1},
                                           {"u", 3, 2}, {"x", 9, 3}, {"", 2, 0}};

// The bytes of one input, from front to back. At its end all checks must have held.
struct Input {
    ~Input() { testing::Test::HasFailure() ? std::abort() : void(); }
    size_t Below(size_t limit) { return (size > 0 ? (--size, *data++) : 0U) % limit; }
    std::string Take(size_t count) {
        const size_t taken = std::min(count, size);
        size -= taken;
        data += taken;
        return {data - taken, data};
    }
    const uint8_t* data;
    size_t size;
};

// What the fetch calls give for a field; what they leave alone is "?".
inline const Str kUnset("?");
struct Fetched {
    Fetched(vamel_stmt* s, const Str& name)
        : results{vamel_fetch_int(s, name, &number), vamel_fetch_text(s, name, &text),
                  vamel_fetch_binary(s, name, &data, &count)} {}
    int32_t number = '?';
    CFStringRef text = kUnset.ref;
    const void* data = "?";
    uint32_t count = 1;
    int32_t results[3];
};

// A file in a folder of this process, in memory where there is such a place.
inline std::string PathOf(size_t number) {
    const std::string place = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
    static const TempDir folder{mkdtemp((place + "/XXXXXX").data())};
    return folder / std::to_string(number);
}
inline void WriteFile(size_t number, const std::string& bytes) {
    std::ofstream(PathOf(number), std::ios::binary) << bytes;
}

// Opens what two files hold; what opens is written, and opens again to the same records.
inline void RunFiles(const std::string& main, const std::string& backup) {
    WriteFile(0, main);
    WriteFile(1, backup);
    const Env env(kFields, PathOf(1));
    Db first(PathOf(0), env);
    const int32_t opened = first.opened;
    EXPECT_TRUE(opened == 0 || opened == 6 || opened == -7 || opened == -10 || opened == -11);
    const std::string records = first.Show();
    if (opened >= 0 && first.Close() == VAMEL_OK) {
        Db again(PathOf(0), env);
        EXPECT_TRUE(again.opened == VAMEL_OK && again.Show() == records) << again.opened;
        const int32_t result = vamel_rollback(again);
        EXPECT_TRUE(result == VAMEL_OK || result == VAMEL_ERR_DUPLICATE) << result;
        Stmt stmt(again);
        vamel_select(again, stmt, nullptr);
        while (vamel_step(stmt) == VAMEL_ROW) {
            for (const auto& [name, type, flags] : kFields) {
                Fetched(stmt, name);
            }
        }
    }
}

#endif

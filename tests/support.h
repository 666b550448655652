#ifndef VAMEL_TESTS_SUPPORT_H
#define VAMEL_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <filesystem>
#include <variant>

#include "api/Handles.h"

// What the tests share: a host's objects, which clean up after themselves, and a look at the table.

using Bytes = std::vector<uint8_t>;
using Row = std::vector<std::pair<std::string, std::variant<int32_t, std::string, Bytes>>>;
using Field = std::tuple<std::string, int, int>;  // name, type, flags

inline std::string Hex(const void* data, size_t size) {
    std::string hex;
    for (size_t i = 0; i < 2 * size; ++i) {
        hex += "0123456789abcdef"[static_cast<const uint8_t*>(data)[i / 2] >> (i % 2 ? 0 : 4) & 15];
    }
    return hex;
}

inline Bytes Unhex(const std::string& hex) {
    Bytes bytes(hex.size() / 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = uint8_t(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

// All records, as in "id=00000001 name=6100 ;;id=00000002 ;": their values in hex.
inline std::string Show(CDBTable* table) {
    std::string text;
    CDBRecordList::Walk walk(*table->GetRecords());
    for (const CDBNode* r = walk.Next(); r != nullptr; r = walk.Next(), text += ';') {
        for (const auto* v = r->GetHead(); v != nullptr; v = v->GetNext(), text += ' ') {
            text += v->GetField()->GetName().GetText() + ("=" + Hex(v->GetData(), v->GetLength()));
        }
    }
    return text;
}

struct TempDir {
    ~TempDir() { std::filesystem::remove_all(path); }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    const std::string path = mkdtemp(std::string("/tmp/XXXXXX").data());
};

struct Str {  // passes as the pointer that the interface takes
    Str(const char* text) : ref(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8)) {}
    Str(const std::string& text) : Str(text.c_str()) {}
    Str(const Str&) = delete;
    ~Str() { CFRelease(ref); }
    operator const CFStringRef*() const { return &ref; }
    CFStringRef ref;
};

template <typename T, int32_t (*GiveBack)(T**)>
struct Owner {  // of a handle; passes as the handle
    ~Owner() { Close(); }
    Owner& operator=(Owner&&) = delete;
    int32_t Close() { return GiveBack(&handle); }
    operator T*() const { return handle; }
    T* handle = nullptr;
};

struct Env : Owner<vamel_env, vamel_free_env> {
    explicit Env(const std::vector<Field>& fields = {}, const Str& backup = "") {
        vamel_alloc_env(&handle);
        vamel_set_env(handle, VAMEL_OPTION_BACKUP_PATH, backup);
        for (const auto& [text, type, flags] : fields) {
            const Str name(text);
            const vamel_field_info info = {name, uint8_t(type), uint8_t(flags)};
            EXPECT_EQ(vamel_set_env(handle, VAMEL_OPTION_FIELD, &info), VAMEL_OK) << text;
        }
    }
};

struct Db : Owner<vamel_db, vamel_close> {
    Db(const Str& path, vamel_env* env) : opened(vamel_open(path, env, &handle)) {}
    std::string Show() { return handle == nullptr ? "none" : ::Show(Object(handle)->GetTable()); }
    int32_t opened;
};

struct Stmt : Owner<vamel_stmt, vamel_finalize> {
    explicit Stmt(vamel_db* database) : db(database) { vamel_prepare(db, &handle); }
    int32_t Bind(const Str& n, int32_t v, int c = 0) { return vamel_bind_int(*this, n, v, c); }
    int32_t Bind(const Str& n, const Str& v, int c = 0) { return vamel_bind_text(*this, n, v, c); }
    int32_t Bind(const Str& n, const Bytes& v, int c = 0) {
        return vamel_bind_binary(*this, n, v.data(), uint32_t(v.size()), c);
    }
    void Bind(const Row& row) {
        vamel_clear_bind(handle);
        for (const auto& [name, value] : row) {
            std::visit([&, &n = name](auto& v) { EXPECT_EQ(Bind(n, v), VAMEL_OK) << n; }, value);
        }
    }
    int32_t Insert(const Row& row) {
        Bind(row);
        return vamel_insert(db, handle);
    }
    vamel_db* db;
};

#endif

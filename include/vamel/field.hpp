// Fields, values and failures, as vamel.hpp passes them on. Include that one.
#ifndef VAMEL_FIELD_HPP
#define VAMEL_FIELD_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "vamel/errors.h"
#include "vamel/vamel.h"

namespace vamel {

// ------------------------------------------------------------------------------ failures ------

namespace detail {
class result_category final : public std::error_category {
  public:
    const char* name() const noexcept override { return "vamel"; }
    std::string message(int code) const override { return vamel_result_text(code); }
};
}  // namespace detail

// The category of the result codes. Its messages are the texts of vamel/errors.h.
inline const std::error_category& category() noexcept {
    static const detail::result_category instance;
    return instance;
}

// What the throwing forms throw. code() is the result; what() names the call and says the text.
class error : public std::system_error {
  public:
    error(int32_t code, const char* call) : std::system_error(code, category(), call) {}
};

}  // namespace vamel

template <>
struct std::is_error_code_enum<vamel_result> : std::true_type {};

inline std::error_code make_error_code(vamel_result code) noexcept {
    return {code, vamel::category()};
}

namespace vamel {

// ---------------------------------------------------------------------------- what is told ----

// The types of a field; see enum vamel_type.
enum class type : uint8_t {
    integer = VAMEL_TYPE_INTEGER,
    text = VAMEL_TYPE_TEXT,
    binary = VAMEL_TYPE_BINARY
};

// The flags of a field, combined with |; see enum vamel_flag.
inline constexpr unsigned indexed = VAMEL_FLAG_INDEXED;
inline constexpr unsigned unique = VAMEL_FLAG_UNIQUE;

using bytes = std::vector<uint8_t>;

// Somebody else's bytes.
class bytes_view {
  public:
    constexpr bytes_view() = default;
    constexpr bytes_view(const void* data, size_t size) : data_(data), size_(size) {}
    template <class T, class = std::enable_if_t<sizeof(T) == 1>>
    bytes_view(const std::vector<T>& from) : bytes_view(from.data(), from.size()) {}
    template <class T, size_t N, class = std::enable_if_t<sizeof(T) == 1>>
    constexpr bytes_view(const std::array<T, N>& from) : bytes_view(from.data(), N) {}
    explicit constexpr bytes_view(std::string_view from) : bytes_view(from.data(), from.size()) {}

    const uint8_t* data() const { return static_cast<const uint8_t*>(data_); }
    constexpr size_t size() const { return size_; }
    constexpr bool empty() const { return size_ == 0; }
    const uint8_t* begin() const { return data(); }
    const uint8_t* end() const { return data() + size_; }
    friend bool operator==(bytes_view a, bytes_view b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

  private:
    const void* data_ = nullptr;
    size_t size_ = 0;
};

namespace detail {

[[noreturn]] inline void fail(int32_t result, const char* call) {
    throw error(result, call);
}

// Passes a result on: whether it is VAMEL_OK. Any other is thrown, or stored where there is an ec.
inline bool settle(int32_t result, const char* call, std::error_code* ec) {
    if (ec != nullptr) {
        ec->assign(result, category());
    } else if (result != VAMEL_OK) {
        fail(result, call);
    }
    return result == VAMEL_OK;
}

// Owns a platform string, or none. Copies share it.
class string {
  public:
    string() = default;
    explicit string(const char* utf8) : ref_(make(utf8)) {}
    explicit string(std::string_view utf8) {
        char buffer[256];  // a terminated copy of what is short needs no memory of its own
        if (utf8.size() < sizeof buffer) {
            utf8.copy(buffer, utf8.size());
            buffer[utf8.size()] = '\0';
            ref_ = make(buffer);
        } else {
            ref_ = make(std::string(utf8).c_str());
        }
    }
    string(const string& other) noexcept : ref_(other.ref_) {
        if (ref_ != nullptr) {
            CFRetain(ref_);
        }
    }
    string(string&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    string& operator=(string other) noexcept {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~string() {
        if (ref_ != nullptr) {
            CFRelease(ref_);
        }
    }
    const CFStringRef* get() const { return &ref_; }

  private:
    static CFStringRef make(const char* utf8) {
        return CFStringCreateWithCString(kCFAllocatorDefault, utf8, kCFStringEncodingUTF8);
    }
    CFStringRef ref_ = nullptr;
};

// Straight into the string: what is all ASCII has as many bytes as it has units.
inline void copy_utf8(CFStringRef text, std::string& out) {
    const CFRange all = {0, CFStringGetLength(text)};
    const auto convert = [&](CFIndex room, CFIndex* size) {
        out.resize(static_cast<size_t>(room));
        return CFStringGetBytes(text, all, kCFStringEncodingUTF8, 0, 0,
                                reinterpret_cast<UInt8*>(out.data()), room, size);
    };
    if (convert(all.length, nullptr) != all.length) {
        CFIndex size = 0;
        CFStringGetBytes(text, all, kCFStringEncodingUTF8, 0, 0, nullptr, 0, &size);
        convert(size, nullptr);
    }
}

// What a value is passed on as. Numbers that need not fit 32 bits, signed, do not compile.
template <class T>
inline constexpr bool fits = std::is_integral_v<T> &&
                             (sizeof(T) < sizeof(int32_t) ||
                              (sizeof(T) == sizeof(int32_t) && std::is_signed_v<T>));
inline const char* stored(const char* value) {  // terminated: needs no copy
    return value;
}
inline const char* stored(const std::string& value) {
    return value.c_str();
}
inline int32_t stored(int32_t value) {
    return value;
}
inline std::string_view stored(std::string_view value) {
    return value.substr(0, value.find('\0'));
}
inline bytes_view stored(bytes_view value) {
    return value;
}
void stored(std::nullptr_t) = delete;
template <class T>
inline constexpr bool refused = (std::is_arithmetic_v<T> && !fits<T>) ||
                                (std::is_enum_v<T> && sizeof(T) > sizeof(int32_t));
template <class T, class = std::enable_if_t<refused<T>>>
void stored(T) = delete;
template <class T>
using stored_t = decltype(stored(std::declval<const T&>()));
template <class V>  // and what it is read as
using fetched_t =
    std::conditional_t<std::is_same_v<V, int32_t> || std::is_same_v<V, bytes_view>, V, std::string>;

}  // namespace detail

class field;

// A field with a value to store, or to compare a record's value (left) with. Both are views, made
// to be used in the expression that makes them.
template <class V>
struct assignment {
    const field& key;
    V value;
};
template <class V>
struct criterion {
    const field& key;
    V value;
    int32_t compare;
};

// The name of a field, made once and used in any number of calls on any number of statements. Calls
// that take a field take its name as a std::string_view as well; a statement remembers the names it
// has met, which costs a comparison of texts for each.
//
//     id = 1                     stores 1
//     id >= 1                    compares: == < <= > >= as enum vamel_compare says; there is no !=
//     photo == vamel::bytes{1}   EQUALS PREFIXES: bytes are compared over the shorter length, which
//                                finds {1} and {1, 2} too; but with an index, {1} alone. Texts are
//                                compared whole.
//
// A name that is not UTF-8 makes an empty field, with which every call fails (VAMEL_ERR_ARGUMENT).
class field {
  public:
    explicit field(std::string_view name)
        : name_(name.substr(0, name.find('\0'))), string_(name_.c_str()) {}

    const std::string& name() const { return name_; }
    const CFStringRef* string() const { return string_.get(); }

    template <class T, class V = detail::stored_t<T>>
    // NOLINTNEXTLINE(misc-unconventional-assign-operator): it assigns to a record to be made.
    [[nodiscard]] assignment<V> operator=(const T& value) const {
        return {*this, detail::stored(value)};
    }

  private:
    std::string name_;
    detail::string string_;
};

#define VAMEL_CRITERION(sign, compare)                                           \
    template <class T, class V = detail::stored_t<T>>                            \
    [[nodiscard]] criterion<V> operator sign(const field& key, const T& value) { \
        return {key, detail::stored(value), compare};                            \
    }
VAMEL_CRITERION(==, VAMEL_EQUAL)
VAMEL_CRITERION(<, VAMEL_LESS)
VAMEL_CRITERION(>, VAMEL_GREATER)
VAMEL_CRITERION(<=, VAMEL_LESS_OR_EQUAL)
VAMEL_CRITERION(>=, VAMEL_GREATER_OR_EQUAL)
#undef VAMEL_CRITERION

namespace detail {

inline int32_t bind_value(vamel_stmt* stmt, const CFStringRef* name, int32_t value,
                          int32_t compare) {
    return vamel_bind_int(stmt, name, value, compare);
}
inline int32_t bind_value(vamel_stmt* stmt, const CFStringRef* name, const string& value,
                          int32_t compare) {
    return *value.get() != nullptr ? vamel_bind_text(stmt, name, value.get(), compare)
                                   : VAMEL_ERR_MEMORY;
}
inline int32_t bind_value(vamel_stmt* stmt, const CFStringRef* name, const char* value,
                          int32_t compare) {
    return value != nullptr ? bind_value(stmt, name, string(value), compare) : VAMEL_ERR_ARGUMENT;
}
inline int32_t bind_value(vamel_stmt* stmt, const CFStringRef* name, std::string_view value,
                          int32_t compare) {
    return bind_value(stmt, name, string(value), compare);
}
inline int32_t bind_value(vamel_stmt* stmt, const CFStringRef* name, bytes_view value,
                          int32_t compare) {
    const auto count = static_cast<uint32_t>(value.size());
    return count == value.size() ? vamel_bind_binary(stmt, name, value.data(), count, compare)
                                 : VAMEL_ERR_ARGUMENT;
}
template <class V>
int32_t bind_value(vamel_stmt* stmt, const criterion<V>& one) {
    return bind_value(stmt, one.key.string(), one.value, one.compare);
}
template <class V>
int32_t bind_value(vamel_stmt* stmt, const assignment<V>& one) {
    return bind_value(stmt, one.key.string(), one.value, VAMEL_EQUAL);
}

inline int32_t fetch_value(vamel_stmt* stmt, const CFStringRef* name, std::optional<int32_t>& out) {
    int32_t value = 0;
    const int32_t result = vamel_fetch_int(stmt, name, &value);
    if (result == VAMEL_OK) {
        out = value;
    }
    return result;
}
inline int32_t fetch_value(vamel_stmt* stmt, const CFStringRef* name,
                           std::optional<std::string>& out) {
    CFStringRef text = nullptr;
    const int32_t result = vamel_fetch_text(stmt, name, &text);
    char buffer[64];  // what is short takes one call
    if (result == VAMEL_OK) {
        if (CFStringGetCString(text, buffer, sizeof buffer, kCFStringEncodingUTF8)) {
            out.emplace(buffer);
        } else {
            copy_utf8(text, out.emplace());
        }
    }
    return result;
}
inline int32_t fetch_value(vamel_stmt* stmt, const CFStringRef* name,
                           std::optional<bytes_view>& out) {
    const void* data = nullptr;
    uint32_t count = 0;
    const int32_t result = vamel_fetch_binary(stmt, name, &data, &count);
    if (result == VAMEL_OK) {
        out = bytes_view(data, count);
    }
    return result;
}
inline int32_t fetch_value(vamel_stmt* stmt, const CFStringRef* name, std::optional<bytes>& out) {
    std::optional<bytes_view> view;
    const int32_t result = fetch_value(stmt, name, view);
    if (result == VAMEL_OK) {
        out.emplace(view->begin(), view->end());
    }
    return result;
}

}  // namespace detail

}  // namespace vamel

#endif

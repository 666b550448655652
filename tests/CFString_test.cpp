#include "vamel/vamelcf.h"

#include <gtest/gtest.h>

#include <climits>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Units = std::vector<UniChar>;
using Owned = std::shared_ptr<const __CFString>;
using Converted = std::pair<CFIndex, std::string>;  // units, and the bytes they gave
constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8, kUnknown = 0x0600;
constexpr CFRange kWhole = {0, LONG_MAX};

Owned Make(const std::string& text) {
    return {CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kUtf8), CFRelease};
}
Owned Make(const Units& units) {
    return {CFStringCreateWithCharacters(nullptr, units.data(), CFIndex(units.size())), CFRelease};
}

/* Converts into a buffer of `room` bytes; of as many as measuring gives if that is negative. */
Converted Bytes(const Owned& string, CFRange range = kWhole, UInt8 loss = 0, CFIndex room = -1) {
    CFIndex size = -1, used = -1;
    CFStringGetBytes(string.get(), range, kUtf8, loss, 0, nullptr, 0, &size);
    std::vector<UInt8> text(static_cast<size_t>(room < 0 ? size : room) + 1, '#');
    EXPECT_EQ(CFStringGetBytes(string.get(), range, kUtf8, loss, 0, text.data(), -1, &used), 0);
    const CFIndex units = CFStringGetBytes(string.get(), range, kUtf8, loss, 0, text.data(),
                                           room < 0 ? size : room, &used);
    EXPECT_EQ(text.back(), '#') << "written past the end";
    EXPECT_TRUE(room >= 0 || used == size) << used << " bytes, measured " << size;
    return {units, std::string(text.begin(), text.begin() + used)};
}

/* Converts into a buffer of `room` bytes and returns it whole; "" if the conversion fails. */
std::string CString(const Owned& string, size_t room, CFStringEncoding encoding = kUtf8) {
    std::string text(room + 1, '#');
    const bool done = CFStringGetCString(string.get(), text.data(), CFIndex(room), encoding);
    EXPECT_EQ(text.back(), '#') << "written past the end";
    EXPECT_TRUE(done || room == 0 || text[0] == '\0') << "not empty after a failure";
    return done ? text.substr(0, room) : "";
}

TEST(CFStringTest, GoodTextInBuffersOfEverySize) {
    const std::pair<std::string, Units> rows[] = {
        {"", {}},
        {"123456\x7F", {'1', '2', '3', '4', '5', '6', 0x7F}},
        {"a\xC2\x80\xDF\xBFz", {'a', 0x80, 0x7FF, 'z'}},
        {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", {0x800, 0xD7FF, 0xE000, 0xFFFF}},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", {0xD800, 0xDC00, 0xDBFF, 0xDFFF}}};
    for (const auto& [text, units] : rows) {
        EXPECT_EQ(Bytes(Make(units)), Converted(units.size(), text));
        EXPECT_EQ(Bytes(Make(text)), Converted(units.size(), text));
        EXPECT_EQ(CString(Make(text), text.size() + 1), text + '\0');
        EXPECT_EQ(CFStringGetLength(Make(text).get()), CFIndex(units.size()));
        for (size_t room = 0; room <= text.size(); room++) {
            std::string fits = text.substr(0, room);
            for (; Make(fits) == nullptr; fits.pop_back()) {
            }
            EXPECT_EQ(Bytes(Make(text), kWhole, 0, CFIndex(room)), Bytes(Make(fits))) << room;
            EXPECT_EQ(CString(Make(text), room), "");
        }
    }
}

TEST(CFStringTest, BadTextAndBadArgumentsAreRefused) {
    std::istringstream rows(
        "\x80 \xBF \xC0\x80 \xC1\xBF \xC2 \xC2\x41 \xC2\xC0 \xE2\x82 \xE2\x28\xA1 \xE2\x82\x28 "
        "\xE0\x80\x80 \xE0\x9F\xBF \xED\xA0\x80 \xED\xBF\xBF \xF0\x9F\x98 \xF0\x80\x80\x80 "
        "\xF0\x8F\xBF\xBF \xF4\x90\x80\x80 \xF5\x80\x80\x80 \xF8\x88\x80\x80\x80 \xFE \xFF");
    for (std::string row; rows >> row;) {
        EXPECT_EQ(Make("12345678" + row), nullptr) << testing::PrintToString(row);
        EXPECT_EQ(Make(row + "12345678"), nullptr) << testing::PrintToString(row);
    }
    const UniChar unit = 0xE9;
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, &unit, -1), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, &unit, LONG_MAX), nullptr);
    EXPECT_EQ(CFStringCreateWithCharacters(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kUtf8), nullptr);
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "a", kUnknown), nullptr);
    EXPECT_EQ(CFStringGetBytes(Make("a").get(), kWhole, kUnknown, 0, 0, nullptr, 0, nullptr), 0);
    EXPECT_EQ(CString(Make("a"), 4, kUnknown), "");
    char text[4] = "abc";
    EXPECT_EQ(CFStringGetLength(nullptr), 0);
    EXPECT_EQ(CFStringGetBytes(nullptr, kWhole, kUtf8, 0, 0, nullptr, 0, nullptr), 0);
    EXPECT_TRUE(CFStringGetCString(nullptr, text, 4, kUtf8) == 0 && text[0] == '\0');
    EXPECT_EQ(CFStringGetCString(Make("a").get(), nullptr, 4, kUtf8), 0);
    CFRelease(CFRetain(nullptr));  // NOLINT: null is allowed here
}

TEST(CFStringTest, LoneSurrogatesRangesAndZeroUnits) {
    const std::tuple<Units, CFRange, Converted, Converted> rows[] = {
        {{'a', 0xDE00, 'b'}, kWhole, {1, "a"}, {3, "a?b"}},
        {{0xDE00, 0xD83D, 0xD83D, 0xDE00}, kWhole, {0, ""}, {4, "??\xF0\x9F\x98\x80"}},
        {{'a', 0xD83D, 0xDE00}, {0, 2}, {1, "a"}, {2, "a?"}},
        {{0xD83D, 0xDE00, 'b'}, {1, 2}, {0, ""}, {2, "?b"}},
        {{'a', 0, 'c'}, {1, LONG_MAX}, {2, {"\0c", 2}}, {2, {"\0c", 2}}},
        {{'a', 'b', 0xE9}, {-2, 3}, {1, "a"}, {1, "a"}},
        {{'a', 'b', 'c'}, {LONG_MAX, LONG_MAX}, {0, ""}, {0, ""}},
        {{'a', 'b', 'c'}, {1, -1}, {0, ""}, {0, ""}},
        {{'a', 'b', 0xE9}, {LONG_MIN, LONG_MIN}, {0, ""}, {0, ""}}};
    for (const auto& [units, range, stopped, replaced] : rows) {
        EXPECT_EQ(Bytes(Make(units), range), stopped);
        EXPECT_EQ(Bytes(Make(units), range, '?'), replaced);
    }
    EXPECT_EQ(CString(Make(Units{'a', 0, 0xE9}), 5), std::string("a\0\xC3\xA9\0", 5));
    EXPECT_EQ(CString(Make(Units{'a', 0xDE00}), 8), "");
}

TEST(CFStringTest, ReferencesAreCountedAcrossThreads) {
    std::vector<std::future<void>> threads(4);  // joined after `string` is let go
    const Owned string = Make("shared");
    for (std::future<void>& thread : threads) {
        thread = std::async(std::launch::async, [mine = CFRetain(string.get())] {
            for (int turn = 0; turn < 20000; turn++) {
                CFRelease(CFRetain(mine));
            }
            CFRelease(mine);
        });
    }
}

}  // namespace

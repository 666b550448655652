#include "base/CCString.h"

#include <gtest/gtest.h>

#include <cstring>

// The results of calls on a text (null: no block) and the text that they leave, which are the same
// in a block that just fits and in a large one that is full of old bytes.
static std::string After(const char* start, std::vector<int> (*calls)(CCString& s)) {
    std::string seen[2];
    for (const int large : {0, 1}) {
        CCString s(start != nullptr ? 64 * large : 0);
        std::memset(&s[0], '#', size_t(s.GetCapacity()));
        s.CopyString(start, -1);
        for (const int result : calls(s)) {
            seen[large] += std::to_string(result) + " ";
        }
        EXPECT_EQ(size_t(s.GetLength()), std::strlen(s.GetText()));
        seen[large] += s.GetText();
    }
    return seen[0] == seen[1] ? seen[0] : seen[0] + " or " + seen[1];
}
#define CHECK(start, expected, ...) \
    EXPECT_EQ(After(start, [](CCString& s) -> std::vector<int> { return {__VA_ARGS__}; }), expected)

TEST(CCStringTest, CopiesAndAppendsAlsoFromItself) {
    CHECK("old", "0 1 3 abc", s.CopyString("", -1), s.CatString("a"), s.CatString("bc"));
    CHECK("old", "-1 -1 -1 old", s.CopyString("", INT32_MAX), s.Replace("", 4), s.Replace("", -1));
    CHECK("old", "3 -1 0 ", s.CopyString("abcdef", 3), s.CopyString("abc", -2), s.HasBlock());
    CHECK("abcdef", "6 3 bcd", s.CopyString(s.GetText(), -1), s.CopyString(&s[1], 3));
    CHECK("abcdef", "12 14 abcdefabcdefef", s.CatString(s.GetText()), s.CatString(&s[10]));
    CHECK("abcdef", "6 7 8 aXYdVWZQ", s.Replace("XY", 1), s.Replace("VWZ", 4), s.Replace("Q", 7));
    CHECK("abc", "5 ababc", s.Replace(s.GetText(), 2));
    CHECK(nullptr, "0 1 2 ab", s.CopyString(s.GetText(), -1), s.CatString("a"), s.Replace("b", 1));
    CHECK("abc", "3 4 4 abcd", s.CatString(nullptr), s.CatString(std::string("d").c_str()),
          s.Replace(nullptr, 2));
    CHECK(nullptr, "10 0 0 ", (s.AllocBuffer(10), s.AllocBuffer(9)[9] = '#', s.GetCapacity()),
          s.AllocBuffer(10)[9], s.AllocBuffer(0) != nullptr);
}

TEST(CCStringTest, SearchesComparesAndChangesInPlace) {
    CHECK("abca", "3 4 -5 7 0 -1 -5 4 abca", s.Search('a', 1), s.Search('x', -1), s.Search('a', -5),
          s.Search('a', 7), s.SearchReverse('a', 2), s.SearchReverse('x', -1),
          s.SearchReverse('a', -5), s.SearchReverse('b', 4));
    CHECK("abca", "2 -1 2 0 abca", s.Search("ca"), s.Search("cd"), s.Count('a'), s.Count('\0'));
    CHECK("abcd", "-1 0 1 1 abcd", s.CompareString("abc", 5), s.CompareString("abx", 2),
          s.CompareString("abx", 3) < 0, s.CompareString(CCString(9), 4) > 0);
    CHECK("abc", "99 0 0 0 0 1 abc", s[2], s[3], s[-1], s[99], s == "abC", s != "abcd");
    CHECK(nullptr, "0 0 1 0 ", s.Search('a', 2), s.SearchReverse('a', 2), s == CCString(9), s[0]);
    CHECK("banana", "3 2 5 1 bxyxny", s.Replace('a', 'x', 2), s.ReplaceReverse('n', 'y', 3),
          s.ReplaceReverse('a', 'y', -1), s.Replace('a', 'x', -1));
    CHECK("banana", "-1 -1 banana", s.Replace('a', 'x', -2), s.ReplaceReverse('a', 'x', 6));
    CHECK("abcdef", "0 0 3 aef", s.TrimMid(0, 6), s.TrimMid(-1, 2), s.TrimMid(1, 3));
    CHECK("AbCb", "-1 -1 -1 -1 0 1 4 1 abCb", s.Search(nullptr), s.Replace('z', 'x', 0),
          s.ReplaceReverse('z', 'x', -1), s.ReplaceReverse('z', 'x', -5), s.TrimMid(2, 1),
          s.Replace('b', '\0', 0), s.StringLower(), s.Replace('\0', 'b', 0));
    CHECK("", "0 1 0 -1 -1 ", s.TrimRight('/'), s == nullptr, s.CompareString(nullptr, 0),
          s.CompareString(CCString(9), 1), s.CompareString(nullptr, 1));
    CHECK(nullptr, "0 0 0 ", s.TrimMid(0, 0), s.StringLower(),
          s.CopyString(static_cast<const CFStringRef*>(nullptr)));
    CHECK("@AZ[\xC4//", "6 6 6 @az[\xC4/", s.TrimRight('/'), s.TrimRight('x'), s.StringLower());
}

TEST(CCStringTest, PlatformStringsInAndOut) {
    const std::pair<std::vector<UniChar>, std::string> rows[] = {
        {{0xE9, 0xD83D, 0xDE00}, "\xC3\xA9\xF0\x9F\x98\x80"}, {{'a', 0}, "a"}, {{'b', 0xD800}, ""}};
    for (const auto& [units, text] : rows) {
        CFStringRef in = CFStringCreateWithCharacters(nullptr, units.data(), CFIndex(units.size()));
        CFStringRef out = nullptr;
        CCString fresh, stale;
        stale.CopyString("stale, and longer than all", -1);
        EXPECT_EQ(stale.CopyString(&in), int(text.size()));
        EXPECT_EQ(get_vamel_string(&out, stale), 0);
        EXPECT_EQ(get_CCString(fresh, &out), 0);
        EXPECT_TRUE(stale == text.c_str() && fresh == text.c_str()) << text;
        CFRelease(in);
        CFRelease(out);
    }
    static CFStringRef out = reinterpret_cast<CFStringRef>(&out);
    CHECK("a\xFF", "-4 1 0 ", get_vamel_string(&out, s), out == nullptr, s.CopyString(&out));
}

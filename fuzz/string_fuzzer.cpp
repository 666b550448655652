#include "fuzz/Harness.h"

namespace {

// Whole characters, as many as there is room for; `loss` stands in for lone surrogates, 0 ends
// there. *done units were converted.
std::string Encode(const std::vector<UniChar>& units, char loss, size_t room, size_t* done) {
    std::string text;
    for (size_t at = *done = 0; at < units.size(); *done = at) {
        uint32_t c = units[at++];
        const uint32_t low = at < units.size() ? units[at] : 0U;
        if (c / 0x400 == 0x36 && low / 0x400 == 0x37) {
            c = c % 0x400 * 0x400 + low % 0x400 + 0x10000;
            ++at;
        }
        const char a = char(0x80 + c % 64), b = char(0x80 + c / 64 % 64);
        const std::string character =
            c / 0x800 == 0x1B ? std::string(loss == 0 ? 0 : 1, loss)
            : c < 0x80        ? std::string{char(c)}
            : c < 0x800       ? std::string{char(0xC0 + c / 64), a}
            : c < 0x10000     ? std::string{char(0xE0 + c / 4096), b, a}
                          : std::string{char(0xF0 + c / 262144), char(0x80 + c / 4096 % 64), b, a};
        if (character.empty() || character.size() > room - text.size()) {
            break;
        }
        text += character;
    }
    return text;
}

}  // namespace

// Bytes that make a string come back as they were. Units always make one, and it converts as they
// do one by one, in part and as a whole; what it gives makes a string of as many units again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in{data, size};
    const char loss = in.Below(2) == 0 ? '\0' : '?';
    const size_t from = in.Below(256), count = in.Below(256), room = in.Below(64);
    const std::string bytes = in.Take(in.size);
    const Str raw(bytes);
    CCString inside;
    EXPECT_EQ(get_CCString(inside, raw), VAMEL_OK);
    EXPECT_TRUE(raw.ref == nullptr || inside == bytes.c_str());

    std::vector<UniChar> units(bytes.size() / 2);
    std::copy_n(bytes.data(), units.size() * 2, reinterpret_cast<char*>(units.data()));
    const auto length = CFIndex(units.size());
    const CFStringRef string = CFStringCreateWithCharacters(nullptr, units.data(), length);
    size_t done = 0;
    const std::string whole = Encode(units, 0, SIZE_MAX, &done);
    const std::string text = done == units.size() ? whole.c_str() : "";
    EXPECT_EQ(CFStringGetLength(string), length);
    EXPECT_EQ(get_CCString(inside, &string), VAMEL_OK);
    EXPECT_EQ(inside.GetText(), text);
    const auto zero = std::find(units.begin(), units.end(), 0);
    EXPECT_EQ(CFStringGetLength(Str(text).ref), text.empty() ? 0 : zero - units.begin());

    UInt8 buffer[64];
    CFIndex used = 0;
    const CFRange range = {CFIndex(from), CFIndex(count)};
    const CFIndex got = CFStringGetBytes(string, range, kCFStringEncodingUTF8, UInt8(loss), 0,
                                         buffer, CFIndex(room), &used);
    units.resize(std::min(units.size(), from + count));
    units.erase(units.begin(), units.begin() + CFIndex(std::min(units.size(), from)));
    EXPECT_EQ(Encode(units, loss, room, &done), std::string(buffer, buffer + used));
    EXPECT_EQ(got, CFIndex(done));
    CFRelease(string);
    return 0;
}

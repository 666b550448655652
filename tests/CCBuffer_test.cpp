#include "persist/CCBuffer.h"

#include "tests/support.h"

namespace {

TEST(CCBufferTest, KnownChecksumAndCipher) {
    CCBuffer b;
    b.WriteBuffer("\xFF\x80\xFF\x80\xFF", 5);
    b.Encode();
    EXPECT_EQ(Hex(b.GetData(), b.GetLength()), "ff80ff80ff000003fd");
    EXPECT_EQ(b.Encryption("ABC"), 3u);
    EXPECT_EQ(Hex(b.GetData(), b.GetLength()), "be7cc001bcffbeff41");
    EXPECT_EQ(b.Decryption("ABC"), 3u);
    EXPECT_EQ(b.Decode(), 4u);
    EXPECT_EQ(b.Encryption(""), 0u);
    EXPECT_EQ(Hex(b.GetData(), b.GetLength()), "ff7f8000ff");
}

// What a call throws, 0 for nothing, and the position, length and capacity that it leaves.
using Counts = std::vector<uint32_t>;
template <typename Call>
Counts After(const CCBuffer& b, Call call) {
    uint32_t thrown = 0;
    try {
        call();
    } catch (int status) {
        thrown = uint32_t(status);
    }
    return {thrown, b.GetPosition(), b.GetLength(), b.GetCapacity()};
}
#define CHECK(thrown, position, length, capacity, ...) \
    EXPECT_EQ(After(b, [&] { __VA_ARGS__; }), Counts({thrown, position, length, capacity}))

TEST(CCBufferTest, GrowthAndThrownCodes) {
    CCBuffer b;
    char to[4];
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
    CHECK(1, 0, 0, 0, b.WriteBuffer("", 0));
    CHECK(2, 0, 0, 0, b.ReadBuffer(to, 0));
    CHECK(2, 0, 0, 0, b.ToFile(file.get()));
    CHECK(257, 0, 0, 0, b.FromFile(file.get()));
    CHECK(260, 0, 3, 3, b.MakeBuffer(3), b.Decode());
    CHECK(0, 6, 6, 6, b.ClearBuffer(), b.WriteBuffer("abcdef", 6));
    CHECK(1, 6, 6, 6, b.WriteBuffer("", UINT32_MAX));
    CHECK(1, 6, 6, 6, b.WriteBuffer("", UINT32_MAX - 6));
    CHECK(0, 6, 6, 6, b.WriteBuffer(nullptr, 0));
    CHECK(0, 0, 6, 6, b.Rewind(), b.AllocBuffer(5));
    CHECK(2, 0, 6, 6, b.SkipPointer(7));
    CHECK(2, 2, 6, 6, b.SkipPointer(2), b.ReadBuffer(to, UINT32_MAX));
    CHECK(2, 2, 6, 6, b.ReadBuffer(nullptr, 1));
    CHECK(0, 6, 6, 6, b.ReadBuffer(to, 4), b.Rewind(), b.AllocBuffer(6));
    CHECK(0, 5, 5, 6, b.MakeBuffer(3), b.WriteBuffer("xy", 2));
    CHECK(0, 5, 5, 5, b.ToFile(file.get()), b.FreeBuffer(), b.FromFile(file.get()));
    EXPECT_EQ(Hex(b.GetData(), 5) + Hex(to, 4), "616263787963646566");
}

// Keys and contents of lengths at which words begin, end and wrap.
TEST(CCBufferTest, EveryByteIsXoredWithTheKeyAndTheCipherByteBeforeIt) {
    for (const size_t length : {0U, 1U, 5U, 7U, 8U, 9U, 26U, 63U, 64U, 65U, 100U}) {
        for (uint32_t count = 1; count < 300; count += count < 80 ? 1 : 73) {
            std::string key, plain, cipher;
            for (size_t i = 0; i < length; ++i) {
                key += char(i * 7 % 255 + 1);
            }
            for (uint32_t i = 0; i < count; ++i) {
                plain += char(i * 151 + 90);
                cipher += char(plain[i] ^ key.c_str()[i % std::max<size_t>(length, 1)] ^
                               (i > 0 ? cipher[i - 1] : 0));
            }
            CCBuffer b;
            b.WriteBuffer(plain.data(), count);
            EXPECT_EQ(b.Encryption(key.c_str()), length);
            EXPECT_EQ(Hex(b.GetData(), count), Hex(cipher.data(), count)) << length;
            EXPECT_EQ(b.Decryption(key.c_str()), length);
            EXPECT_EQ(Hex(b.GetData(), count), Hex(plain.data(), count)) << length;
        }
    }
}

}  // namespace

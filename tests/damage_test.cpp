#include <fstream>

#include "fuzz/Twin.h"
#include "tests/faults.h"
#include "tests/support.h"

namespace {

std::string Decipher(std::string bytes) {
    for (size_t i = bytes.size(); i-- > 0;) {
        const int before = i > 0 ? bytes[i - 1] : 0;
        bytes[i] = char(bytes[i] ^ before ^ "HorsesRunFasterThanTurtles"[i % 26]);
    }
    return bytes;
}

struct DamageTest : testing::Test {
    // Opens a main file with these bytes, by itself and with a good backup.
    void Open(const std::string& bytes) {
        const size_t size = std::max<size_t>(bytes.size(), 4) - 4;
        const bool sound = !bytes.empty() && twin::Seal(Decipher(bytes).substr(0, size)) == bytes;
        for (vamel_env* env : {alone.handle, backed.handle}) {
            std::ofstream(dir / "main", std::ios::binary) << bytes;
            faults.armed = true;  // to see what it asks for
            Db db(dir / "main", env);
            faults.armed = false;
            code = env == alone ? db.opened : code;
            const std::string table = db.Show();
            const size_t behind = table.size() - std::min(table.size(), records.size());
            EXPECT_TRUE(env == alone
                            ? code >= 0 || db == nullptr
                            : db.opened == 0 && (code == 0 || table.substr(behind) == records));
            EXPECT_TRUE(env == alone || code >= 0 || behind == 0);
            EXPECT_EQ(std::filesystem::exists(dir / "main"), code >= 0);
            db != nullptr ? Object(db.handle)->SetDamaged() : void();  // it is not written
        }
        EXPECT_TRUE(sound ? code == 0 || code == 6 || code == -7
                          : code == (bytes.empty() ? -7 : -11));
    }
    const TempDir dir;
    const std::vector<Field> fields = {{"i", 1, 1}, {"t", 2, 1}, {"b", 3, 0}};
    const Env alone{fields}, backed{fields, dir / "backup"};
    std::string records;
    int32_t code = 0;
};

TEST_F(DamageTest, CutOffFlippedAndOverwrittenFiles) {
    Db db(dir / "backup", alone);
    for (int i = 0; i < 30; ++i) {
        const Bytes bytes(20, uint8_t(i));
        Stmt(db).Insert({{"i", i}, {"t", std::string(size_t(i), 't')}, {"b", bytes}});
    }
    records = db.Show();
    db.Close();
    std::ifstream in(dir / "backup", std::ios::binary);
    const std::string sealed(std::istreambuf_iterator<char>(in), {});
    const std::string plain = Decipher(sealed).substr(0, sealed.size() - 4);
    for (size_t i = 0; i < sealed.size() && !HasFailure(); ++i) {
        SCOPED_TRACE(i);
        Open(sealed.substr(0, i));
        for (int bit = 1; bit < 256; bit *= 2) {
            Open(std::string(sealed).replace(i, 1, 1, char(sealed[i] ^ bit)));
        }
        for (const uint32_t number : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, ~0U}) {
            Open(twin::Seal(
                std::string(plain).replace(std::min(i, plain.size()), 4, twin::Number(number))));
        }
    }
    EXPECT_LT(faults.largest, 1987 * 2 * sizeof(void*) + 4 * sealed.size());
}

}  // namespace

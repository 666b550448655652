#include <fstream>

#include "persist/CVLFile.h"
#include "tests/faults.h"
#include "tests/support.h"

namespace {

std::string Seal(const std::string& content) {
    CCBuffer buffer;
    buffer.WriteBuffer(content.data(), uint32_t(content.size()));
    buffer.Encode(), buffer.Encryption("HorsesRunFasterThanTurtles");
    return {reinterpret_cast<char*>(buffer.GetData()), buffer.GetLength()};
}

TEST(DamageTest, CutOffFlippedAndOverwrittenFiles) {
    const TempDir dir = {};
    const std::string main = dir / "main";
    const std::vector<Field> fields = {{"i", 1, 1}, {"t", 2, 1}, {"b", 3, 0}};
    const Env alone(fields), guarded(fields, dir / "backup");
    Db backup(dir / "backup", alone);
    for (int i = 0; i < 30; ++i) {
        const Bytes bytes(20, uint8_t(i));
        Stmt(backup).Insert({{"i", i}, {"t", std::string(size_t(i), 't')}, {"b", bytes}});
    }
    CVLFile file;
    file.SerializeField(Object(backup)->GetTable());
    file.SerializeNodes(Object(backup)->GetTable());
    const std::string content(reinterpret_cast<char*>(file.GetData()), file.GetLength());
    const std::string sealed = Seal(content), records = backup.Show();
    backup.Close();
    // Opens a main file by itself and with the backup. The sum may hold, or not, or either.
    const auto open = [&](const std::string& bytes, bool may_hold, bool may_fail) {
        std::filesystem::remove(main), std::ofstream(main, std::ios::binary) << bytes;
        faults.armed = true;  // so that it measures
        Db db(main, alone);
        faults.armed = false;
        const bool holds = db.opened == 0 || db.opened == 6 || db.opened == -7;
        EXPECT_TRUE(db.opened == -11 ? may_fail : may_hold && holds) << db.opened;
        EXPECT_EQ(std::filesystem::exists(main), db.opened >= 0);
        std::filesystem::remove(main), std::ofstream(main, std::ios::binary) << bytes;
        Db both(main, guarded);
        const bool all = both.Show().find(records) != std::string::npos;
        EXPECT_TRUE(both.opened == 0 &&
                    (db.opened < 0 ? both.Show() == records : db.opened == 0 || all));
        both != nullptr ? Object(both.handle)->SetDamaged() : void();  // it is not to be written
    };
    for (size_t i = 0; i < sealed.size() && !HasFailure(); ++i) {
        SCOPED_TRACE(i);
        open(sealed.substr(0, i), i == 0, i > 0);
        open(Seal(content.substr(0, std::max<size_t>(i, 1))), true, false);
        for (int bit = 1; bit < 256; bit *= 2) {
            open(std::string(sealed).replace(i, 1, 1, char(sealed[i] ^ bit)), true, true);
        }
        for (const char* number :
             {"\0\0\0\0", "\0\0\0\1", "\x7F\xFF\xFF\xFF", "\x80\0\0\0", "\xFF\xFF\xFF\xFF"}) {
            const std::string changed =
                std::string(content).replace(std::min(i, content.size()), 4, number, 4);
            open(Seal(changed), true, false);
        }
    }
    EXPECT_LT(faults.largest, 1987 * 2 * sizeof(void*) + 4 * sealed.size());
}

}  // namespace

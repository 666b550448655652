#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support.h"

namespace {

using nlohmann::json;

// Opens the file and, if there is none, inserts the table's records. Then the database must hold
// just them and write these bytes.
void Check(const std::string& path, const json& result, const json& table, const json& hex) {
    std::vector<Field> fields;
    for (const json& field : table["fields"]) {
        fields.emplace_back(field["name"], field["type"], field.value("flags", 0));
    }
    Env env(fields);
    Db db(path, env);
    ASSERT_EQ(db.opened, result);
    std::string expected;
    for (const json& record : table["records"]) {
        Stmt stmt(db);
        for (const json& v : record) {
            const json& value = v["value"];
            const std::string name = v["field"], stored = v["hex"];
            EXPECT_EQ(VAMEL_OK, value.is_number()   ? stmt.Bind(name, value.get<int32_t>())
                                : value.is_string() ? stmt.Bind(name, value.get<std::string>())
                                                    : stmt.Bind(name, Unhex(stored)));
            expected += name + "=" + stored + " ";
        }
        expected += ";";
        EXPECT_EQ(result == VAMEL_NO_FILE ? vamel_insert(db, stmt) : VAMEL_OK, VAMEL_OK);
    }
    EXPECT_EQ(db.Show(), expected);
    EXPECT_EQ(vamel_commit(db), VAMEL_OK);
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(Bytes(std::istreambuf_iterator<char>(file), {}), Unhex(hex));
}

TEST(GoldenTest, FilesOpenAndAreWrittenByteForByte) {
    for (const auto& entry : std::filesystem::directory_iterator(VAMEL_TEST_DATA "/vectors")) {
        auto path = entry.path();
        if (path.extension() == ".json") {
            SCOPED_TRACE(path);
            const json writer = json::parse(std::ifstream(path)), reader = writer["reader"];
            TempDir dir;
            std::filesystem::copy_file(path.replace_extension(".db"), dir / "db");
            Check(dir / "db", reader["open_result"], reader, reader["rewritten_hex"]);
            Check(dir / "reader", VAMEL_NO_FILE, reader, reader["rewritten_hex"]);
            Check(dir / "writer", VAMEL_NO_FILE, writer, writer["file_hex"]);
        }
    }
}

}  // namespace

#include <fstream>

#include "tests/support.h"

// One session of all kinds of values and changes. Its files are the same bytes on every host: most
// significant byte first or last, 32 or 64 bits wide, char signed or not. What each search finds
// enters into them. The digests come from a writer of the same file that shares no code.

namespace {

// The size of a file and the 64-bit FNV-1a hash of its bytes.
std::pair<int, uint64_t> Digest(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::pair<int, uint64_t> digest(0, 0xcbf29ce484222325);
    for (int byte = file.get(); byte != EOF; byte = file.get()) {
        digest.first++;
        digest.second = (digest.second ^ static_cast<uint64_t>(byte)) * 0x100000001b3;
    }
    return digest;
}

const std::vector<Row> kRows = {
    {{"id", 0}, {"name", "zoë"}, {"blob", Bytes{}}},
    {{"id", INT32_MIN}, {"name", "€"}, {"blob", Bytes{0}}},
    {{"id", INT32_MAX}, {"name", "😀a"}, {"größe", Bytes{1, 2, 3, 4, 5}}},
    {},
    {{"größe", "a€é😀"}, {"id", -1}, {"name", ""}},
    {{"id", Bytes{0x80, 1}}, {"name", "é"}, {"blob", Bytes(300, 0xFE)}},
    {{"id", Bytes{0x7F, 0xFF, 0xFF, 0xFF, 0xFF}}, {"name", -2}},
    {{"id", Bytes{}}, {"name", Bytes{}}, {"größe", -77}},
    {{"id", 256}, {"name", "a"}, {"blob", Bytes{0x7F, 0x80}}},
    {{"id", -129}, {"name", "a"}},
};

// Deletes the records that match what is bound, or updates them to a blob. How many there were.
int Change(Stmt& stmt, const Bytes* blob = nullptr) {
    int count = 0;
    EXPECT_EQ(vamel_select(stmt.db, stmt, nullptr), VAMEL_OK);
    vamel_clear_bind(stmt);
    EXPECT_EQ(blob != nullptr ? stmt.Bind("blob", *blob) : VAMEL_OK, VAMEL_OK);
    for (; vamel_step(stmt) == VAMEL_ROW; count++) {
        EXPECT_EQ(blob != nullptr ? vamel_update(stmt.db, stmt) : vamel_delete(stmt.db, stmt), 0);
    }
    vamel_clear_bind(stmt);
    return count;
}

TEST(SessionTest, WritesTheSameBytesOnEveryHost) {
    const TempDir dir;
    Env env({{"id", VAMEL_TYPE_INTEGER, VAMEL_FLAG_INDEXED | VAMEL_FLAG_UNIQUE},
             {"name", VAMEL_TYPE_TEXT, VAMEL_FLAG_INDEXED},
             {"blob", VAMEL_TYPE_BINARY, 0},
             {"größe", 200, 0}},
            dir / "backup");
    Db db(dir / "main", env);
    Stmt stmt(db);
    for (const Row& row : kRows) {
        ASSERT_EQ(stmt.Insert(row), VAMEL_OK);
    }
    vamel_clear_bind(stmt);
    stmt.Bind("id", -1, VAMEL_LESS);  // as numbers: INT32_MIN, 80 01, empty, -129
    const Bytes changed = {9, 8, 0xFF};
    EXPECT_EQ(Change(stmt, &changed), 4);
    stmt.Bind("name", "é", VAMEL_GREATER);  // as bytes: €, 😀a, the integer -2
    EXPECT_EQ(Change(stmt), 3);
    EXPECT_EQ(vamel_commit(db), VAMEL_OK);
    EXPECT_EQ(Digest(dir / "main"), std::make_pair(228, uint64_t{0x34a0cfb17d982518}));
    EXPECT_EQ(stmt.Insert(kRows[1]), VAMEL_OK);
    EXPECT_EQ(vamel_rollback(db), VAMEL_OK);
    stmt.Bind("größe", "a€", VAMEL_EQUAL);
    EXPECT_EQ(Change(stmt), 0);
    EXPECT_EQ(stmt.Insert({{"name", "ü"}, {"id", -65536}}), VAMEL_OK);
    EXPECT_EQ(vamel_close(&db.handle), VAMEL_OK);
    EXPECT_EQ(Digest(dir / "main"), std::make_pair(246, uint64_t{0xc3cc761ac0c67952}));
    EXPECT_EQ(Digest(dir / "backup"), Digest(dir / "main"));
}

}  // namespace

#include "persist/CVLFile.h"

#include "tests/support.h"

namespace {

using namespace std::string_literals;
using Outcome = std::pair<int32_t, std::string>;  // a result and all records

struct CVLFileTest : testing::Test {
    // Content: a number, a field with a name and the size that it claims, a value.
    std::string N(uint32_t n) { return {char(n >> 24), char(n >> 16), char(n >> 8), char(n)}; }
    std::string F(uint8_t t, char n, uint32_t l, std::string s) { return N(t) + n + N(l) + s; }
    std::string V(char n, std::string v) { return n + N(uint32_t(v.size())) + v; }
    const std::string end = "\xFF", b = F(3, 0, 2, "b\0"s), c = F(3, 0, 2, "c\0"s);
    const std::string five = V(0, "\5") + end, held = "b=09 ;", both = "b=09 ;b=05 ;";

    // Loads the content, sealed and then cut, into a table that has a unique field b, an integer
    // field n, and one record, b = 9.
    Outcome Load(const std::string& content, uint32_t cut = UINT32_MAX) {
        Env env({{"b", 3, 2}, {"n", 1, 0}});
        Db db("", env);
        EXPECT_EQ(Stmt(db).Insert({{"b", Bytes{9}}}), 0);
        CVLFile file;
        file.MakeBuffer(uint32_t(content.size()));
        content.copy(reinterpret_cast<char*>(file.GetData()), content.size());
        file.Encode();
        file.Encryption("HorsesRunFasterThanTurtles");
        file.MakeBuffer(std::min(cut, file.GetLength()));
        return {file.Deserialize(Object(db.handle)->GetTable()), db.Show()};
    }
};

TEST_F(CVLFileTest, TakesWhatMatchesAndRefusesTheRest) {
    const std::tuple<const char*, std::string, Outcome> rows[] = {
        {"negative counts", N(~0U) + N(~0U), {0, held}},
        {"size of a name past 32 bits", N(1) + F(3, 0, ~0U, "b\0"s) + N(0), {-7, held}},
        {"name past the content", N(1) + F(3, 0, 1, "b"), {-7, held}},
        {"name shorter than its size", N(1) + F(3, 0, 4, "b\0x\0"s) + N(1) + five, {0, both}},
        {"name longer than its size", N(1) + F(3, 0, 1, "b") + N(1) + five, {0, both}},
        {"unknown number", N(1) + b + N(2) + V(1, "x") + end + five, {6, held + ";b=05 ;"}},
        {"number named thrice", N(3) + F(1, 0, 2, "n\0"s) + b + c + N(1) + five, {0, both}},
        {"value past 32 bits", N(1) + b + N(2) + five + '\0' + N(~0U) + end, {-7, ""}},
        {"bytes behind the last record", N(1) + b + N(1) + five + five, {0, both}},
    };
    for (const auto& [what, content, outcome] : rows) {
        EXPECT_EQ(Load(content), outcome) << what;
    }
}

TEST_F(CVLFileTest, StepsRefuseWhatTheyCannotDo) {
    Env env({{"b", 3, 0}, {"c", 3, 0}});
    Db db("", env);
    CDBTable* table = Object(db.handle)->GetTable();
    CVLFile file;
    CVLFile::FieldMap fields = {};
    for (const int32_t result :
         {file.Serialize(nullptr), file.Deserialize(nullptr),
          file.DeserializeField(nullptr, fields), file.DeserializeNodes(nullptr, fields),
          file.Serialize(table), file.SerializeNodes(table)}) {
        EXPECT_EQ(result, VAMEL_ERR_ARGUMENT);
    }
    const TempDir dir = {};
    CCString path;
    path.CopyString((dir / "file").c_str(), -1);
    EXPECT_EQ(file.FileOut(path), VAMEL_ERR_UNKNOWN) << "no block";

    // A record past 4 GiB. Its values claim room that they have not, and no byte of it is touched.
    CDBNode* record = nullptr;
    EXPECT_EQ(table->CreateNode(&record), 0);
    for (uint32_t i = 0; i < 2; ++i) {
        auto* value = new CDBNodeValue(table->GetFields()->GetField(i), INT32_MAX);
        EXPECT_EQ(value->Alloc(INT32_MAX), 0);
        record->InsertNodeValue(value);
    }
    EXPECT_EQ(table->InsertNode(record), 0);
    EXPECT_EQ(file.Serialize(table), VAMEL_ERR_MEMORY);
    EXPECT_EQ(file.SerializeNodes(table), VAMEL_ERR_MEMORY);
}

TEST_F(CVLFileTest, SurvivesCutsAndChanges) {
    const std::string fields = N(2) + b + F(1, 1, 2, "n\0"s);
    const std::string content = fields + N(2) + V(0, "12") + V(1, N(7)) + end + five;
    for (uint32_t at = 0; at < content.size(); ++at) {
        EXPECT_EQ(Load(content.substr(0, at)), Outcome(-7, at < fields.size() ? held : "")) << at;
        EXPECT_EQ(Load(content, at), Outcome(-11, held)) << at;
        for (const char byte : "\0\1\x7F\x80\xFF"s) {
            Load(std::string(content).replace(at, 1, 1, byte));
        }
    }
}

}  // namespace

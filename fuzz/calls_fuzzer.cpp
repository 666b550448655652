#include "fuzz/Harness.h"

namespace {

using twin::Store;

const Str kNames[] = {"i", "t", "b", "u", "x", "", "I"};
constexpr int32_t kCompare[] = {0, 1, 2, 3, 4, 5, -1, 0};
constexpr int32_t kNumbers[] = {0, 1, -1, 256, INT32_MIN, INT32_MAX, 0x61616161, 0x61000000};
constexpr char kFirst[] = {0, 'a', 'V', '\xD3', '\x80', '\x7F', 'b', 'a'};
constexpr uint8_t kLengths[] = {0, 1, 2, 3, 4, 5, 7, 8, 10, 11};  // some of them share a bucket

// A database with two statements, beside its twin.
struct Pair {
    vamel_db* db;
    vamel_stmt* stmts[2];
    Store twin;
};

// Calls on two databases. Compared are results and out-arguments; after every call the current
// record and the size of the result set; files where a call may touch them; in the end all that the
// statements still hold.
struct Session {
    Input in;
    std::map<std::string, twin::File> files = {};
    Pair pairs[2] = {};
    Pair* pair = nullptr;
    vamel_stmt** stmt = nullptr;
    twin::Statement* twin = nullptr;

    void Use(size_t number) {
        pair = &pairs[number % 2];
        stmt = &pair->stmts[number / 2 % 2];
        twin = &pair->twin.statements[number / 2 % 2];
    }
    template <typename Call, typename Model>
    void OnStatement(Call call, Model model) {
        EXPECT_EQ(call(pair->db, *stmt), twin->attached ? (pair->twin.*model)(twin) : -3);
    }
    template <typename Call, typename Model>
    void OnDatabase(Call call, Model model) {
        EXPECT_EQ(call(pair->db), pair->db != nullptr ? (pair->twin.*model)() : -3);
        CheckFiles();
    }
    void Insert() { OnStatement(vamel_insert, &Store::Insert); }
    void Update() { OnStatement(vamel_update, &Store::Update); }
    void Delete() { OnStatement(vamel_delete, &Store::Delete); }
    void Commit() { OnDatabase(vamel_commit, &Store::Commit); }
    void Rollback() { OnDatabase(vamel_rollback, &Store::Rollback); }
    void Select() {
        uint32_t count = 0;
        const int32_t result = vamel_select(pair->db, *stmt, &count);
        EXPECT_EQ(result, twin->attached ? pair->twin.Select(twin) : -3);
        EXPECT_EQ(count, twin->found.size());
    }
    void Step() { EXPECT_EQ(vamel_step(*stmt), twin->Move(twin->cursor + 1)); }
    void Reset() { EXPECT_EQ(vamel_reset(*stmt), twin->Move(1)); }
    void Clear() {
        EXPECT_EQ(vamel_clear_bind(*stmt), *stmt != nullptr ? 0 : -3);
        twin->bound.clear();
    }
    void Bind() {
        const size_t how = in.Below(256), shape = in.Below(256), field = how % 7;
        const int32_t compare = kCompare[how / 8 % 8], number = kNumbers[shape % 8];
        const std::string text(shape % 4, 'a');
        const Str& name = kNames[field];
        std::string data(kLengths[shape / 8 % 10], kFirst[shape % 8]);
        data += in.Take(shape / 160);
        const int32_t result = how < 64    ? vamel_bind_int(*stmt, name, number, compare)
                               : how < 128 ? vamel_bind_text(*stmt, name, Str(text), compare)
                                           : vamel_bind_binary(*stmt, name, data.data(),
                                                               uint32_t(data.size()), compare);
        EXPECT_EQ(result, !twin->attached ? -3 : field < 6 ? 0 : -6);
        data = how < 64 ? twin::Number(size_t(number)) : how < 128 ? text + '\0' : data;
        twin->bound.insert(twin->bound.end(), result == 0, {field, data, compare});
    }
    void OpenOrClose() {
        const size_t how = in.Below(256);
        Store& store = pair->twin;
        if (pair->db != nullptr) {
            EXPECT_EQ(vamel_close(&pair->db), store.Close());
        } else {
            const std::string backup = how / 3 % 4 < 3 ? PathOf(how / 3 % 4) : "";
            store = Store{&files, kFields, PathOf(how % 3), backup};
            std::get<2>(store.fields[how / 12 % 6]) = int(how / 72);
            const Env env(store.fields, backup);
            EXPECT_EQ(vamel_open(Str(store.main), env, &pair->db), store.Open());
        }
        store = pair->db != nullptr ? store : Store();
        CheckFiles();
    }
    void PrepareOrFinalize() {
        const bool there = *stmt != nullptr;
        const int32_t result = there ? vamel_finalize(stmt) : vamel_prepare(pair->db, stmt);
        EXPECT_EQ(result, there || pair->db != nullptr ? 0 : -3);
        *twin = {!there && result == 0};
    }
    // Somebody leaves a file that cannot be read, or not to its end.
    void Spoil() {
        const size_t how = in.Below(9);
        const std::string content = pair->twin.Content();
        const twin::File cut = {twin::Seal(content.substr(0, content.size() - 1)),
                                pair->twin.records, -7};
        const twin::File spoilt[] = {{"", {}, -7}, {"odd", {}, -11}, cut};
        files[PathOf(how % 3)] = spoilt[pair->twin.records.empty() ? how / 3 % 2 : how / 3];
        WriteFile(how % 3, files[PathOf(how % 3)].bytes);
    }
    void CheckFiles() {
        for (size_t i = 0; i < 3; ++i) {
            std::ifstream file(PathOf(i), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            EXPECT_EQ(file.is_open(), files.count(PathOf(i)) == 1);
            EXPECT_TRUE(!file.is_open() || bytes == files[PathOf(i)].bytes);
        }
    }
    // What failed calls leave alone is "?".
    void Compare() {
        for (size_t field = twin->current == nullptr ? 6 : 0; field < 7; ++field) {
            const Fetched got(*stmt, kNames[field]);
            std::string want[] = {twin::Number('?'), "?", "?"};
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(got.results[i], pair->twin.Fetch(*twin, field, i + 1, &want[i]));
            }
            char text[32];
            CFStringGetCString(got.text, text, sizeof text, kCFStringEncodingUTF8);
            const std::string data(static_cast<const char*>(got.data), got.count);
            EXPECT_TRUE(twin::Number(size_t(got.number)) == want[0] && text == want[1] &&
                        data == want[2]);
        }
        const auto* search = twin->attached ? Object(*stmt)->GetSearch() : nullptr;
        EXPECT_EQ(search != nullptr, twin->selected);
        EXPECT_EQ(search != nullptr ? search->GetCount() : 0, twin->found.size());
    }
    void Run() {
        using S = Session;
        static constexpr void (S::*kCalls[])() = {
            &S::Insert, &S::Bind, &S::Step, &S::Select, &S::Commit,   &S::PrepareOrFinalize,
            &S::Insert, &S::Bind, &S::Step, &S::Update, &S::Rollback, &S::OpenOrClose,
            &S::Spoil,  &S::Bind, &S::Bind, &S::Step,   &S::Delete,   &S::Clear,
            &S::Reset};
        for (size_t i = 0; i < 4; ++i) {
            Use(i);
            i < 2 ? OpenOrClose() : void();
            PrepareOrFinalize();
        }
        while (in.size > 0) {
            const size_t call = in.Below(256);
            Use(call);
            (this->*kCalls[call / 4 % std::size(kCalls)])();
            Compare();
        }
        for (size_t i = 0; i < 4; ++i) {
            Use(i);
            for (Reset(); twin->current != nullptr; Step()) {
                Compare();
            }
            vamel_finalize(stmt);
        }
        vamel_close(&pairs[0].db);
        vamel_close(&pairs[1].db);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (size_t i = 0; i < 3; ++i) {
        std::filesystem::remove(PathOf(i));
    }
    Session{{data, size}}.Run();
    return 0;
}

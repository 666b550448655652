// What the C++ interface costs over the C interface that it is made of: each pair does the same
// work on the same table of 1,000 records, once as a C++ program writes it that calls the C
// interface and once through the wrapper. Both know how many records were found, and both end with
// the text in a std::string of their own.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vamel/vamel.hpp"

namespace {

constexpr int32_t kRecords = 1000;
constexpr int32_t kStride = 617;  // meets all records, in no order

void Must(bool done) {
    if (!done) {
        std::abort();
    }
}

// A text as both sides get it: a host's own characters, of a new value for every record.
struct Name {
    explicit Name(int32_t number) {
        size = static_cast<size_t>(std::snprintf(text, sizeof text, "name %08d", number));
    }
    operator const char*() const { return text; }
    operator std::string_view() const { return {text, size}; }
    char text[24];
    size_t size;
};

// Opened where nothing can be written; the records go in by `insert`.
class Table {
  public:
    Table() {
        vamel::environment env;
        env.add("id", vamel::type::integer, vamel::indexed | vamel::unique)
            .add("name", vamel::type::text, vamel::indexed)
            .add("group", vamel::type::integer);
        db = vamel::database("/nowhere/vamel", env);
        stmt = db.prepare();
    }
    void Fill() {
        for (int32_t i = 0; i < kRecords; ++i) {
            const Name text(i);
            stmt.insert(id = i, name = text.text, group = i);
        }
    }
    // A table that grew would be another table.
    void RemoveAll() {
        for (auto& row : stmt.select()) {
            row.remove();
        }
    }

    const vamel::field id{"id"}, name{"name"}, group{"group"};
    vamel::database db;
    vamel::statement stmt;
};

CFStringRef MakeText(const char* text) {
    return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
}

void InsertByC(benchmark::State& state) {
    Table table;
    vamel_db* db = table.db.handle();
    vamel_stmt* stmt = table.stmt.handle();
    const CFStringRef id = MakeText("id"), name = MakeText("name"), group = MakeText("group");
    while (state.KeepRunningBatch(kRecords)) {
        for (int32_t i = 0; i < kRecords; ++i) {
            const Name text(i);
            Must(vamel_clear_bind(stmt) == VAMEL_OK);
            Must(vamel_bind_int(stmt, &id, i, VAMEL_EQUAL) == VAMEL_OK);
            CFStringRef value = MakeText(text.text);
            Must(vamel_bind_text(stmt, &name, &value, VAMEL_EQUAL) == VAMEL_OK);
            CFRelease(value);
            Must(vamel_bind_int(stmt, &group, i, VAMEL_EQUAL) == VAMEL_OK);
            Must(vamel_insert(db, stmt) == VAMEL_OK);
        }
        state.PauseTiming();
        table.RemoveAll();
        state.ResumeTiming();
    }
}

template <class Text>
void Insert(benchmark::State& state) {
    Table table;
    while (state.KeepRunningBatch(kRecords)) {
        for (int32_t i = 0; i < kRecords; ++i) {
            const Name text(i);
            table.stmt.insert(table.id = i, table.name = static_cast<Text>(text), table.group = i);
        }
        state.PauseTiming();
        table.RemoveAll();
        state.ResumeTiming();
    }
}
void InsertByCpp(benchmark::State& state) {
    Insert<const char*>(state);
}
void InsertByCppOfViews(benchmark::State& state) {
    Insert<std::string_view>(state);
}

void SelectStepFetchByC(benchmark::State& state) {
    Table table;
    table.Fill();
    vamel_db* db = table.db.handle();
    vamel_stmt* stmt = table.stmt.handle();
    const CFStringRef id = MakeText("id"), name = MakeText("name"), group = MakeText("group");
    int32_t i = 0, number = 0;
    uint32_t count = 0;
    for (auto _ : state) {
        i = (i + kStride) % kRecords;
        Must(vamel_clear_bind(stmt) == VAMEL_OK);
        Must(vamel_bind_int(stmt, &id, i, VAMEL_EQUAL) == VAMEL_OK);
        Must(vamel_select(db, stmt, &count) == VAMEL_OK);
        while (vamel_step(stmt) == VAMEL_ROW) {
            CFStringRef string = nullptr;
            char text[64];
            Must(vamel_fetch_int(stmt, &group, &number) == VAMEL_OK);
            Must(vamel_fetch_text(stmt, &name, &string) == VAMEL_OK);
            Must(CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8));
            const std::string own(text);
            benchmark::DoNotOptimize(number);
            benchmark::DoNotOptimize(own);
        }
    }
}

void SelectStepFetchByCpp(benchmark::State& state) {
    Table table;
    table.Fill();
    int32_t i = 0, number = 0;
    for (auto _ : state) {
        i = (i + kStride) % kRecords;
        for (auto& row : table.stmt.select(table.id == i)) {
            number = row.get<int32_t>(table.group).value();
            const auto text = row.get<std::string>(table.name);
            benchmark::DoNotOptimize(number);
            benchmark::DoNotOptimize(*text);
        }
    }
}

void UpdateByC(benchmark::State& state) {
    Table table;
    table.Fill();
    vamel_db* db = table.db.handle();
    vamel_stmt* stmt = table.stmt.handle();
    const CFStringRef id = MakeText("id"), name = MakeText("name");
    int32_t i = 0;
    for (auto _ : state) {
        i = (i + kStride) % kRecords;
        const Name text(i);
        Must(vamel_clear_bind(stmt) == VAMEL_OK);
        Must(vamel_bind_int(stmt, &id, i, VAMEL_EQUAL) == VAMEL_OK);
        Must(vamel_select(db, stmt, nullptr) == VAMEL_OK);
        Must(vamel_step(stmt) == VAMEL_ROW);
        Must(vamel_clear_bind(stmt) == VAMEL_OK);
        CFStringRef value = MakeText(text.text);
        Must(vamel_bind_text(stmt, &name, &value, VAMEL_EQUAL) == VAMEL_OK);
        CFRelease(value);
        Must(vamel_update(db, stmt) == VAMEL_OK);
    }
}

void UpdateByCpp(benchmark::State& state) {
    Table table;
    table.Fill();
    int32_t i = 0;
    for (auto _ : state) {
        i = (i + kStride) % kRecords;
        const Name text(i);
        table.stmt.select(table.id == i);
        Must(table.stmt.step());
        table.stmt.update(table.name = text.text);
    }
}

// A walk through all records, for one record.
void ScanByC(benchmark::State& state) {
    Table table;
    table.Fill();
    vamel_stmt* stmt = table.stmt.handle();
    const CFStringRef name = MakeText("name"), group = MakeText("group");
    while (state.KeepRunningBatch(kRecords)) {
        Must(vamel_clear_bind(stmt) == VAMEL_OK);
        Must(vamel_select(table.db.handle(), stmt, nullptr) == VAMEL_OK);
        while (vamel_step(stmt) == VAMEL_ROW) {
            int32_t number = 0;
            CFStringRef string = nullptr;
            char text[64];
            Must(vamel_fetch_int(stmt, &group, &number) == VAMEL_OK);
            Must(vamel_fetch_text(stmt, &name, &string) == VAMEL_OK);
            Must(CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8));
            benchmark::DoNotOptimize(number);
            const std::string own(text);
            benchmark::DoNotOptimize(own);
        }
    }
}

template <class Key>
void Scan(benchmark::State& state, const Key& name, const Key& group) {
    Table table;
    table.Fill();
    while (state.KeepRunningBatch(kRecords)) {
        for (auto& row : table.stmt.select()) {
            const int32_t number = row.get<int32_t>(group).value();
            const auto text = row.get<std::string>(name);
            benchmark::DoNotOptimize(number);
            benchmark::DoNotOptimize(*text);
        }
    }
}
void ScanByCpp(benchmark::State& state) {
    Scan(state, vamel::field("name"), vamel::field("group"));
}
void ScanByCppAndPlainNames(benchmark::State& state) {
    Scan(state, std::string_view("name"), std::string_view("group"));
}

BENCHMARK(InsertByC);
BENCHMARK(InsertByCpp);
BENCHMARK(InsertByCppOfViews);
BENCHMARK(SelectStepFetchByC);
BENCHMARK(SelectStepFetchByCpp);
BENCHMARK(UpdateByC);
BENCHMARK(UpdateByCpp);
BENCHMARK(ScanByC);
BENCHMARK(ScanByCpp);
BENCHMARK(ScanByCppAndPlainNames);

}  // namespace

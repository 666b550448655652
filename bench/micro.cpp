// The time of the small parts that everything else is made of.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "base/CalcHashValue.h"
#include "persist/CCBuffer.h"
#include "vamel/vamel.h"

namespace {

void Hash(benchmark::State& state) {
    const std::vector<char> bytes(static_cast<size_t>(state.range()), 'x');
    for (auto _ : state) {
        const auto size = static_cast<uint32_t>(bytes.size());
        benchmark::DoNotOptimize(CalcHashValue(bytes.data(), size, kHashBuckets));
    }
}
BENCHMARK(Hash)->Arg(4)->Arg(4096);

// Checksum and cipher, on the way out and on the way in: the bytes of both ways count.
void SealAndUnseal(benchmark::State& state) {
    const std::vector<char> bytes(static_cast<size_t>(state.range()), 'x');
    CCBuffer buffer;
    buffer.WriteBuffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
    for (auto _ : state) {
        buffer.Seal("a key of twenty-six bytes!");
        buffer.Unseal("a key of twenty-six bytes!");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * state.range());
}
BENCHMARK(SealAndUnseal)->Arg(64 << 10)->Arg(64 << 20);

// 1,000 records, all of them selected, the first one current.
class Calls : public benchmark::Fixture {
  public:
    using benchmark::Fixture::SetUp;
    void SetUp(benchmark::State&) override {
        vamel_env* env = nullptr;
        vamel_alloc_env(&env);
        for (const vamel_field_info& field : {vamel_field_info{&id, VAMEL_TYPE_INTEGER, 1},
                                              vamel_field_info{&name, VAMEL_TYPE_TEXT, 1}}) {
            vamel_set_env(env, VAMEL_OPTION_FIELD, &field);
        }
        vamel_open(&path, env, &db);  // and never closed: nothing is written
        vamel_prepare(db, &stmt);
        vamel_bind_text(stmt, &name, &value, VAMEL_EQUAL);
        for (int32_t i = 0; i < 1000; ++i) {
            vamel_bind_int(stmt, &id, i, VAMEL_EQUAL);
            vamel_insert(db, stmt);
        }
        vamel_clear_bind(stmt);
        vamel_select(db, stmt, nullptr);
        vamel_step(stmt);
    }

    static CFStringRef MakeText(const char* text) {
        return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
    }
    const CFStringRef path = MakeText("/nowhere/vamel"), value = MakeText("name 00000001"),
                      id = MakeText("id"), name = MakeText("name");
    vamel_db* db = nullptr;
    vamel_stmt* stmt = nullptr;
    CFStringRef text = nullptr;
    int32_t number = 0;
};

#define CALLS(name, ...)                                 \
    BENCHMARK_F(Calls, name)(benchmark::State & state) { \
        for (auto _ : state) {                           \
            __VA_ARGS__;                                 \
        }                                                \
    }
CALLS(BindIntegerAndClear, vamel_bind_int(stmt, &id, 1, VAMEL_EQUAL), vamel_clear_bind(stmt))
CALLS(BindTextAndClear, vamel_bind_text(stmt, &name, &value, VAMEL_EQUAL), vamel_clear_bind(stmt))
CALLS(FetchInteger, vamel_fetch_int(stmt, &id, &number))
CALLS(FetchTextAndReset, vamel_fetch_text(stmt, &name, &text), vamel_reset(stmt))
CALLS(Step, vamel_step(stmt) == VAMEL_ROW || vamel_reset(stmt))

}  // namespace

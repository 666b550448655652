#ifndef VAMEL_BENCH_STORE_H
#define VAMEL_BENCH_STORE_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

// The record of all workloads: the id is indexed and unique, the name indexed, the rest plain.
struct Record {
    int32_t id;
    int32_t group;
    char name[16];  // with its terminator
    unsigned char blob[32];
};
enum Fields : unsigned { kNone = 0, kId = 1, kName = 2, kGroup = 4, kBlob = 8, kAll = 15 };

// What a contender does.
enum Op {
    kInsert,
    kSetGroup,
    kSetName,
    kDelete,
    kById,
    kByName,
    kByBoth,
    kByRange,  // from the group to kGroupSpan behind it
    kScan,
    kReadAll,
    kDeleteOdd,  // step through all records and delete, on the way, those whose id is odd
    kCommit,     // write the file
    kRollback,   // back to the last commit
    kClose,      // write the file and give all memory back
    kOpen,       // read the file, if there is one
    kPrepare,    // what a host does once after that
};

constexpr int32_t kGroupSpan = 100;
constexpr struct {
    unsigned takes;    // fields, from the record that it is given
    unsigned fetches;  // fields, of the records that it finds
    const char* sql;
} kOps[] = {
    {kAll, kNone, "INSERT INTO t VALUES(?1, ?2, ?3, ?4)"},
    {kId | kGroup, kNone, "UPDATE t SET grp = ?3 WHERE id = ?1"},
    {kId | kName, kNone, "UPDATE t SET name = ?2 WHERE id = ?1"},
    {kId, kNone, "DELETE FROM t WHERE id = ?1"},
    {kId, kName, "SELECT name FROM t WHERE id = ?1"},
    {kName, kId, "SELECT id FROM t WHERE name = ?2"},
    {kName | kGroup, kId, "SELECT id FROM t WHERE name = ?2 AND grp = ?3"},
    {kGroup, kId, "SELECT id FROM t WHERE grp >= ?3 AND grp < ?3 + 100"},
    {kNone, kId | kName, "SELECT id, name FROM t"},
    {kNone, kAll, "SELECT id, name, grp, data FROM t"},
    {kNone, kId, "SELECT id FROM t ORDER BY id"},
};

// The digest of one record: what is fetched goes in byte by byte, in the order of Fields.
inline uint64_t Mix(uint64_t digest, int64_t value) {
    digest = (digest ^ static_cast<uint64_t>(value)) * 0xd6e8feb86659fd93U;
    return digest ^ digest >> 32;
}
inline uint64_t Mix(uint64_t digest, const void* data, size_t size) {
    int64_t word = 0;
    for (size_t done = 0; done < size; done += sizeof word, word = 0) {
        const auto* bytes = static_cast<const char*>(data) + done;
        std::memcpy(&word, bytes, std::min(size - done, sizeof word));
        digest = Mix(digest, word);
    }
    return digest;
}

// What a contender found: how many records, and a sum over them in which order plays no part.
struct Answer {
    void Add(uint64_t digest) {
        ++count;
        sum += digest;
    }
    uint64_t count = 0;
    uint64_t sum = 0;
};

// One contender: a table in memory, and a file for it. Whatever fails ends the program.
//
//   kOpen -> kPrepare -> anything, again and again -> kClose
class Store {
  public:
    virtual ~Store() = default;
    virtual void Run(Op op, const Record& record, Answer* answer) = 0;
};
using StorePtr = std::unique_ptr<Store>;

StorePtr MakeVamelStore(const std::string& path, bool unique_names);
StorePtr MakeSqliteStore(const std::string& path, bool unique_names);
StorePtr MakeHashedStore(const std::string& path, bool unique_names);

[[noreturn]] void Fail(const std::string& why);

// Whole files. A missing one reads as empty.
void WriteFile(const std::string& path, const void* data, size_t size);
std::string ReadFile(const std::string& path);

#endif

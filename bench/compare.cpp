// Runs the same workloads on each contender, in turn, and checks their answers against each other.
//
//     compare FOLDER SIZE ROUNDS [WORKLOAD]    prints lines: workload,contender,nanoseconds
//     compare FOLDER SIZE resident CONTENDER   prints one, the bytes of the table left in FOLDER
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "Store.h"

namespace {

using Records = std::vector<Record>;
constexpr int32_t kGroups = 1000;

constexpr struct {
    const char* name;
    StorePtr (*make)(const std::string& path, bool unique_names);
} kContenders[] = {
    {"vamel", MakeVamelStore}, {"sqlite", MakeSqliteStore}, {"hashed", MakeHashedStore}};
constexpr size_t kCount = std::size(kContenders);

// Two records have each name, unless names are unique; neighbours have names far apart.
Record MakeRecord(uint32_t i, uint32_t size, bool unique_names) {
    const auto place = static_cast<uint32_t>(uint64_t{i} * 48271 % size);
    Record record = {static_cast<int32_t>(i + 1), 0, {}, {}};
    std::snprintf(record.name, sizeof record.name, "name %08u", unique_names ? place : place / 2);
    std::minstd_rand random(i);
    record.group = static_cast<int32_t>(random() % kGroups);
    std::generate_n(record.blob, sizeof record.blob, [&] { return uint8_t(random() >> 8); });
    return record;
}

// The records of one size, and what is done to them, in no order: the same for every contender.
struct Data {
    Data(uint32_t size, bool unique_names) {
        std::mt19937 random(size);
        for (uint32_t i = 0; i < size; ++i) {
            records.push_back(MakeRecord(i, size, unique_names));
        }
        for (uint32_t i = 0; i < std::clamp(size, 20000U, 200000U); ++i) {
            keys.push_back(records[random() % size]);
        }
        Records shuffled = records;
        std::shuffle(shuffled.begin(), shuffled.end(), random);
        for (uint32_t i = 0; i + 2 < size; i += 4) {
            regrouped.push_back(shuffled[i]);
            regrouped.back().group = static_cast<int32_t>(random() % kGroups);
            named_back.push_back(shuffled[i + 1]);
            renamed.push_back(shuffled[i + 1]);
            renamed.back().name[0] = 'N';
            removed.push_back(shuffled[i + 2]);
        }
        scans.resize(std::max(1U, 100000 / size), Record{0, kGroupSpan, {}, {}});
    }

    Records records, keys, regrouped, renamed, named_back, removed, scans, once{1};
};

// A step of a round. Those without a name are not reported, but their answers are checked, too.
struct Workload {
    const char* name;
    Op op;
    Records Data::*set;
};

const std::vector<Workload> kRound = {
    {"insert", kInsert, &Data::records},
    {nullptr, kReadAll, &Data::once},
    {"select by id", kById, &Data::keys},
    {"select by name", kByName, &Data::keys},
    {"two criteria", kByBoth, &Data::keys},
    {"full scan", kScan, &Data::scans},
    {"range scan", kByRange, &Data::scans},
    {"update", kSetGroup, &Data::regrouped},
    {"update indexed", kSetName, &Data::renamed},
    {"delete", kDelete, &Data::removed},
    {nullptr, kReadAll, &Data::once},
    {nullptr, kSetName, &Data::named_back},
    {nullptr, kInsert, &Data::removed},
    {"commit", kCommit, &Data::once},
    {"step and delete", kDeleteOdd, &Data::once},
    {nullptr, kReadAll, &Data::once},
    {"rollback", kRollback, &Data::once},
    {nullptr, kReadAll, &Data::once},
    {"select after rollback", kByName, &Data::keys},
    {"close", kClose, &Data::once},
    {"open", kOpen, &Data::once},
    {nullptr, kPrepare, &Data::once},
    {nullptr, kReadAll, &Data::once},
    {nullptr, kClose, &Data::once},
};

// For a table in which names are unique, too.
const std::vector<Workload> kUniqueText = {
    {"insert unique text", kInsert, &Data::records},
    {nullptr, kReadAll, &Data::once},
    {nullptr, kClose, &Data::once},
};

// Of this process: what else the machine does plays little part.
double ProcessorNanoseconds() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

// What is done once for a whole table counts by the records that it passes or deletes.
size_t CountOperations(const Workload& workload, const Data& data, const Answer& answer) {
    if (workload.op == kDeleteOdd) {
        return answer.count;
    }
    return (data.*workload.set).size() * (workload.op < kByRange ? 1 : data.records.size());
}

// The contenders take turns at being first.
void RunWorkload(const Workload& workload, StorePtr* stores, const Data& data, size_t first,
                 bool reported) {
    Answer answers[kCount];
    for (size_t i = first; i < first + kCount; ++i) {
        Answer* answer = &answers[i % kCount];
        const double begun = ProcessorNanoseconds();
        for (const Record& record : data.*workload.set) {
            stores[i % kCount]->Run(workload.op, record, answer);
        }
        const double taken = ProcessorNanoseconds() - begun;
        if (reported) {
            std::printf("%s,%s,%.2f\n", workload.name, kContenders[i % kCount].name,
                        taken / double(CountOperations(workload, data, *answer)));
        }
    }
    for (const Answer& answer : answers) {
        if (answer.count != answers[0].count || answer.sum != answers[0].sum) {
            Fail(std::string("the answers differ: ") + (reported ? workload.name : "a check"));
        }
    }
}

// With `only`, what it does not need is left out, and nothing else is reported.
void RunRound(const std::vector<Workload>& workloads, const Data& data, const std::string& only,
              const std::string& folder, size_t round) {
    StorePtr stores[kCount];
    for (size_t i = 0; i < kCount; ++i) {
        const std::string path = folder + "/" + kContenders[i].name;
        std::remove(path.c_str());
        stores[i] = kContenders[i].make(path, &workloads == &kUniqueText);
        stores[i]->Run(kOpen, Record(), nullptr);
        stores[i]->Run(kPrepare, Record(), nullptr);
    }
    for (const Workload& workload : workloads) {
        const bool reported = workload.name != nullptr && (only.empty() || only == workload.name);
        if (reported || only.empty() || workload.op < kById || workload.op > kReadAll) {
            RunWorkload(workload, stores, data, round % kCount, reported);
        }
    }
}

void RunRounds(const std::string& folder, uint32_t size, size_t rounds, const std::string& only) {
    const Data data(size, false);
    const Data unique(size, true);
    for (size_t round = 0; round < rounds; ++round) {
        if (only.empty() || only == kUniqueText[0].name) {
            RunRound(kUniqueText, unique, only, folder, round);
        }
        if (only != kUniqueText[0].name) {
            RunRound(kRound, data, only, folder, round);
        }
    }
}

double ResidentBytes() {
    double pages = 0;
    std::ifstream("/proc/self/statm").ignore(100, ' ') >> pages;
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void PrintResident(const std::string& folder, uint32_t size, const std::string& name) {
    for (const auto& contender : kContenders) {
        if (name == contender.name) {
            const StorePtr store = contender.make(folder + "/" + name, false);
            const double before = ResidentBytes();
            store->Run(kOpen, Record(), nullptr);
            const double taken = ResidentBytes() - before;
            std::printf("resident bytes,%s,%.1f\n", contender.name, taken / size);
        }
    }
}

}  // namespace

void Fail(const std::string& why) {
    std::fprintf(stderr, "compare: %s\n", why.c_str());
    std::exit(EXIT_FAILURE);
}

void WriteFile(const std::string& path, const void* data, size_t size) {
    std::remove(path.c_str());
    std::ofstream file(path, std::ios::binary);
    if (!file.write(static_cast<const char*>(data), static_cast<std::streamsize>(size))) {
        Fail(path + " cannot be written");
    }
}

std::string ReadFile(const std::string& path) {
    std::string bytes(std::filesystem::exists(path) ? std::filesystem::file_size(path) : 0, '\0');
    std::ifstream(path, std::ios::binary)
        .read(&bytes[0], static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

int main(int count, char** arguments) {
    if (count != 4 && count != 5) {
        Fail("arguments: FOLDER SIZE ROUNDS [WORKLOAD], or FOLDER SIZE resident CONTENDER");
    }
    const auto size = static_cast<uint32_t>(std::stoul(arguments[2]));
    const std::string last = count == 5 ? arguments[4] : "";
    if (std::strcmp(arguments[3], "resident") == 0) {
        PrintResident(arguments[1], size, last);
    } else {
        RunRounds(arguments[1], size, std::stoul(arguments[3]), last);
    }
}

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index_container.hpp>

#include "Store.h"

namespace {

namespace multi = boost::multi_index;

struct Row {
    explicit Row(const Record& r) : id(r.id), group(r.group), name(r.name) {
        std::memcpy(blob, r.blob, sizeof blob);
    }
    int32_t id;
    int32_t group;
    std::string name;
    unsigned char blob[sizeof Record::blob];
};

// A hashed container with an index each by id and by name: about as fast as such a table can be in
// this language. Its file is a plain dump of records.
template <class NameIndex>
class HashedStore final : public Store {
  public:
    explicit HashedStore(const std::string& path) : path_(path) {}

    void Run(Op op, const Record& record, Answer* answer) override {
        if (op == kInsert) {
            Insert(record);
        } else if (op == kSetGroup) {
            rows_.modify(rows_.find(record.id), [&](Row& row) { row.group = record.group; });
        } else if (op == kSetName) {
            rows_.modify(rows_.find(record.id), [&](Row& row) { row.name = record.name; });
        } else if (op == kDelete) {
            rows_.erase(rows_.find(record.id));
        } else if (op == kDeleteOdd) {
            DeleteOdd(answer);
        } else if (op <= kReadAll) {
            Select(op, record, answer);
        } else {
            ReadOrWrite(op);
        }
    }

  private:
    using Id = multi::member<Row, int32_t, &Row::id>;
    using Indexes = multi::indexed_by<multi::hashed_unique<Id>, NameIndex>;

    void Insert(const Record& record) {
        if (!rows_.emplace(record).second) {
            Fail("a duplicate in the hashed container");
        }
    }

    void Select(Op op, const Record& record, Answer* answer) {
        if (op == kById) {
            return answer->Add(Fetch(kOps[op].fetches, *rows_.find(record.id)));
        }
        if (op == kByName || op == kByBoth) {
            const auto found = rows_.template get<1>().equal_range(std::string(record.name));
            for (auto row = found.first; row != found.second; ++row) {
                if (op == kByName || row->group == record.group) {
                    answer->Add(Fetch(kOps[op].fetches, *row));
                }
            }
            return;
        }
        const int32_t end = record.group + kGroupSpan;
        for (const Row& row : rows_) {
            if (op != kByRange || (row.group >= record.group && row.group < end)) {
                answer->Add(Fetch(kOps[op].fetches, row));
            }
        }
    }

    static uint64_t Fetch(unsigned fields, const Row& row) {
        uint64_t digest = fields & kId ? Mix(0, row.id) : 0;
        if (fields & kName) {
            digest = Mix(digest, row.name.data(), row.name.size());
        }
        if (fields & kGroup) {
            digest = Mix(digest, row.group);
        }
        return fields & kBlob ? Mix(digest, row.blob, sizeof row.blob) : digest;
    }

    void DeleteOdd(Answer* answer) {
        for (auto row = rows_.begin(); row != rows_.end();) {
            if (row->id % 2 != 0) {
                row = rows_.erase(row);
                answer->Add(1);
            } else {
                ++row;
            }
        }
    }

    void ReadOrWrite(Op op) {
        if (op == kCommit || op == kClose) {
            Save();
        }
        if (op == kRollback || op == kClose) {
            rows_.clear();
        }
        if (op == kRollback || op == kOpen) {
            Load();
        }
    }

    void Save() {
        std::string bytes;
        bytes.reserve(rows_.size() * sizeof(Record));
        for (const Row& row : rows_) {
            Record record = {row.id, row.group, {}, {}};
            std::memcpy(record.name, row.name.c_str(), row.name.size());
            std::memcpy(record.blob, row.blob, sizeof record.blob);
            bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
        }
        WriteFile(path_, bytes.data(), bytes.size());
    }

    void Load() {
        const std::string bytes = ReadFile(path_);
        rows_.reserve(bytes.size() / sizeof(Record));
        Record record;
        for (size_t at = 0; at < bytes.size(); at += sizeof record) {
            std::memcpy(&record, &bytes[at], sizeof record);
            Insert(record);
        }
    }

    const std::string path_;
    multi::multi_index_container<Row, Indexes> rows_;
};

using Name = multi::member<Row, std::string, &Row::name>;

}  // namespace

StorePtr MakeHashedStore(const std::string& path, bool unique_names) {
    if (unique_names) {
        return std::make_unique<HashedStore<multi::hashed_unique<Name>>>(path);
    }
    return std::make_unique<HashedStore<multi::hashed_non_unique<Name>>>(path);
}

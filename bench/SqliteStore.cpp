#include <sqlite3.h>

#include "Store.h"

namespace {

void Expect(int wanted, int got) {
    if (got != wanted) {
        Fail(std::string("SQLite: ") + sqlite3_errstr(got));
    }
}

// SQLite in memory as its friends would tune it: prepared statements, one transaction, no mutexes,
// no statistics. A small table is serialized into its file and a large one copied by the backup
// functions, whichever was measured to be faster; reading is fastest through deserialize.
class SqliteStore final : public Store {
  public:
    SqliteStore(const std::string& path, bool unique_names)
        : path_(path), unique_(unique_names ? "UNIQUE" : "") {}

    void Run(Op op, const Record& record, Answer* answer) override {
        switch (op) {
            case kCommit:
                Save();
                return Execute("BEGIN");
            case kRollback:
                return Execute("ROLLBACK; BEGIN");
            case kClose:
                return Close();
            case kOpen:
                return Open();
            case kPrepare:
                return Prepare();
            default:
                return Query(op, record, answer);
        }
    }

  private:
    static constexpr int kMode = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    static constexpr sqlite3_int64 kSmall = 32 << 20;

    void Query(Op op, const Record& record, Answer* answer) {
        sqlite3_stmt* s = statements_[op];
        Bind(s, kOps[op].takes, record);
        int result;
        while ((result = sqlite3_step(s)) == SQLITE_ROW) {
            if (op != kDeleteOdd) {
                answer->Add(Fetch(s, kOps[op].fetches));
            } else if (const int id = sqlite3_column_int(s, 0); id % 2 != 0) {
                Query(kDelete, {id, 0, {}, {}}, nullptr);
                answer->Add(1);
            }
        }
        Expect(SQLITE_DONE, result);
        sqlite3_reset(s);
    }

    static void Bind(sqlite3_stmt* s, unsigned fields, const Record& record) {
        if (fields & kId) {
            sqlite3_bind_int(s, 1, record.id);
        }
        if (fields & kName) {
            sqlite3_bind_text(s, 2, record.name, -1, SQLITE_STATIC);
        }
        if (fields & kGroup) {
            sqlite3_bind_int(s, 3, record.group);
        }
        if (fields & kBlob) {
            sqlite3_bind_blob(s, 4, record.blob, sizeof record.blob, SQLITE_STATIC);
        }
    }

    static uint64_t Fetch(sqlite3_stmt* s, unsigned fields) {
        uint64_t digest = 0;
        int column = 0;
        for (unsigned field = kId; field <= kBlob; field *= 2) {
            if (fields & field & (kId | kGroup)) {
                digest = Mix(digest, sqlite3_column_int(s, column++));
            } else if (fields & field) {
                const void* data = sqlite3_column_blob(s, column);
                digest = Mix(digest, data, size_t(sqlite3_column_bytes(s, column++)));
            }
        }
        return digest;
    }

    void Open() {
        Expect(SQLITE_OK, sqlite3_open_v2(":memory:", &db_, kMode, nullptr));
        bytes_ = ReadFile(path_);
        if (bytes_.empty()) {
            Execute("CREATE TABLE t(id INTEGER UNIQUE, name TEXT, grp INTEGER, data BLOB)");
            return Execute("CREATE " + unique_ + " INDEX by_name ON t(name)");
        }
        const auto size = static_cast<sqlite3_int64>(bytes_.size());
        auto* data = reinterpret_cast<unsigned char*>(&bytes_[0]);
        Expect(SQLITE_OK, sqlite3_deserialize(db_, "main", data, size, size, 0));
    }

    void Prepare() {
        for (int i = 0; i <= kDeleteOdd; ++i) {
            Expect(SQLITE_OK, sqlite3_prepare_v2(db_, kOps[i].sql, -1, &statements_[i], nullptr));
        }
        Execute("BEGIN");
    }

    void Save() {
        Execute("COMMIT");
        sqlite3_int64 size = 0;
        sqlite3_serialize(db_, "main", &size, SQLITE_SERIALIZE_NOCOPY);  // just for the size
        if (size > kSmall) {
            return Backup();
        }
        unsigned char* bytes = sqlite3_serialize(db_, "main", &size, 0);
        WriteFile(path_, bytes, static_cast<size_t>(size));
        sqlite3_free(bytes);
    }

    void Backup() {
        sqlite3* file = nullptr;
        std::remove(path_.c_str());
        Expect(SQLITE_OK, sqlite3_open_v2(path_.c_str(), &file, kMode, nullptr));
        Execute("PRAGMA synchronous = OFF; PRAGMA journal_mode = OFF", file);
        sqlite3_backup* backup = sqlite3_backup_init(file, "main", db_, "main");
        Expect(SQLITE_DONE, sqlite3_backup_step(backup, -1));
        sqlite3_backup_finish(backup);
        Expect(SQLITE_OK, sqlite3_close(file));
    }

    void Close() {
        Save();
        for (sqlite3_stmt* statement : statements_) {
            sqlite3_finalize(statement);
        }
        Expect(SQLITE_OK, sqlite3_close(db_));
    }

    void Execute(const std::string& sql) { Execute(sql.c_str(), db_); }
    static void Execute(const char* sql, sqlite3* db) {
        Expect(SQLITE_OK, sqlite3_exec(db, sql, nullptr, nullptr, nullptr));
    }

    const std::string path_, unique_;
    std::string bytes_;  // which a table that was read lives in
    sqlite3* db_ = nullptr;
    sqlite3_stmt* statements_[kDeleteOdd + 1] = {};
};

}  // namespace

StorePtr MakeSqliteStore(const std::string& path, bool unique_names) {
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    return std::make_unique<SqliteStore>(path, unique_names);
}

#include "Store.h"
#include "vamel/errors.h"

namespace {

void Expect(int32_t wanted, int32_t got) {
    if (got != wanted) {
        Fail(vamel_result_name(got));
    }
}
void Check(int32_t got) {
    Expect(VAMEL_OK, got);
}

struct Text {  // a platform string
    explicit Text(const char* text)
        : ref(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8)) {}
    Text(const Text&) = delete;
    ~Text() { CFRelease(ref); }
    const CFStringRef ref;
};

// vamel as a host uses it: the strings of field names are made once, those of values for each call.
class VamelStore final : public Store {
  public:
    VamelStore(const std::string& path, bool unique_names)
        : path_(path.c_str()), unique_names_(unique_names) {}

    void Run(Op op, const Record& record, Answer* answer) override {
        switch (op) {
            case kSetGroup:
            case kSetName:
            case kDelete:
                return Change(op, record);
            case kCommit:
                Check(vamel_commit(db_));
                return Check(vamel_begin(db_));
            case kRollback:
                Check(vamel_rollback(db_));
                return Check(vamel_begin(db_));
            case kClose:
                Check(vamel_finalize(&stmt_));
                return Check(vamel_close(&db_));
            case kOpen:
                return Open();
            case kPrepare:
                Check(vamel_begin(db_));
                return Check(vamel_prepare(db_, &stmt_));
            default:
                return InsertOrSelect(op, record, answer);
        }
    }

  private:
    void InsertOrSelect(Op op, const Record& record, Answer* answer) {
        vamel_clear_bind(stmt_);
        if (op == kByRange) {
            BindInt(group_, record.group, VAMEL_GREATER_OR_EQUAL);
            BindInt(group_, record.group + kGroupSpan, VAMEL_LESS);
        } else {
            Bind(kOps[op].takes, record);
        }
        if (op == kInsert) {
            return Check(vamel_insert(db_, stmt_));
        }
        Check(vamel_select(db_, stmt_, nullptr));
        while (vamel_step(stmt_) == VAMEL_ROW) {
            if (op != kDeleteOdd) {
                answer->Add(Fetch(kOps[op].fetches));
            } else if (FetchInt(id_) % 2 != 0) {
                Check(vamel_delete(db_, stmt_));
                answer->Add(1);
            }
        }
    }

    void Change(Op op, const Record& record) {
        vamel_clear_bind(stmt_);
        BindInt(id_, record.id);
        Check(vamel_select(db_, stmt_, nullptr));
        Expect(VAMEL_ROW, vamel_step(stmt_));
        if (op == kDelete) {
            return Check(vamel_delete(db_, stmt_));
        }
        vamel_clear_bind(stmt_);
        Bind(kOps[op].takes & ~kId, record);
        Check(vamel_update(db_, stmt_));
    }

    void Bind(unsigned fields, const Record& record) {
        if (fields & kId) {
            BindInt(id_, record.id);
        }
        if (fields & kName) {
            const Text value(record.name);
            Check(vamel_bind_text(stmt_, &name_.ref, &value.ref, VAMEL_EQUAL));
        }
        if (fields & kGroup) {
            BindInt(group_, record.group);
        }
        if (fields & kBlob) {
            Check(vamel_bind_binary(stmt_, &blob_.ref, record.blob, sizeof record.blob, 0));
        }
    }

    uint64_t Fetch(unsigned fields) {
        uint64_t digest = fields & kId ? Mix(0, FetchInt(id_)) : 0;
        if (fields & kName) {
            CFStringRef value = nullptr;
            UInt8 name[sizeof Record::name];
            CFIndex size = 0;
            Check(vamel_fetch_text(stmt_, &name_.ref, &value));
            CFStringGetBytes(value, CFRangeMake(0, CFStringGetLength(value)), kCFStringEncodingUTF8,
                             0, 0, name, sizeof name, &size);
            digest = Mix(digest, name, static_cast<size_t>(size));
        }
        if (fields & kGroup) {
            digest = Mix(digest, FetchInt(group_));
        }
        if (fields & kBlob) {
            const void* data = nullptr;
            uint32_t size = 0;
            Check(vamel_fetch_binary(stmt_, &blob_.ref, &data, &size));
            digest = Mix(digest, data, size);
        }
        return digest;
    }

    void BindInt(const Text& field, int32_t value, int32_t compare = VAMEL_EQUAL) {
        Check(vamel_bind_int(stmt_, &field.ref, value, compare));
    }

    int32_t FetchInt(const Text& field) {
        int32_t value = 0;
        Check(vamel_fetch_int(stmt_, &field.ref, &value));
        return value;
    }

    void Open() {
        constexpr uint8_t kBoth = VAMEL_FLAG_INDEXED | VAMEL_FLAG_UNIQUE;
        const vamel_field_info fields[] = {
            {&id_.ref, VAMEL_TYPE_INTEGER, kBoth},
            {&name_.ref, VAMEL_TYPE_TEXT, unique_names_ ? kBoth : uint8_t{VAMEL_FLAG_INDEXED}},
            {&group_.ref, VAMEL_TYPE_INTEGER, 0},
            {&blob_.ref, VAMEL_TYPE_BINARY, 0}};
        vamel_env* env = nullptr;
        Check(vamel_alloc_env(&env));
        for (const vamel_field_info& field : fields) {
            Check(vamel_set_env(env, VAMEL_OPTION_FIELD, &field));
        }
        const int32_t result = vamel_open(&path_.ref, env, &db_);
        Expect(result == VAMEL_NO_FILE ? VAMEL_NO_FILE : VAMEL_OK, result);
        vamel_free_env(&env);
    }

    const Text path_, id_{"id"}, name_{"name"}, group_{"group"}, blob_{"data"};
    const bool unique_names_;
    vamel_db* db_ = nullptr;
    vamel_stmt* stmt_ = nullptr;
};

}  // namespace

StorePtr MakeVamelStore(const std::string& path, bool unique_names) {
    return std::make_unique<VamelStore>(path, unique_names);
}

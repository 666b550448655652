#include "tools/UniqueGuard.h"

#include <new>

#include "base/Status.h"

namespace tool {

namespace {

void Check(int32_t status) {
    if (status != ENGINE_OK) {
        throw std::bad_alloc();
    }
}

}  // namespace

UniqueGuard::UniqueGuard(const ImportSchema& schema) {
    CDBFieldArray fields;
    for (const ImportField& field : schema.GetFields()) {
        CCString name;
        if ((field.flags & VAMEL_FLAG_UNIQUE) != 0) {
            name.CopyString(field.name.c_str(), -1);
            Check(fields.CreateField(name, static_cast<int32_t>(field.type), field.flags));
        }
    }
    Check(table_.Init(&fields));
    for (const ImportField& field : schema.GetFields()) {
        fields_.push_back(table_.GetFields()->SearchField(field.name.c_str()));
    }
}

void UniqueGuard::NeedRecord() {
    if (record_ == nullptr) {
        CDBNode* made = nullptr;
        Check(table_.CreateNode(&made));
        record_.reset(made);
    }
}

uint64_t UniqueGuard::Put(size_t field, std::string_view bytes) {
    if (fields_[field] == nullptr) {
        return kFree;
    }
    NeedRecord();
    DATASTRUCT value;
    value.field = fields_[field];
    value.data = const_cast<char*>(bytes.data());
    value.length = static_cast<uint32_t>(bytes.size());
    const int32_t status = table_.PutNodeValue(record_.get(), &value, nullptr);
    if (status == ENGINE_DUPLICATE) {
        return FindHolder(value);
    }
    Check(status);
    return kFree;
}

uint64_t UniqueGuard::FindHolder(const DATASTRUCT& value) {
    CDBSearch search;
    Check(table_.FindNodes(&search, &value));
    const CDBNode* holder = search.GetFirstCache();
    return holder != nullptr ? where_[holder->GetSequence() - 1] : where_.back();
}

void UniqueGuard::EndRecord(uint64_t where) {
    NeedRecord();
    Check(table_.InsertNode(record_.get()));
    static_cast<void>(record_.release());  // the table's from now on
    where_.push_back(where);
}

}  // namespace tool

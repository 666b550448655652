#include "api/CVLStatement.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

CVLStatement::~CVLStatement() {
    DeleteSearch();
    free_bind_data();
    free_fetch_data();
}

int32_t CVLStatement::CreateSearch(std::unique_ptr<CDBSearch>* old) {
    std::unique_ptr<CDBSearch> previous = cursor_.ExchangeSearch(nullptr);
    if (old != nullptr) {
        *old = std::move(previous);
    } else {
        previous.reset();
    }
    std::unique_ptr<CDBSearch> made = std::move(spare_);
    if (made == nullptr) {
        made.reset(new (std::nothrow) CDBSearch);
    }
    cursor_.ExchangeSearch(std::move(made));
    return GetSearch() != nullptr ? VAMEL_OK : VAMEL_ERR_MEMORY;
}

void CVLStatement::DeleteSearch() {
    cursor_.ExchangeSearch(nullptr);
}

void CVLStatement::RestoreSearch(std::unique_ptr<CDBSearch> old) {
    cursor_.ExchangeSearch(std::move(old));
}

void CVLStatement::RecycleSearch(std::unique_ptr<CDBSearch> old) {
    if (old != nullptr && old->IsSmall()) {
        old->Clear();
        spare_ = std::move(old);
    }
}

int32_t CVLStatement::MakeCurrent(CDBNode* record) {
    cursor_.SetCurrent(record);
    return record != nullptr ? VAMEL_ROW : VAMEL_DONE;
}

int32_t CVLStatement::step() {
    CDBSearch* search = GetSearch();
    return search != nullptr ? MakeCurrent(search->GetNextCache()) : VAMEL_ERR_ARGUMENT;
}

int32_t CVLStatement::reset() {
    CDBSearch* search = GetSearch();
    return search != nullptr ? MakeCurrent(search->GetFirstCache()) : VAMEL_ERR_ARGUMENT;
}

int32_t CVLStatement::count(uint32_t* count_out) const {
    const CDBSearch* search = GetSearch();
    if (search == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    *count_out = search->GetCount();
    return VAMEL_OK;
}

// One block: the descriptor and, right behind it, the bytes.
DATASTRUCT* CVLStatement::alloc_bind_data(const DATASTRUCT& value) {
    const size_t size = sizeof(DATASTRUCT) + value.length;
    void* block = size > value.length ? std::malloc(size) : nullptr;  // it wraps on 32-bit hosts
    if (block == nullptr) {
        return nullptr;
    }
    auto* copy = ::new (block) DATASTRUCT(value);
    copy->data = copy + 1;
    if (value.data != nullptr) {
        std::memcpy(copy->data, value.data, value.length);
    }
    try {
        bind_data_.push_back(copy);
    } catch (const std::bad_alloc&) {
        std::free(block);
        return nullptr;
    }
    return copy;
}

void CVLStatement::free_bind_data() {
    for (DATASTRUCT* value : bind_data_) {
        std::free(value);
    }
    bind_data_.clear();
}

int32_t CVLStatement::reg_fetch_str(CFStringRef string) {
    try {
        fetch_str_.push_back(string);
    } catch (const std::bad_alloc&) {
        return VAMEL_ERR_MEMORY;
    }
    return VAMEL_OK;
}

int32_t CVLStatement::reg_fetch_binary(std::unique_ptr<CCBuffer> buffer) {
    try {
        fetch_binary_.push_back(std::move(buffer));
    } catch (const std::bad_alloc&) {
        return VAMEL_ERR_MEMORY;
    }
    return VAMEL_OK;
}

void CVLStatement::free_fetch_str() {
    for (CFStringRef string : fetch_str_) {
        CFRelease(string);
    }
    fetch_str_.clear();
}

void CVLStatement::free_fetch_binary() {
    fetch_binary_.clear();
}

void CVLStatement::free_fetch_data() {
    free_fetch_str();
    free_fetch_binary();
}

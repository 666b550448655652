#include "store/CDBNode.h"

#include <algorithm>
#include <memory>
#include <new>

#include "base/Status.h"

namespace {

constexpr size_t kAlign = alignof(CDBNode);
constexpr size_t kMostRoom = UINT16_MAX / kAlign * kAlign - sizeof(CDBNode);

static_assert(sizeof(CDBNode) % alignof(CDBNodeValue) == 0, "values follow the record");
static_assert(kAlign >= alignof(CDBNodeValue) && kAlign >= alignof(CDBKeyLink), "and keys, values");

constexpr size_t RoundUp(size_t size) {
    return (size + kAlign - 1) / kAlign * kAlign;
}

}  // namespace

CDBNode* CDBNode::Create(const CDBNodeRoom& room) {
    // What does not fit into a block goes to the heap, value by value.
    const size_t end = sizeof(CDBNode) + std::min(RoundUp(room.values), kMostRoom);
    void* block = ::operator new(end + room.keys * sizeof(CDBKeyLink), std::nothrow);
    if (block == nullptr) {
        return nullptr;
    }
    auto* record = ::new (block) CDBNode;
    record->free_ = sizeof(CDBNode);
    record->end_ = static_cast<uint16_t>(end);
    record->keys_ = static_cast<uint16_t>(room.keys);
    std::uninitialized_default_construct_n(record->Keys(), room.keys);
    return record;
}

CDBNode::~CDBNode() {
    DeleteAllNodeValues();
    head_ = nullptr;
}

// Values in the record's own block end with it.
void CDBNode::Destroy(CDBNodeValue* value) {
    const auto at = reinterpret_cast<uintptr_t>(value) - reinterpret_cast<uintptr_t>(this);
    if (at < end_) {
        value->~CDBNodeValue();
    } else {
        delete value;
    }
}

CDBNodeValue* CDBNode::MakeValue(const DATASTRUCT* value, uint32_t reserve) {
    const size_t room = CDBNodeValue::GetRoom(std::max(value->length, reserve));
    const size_t size = RoundUp(sizeof(CDBNodeValue) + room);
    if (size > static_cast<size_t>(end_ - free_)) {
        return CreateNodeValue(value);
    }
    auto* made = ::new (Block() + free_) CDBNodeValue(value->field, static_cast<uint32_t>(room));
    free_ = static_cast<uint16_t>(free_ + size);
    made->SetValue(value);  // cannot fail: there is room
    return made;
}

CDBNodeValue* CDBNode::InsertNodeValue(CDBNodeValue* value) {
    if (head_ == nullptr) {
        head_ = value;
        return value;
    }
    CDBNodeValue* last = head_;
    while (last->GetNext() != nullptr) {
        last = last->GetNext();
    }
    last->SetNext(value);
    return value;
}

CDBNodeValue* CDBNode::CreateNodeValue(const DATASTRUCT* value) {
    auto* made = new (std::nothrow) CDBNodeValue(value->field);
    if (made != nullptr && made->SetValue(value) != ENGINE_OK) {
        delete made;
        return nullptr;
    }
    return made;
}

int32_t CDBNode::PutNodeValue(const DATASTRUCT* value, uint32_t reserve) {
    if (CDBNodeValue* held = SearchNodeValue(value->field)) {
        return held->SetValue(value);
    }
    CDBNodeValue* made = MakeValue(value, reserve);
    if (made == nullptr) {
        return ENGINE_MEMORY;
    }
    InsertNodeValue(made);
    return ENGINE_OK;
}

bool CDBNode::HasRoomFor(const std::vector<DATASTRUCT*>& values) const {
    size_t left = static_cast<size_t>(end_ - free_);
    for (const DATASTRUCT* value : values) {
        if (const CDBNodeValue* held = SearchNodeValue(value->field)) {
            if (!held->HasRoomFor(value->length)) {
                return false;
            }
            continue;
        }
        // A long one might be longer still where it is bound a second time.
        constexpr size_t size = RoundUp(sizeof(CDBNodeValue));
        if (size > left || CDBNodeValue::GetRoom(value->length) != 0) {
            return false;
        }
        left -= size;
    }
    return true;
}

int32_t CDBNode::GetNodeValue(DATASTRUCT* value) const {
    const CDBNodeValue* held = SearchNodeValue(value->field);
    return held != nullptr ? held->GetValue(value->data, &value->length) : ENGINE_NO_VALUE;
}

int32_t CDBNode::DeleteNodeValue(CDBNodeValue* value) {
    if (value == nullptr) {
        return ENGINE_NO_VALUE;
    }
    CDBNodeValue* previous = nullptr;
    CDBNodeValue* current = head_;
    while (current != nullptr && current != value) {
        previous = current;
        current = current->GetNext();
    }
    if (previous == nullptr) {
        head_ = nullptr;
    } else if (current == value) {
        previous->SetNext(value->GetNext());
    }
    Destroy(value);
    return ENGINE_OK;
}

int32_t CDBNode::DeleteNodeValue(const DATASTRUCT* value) {
    return DeleteNodeValue(SearchNodeValue(value->field));
}

int32_t CDBNode::DeleteAllNodeValues() {
    CDBNodeValue* value = head_;
    while (value != nullptr) {
        CDBNodeValue* next = value->GetNext();
        Destroy(value);
        value = next;
    }
    return ENGINE_OK;
}

#include "store/CDBNode.h"

#include <new>

#include "base/Status.h"

CDBNode::~CDBNode() {
    DeleteAllNodeValues();
    head_ = nullptr;
}

CDBNodeValue* CDBNode::SearchNodeValue(const CDBField* field) const {
    CDBNodeValue* value = head_;
    while (value != nullptr && value->GetField() != field) {
        value = value->GetNext();
    }
    return value;
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

int32_t CDBNode::PutNodeValue(const DATASTRUCT* value) {
    if (CDBNodeValue* held = SearchNodeValue(value->field)) {
        return held->SetValue(value);
    }
    CDBNodeValue* made = CreateNodeValue(value);
    if (made == nullptr) {
        return ENGINE_MEMORY;
    }
    InsertNodeValue(made);
    return ENGINE_OK;
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
    delete value;
    return ENGINE_OK;
}

int32_t CDBNode::DeleteNodeValue(const DATASTRUCT* value) {
    return DeleteNodeValue(SearchNodeValue(value->field));
}

int32_t CDBNode::DeleteAllNodeValues() {
    CDBNodeValue* value = head_;
    while (value != nullptr) {
        CDBNodeValue* next = value->GetNext();
        delete value;
        value = next;
    }
    return ENGINE_OK;
}

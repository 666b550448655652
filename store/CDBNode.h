#ifndef VAMEL_STORE_CDBNODE_H
#define VAMEL_STORE_CDBNODE_H

#include <cstdint>

#include "store/CDBNodeValue.h"

// A record: an owned chain of values, in the order in which fields first received one, at most one
// for each field. Fields are matched by identity.
class CDBNode {
  public:
    CDBNode() = default;
    CDBNode(const CDBNode&) = delete;
    CDBNode& operator=(const CDBNode&) = delete;
    virtual ~CDBNode();

    CDBNodeValue* GetHead() const { return head_; }

    // The value for the field, or null.
    CDBNodeValue* SearchNodeValue(const CDBField* field) const;

    // Append a value, unchecked, its next link as it is; the record owns it from now on. The value.
    CDBNodeValue* InsertNodeValue(CDBNodeValue* value);

    // A new value, in no record, with a copy of the descriptor's bytes; null when memory is short.
    // The caller owns it.
    static CDBNodeValue* CreateNodeValue(const DATASTRUCT* value);

    // Set the value for the descriptor's field. ENGINE_OK, or ENGINE_MEMORY with nothing changed.
    int32_t PutNodeValue(const DATASTRUCT* value);

    // Read the value for the descriptor's field: its length, and all its bytes where data is not
    // null; the caller has made room. ENGINE_OK, or ENGINE_NO_VALUE, the descriptor untouched.
    int32_t GetNodeValue(DATASTRUCT* value) const;

    // Destroy one value. ENGINE_OK, or ENGINE_NO_VALUE for none. Removing the FIRST value empties
    // the record: the values behind it are cut off and belong to nobody. So it is defined; the
    // library itself never removes a single value.
    int32_t DeleteNodeValue(CDBNodeValue* value);
    int32_t DeleteNodeValue(const DATASTRUCT* value);

    // Destroy all values. ENGINE_OK. The record still refers to the first of them: it may neither
    // be read nor destroyed afterwards. So it is defined; the library itself never calls it.
    int32_t DeleteAllNodeValues();

  private:
    CDBNodeValue* head_ = nullptr;
};

#endif

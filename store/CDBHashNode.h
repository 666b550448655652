#ifndef VAMEL_STORE_CDBHASHNODE_H
#define VAMEL_STORE_CDBHASHNODE_H

class CDBNode;

// One record's place in a bucket of an index.
struct CDBHashNode {
    CDBNode* record = nullptr;
    CDBHashNode* previous = nullptr;
    CDBHashNode* next = nullptr;
};

#endif

#include <memory>
#include <utility>

#include "api/Handles.h"
#include "base/Status.h"

namespace {

// Whether a record operation has both handles, and they belong together.
bool AreMates(vamel_db* db, vamel_stmt* stmt) {
    return db != nullptr && stmt != nullptr && Object(stmt)->GetTable() == Object(db)->GetTable();
}

// Fills a record that is not linked in, in the order of binding, and links it in; on failure it is
// destroyed.
int32_t FillAndInsert(CDBTable* table, std::unique_ptr<CDBNode> record, const CVLStatement* stmt) {
    int32_t status = ENGINE_OK;
    const std::vector<DATASTRUCT*>& values = stmt->GetBindData();
    for (size_t i = 0; status == ENGINE_OK && i < values.size(); ++i) {
        status = table->PutNodeValue(record.get(), values[i], nullptr);
    }
    if (status == ENGINE_OK) {
        status = table->InsertNode(record.get());
    }
    if (status == ENGINE_OK) {
        static_cast<void>(record.release());  // the table's from now on
    }
    return status;
}

void Remove(CDBTable* table, CVLStatement* stmt, CDBNode* record) {
    stmt->ReleaseFromCache(record);
    table->ReleaseNode(record, stmt->GetCursor());
    CDBTable::DeleteNode(record);
}

// The result of an operation that damages the database when it fails.
int32_t Finish(CVLDatabase* db, int32_t status) {
    if (status != ENGINE_OK) {
        db->SetDamaged();
    }
    return DB_ERROR(status);
}

int32_t Find(CDBTable* table, const CVLStatement* stmt) {
    if (stmt->GetBindData().empty()) {
        return table->FindNodes(stmt->GetSearch(), nullptr);
    }
    for (const DATASTRUCT* value : stmt->GetBindData()) {
        const int32_t status = table->FindNodes(stmt->GetSearch(), value);
        if (status != ENGINE_OK) {
            return status;
        }
    }
    return ENGINE_OK;
}

}  // namespace

int32_t vamel_insert(vamel_db* db, vamel_stmt* stmt) {
    if (!AreMates(db, stmt)) {
        return VAMEL_ERR_ARGUMENT;
    }
    CDBTable* table = Object(db)->GetTable();
    table->FetchAhead(Object(stmt)->GetBindData());
    CDBNode* record = nullptr;
    CDBNodeRoom room;
    for (const DATASTRUCT* value : Object(stmt)->GetBindData()) {
        room.AddValue(value->length);
    }
    int32_t status = table->CreateNode(&record, room);
    if (status == ENGINE_OK) {
        status = FillAndInsert(table, std::unique_ptr<CDBNode>(record), Object(stmt));
    }
    return Finish(Object(db), status);
}

int32_t vamel_update(vamel_db* db, vamel_stmt* stmt) {
    if (!AreMates(db, stmt)) {
        return VAMEL_ERR_ARGUMENT;
    }
    CDBNode* old = Object(stmt)->GetCurrent();
    if (old == nullptr) {
        return VAMEL_ERR_NO_VALUE;
    }
    const int32_t status = Object(db)->GetTable()->UpdateNode(old, Object(stmt)->GetBindData(),
                                                              Object(stmt)->GetCursor());
    return Finish(Object(db), status);
}

int32_t vamel_delete(vamel_db* db, vamel_stmt* stmt) {
    if (!AreMates(db, stmt)) {
        return VAMEL_ERR_ARGUMENT;
    }
    CDBNode* record = Object(stmt)->GetCurrent();
    if (record == nullptr) {
        return VAMEL_ERR_NO_VALUE;
    }
    Remove(Object(db)->GetTable(), Object(stmt), record);
    return VAMEL_OK;
}

int32_t vamel_select(vamel_db* db, vamel_stmt* stmt, uint32_t* count_out) {
    if (!AreMates(db, stmt)) {
        return VAMEL_ERR_ARGUMENT;
    }
    Object(db)->GetTable()->FetchAhead(Object(stmt)->GetBindData());
    std::unique_ptr<CDBSearch> old;
    if (Object(stmt)->CreateSearch(&old) != VAMEL_OK) {
        Object(db)->SetDamaged();
        return VAMEL_ERR_MEMORY;
    }
    if (count_out != nullptr) {
        *count_out = 0;
    }
    const int32_t status = Find(Object(db)->GetTable(), Object(stmt));
    if (status != ENGINE_OK) {
        Object(stmt)->RestoreSearch(std::move(old));
        return DB_ERROR(status);
    }
    Object(stmt)->RecycleSearch(std::move(old));
    if (count_out != nullptr) {
        Object(stmt)->count(count_out);
    }
    return VAMEL_OK;
}

#include "persist/CVLFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/BigEndian.h"
#include "base/PlatformAPI.h"
#include "base/Status.h"

namespace {

constexpr uint32_t kNumberSize = 4;
constexpr uint32_t kSmallRecord = 7;  // bytes, with one value of one byte
constexpr uint8_t kRecordEnd = 255;
constexpr int32_t kMostFieldsInFile = 255;
constexpr mode_t kEveryone = 0666;

// Closes a stream at the end of its scope.
struct Closer {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, Closer>;

}  // namespace

int32_t CVLFile::Serialize(CDBTable* table) {
    if (table == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    ClearBuffer();
    int32_t result = MakeRoom(table);
    if (result >= 0) {
        result = SerializeField(table);
    }
    if (result >= 0) {
        result = SerializeNodes(table);
    }
    if (result < 0) {
        return result;
    }
    try {
        Seal(kKey);
    } catch (int status) {
        return IO_ERROR(status);
    }
    return VAMEL_OK;
}

// Takes the memory for the whole file at once. An empty table is told apart first.
int32_t CVLFile::MakeRoom(CDBTable* table) {
    if (table->GetRecords()->GetCount() == 0) {
        return VAMEL_ERR_ARGUMENT;
    }
    const CDBFieldArray* fields = table->GetFields();
    uint64_t size = uint64_t{3} * kNumberSize + table->GetContentSize();
    for (uint32_t i = 0; i < fields->GetSize(); ++i) {
        const CCString& name = fields->GetField(i)->GetName();
        size += uint64_t{2} * kNumberSize + 2 + static_cast<uint32_t>(name.GetLength());
    }
    // One more than the file: a request for all that there is room for would grow again.
    return size < UINT32_MAX && AllocBuffer(static_cast<uint32_t>(size) + 1) != nullptr
               ? VAMEL_OK
               : VAMEL_ERR_MEMORY;
}

void CVLFile::WriteNumber(uint32_t number) {
    unsigned char bytes[4];
    StoreBigEndian(number, bytes);
    WriteBuffer(bytes, sizeof bytes);
}

void CVLFile::WriteByte(uint8_t byte) {
    WriteBuffer(&byte, 1);
}

int32_t CVLFile::SerializeField(CDBTable* table) {
    const CDBFieldArray* fields = table->GetFields();
    try {
        WriteNumber(fields->GetSize());
        for (uint32_t i = 0; i < fields->GetSize(); ++i) {
            const CDBField* field = fields->GetField(i);
            const uint32_t name_size = static_cast<uint32_t>(field->GetName().GetLength()) + 1;
            WriteNumber(static_cast<uint32_t>(field->GetType()));
            WriteByte(field->GetIndex());
            WriteNumber(name_size);
            WriteBuffer(field->GetName().GetText(), name_size);
        }
    } catch (int) {
        return VAMEL_ERR_MEMORY;
    }
    return VAMEL_OK;
}

void CVLFile::WriteRecord(const CDBNode* record) {
    uint64_t size = 1;
    for (const CDBNodeValue* v = record->GetHead(); v != nullptr; v = v->GetNext()) {
        size += 1 + kNumberSize + v->GetLength();
    }
    if (size > UINT32_MAX) {
        throw int{FILE_MEMORY};
    }
    unsigned char* to = Extend(static_cast<uint32_t>(size));
    for (const CDBNodeValue* v = record->GetHead(); v != nullptr; v = v->GetNext()) {
        *to++ = v->GetField()->GetIndex();
        StoreBigEndian(v->GetLength(), to);
        to += kNumberSize;
        v->GetValue(to, nullptr);
        to += v->GetLength();
    }
    *to = kRecordEnd;
}

int32_t CVLFile::SerializeNodes(CDBTable* table) {
    if (table->GetRecords()->GetCount() == 0) {
        return VAMEL_ERR_ARGUMENT;
    }
    try {
        WriteNumber(static_cast<uint32_t>(table->GetRecordCount()));
        CDBRecordList::Walk walk(*table->GetRecords());
        while (const CDBNode* record = walk.Next(CDBNode::kAllValues)) {
            WriteRecord(record);
        }
    } catch (int) {
        return VAMEL_ERR_MEMORY;
    }
    return VAMEL_OK;
}

int32_t CVLFile::Deserialize(CDBTable* table) {
    if (table == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    FieldMap fields = {};
    try {
        Unseal(kKey);
    } catch (int status) {
        return IO_ERROR(status);
    }
    Rewind();
    const int32_t result = DeserializeField(table, fields);
    return result < 0 ? result : DeserializeNodes(table, fields);
}

uint32_t CVLFile::ReadNumber() {
    unsigned char bytes[4];
    ReadBuffer(bytes, sizeof bytes);
    return LoadBigEndian(bytes);
}

uint8_t CVLFile::ReadByte() {
    uint8_t byte;
    ReadBuffer(&byte, 1);
    return byte;
}

// The name ends at its first zero byte, which need not lie within the stored size but must lie
// within the content.
void CVLFile::ReadName(CCString* name) {
    const uint32_t size = ReadNumber();
    const auto* text = reinterpret_cast<const char*>(GetCursor());
    const void* end = std::memchr(text, 0, GetRemaining());
    SkipPointer(size);
    if (end == nullptr) {
        throw int{FILE_BOUNDS};
    }
    if (name->CopyString(text, -1) == -1) {
        throw int{FILE_MEMORY};
    }
}

int32_t CVLFile::ReadField(CDBTable* table, FieldMap fields) {
    const auto type = static_cast<int32_t>(ReadNumber());
    const uint8_t number = ReadByte();
    CCString name;
    ReadName(&name);
    CDBField* field = table->GetFields()->SearchField(name);
    if (field == nullptr || field->GetType() != type) {
        return VAMEL_FIELDS_SKIPPED;
    }
    fields[number] = field;
    return VAMEL_OK;
}

int32_t CVLFile::DeserializeField(CDBTable* table, FieldMap fields) {
    if (table == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    int32_t result = VAMEL_OK;
    try {
        const auto count = static_cast<int32_t>(ReadNumber());
        if (count > kMostFieldsInFile) {
            return VAMEL_ERR_FORMAT;
        }
        for (int32_t i = 0; i < count; ++i) {
            if (ReadField(table, fields) != VAMEL_OK) {
                result = VAMEL_FIELDS_SKIPPED;
            }
        }
    } catch (int status) {
        return status == FILE_MEMORY ? VAMEL_ERR_MEMORY : VAMEL_ERR_FORMAT;
    }
    return result;
}

// The value at the cursor, which goes into the record if the table has a field for it.
int32_t CVLFile::ReadValue(CDBTable* table, CDBNode* record, CDBField* field) {
    DATASTRUCT value;
    value.field = field;
    value.length = ReadNumber();
    value.data = const_cast<unsigned char*>(GetCursor());
    SkipPointer(value.length);
    if (field == nullptr) {
        return VAMEL_FIELDS_SKIPPED;
    }
    return DB_ERROR(table->PutNodeValue(record, &value, nullptr));
}

CVLFile::Scout::Scout(const CVLFile& file, const CDBTable& table, CDBField* const* fields)
    : table_(table), fields_(fields), at_(file.GetCursor()), left_(file.GetRemaining()) {}

// The value whose number is at the cursor.
void CVLFile::Scout::AddValue(Seen* seen, CDBField* field, uint32_t length) const {
    seen->room.AddValue(length);
    const CDBValueMap* values = table_.GetValues(field);
    if (values != nullptr && seen->look_ups < kLookUps) {
        const uint32_t hash = values->FetchSlot(at_ + 1 + kNumberSize, length);
        seen->look_up[seen->look_ups++] = {values, hash};
    }
}

// A malformed record is found out when it is read; behind it there is nothing to know.
CVLFile::Scout::Seen CVLFile::Scout::Measure() {
    Seen seen;
    while (left_ > kNumberSize && *at_ != kRecordEnd) {
        const uint32_t length = LoadBigEndian(at_ + 1);
        const uint64_t size = 1 + kNumberSize + uint64_t{length};
        if (size >= left_) {
            left_ = 0;
            return seen;
        }
        if (fields_[*at_] != nullptr) {
            AddValue(&seen, fields_[*at_], length);
        }
        at_ += size;
        left_ -= size;
    }
    if (left_ != 0) {
        ++at_;
        --left_;
    }
    return seen;
}

// What is half way between the scout and the reader has its slots by now, and its records are
// fetched.
CDBNodeRoom CVLFile::Scout::Next() {
    while (measured_ < taken_ + kAhead) {
        seen_[measured_++ % kAhead] = Measure();
    }
    const Seen& half_way = seen_[(taken_ + kAhead / 2) % kAhead];
    for (size_t i = 0; i < half_way.look_ups; ++i) {
        half_way.look_up[i].values->FetchRecord(half_way.look_up[i].hash);
    }
    return seen_[taken_++ % kAhead].room;
}

int32_t CVLFile::ReadRecord(CDBTable* table, FieldMap fields, const CDBNodeRoom& room) {
    CDBNode* made = nullptr;
    if (table->CreateNode(&made, room) != ENGINE_OK) {
        return VAMEL_ERR_MEMORY;
    }
    std::unique_ptr<CDBNode> record(made);
    int32_t result = VAMEL_OK;
    for (uint8_t number = ReadByte(); number != kRecordEnd; number = ReadByte()) {
        const int32_t put = ReadValue(table, record.get(), fields[number]);
        if (put < 0) {
            return put;
        }
        if (put != VAMEL_OK) {
            result = put;
        }
    }
    const int32_t status = table->InsertNode(record.get());
    if (status != ENGINE_OK) {
        return DB_ERROR(status);
    }
    static_cast<void>(record.release());  // the table's from now on
    return result;
}

int32_t CVLFile::DeserializeNodes(CDBTable* table, FieldMap fields) {
    if (table == nullptr) {
        return VAMEL_ERR_ARGUMENT;
    }
    int32_t result = VAMEL_OK;
    try {
        const auto count = static_cast<int32_t>(ReadNumber());
        if (count > 0) {
            // A damaged count costs no more memory than a whole file of small records would.
            table->Reserve(std::min(static_cast<uint32_t>(count), GetRemaining() / kSmallRecord));
        }
        Scout scout(*this, *table, fields);
        for (int32_t i = 0; i < count; ++i) {
            const int32_t read = ReadRecord(table, fields, scout.Next());
            if (read < 0) {
                return read;
            }
            if (read != VAMEL_OK) {
                result = read;
            }
        }
    } catch (int) {
        table->Term();
        return VAMEL_ERR_FORMAT;
    }
    return result;
}

int32_t CVLFile::FileIn(const CCString& path) {
    if (IsFileExistAPI(path.GetText()) == 0) {
        return VAMEL_NO_FILE;
    }
    const Stream stream(std::fopen(path.GetText(), "rb"));
    if (stream == nullptr) {
        return VAMEL_ERR_READ;
    }
    try {
        FromFile(stream.get());
    } catch (int status) {
        return IO_ERROR(status);
    }
    return VAMEL_OK;
}

int32_t CVLFile::FileOut(const CCString& path) {
    if (IsFileExistAPI(path.GetText()) != 0) {
        DeleteFileAPI(path.GetText());
    }
    Stream stream(std::fopen(path.GetText(), "wb"));
    if (stream == nullptr) {
        return VAMEL_ERR_IO;
    }
    int32_t result = VAMEL_OK;
    try {
        ToFile(stream.get());
    } catch (int status) {
        result = IO_ERROR(status);
    }
    stream.reset();
    chmod(path.GetText(), kEveryone);
    return result;
}

#ifndef VAMEL_PERSIST_CVLFILE_H
#define VAMEL_PERSIST_CVLFILE_H

#include <cstdint>

#include "base/CCString.h"
#include "persist/CCBuffer.h"
#include "store/CDBTable.h"

// Turns a table into the bytes of a database file and back, and moves the bytes to and from the
// file; docs/file-format.md draws them. A file names its fields: the reader matches them by name
// and type, and skips what the table has no field for.
//
// All operations give a result code of the public header; none throws. One thread at a time.
class CVLFile : public CCBuffer {
  public:
    // What every file is enciphered with.
    static constexpr char kKey[] = "HorsesRunFasterThanTurtles";

    // The table's fields by the number that the file gives them.
    using FieldMap = CDBField* [256];

    // Build the file's bytes. VAMEL_OK; VAMEL_ERR_ARGUMENT for no table or a table without records;
    // VAMEL_ERR_MEMORY, also for more than 4 GiB.
    int32_t Serialize(CDBTable* table);

    // Decipher, check and load the records on top of those that the table holds. VAMEL_OK, or
    // VAMEL_FIELDS_SKIPPED where a value matched no field of the table. VAMEL_ERR_ARGUMENT for no
    // table. The checksum (VAMEL_ERR_CHECKSUM) or the field list (VAMEL_ERR_FORMAT,
    // VAMEL_ERR_MEMORY) failed: the table is untouched. The records are malformed
    // (VAMEL_ERR_FORMAT): the table is emptied, also of records that it held before. A record was
    // refused (VAMEL_ERR_DUPLICATE, VAMEL_ERR_MEMORY): the records before it stay.
    int32_t Deserialize(CDBTable* table);

    // The four steps. SerializeField: VAMEL_OK, VAMEL_ERR_MEMORY. DeserializeField also gives
    // VAMEL_FIELDS_SKIPPED for a stored field that the table lacks, whether or not it is used.
    int32_t SerializeField(CDBTable* table);
    int32_t SerializeNodes(CDBTable* table);
    int32_t DeserializeField(CDBTable* table, FieldMap fields);
    int32_t DeserializeNodes(CDBTable* table, FieldMap fields);

    // Read the file into the buffer. VAMEL_OK; VAMEL_NO_FILE; VAMEL_ERR_READ when it cannot be
    // opened; VAMEL_ERR_FORMAT when it is empty; VAMEL_ERR_IO; VAMEL_ERR_MEMORY.
    int32_t FileIn(const CCString& path);

    // Write the buffer to the file. The old file is REMOVED first and nothing makes the write
    // atomic: so hosts know it, and the backup file is the protection. The new file is readable and
    // writable by everyone, whatever the umask. VAMEL_OK, also after a short write; VAMEL_ERR_IO
    // when it cannot be opened; VAMEL_ERR_UNKNOWN for a buffer without a block.
    int32_t FileOut(const CCString& path);

  private:
    // Goes before the reader, some records ahead: says what each will need, and has the places
    // fetched from memory where its values will be looked for.
    class Scout {
      public:
        // Begins where the file's cursor stands.
        Scout(const CVLFile& file, const CDBTable& table, CDBField* const* fields);
        // What the next record will need.
        CDBNodeRoom Next();

      private:
        static constexpr uint32_t kAhead = 8;
        static constexpr size_t kLookUps = 4;  // of a record; more are not fetched for
        struct Seen {
            CDBNodeRoom room;
            size_t look_ups = 0;
            struct {
                const CDBValueMap* values = nullptr;
                uint32_t hash = 0;
            } look_up[kLookUps];
        };
        Seen Measure();
        void AddValue(Seen* seen, CDBField* field, uint32_t length) const;

        const CDBTable& table_;
        CDBField* const* fields_;
        const unsigned char* at_;
        uint64_t left_;
        Seen seen_[kAhead] = {};
        uint32_t measured_ = 0;
        uint32_t taken_ = 0;
    };

    int32_t MakeRoom(CDBTable* table);
    void WriteNumber(uint32_t number);
    void WriteByte(uint8_t byte);
    void WriteRecord(const CDBNode* record);
    uint32_t ReadNumber();
    uint8_t ReadByte();
    void ReadName(CCString* name);
    int32_t ReadField(CDBTable* table, FieldMap fields);
    int32_t ReadRecord(CDBTable* table, FieldMap fields, const CDBNodeRoom& room);
    int32_t ReadValue(CDBTable* table, CDBNode* record, CDBField* field);
};

#endif

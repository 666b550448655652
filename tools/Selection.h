#ifndef VAMEL_TOOLS_SELECTION_H
#define VAMEL_TOOLS_SELECTION_H

#include <cstdint>
#include <string>
#include <vector>

#include "store/CDBTable.h"
#include "tools/Criterion.h"
#include "tools/RecordPrinter.h"
#include "tools/TableFile.h"

namespace tool {

// The records of a file that meet criteria, as the library itself finds them: the library's own
// table is filled with the fields that the criteria ask for, and searched.
class Selection : public RecordSequence {
  public:
    // Fields that are to have an index in the table, by position. Throws Damage, std::bad_alloc.
    Selection(const TableFile& file, const std::vector<Criterion>& criteria,
              const std::vector<size_t>& indexed);

    // Searches, one criterion after the other. Gives one line for each that says what it did.
    std::vector<std::string> Search();

    void Rewind() override { started_ = false; }
    bool Next(Record* record) override;

  private:
    void MakeSchema(const std::vector<size_t>& indexed);
    void Load();
    void LoadRecord(const Record& record);
    std::string Apply(const Criterion& criterion);
    bool IsAsked(size_t field) const;

    const TableFile& file_;
    const std::vector<Criterion>& criteria_;
    RecordReader reader_;
    CDBTable table_;
    CDBSearch search_;
    std::vector<CDBField*> field_at_;  // by position in the file; null where no criterion asks
    std::vector<uint32_t> offsets_;    // of the records, in order
    bool started_ = false;
};

}  // namespace tool

#endif

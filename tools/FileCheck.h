#ifndef VAMEL_TOOLS_FILECHECK_H
#define VAMEL_TOOLS_FILECHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/TableFile.h"

namespace tool {

// Reads all of a file and collects what a host may stumble over, though the file is well-formed.
// One line for each kind of oddity and field, with the first record that shows it and how many do.
class FileCheck {
  public:
    // `unique`: positions of fields in which no value may stand twice. Throws Damage.
    FileCheck(const TableFile& file, const std::vector<size_t>& unique);

    const std::vector<std::string>& GetWarnings() const { return warnings_; }

  private:
    // How often something was seen, and where first.
    struct Finding {
        uint32_t count = 0;
        uint32_t first = 0;
        void Note(uint32_t record) {
            first = count == 0 ? record : first;
            ++count;
        }
    };

    void ReadRecords(const std::vector<size_t>& unique);
    void CheckRecord(const Record& record, uint32_t number);
    void CheckEnd(uint64_t end);
    void CheckUnique(size_t field, std::vector<uint32_t>* values);
    uint32_t FindRecord(size_t field, uint32_t offset) const;
    void Tell(const Finding& finding, const std::string& what);
    void TellAll();

    const TableFile& file_;
    std::vector<std::string> warnings_;
    std::vector<Finding> irregular_;  // by field
    std::vector<Finding> not_utf8_;   // by field
    Finding undescribed_;
    Finding repeated_;
    std::vector<std::vector<uint32_t>> values_;  // offsets of the values of unique fields
};

}  // namespace tool

#endif

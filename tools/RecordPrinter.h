#ifndef VAMEL_TOOLS_RECORDPRINTER_H
#define VAMEL_TOOLS_RECORDPRINTER_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/Output.h"
#include "tools/TableFile.h"

namespace tool {

class Columns;

// Records to print, in order; may be gone through more than once.
class RecordSequence {
  public:
    virtual ~RecordSequence() = default;
    virtual void Rewind() = 0;
    virtual bool Next(Record* record) = 0;  // false behind the last one
};

// All records of a file.
class AllRecords : public RecordSequence {
  public:
    explicit AllRecords(const TableFile& file) : file_(file) {}
    void Rewind() override { reader_.emplace(file_); }
    bool Next(Record* record) override { return reader_->Next(record); }

  private:
    const TableFile& file_;
    std::optional<RecordReader> reader_;
};

// What the command line says about printing.
struct PrintOptions {
    std::string format = "table";
    std::vector<std::string> fields;  // empty: all
    uint64_t limit = UINT64_MAX;
    bool schema = false;
    std::string output = "standard output";  // what messages call it

    void AddTo(CLI::App* sub);
};

// Prints records as a table, as CSV or as JSON lines, on standard output.
class RecordPrinter {
  public:
    // Throws ToolError with EXIT_WRONG_USE for a field that the file lacks.
    RecordPrinter(const TableFile& file, const PrintOptions& options);

    void Print(RecordSequence* records);

  private:
    void ChooseFields();
    void ChooseField(const std::string& name);
    template <typename Take>
    void ForEach(RecordSequence* records, Take take);
    Columns MakeColumns(RecordSequence* records);
    void Report(size_t shown) const;

    void PrintTable(RecordSequence* records);
    void PrintCsv(RecordSequence* records);
    void PrintJson(RecordSequence* records);
    void AppendSchema();
    void AppendJson(const Record& record);
    void AppendCells(const Record& record);

    const TableFile& file_;
    const PrintOptions& options_;
    std::vector<size_t> chosen_;   // positions of fields, in the order of columns
    std::vector<bool> is_chosen_;  // by position
    std::vector<std::string> cells_;
    Output out_;
};

}  // namespace tool

#endif

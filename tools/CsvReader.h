#ifndef VAMEL_TOOLS_CSVREADER_H
#define VAMEL_TOOLS_CSVREADER_H

#include <string>
#include <vector>

#include "tools/InputFile.h"

namespace tool {

// One cell of a row. Nothing between two commas is not quoted and has no text; "" is quoted and has
// none either.
struct CsvCell {
    std::string text;
    bool quoted = false;
};

// Reads rows of comma-separated values as RFC 4180 describes them: a cell may stand in quotes, and
// then holds commas, line ends and, doubled, quotes. Lines end with LF or CR LF, the last one
// perhaps with neither. Throws ToolError, with the line, for anything else.
class CsvReader {
  public:
    explicit CsvReader(InputFile* in) : in_(in) {}

    // The next row; false where there is none. An empty line is a row of one cell.
    bool Read(std::vector<CsvCell>* row);

    // The line in which the row read last begins.
    uint64_t GetLine() const { return line_; }

  private:
    bool ReadCell(CsvCell* cell);
    void ReadQuoted(CsvCell* cell);
    void Append(char byte, CsvCell* cell) const;
    void ReadPlain(CsvCell* cell);

    InputFile* in_;
    uint64_t line_ = 0;
};

}  // namespace tool

#endif

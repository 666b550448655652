#ifndef VAMEL_TOOLS_COLUMNS_H
#define VAMEL_TOOLS_COLUMNS_H

#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// A table for people: aligned columns under a head, cut to the width of the terminal.
//
//   code point  name                    category
//   ----------  ----------------------  --------
//           65  LATIN CAPITAL LETTER A  Lu
//
// Measure every row first; then Fit, if there is a width to keep; then append. Characters that
// would move the cursor are shown escaped; a cell that is too wide ends in U+2026.
class Columns {
  public:
    struct Column {
        std::string name;
        bool right = false;  // aligned to the right: numbers
    };

    explicit Columns(std::vector<Column> columns);

    void Measure(const std::vector<std::string>& row);

    // Make the widest columns narrower until all fit. Gives how many columns, from the first, are
    // shown; those behind do not fit even at their narrowest.
    size_t Fit(size_t width);

    void AppendHead(fmt::memory_buffer& out) const;
    void AppendRow(fmt::memory_buffer& out, const std::vector<std::string>& row) const;

    // The width to keep: COLUMNS, else that of the terminal at standard output, else 0 for none.
    static size_t TerminalWidth();

  private:
    void AppendCell(fmt::memory_buffer& out, size_t column, std::string_view text) const;

    std::vector<Column> columns_;
    std::vector<size_t> widths_;
    size_t shown_;
};

}  // namespace tool

#endif

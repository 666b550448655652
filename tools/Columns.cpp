#include "tools/Columns.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <numeric>

#include "tools/ValueText.h"

namespace tool {

namespace {

constexpr size_t kGap = 2;
constexpr size_t kNarrowest = 6;
constexpr std::string_view kMore = "\u2026";

// One character of a cell: its bytes and the places it takes.
struct Glyph {
    std::string_view bytes;
    size_t width;
};

size_t LengthOf(unsigned char first) {
    return first < 0x80 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
}

wchar_t CodeOf(std::string_view bytes) {
    auto code = static_cast<unsigned>(static_cast<unsigned char>(bytes[0]));
    if (bytes.size() > 1) {
        code &= 0x7fU >> bytes.size();
    }
    for (size_t i = 1; i < bytes.size(); ++i) {
        code = code << 6 | (static_cast<unsigned char>(bytes[i]) & 0x3fU);
    }
    return static_cast<wchar_t>(code);
}

// The text is UTF-8, and holds no control characters.
Glyph FirstGlyph(std::string_view text) {
    const std::string_view bytes = text.substr(0, LengthOf(static_cast<unsigned char>(text[0])));
    const int width = bytes.size() == 1 ? 1 : wcwidth(CodeOf(bytes));
    return {bytes, width >= 0 ? static_cast<size_t>(width) : 1};
}

size_t WidthOf(std::string_view text) {
    size_t width = 0;
    while (!text.empty()) {
        const Glyph glyph = FirstGlyph(text);
        width += glyph.width;
        text.remove_prefix(glyph.bytes.size());
    }
    return width;
}

// The beginning of the text that takes at most `room` places, and the places it takes.
Glyph Cut(std::string_view text, size_t room) {
    size_t width = 0;
    size_t at = 0;
    while (at < text.size()) {
        const Glyph glyph = FirstGlyph(text.substr(at));
        if (width + glyph.width > room) {
            break;
        }
        width += glyph.width;
        at += glyph.bytes.size();
    }
    return {text.substr(0, at), width};
}

// Calls `take` with the text as it may be shown.
template <typename Take>
void WithSafe(std::string_view text, Take take) {
    if (IsVisible(text)) {
        take(text);
    } else {
        take(std::string_view(Visible(text)));
    }
}

void Fill(fmt::memory_buffer& out, size_t count, char c) {
    for (; count != 0; --count) {
        out.push_back(c);
    }
}

}  // namespace

Columns::Columns(std::vector<Column> columns)
    : columns_(std::move(columns)), widths_(columns_.size()), shown_(columns_.size()) {
    for (size_t i = 0; i < columns_.size(); ++i) {
        WithSafe(columns_[i].name, [&](std::string_view name) { widths_[i] = WidthOf(name); });
    }
}

void Columns::Measure(const std::vector<std::string>& row) {
    for (size_t i = 0; i < row.size(); ++i) {
        WithSafe(row[i],
                 [&](std::string_view text) { widths_[i] = std::max(widths_[i], WidthOf(text)); });
    }
}

size_t Columns::Fit(size_t width) {
    const auto narrow = [&](size_t cap) {
        return std::accumulate(
            widths_.begin(), widths_.begin() + static_cast<std::ptrdiff_t>(shown_), size_t{0},
            [cap](size_t sum, size_t w) { return sum + std::min(w, cap) + kGap; });
    };
    while (shown_ > 1 && narrow(kNarrowest) > width + kGap) {
        --shown_;
    }
    size_t cap = std::max(width, kNarrowest);
    while (cap > kNarrowest && narrow(cap) > width + kGap) {
        --cap;
    }
    for (size_t& w : widths_) {
        w = std::min(w, cap);
    }
    return shown_;
}

void Columns::AppendHead(fmt::memory_buffer& out) const {
    std::vector<std::string> names;
    for (const Column& column : columns_) {
        names.push_back(column.name);
    }
    AppendRow(out, names);
    for (size_t i = 0; i < shown_; ++i) {
        Fill(out, i != 0 ? kGap : 0, ' ');
        Fill(out, widths_[i], '-');
    }
    out.push_back('\n');
}

void Columns::AppendRow(fmt::memory_buffer& out, const std::vector<std::string>& row) const {
    const size_t begin = out.size();
    for (size_t i = 0; i < shown_; ++i) {
        Fill(out, i != 0 ? kGap : 0, ' ');
        WithSafe(row[i], [&](std::string_view text) { AppendCell(out, i, text); });
    }
    size_t end = out.size();
    while (end != begin && out[end - 1] == ' ') {
        --end;
    }
    out.resize(end);
    out.push_back('\n');
}

void Columns::AppendCell(fmt::memory_buffer& out, size_t column, std::string_view text) const {
    const size_t room = widths_[column];
    Glyph part = Cut(text, room);
    const bool cut = part.bytes.size() != text.size();
    if (cut) {
        part = Cut(text, room - 1);
        ++part.width;
    }
    const size_t blanks = room - part.width;
    Fill(out, columns_[column].right ? blanks : 0, ' ');
    Append(out, part.bytes);
    Append(out, cut ? kMore : "");
    Fill(out, columns_[column].right ? 0 : blanks, ' ');
}

size_t Columns::TerminalWidth() {
    const char* asked = std::getenv("COLUMNS");
    const long number = asked != nullptr ? std::strtol(asked, nullptr, 10) : 0;
    if (number > 0) {
        return static_cast<size_t>(number);
    }
    winsize size{};
    if (isatty(STDOUT_FILENO) != 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        return size.ws_col;
    }
    return 0;
}

}  // namespace tool

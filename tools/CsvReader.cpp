#include "tools/CsvReader.h"

namespace tool {

bool CsvReader::Read(std::vector<CsvCell>* row) {
    row->clear();
    line_ = in_->GetLine();
    if (in_->Peek() == InputFile::kEnd) {
        return false;
    }
    while (ReadCell(&row->emplace_back())) {
    }
    return true;
}

// Reads a cell and what ends it. Whether another one follows in the row.
bool CsvReader::ReadCell(CsvCell* cell) {
    if (in_->Peek() == '"') {
        ReadQuoted(cell);
    } else {
        ReadPlain(cell);
    }
    const int end = in_->Next();
    if (end == '\r' && in_->Next() != '\n') {
        in_->Fail(line_, "a carriage return stands alone; put it in quotes or end lines with LF");
    }
    return end == ',';
}

void CsvReader::Append(char byte, CsvCell* cell) const {
    if (cell->text.size() == InputFile::kLongest) {
        in_->Fail(line_, "a cell is longer than a database file can be (4 GiB)");
    }
    cell->text.push_back(byte);
}

// The cursor is left at what ends the cell.
void CsvReader::ReadQuoted(CsvCell* cell) {
    const uint64_t line = in_->GetLine();
    cell->quoted = true;
    in_->Next();
    for (int byte = in_->Next(); byte != '"' || in_->Peek() == '"'; byte = in_->Next()) {
        if (byte == InputFile::kEnd) {
            in_->Fail(line, "a quote is opened and never closed");
        }
        if (byte == '"') {
            in_->Next();
        }
        Append(static_cast<char>(byte), cell);
    }
    const int end = in_->Peek();
    if (end != ',' && end != '\r' && end != '\n' && end != InputFile::kEnd) {
        in_->Fail(in_->GetLine(), "text follows a closing quote; double a quote inside quotes");
    }
}

void CsvReader::ReadPlain(CsvCell* cell) {
    for (int byte = in_->Peek();
         byte != ',' && byte != '\r' && byte != '\n' && byte != InputFile::kEnd;
         byte = in_->Peek()) {
        if (byte == '"') {
            in_->Fail(line_, "a quote stands inside a cell without quotes");
        }
        Append(static_cast<char>(in_->Next()), cell);
    }
}

}  // namespace tool

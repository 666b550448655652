#include "tools/RecordPrinter.h"

#include <unistd.h>

#include <algorithm>

#include "tools/Columns.h"
#include "tools/JsonValue.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

// Absent is blank; what is empty can be told from it.
void SetCell(std::string* cell, uint32_t type, std::optional<std::string_view> bytes) {
    fmt::memory_buffer text;
    if (bytes) {
        AppendPlain(text, type, *bytes);
    }
    cell->assign(text.data(), text.size());
    if (bytes && TextOf(*bytes).empty() && type != VAMEL_TYPE_INTEGER) {
        *cell = type == VAMEL_TYPE_TEXT && !bytes->empty() ? "\"\"" : *cell;
    }
}

// The reason, or nothing: a sign would be taken for a number beyond all.
std::string RefuseLimit(const std::string& limit) {
    const bool counts =
        !limit.empty() && limit.find_first_not_of("0123456789") == std::string::npos;
    return counts ? "" : fmt::format("'{}' is no number of records", limit);
}

}  // namespace

void PrintOptions::AddTo(CLI::App* sub) {
    sub->add_option("--format", format, "How to print: table, csv or jsonl (default table)")
        ->check(CLI::IsMember({"table", "csv", "jsonl"}))
        ->type_name("FORMAT");
    sub->add_option("--fields", fields, "Print only these fields: NAME[,NAME...]")
        ->allow_extra_args(false)
        ->type_name("NAMES");
    sub->add_option("--limit", limit, "Print at most so many records")
        ->check(CLI::Validator(RefuseLimit, ""))
        ->type_name("N");
    sub->add_flag("--schema", schema, "Begin JSON lines with a line that lists the fields");
}

RecordPrinter::RecordPrinter(const TableFile& file, const PrintOptions& options)
    : file_(file),
      options_(options),
      is_chosen_(file.GetFields().size()),
      out_(STDOUT_FILENO, options.output) {
    ChooseFields();
    cells_.resize(chosen_.size());
    for (const size_t field : chosen_) {
        is_chosen_[field] = true;
    }
}

void RecordPrinter::ChooseFields() {
    for (const std::string& names : options_.fields) {
        ChooseField(names);
    }
    for (size_t i = 0; options_.fields.empty() && i < file_.GetFields().size(); ++i) {
        chosen_.push_back(i);
    }
}

// A field's name may hold a comma: the whole is looked for first.
void RecordPrinter::ChooseField(const std::string& name) {
    const size_t comma = name.find(',');
    if (comma == std::string::npos || file_.FindField(name) != kNoField) {
        chosen_.push_back(file_.GetField(name));
        return;
    }
    ChooseField(name.substr(0, comma));
    ChooseField(name.substr(comma + 1));
}

template <typename Take>
void RecordPrinter::ForEach(RecordSequence* records, Take take) {
    records->Rewind();
    Record record;
    for (uint64_t i = 0; i < options_.limit && !out_.IsClosed() && records->Next(&record); ++i) {
        take(record);
        out_.FlushIfLarge();
    }
}

void RecordPrinter::Print(RecordSequence* records) {
    if (options_.format == "csv") {
        PrintCsv(records);
    } else if (options_.format == "jsonl") {
        PrintJson(records);
    } else {
        PrintTable(records);
    }
    out_.Flush();
}

void RecordPrinter::AppendCells(const Record& record) {
    for (size_t i = 0; i < chosen_.size(); ++i) {
        SetCell(&cells_[i], file_.GetFields()[chosen_[i]].type, record.Get(chosen_[i]));
    }
}

Columns RecordPrinter::MakeColumns(RecordSequence* records) {
    std::vector<Columns::Column> heads;
    for (const size_t field : chosen_) {
        const FieldSpec& known = file_.GetFields()[field];
        heads.push_back({known.name, known.type == VAMEL_TYPE_INTEGER});
    }
    Columns columns(std::move(heads));
    ForEach(records, [&](const Record& record) {
        AppendCells(record);
        columns.Measure(cells_);
    });
    return columns;
}

void RecordPrinter::PrintTable(RecordSequence* records) {
    if (chosen_.empty()) {
        return;
    }
    Columns columns = MakeColumns(records);
    const size_t width = Columns::TerminalWidth();
    if (width != 0) {
        Report(columns.Fit(width));
    }
    columns.AppendHead(out_.GetBuffer());
    ForEach(records, [&](const Record& record) {
        AppendCells(record);
        columns.AppendRow(out_.GetBuffer(), cells_);
    });
}

void RecordPrinter::Report(size_t shown) const {
    if (shown < chosen_.size()) {
        Tell(fmt::format("vamel: {} more fields do not fit; choose with --fields",
                         chosen_.size() - shown));
    }
}

void RecordPrinter::PrintCsv(RecordSequence* records) {
    fmt::memory_buffer& out = out_.GetBuffer();
    for (size_t i = 0; i < chosen_.size(); ++i) {
        Append(out, i != 0 ? "," : "");
        AppendCsvText(out, file_.GetFields()[chosen_[i]].name);
    }
    out.push_back('\n');
    ForEach(records, [&](const Record& record) {
        for (size_t i = 0; i < chosen_.size(); ++i) {
            Append(out, i != 0 ? "," : "");
            AppendCsv(out, file_.GetFields()[chosen_[i]].type, record.Get(chosen_[i]));
        }
        out.push_back('\n');
    });
}

void RecordPrinter::PrintJson(RecordSequence* records) {
    if (options_.schema) {
        AppendSchema();
    }
    ForEach(records, [&](const Record& record) { AppendJson(record); });
}

void RecordPrinter::AppendSchema() {
    std::vector<FieldSpec> fields;
    for (size_t i = 0; i < is_chosen_.size(); ++i) {
        if (is_chosen_[i]) {
            fields.push_back(file_.GetFields()[i]);
        }
    }
    AppendJsonFields(out_.GetBuffer(), fields);
    out_.GetBuffer().push_back('\n');
}

void RecordPrinter::AppendJson(const Record& record) {
    fmt::memory_buffer& out = out_.GetBuffer();
    char before = '{';
    for (const StoredValue& value : record.GetValues()) {
        if (value.field == kNoField || !is_chosen_[value.field]) {
            continue;
        }
        const FieldSpec& field = file_.GetFields()[value.field];
        out.push_back(before);
        before = ',';
        AppendJsonName(out, field.name);
        out.push_back(':');
        AppendJsonValue(out, field.type, value.bytes);
    }
    Append(out, before == '{' ? "{}\n" : "}\n");
}

}  // namespace tool

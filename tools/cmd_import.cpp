#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Progress.h"
#include "tools/RecordSource.h"
#include "tools/Replacement.h"
#include "tools/TableWriter.h"
#include "tools/ToolError.h"
#include "tools/UniqueGuard.h"

namespace tool {

namespace {

struct ImportOptions {
    std::string path;
    std::string input;
    std::vector<std::string> fields;
    std::string format;
    bool no_header = false;
};

// Where a record comes from: the number of a record of the old file, or this and a line.
constexpr uint64_t kFirstLine = uint64_t{1} << 32;

// One import, from the look at what is there to the message in the end.
class Importing {
  public:
    explicit Importing(const ImportOptions& options);
    int Run();

  private:
    void CopyOldRecords(const TableFile& old);
    std::unique_ptr<RecordSource> MakeSource();
    void AddRecords(RecordSource* source);
    void Add(const std::vector<NewValue>& values, uint64_t line);
    void MakeGuard();
    [[noreturn]] void FailTaken(size_t field, uint64_t line, uint64_t holder) const;
    bool IsJson();
    int Finish();

    const ImportOptions& options_;
    Replacement target_;
    ImportSchema schema_;
    TableWriter writer_;
    std::optional<UniqueGuard> guard_;
    std::optional<InputFile> in_;
    uint32_t old_records_ = 0;
};

bool EndsWith(const std::string& text, std::string_view end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), std::string::npos, end) == 0;
}

Importing::Importing(const ImportOptions& options)
    : options_(options), target_(options.path), schema_(options.fields) {}

int Importing::Run() {
    if (options_.path == "-") {
        throw ToolError(EXIT_WRONG_USE,
                        "a database cannot be written to standard output: it is "
                        "written beside the file and then put into its place");
    }
    target_.RequireOther(options_.input);
    if (target_.HasOldFile()) {
        CopyOldRecords(TableFile(options_.path));
    }
    in_.emplace(options_.input);
    const std::unique_ptr<RecordSource> source = MakeSource();
    MakeGuard();
    AddRecords(source.get());
    return Finish();
}

void Importing::MakeGuard() {
    if (!guard_ && schema_.HasUnique()) {
        guard_.emplace(schema_);
    }
}

// What a reader copes with and a writer would change is not touched.
void Importing::CopyOldRecords(const TableFile& old) {
    const auto refuse = [&old](const std::string& what) {
        throw ToolError(EXIT_DIFFERS, fmt::format("{}: {}; adding records would lose that: see "
                                                  "vamel check, and dump it into a new file",
                                                  old.GetName(), what));
    };
    if (!old.GetWarnings().empty()) {
        refuse(old.GetWarnings().front());
    }
    schema_.Adopt(old);
    MakeGuard();
    std::vector<NewValue> values;
    Record record;
    RecordReader reader(old);
    while (reader.Next(&record)) {
        values.clear();
        if (record.HasRepeats()) {
            refuse(fmt::format("record {} holds two values of one field", reader.GetDone()));
        }
        for (const StoredValue& value : record.GetValues()) {
            if (value.field == kNoField) {
                refuse(fmt::format("record {} holds a value that no field describes",
                                   reader.GetDone()));
            }
            values.push_back({value.field, std::string(value.bytes)});
        }
        ++old_records_;
        Add(values, old_records_);
    }
    if (reader.GetOffset() != old.GetContentSize()) {
        refuse("bytes follow the last record");
    }
}

bool Importing::IsJson() {
    if (!options_.format.empty()) {
        return options_.format == "jsonl";
    }
    for (const char* ending : {".jsonl", ".ndjson", ".json"}) {
        if (EndsWith(options_.input, ending)) {
            return true;
        }
    }
    return !EndsWith(options_.input, ".csv") && in_->Peek() == '{';
}

std::unique_ptr<RecordSource> Importing::MakeSource() {
    return IsJson() ? MakeJsonSource(&*in_, &schema_)
                    : MakeCsvSource(&*in_, &schema_, !options_.no_header);
}

void Importing::AddRecords(RecordSource* source) {
    Progress progress("importing", in_->GetSize());
    std::vector<NewValue> values;
    while (source->Read(&values)) {
        Add(values, source->GetLine());
        progress.Update(in_->GetDone(), writer_.GetRecordCount());
    }
}

// `line` is the number of a record for those of the old file.
void Importing::Add(const std::vector<NewValue>& values, uint64_t line) {
    for (const NewValue& value : values) {
        const uint64_t holder = guard_ ? guard_->Put(value.field, value.bytes) : UniqueGuard::kFree;
        if (holder != UniqueGuard::kFree) {
            FailTaken(value.field, line, holder);
        }
        writer_.AddValue(value.field, value.bytes);
    }
    if (guard_) {
        guard_->EndRecord(in_ ? kFirstLine + line : line);
    }
    writer_.EndRecord();
}

void Importing::FailTaken(size_t field, uint64_t line, uint64_t holder) const {
    const std::string& name = schema_.GetFields()[field].name;
    if (!in_) {
        throw ToolError(EXIT_DIFFERS,
                        fmt::format("{}: records {} and {} hold the same value of the field {}, "
                                    "which is to be unique",
                                    options_.path, holder, line, name));
    }
    in_->Fail(line, fmt::format("field {}: its value is to be unique, and {} holds the same", name,
                                holder >= kFirstLine
                                    ? fmt::format("line {}", holder - kFirstLine)
                                    : fmt::format("record {} of {}", holder, options_.path)));
}

int Importing::Finish() {
    const uint32_t added = writer_.GetRecordCount() - old_records_;
    if (added == 0) {
        Tell(fmt::format("vamel: {}: no record to add; {}", options_.path,
                         target_.HasOldFile()
                             ? "the file is as it was"
                             : "a table without records has no file, so none was made"));
        return EXIT_DONE;
    }
    for (const ImportField& field : schema_.GetFields()) {
        writer_.AddField(field.name, field.type);
    }
    writer_.Finish();
    target_.Write(writer_.GetBytes().data(), writer_.GetBytes().size());
    target_.Commit();
    Say(fmt::format("{}: {} {} added, {} in all", options_.path, added,
                    added == 1 ? "record" : "records", writer_.GetRecordCount()));
    return EXIT_DONE;
}

void AddOptions(CLI::App* sub, ImportOptions* options) {
    sub->add_option("FILE", options->path, "The database file, new or with records already")
        ->required();
    sub->add_option("INPUT", options->input, "CSV or JSON lines; - for standard input")->required();
    sub->add_option("--field", options->fields,
                    "A field, name:type[:indexed][:unique]; once for each. A type is integer, text "
                    "or binary. Without any, the file that is there says the fields, else the "
                    "input: a CSV header gives fields of type text")
        ->allow_extra_args(false)
        ->type_name("FIELD");
    sub->add_option("--format", options->format,
                    "csv or jsonl; without it, the name of INPUT says so, or its beginning")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    sub->add_flag("--no-header", options->no_header,
                  "The first CSV line is a record; its columns are the fields in order");
}

}  // namespace

void AddImport(CLI::App& app, Action& action) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* sub = app.add_subcommand("import", "Make a file, or add records to one");
    AddOptions(sub, options.get());
    sub->footer(
        "All records are added or none. A value that is to be unique is compared as an insert "
        "compares it.\nExample:\n  vamel import people.db --field id:integer:unique --field "
        "name:text people.csv");
    sub->callback([options, &action] { action = [options] { return Importing(*options).Run(); }; });
}

}  // namespace tool

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Progress.h"
#include "tools/RecordPrinter.h"
#include "tools/Replacement.h"
#include "tools/SqlScript.h"
#include "tools/ToolError.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

struct ExportOptions {
    std::string path;
    std::string to;
    std::string output = "-";
    std::string table;
    std::string sequence;
    std::vector<std::string> unique;
    std::vector<std::string> indexed;
};

// The name of the file without folder and ending.
std::string TableNameOf(const std::string& path) {
    if (path == "-") {
        return "records";
    }
    const std::string name = path.substr(path.rfind('/') + 1);
    const size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string NameOfTarget(const ExportOptions& options) {
    return options.output == "-" ? "standard output" : options.output;
}

void Note(const TableFile& file, const std::string& text) {
    Tell(fmt::format("vamel: {}: {}", file.GetName(), text));
}

void NoteOddValues(const TableFile& file, const SqlTable& table, const SqlScript& script) {
    for (size_t i = 0; i < table.columns.size(); ++i) {
        const SqlColumn& column = table.columns[i];
        if (column.odd != 0) {
            Note(file, fmt::format(
                           "field {}: {} values are no {}: {}", column.name, column.odd,
                           column.type == VAMEL_TYPE_INTEGER ? "integers of 4 bytes" : "UTF-8 text",
                           script.DescribeOdd(column)));
        }
    }
}

void WriteScript(const TableFile& file, const SqlScript& script, const std::string& target) {
    Output out(STDOUT_FILENO, target);
    Progress progress("exporting", file.GetRecordCount());
    Record record;
    script.AppendBegin(out.GetBuffer());
    for (RecordReader reader(file); !out.IsClosed() && reader.Next(&record);) {
        script.AppendRecord(out.GetBuffer(), reader.GetDone(), record);
        out.FlushIfLarge();
        progress.Update(reader.GetDone(), reader.GetDone());
    }
    script.AppendEnd(out.GetBuffer());
    out.Flush();
}

void ExportSql(const TableFile& file, const ExportOptions& options) {
    const SqlEngine engine = options.to == "sqlite" ? SqlEngine::SQLITE : SqlEngine::POSTGRES;
    std::vector<std::string> notes;
    SqlTable table(file, engine, options.table.empty() ? TableNameOf(options.path) : options.table,
                   options.sequence.empty() ? "seq" : options.sequence, &notes);
    for (const std::string& name : options.unique) {
        table.columns[file.GetField(name)].unique = true;
    }
    for (const std::string& name : options.indexed) {
        table.columns[file.GetField(name)].indexed = true;
    }
    const auto script =
        engine == SqlEngine::SQLITE ? MakeSqliteScript(table) : MakePostgresScript(table);
    for (const std::string& note : notes) {
        Note(file, note);
    }
    NoteOddValues(file, table, *script);
    WriteScript(file, *script, NameOfTarget(options));
}

void ExportRecords(const TableFile& file, const ExportOptions& options) {
    if (!options.unique.empty() || !options.indexed.empty() || !options.table.empty() ||
        !options.sequence.empty()) {
        throw ToolError(
            EXIT_WRONG_USE,
            fmt::format(
                "--table, --sequence, --unique and --index mean nothing in {}: leave them out",
                options.to));
    }
    PrintOptions print;
    print.format = options.to;
    print.output = NameOfTarget(options);
    print.schema = options.to == "jsonl";
    AllRecords records(file);
    RecordPrinter(file, print).Print(&records);
}

// All writers write to standard output, which leads to the new file until the process ends.
void Redirect(Replacement* target) {
    if (dup2(target->Open(), STDOUT_FILENO) < 0) {
        throw ToolError(EXIT_FILE_TROUBLE,
                        fmt::format("{}: {}", target->GetPath(), std::strerror(errno)));
    }
}

int Export(const ExportOptions& options) {
    const TableFile file(options.path);
    file.CheckRecords();
    std::optional<Replacement> target;
    if (options.output != "-") {
        target.emplace(options.output);
        target->RequireOther(options.path);
        Redirect(&*target);
    }
    if (options.to == "csv" || options.to == "jsonl") {
        ExportRecords(file, options);
    } else {
        ExportSql(file, options);
    }
    if (target) {
        target->Commit();
    }
    return EXIT_DONE;
}

void AddOptions(CLI::App* sub, ExportOptions* options) {
    sub->add_option("FILE", options->path, "The database file; - for standard input")->required();
    sub->add_option("--to", options->to, "sqlite, postgres, csv or jsonl")
        ->required()
        ->check(CLI::IsMember({"sqlite", "postgres", "csv", "jsonl"}));
    sub->add_option("-o,--output", options->output, "The file to write (default standard output)");
    sub->add_option("--table", options->table, "The table's name (default the file's)");
    sub->add_option("--sequence", options->sequence,
                    "The column that keeps the records' order (default seq)");
    sub->add_option("--unique", options->unique, "A field to be unique but for empty values")
        ->allow_extra_args(false)
        ->type_name("NAME");
    sub->add_option("--index", options->indexed, "A field to be indexed")
        ->allow_extra_args(false)
        ->type_name("NAME");
}

}  // namespace

void AddExport(CLI::App& app, Action& action) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* sub = app.add_subcommand("export", "Write the records for another engine");
    AddOptions(sub, options.get());
    sub->footer(
        "A field without a value becomes NULL. What is no text or integer is reported.\nExample:\n"
        "  vamel export people.db --to sqlite --unique id | sqlite3 people.sqlite");
    sub->callback([options, &action] { action = [options] { return Export(*options); }; });
}

}  // namespace tool

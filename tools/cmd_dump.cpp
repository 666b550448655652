#include <memory>

#include "tools/Commands.h"
#include "tools/RecordPrinter.h"
#include "tools/TableFile.h"

namespace tool {

namespace {

struct Options {
    std::string path;
    PrintOptions print;
};

// A damaged file is found out before anything is printed.
int Dump(const Options& options) {
    const TableFile file(options.path);
    file.CheckRecords();
    RecordPrinter printer(file, options.print);
    AllRecords records(file);
    printer.Print(&records);
    return EXIT_DONE;
}

}  // namespace

void AddDump(CLI::App& app, Action& action) {
    auto options = std::make_shared<Options>();
    CLI::App* sub =
        app.add_subcommand("dump", "Print the records as a table, as CSV or as JSON lines");
    sub->add_option("FILE", options->path, "The database file; - for standard input")->required();
    options->print.AddTo(sub);
    sub->footer("Example:\n  vamel dump people.db --fields name,age --limit 10");
    sub->callback([options, &action] { action = [options] { return Dump(*options); }; });
}

}  // namespace tool

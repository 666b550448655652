#include <fmt/format.h>

#include <memory>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/RecordPrinter.h"
#include "tools/Selection.h"
#include "tools/TableFile.h"

namespace tool {

namespace {

struct Options {
    std::string path;
    std::vector<std::string> conditions;
    std::vector<std::string> indexed;
    bool explain = false;
    PrintOptions print;
};

int Select(const Options& options) {
    const TableFile file(options.path);
    std::vector<Criterion> criteria;
    for (const std::string& condition : options.conditions) {
        criteria.emplace_back(file, condition);
    }
    std::vector<size_t> indexed;
    for (const std::string& name : options.indexed) {
        indexed.push_back(file.GetField(name));
    }
    RecordPrinter printer(file, options.print);
    Selection selection(file, criteria, indexed);
    for (const std::string& step : selection.Search()) {
        if (options.explain) {
            Tell(step);
        }
    }
    printer.Print(&selection);
    return EXIT_DONE;
}

}  // namespace

void AddSelect(CLI::App& app, Action& action) {
    auto options = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("select", "Print the records that meet criteria");
    sub->add_option("FILE", options->path, "The database file; - for standard input")->required();
    sub->add_option("--where", options->conditions,
                    "A criterion: NAME, one of = < > <= >=, and a value; they narrow one after the "
                    "other")
        ->allow_extra_args(false)
        ->type_name("CRITERION");
    sub->add_option("--indexed", options->indexed, "Search as with an index on this field")
        ->allow_extra_args(false)
        ->type_name("NAME");
    sub->add_flag("--explain", options->explain, "Say on standard error what each criterion did");
    options->print.AddTo(sub);
    sub->footer("Example:\n  vamel select people.db --where 'name=ann' --where 'age<30' --explain");
    sub->callback([options, &action] { action = [options] { return Select(*options); }; });
}

}  // namespace tool

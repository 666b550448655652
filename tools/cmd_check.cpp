#include <fmt/format.h>

#include <memory>

#include "tools/Commands.h"
#include "tools/FileCheck.h"
#include "tools/Output.h"
#include "tools/TableFile.h"

namespace tool {

namespace {

struct Options {
    std::string path;
    std::vector<std::string> unique;
    bool strict = false;
};

int Check(const Options& options) {
    const TableFile file(options.path);
    std::vector<size_t> unique;
    for (const std::string& name : options.unique) {
        unique.push_back(file.GetField(name));
    }
    const FileCheck check(file, unique);
    for (const std::string& warning : check.GetWarnings()) {
        Tell(fmt::format("vamel: {}: warning: {}", file.GetName(), warning));
    }
    Say(fmt::format("{}: sound: {} records, {} fields, {} bytes, {} warnings", file.GetName(),
                    file.GetRecordCount(), file.GetFields().size(), file.GetFileSize(),
                    check.GetWarnings().size()));
    return options.strict && !check.GetWarnings().empty() ? EXIT_DIFFERS : EXIT_DONE;
}

}  // namespace

void AddCheck(CLI::App& app, Action& action) {
    auto options = std::make_shared<Options>();
    CLI::App* sub =
        app.add_subcommand("check", "Read all of a file and tell what is wrong with it");
    sub->add_option("FILE", options->path, "The database file; - for standard input")->required();
    sub->add_option("--unique", options->unique,
                    "Warn of values that stand twice in this field; empty ones may")
        ->allow_extra_args(false)
        ->type_name("NAME");
    sub->add_flag("--strict", options->strict, "End with status 1 for warnings, too");
    sub->footer("Example:\n  vamel check people.db --unique id");
    sub->callback([options, &action] { action = [options] { return Check(*options); }; });
}

}  // namespace tool

#ifndef VAMEL_TOOLS_COMMANDS_H
#define VAMEL_TOOLS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

namespace tool {

// What the chosen subcommand does once the command line has been read: gives an ExitStatus or
// throws a ToolError.
using Action = std::function<int()>;

// Each adds one subcommand to the command, which sets `action` when it is chosen:
//
//     auto options = std::make_shared<Options>();
//     CLI::App* sub = app.add_subcommand("info", "...");
//     sub->add_option("FILE", options->path, "...")->required();
//     sub->footer("Example:\n  vamel info people.db");
//     sub->callback([options, &action] { action = [options] { return Info(*options); }; });
void AddInfo(CLI::App& app, Action& action);
void AddCheck(CLI::App& app, Action& action);
void AddDump(CLI::App& app, Action& action);
void AddSelect(CLI::App& app, Action& action);
void AddImport(CLI::App& app, Action& action);
void AddDiff(CLI::App& app, Action& action);
void AddRestore(CLI::App& app, Action& action);
void AddExport(CLI::App& app, Action& action);

}  // namespace tool

#endif

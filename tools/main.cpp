// The vamel command: looks inside a database file, fills it, checks it, moves it on.
#include <fmt/format.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

#include "tools/Commands.h"
#include "tools/ToolError.h"
#include "vamel/vamel.h"

namespace {

using tool::Action;

void AddCommands(CLI::App& app, Action& action) {
    tool::AddInfo(app, action);
    tool::AddCheck(app, action);
    tool::AddDump(app, action);
    tool::AddSelect(app, action);
    tool::AddImport(app, action);
    tool::AddDiff(app, action);
    tool::AddRestore(app, action);
    tool::AddExport(app, action);
}

int Complain(int status, const std::string& message) {
    fmt::print(stderr, "vamel: {}\n", message);
    return status;
}

// Help and version go to standard output and are no failure.
int ReadCommandLine(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        return Complain(tool::EXIT_WRONG_USE, fmt::format("{}; try --help", error.what()));
    }
    return tool::EXIT_DONE;
}

int Run(int argc, char** argv) {
    CLI::App app("Look inside a vamel database file, check it, fill it and move it on.", "vamel");
    Action action;
    app.set_version_flag("--version", "vamel " VAMEL_VERSION_STRING);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 done, 1 files differ or one is damaged, 2 wrong use, 3 trouble with a "
        "file.\nExample:\n  vamel info people.db");
    AddCommands(app, action);
    const int status = ReadCommandLine(app, argc, argv);
    return action ? action() : status;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "C.UTF-8");  // how wide characters are; text is UTF-8 anyway
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return Run(argc, argv);
    } catch (const tool::ToolError& error) {
        return Complain(error.GetStatus(), error.what());
    } catch (const std::bad_alloc&) {
        return Complain(tool::EXIT_FILE_TROUBLE, "there is not enough memory");
    } catch (const std::exception& error) {
        return Complain(tool::EXIT_FILE_TROUBLE, error.what());
    }
}

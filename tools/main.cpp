// The vamel command: looks inside a database file, fills it, checks it, moves it on.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <new>

#include "tools/Commands.h"
#include "tools/Output.h"
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
    tool::Tell("vamel: " + message);
    return status;
}

// Help and version go to standard output and are no failure.
int ReadCommandLine(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            return std::cout.flush()
                       ? tool::EXIT_DONE
                       : Complain(tool::EXIT_FILE_TROUBLE, "standard output: cannot be written");
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

// A standard stream that whoever started the program has closed must not become the next file that
// is opened: messages would go into it. What stands in for it fails as a closed one does.
void OccupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0) {
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // the lowest one free
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
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

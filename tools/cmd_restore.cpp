#include <fmt/format.h>

#include <memory>

#include "tools/Commands.h"
#include "tools/ReadWhole.h"
#include "tools/Replacement.h"
#include "tools/TableFile.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

struct RestoreOptions {
    std::string path;
    std::string backup;
};

// Reads all of a file, which must be sound. The number of its records.
uint32_t CheckAll(const std::string& path) {
    const TableFile backup(path);
    Record record;
    RecordReader reader(backup);
    while (reader.Next(&record)) {
    }
    return reader.GetDone();
}

void RefuseItself(const Replacement& target, const std::string& backup) {
    struct stat of_target;
    struct stat of_backup;
    if (stat(target.GetPath().c_str(), &of_target) == 0 && stat(backup.c_str(), &of_backup) == 0 &&
        of_target.st_dev == of_backup.st_dev && of_target.st_ino == of_backup.st_ino) {
        throw ToolError(EXIT_WRONG_USE, backup + ": is the file to be restored itself");
    }
}

// The copy is checked as well: the backup may have changed since it was.
void CopyInto(Replacement* target, const std::string& backup) {
    CCBuffer bytes;
    ReadWhole(backup, backup, &bytes);
    target->Write(bytes.GetData(), bytes.GetLength());
    CheckAll(target->GetTemporary());
}

int Restore(const RestoreOptions& options) {
    if (options.path == "-" || options.backup == "-") {
        throw ToolError(EXIT_WRONG_USE, "restore takes files, not standard input or output");
    }
    Replacement target(options.path);
    RefuseItself(target, options.backup);
    const uint32_t records = CheckAll(options.backup);
    CopyInto(&target, options.backup);
    const std::string kept = target.Commit(Replacement::KEEP_OLD);
    fmt::print("{}: restored from {}, {} records\n", options.path, options.backup, records);
    if (!kept.empty()) {
        fmt::print("{}: the file as it was before\n", kept);
    }
    return EXIT_DONE;
}

}  // namespace

void AddRestore(CLI::App& app, Action& action) {
    auto options = std::make_shared<RestoreOptions>();
    CLI::App* sub = app.add_subcommand("restore", "Put a backup into the place of a file");
    sub->add_option("FILE", options->path, "The database file to restore")->required();
    sub->add_option("--from", options->backup, "The backup, which is checked first")->required();
    sub->footer(
        "The old file is kept beside as FILE.old (or .old2, ...).\nExample:\n  vamel restore "
        "people.db --from people.backup");
    sub->callback([options, &action] { action = [options] { return Restore(*options); }; });
}

}  // namespace tool

#include <fmt/format.h>

#include <memory>

#include "tools/Commands.h"
#include "tools/Output.h"
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

// It is read more than once.
void RequireRegular(const std::string& backup) {
    struct stat status;
    if (stat(backup.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw ToolError(EXIT_FILE_TROUBLE, backup + ": is no regular file");
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
    target.RequireOther(options.backup);
    RequireRegular(options.backup);
    const uint32_t records = CheckAll(options.backup);
    CopyInto(&target, options.backup);
    const std::string kept = target.Commit(Replacement::KEEP_OLD);
    Say(fmt::format("{}: restored from {}, {} records", options.path, options.backup, records));
    if (!kept.empty()) {
        Say(fmt::format("{}: the file as it was before", kept));
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

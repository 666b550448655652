#include <algorithm>
#include <memory>

#include "tools/Columns.h"
#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/TableFile.h"
#include "tools/ValueText.h"

namespace tool {

namespace {

// How many records hold a value for each field.
std::vector<uint32_t> CountHolders(const TableFile& file) {
    std::vector<uint32_t> holders(file.GetFields().size());
    Record record;
    for (RecordReader reader(file); reader.Next(&record);) {
        for (const StoredValue& value : record.GetValues()) {
            if (value.field != kNoField) {
                ++holders[value.field];
            }
        }
    }
    return holders;
}

void ShowFile(const TableFile& file, fmt::memory_buffer& out) {
    fmt::format_to(fmt::appender(out),
                   "file      {}\nbytes     {}\nchecksum  {:08x}, {}\nrecords   {}\nfields    {}\n",
                   file.GetName(), file.GetFileSize(), file.GetChecksum(),
                   file.ChecksumMatches() ? "matches" : "DOES NOT MATCH", file.GetRecordCount(),
                   file.GetFields().size());
}

void ShowFields(const TableFile& file, fmt::memory_buffer& out) {
    const std::vector<uint32_t> holders = CountHolders(file);
    if (holders.empty()) {
        return;
    }
    Columns columns({{"number", true}, {"name", false}, {"type", false}, {"records", true}});
    const auto each = [&](auto take) {
        for (size_t i = 0; i < holders.size(); ++i) {
            const FieldSpec& field = file.GetFields()[i];
            take({std::to_string(field.number), field.name, TypeName(field.type),
                  std::to_string(holders[i])});
        }
    };
    each([&](const std::vector<std::string>& row) { columns.Measure(row); });
    out.push_back('\n');
    columns.AppendHead(out);
    each([&](const std::vector<std::string>& row) { columns.AppendRow(out, row); });
}

int Info(const std::string& path) {
    const TableFile file(path, TableFile::IS_TOLD);
    Output out;
    ShowFile(file, out.GetBuffer());
    out.Flush();
    try {
        ShowFields(file, out.GetBuffer());
    } catch (const Damage&) {
        file.RequireChecksum();  // if that is where the fault comes from
        throw;
    }
    out.Flush();
    file.RequireChecksum();
    return EXIT_DONE;
}

}  // namespace

void AddInfo(CLI::App& app, Action& action) {
    auto path = std::make_shared<std::string>();
    CLI::App* sub = app.add_subcommand("info", "Show fields, records, size and checksum");
    sub->add_option("FILE", *path, "The database file; - for standard input")->required();
    sub->footer("Example:\n  vamel info people.db");
    sub->callback([path, &action] { action = [path] { return Info(*path); }; });
}

}  // namespace tool

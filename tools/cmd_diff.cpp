#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "tools/Commands.h"
#include "tools/JsonValue.h"
#include "tools/Output.h"
#include "tools/TableFile.h"
#include "tools/ToolError.h"
#include "tools/ValueText.h"
#include "vamel/vamel.h"

namespace tool {

namespace {

struct DiffOptions {
    std::string a;
    std::string b;
    std::string key;
    bool quiet = false;
};

// A record by its key.
struct Keyed {
    std::optional<std::string_view> key;
    uint64_t offset;
};

// A field that both files have, by its position in each.
struct CommonField {
    size_t a;
    size_t b;
};

class Comparison {
  public:
    explicit Comparison(const DiffOptions& options)
        : a_(options.a), b_(options.b), quiet_(options.quiet) {}
    int Run(const DiffOptions& options);

  private:
    void CompareFields();
    void TellField(const char* sign, const FieldSpec& field);
    void CompareInOrder();
    void CompareByKey(const std::string& key);
    std::vector<Keyed> SortByKey(const TableFile& file, size_t field) const;
    bool IsLess(const Keyed& a, const Keyed& b) const;
    std::string Label(const Keyed& keyed) const;

    bool IsSame(const Record& a, const Record& b) const;
    void TellChanged(const std::string& label, const Record& a, const Record& b);
    void TellLone(char sign, const std::string& label, const TableFile& file, const Record& record);
    void Flush();
    void AppendValue(std::string_view name, uint32_t type, std::optional<std::string_view> bytes);

    TableFile a_;
    TableFile b_;
    std::vector<CommonField> common_;
    Output out_;
    bool quiet_;
    FieldSpec key_;
    uint64_t fields_differ_ = 0;
    uint64_t only_a_ = 0;
    uint64_t only_b_ = 0;
    uint64_t changed_ = 0;
};

void Comparison::Flush() {
    if (quiet_) {
        out_.GetBuffer().clear();
    } else {
        out_.FlushIfLarge();
    }
}

int Comparison::Run(const DiffOptions& options) {
    CompareFields();
    if (options.key.empty()) {
        CompareInOrder();
    } else {
        CompareByKey(options.key);
    }
    const bool differ = fields_differ_ + only_a_ + only_b_ + changed_ != 0;
    Flush();
    if (differ) {
        fmt::format_to(fmt::appender(out_.GetBuffer()),
                       "{} fields differ; {} records only in {}, {} only in {}, {} changed\n",
                       fields_differ_, only_a_, a_.GetName(), only_b_, b_.GetName(), changed_);
    }
    out_.Flush();
    return differ ? EXIT_DIFFERS : EXIT_DONE;
}

void Comparison::TellField(const char* sign, const FieldSpec& field) {
    ++fields_differ_;
    Append(out_.GetBuffer(), sign);
    Append(out_.GetBuffer(), " field ");
    AppendJsonName(out_.GetBuffer(), field.name);
    fmt::format_to(fmt::appender(out_.GetBuffer()), " {}\n", TypeName(field.type));
}

// A field of the same name and another type is another field.
void Comparison::CompareFields() {
    for (size_t i = 0; i < a_.GetFields().size(); ++i) {
        const FieldSpec& field = a_.GetFields()[i];
        const size_t other = b_.FindField(field.name);
        if (other != kNoField && b_.GetFields()[other].type == field.type) {
            common_.push_back({i, other});
        } else {
            TellField("-", field);
        }
    }
    for (size_t i = 0; i < b_.GetFields().size(); ++i) {
        if (std::none_of(common_.begin(), common_.end(),
                         [i](const CommonField& field) { return field.b == i; })) {
            TellField("+", b_.GetFields()[i]);
        }
    }
}

bool Comparison::IsSame(const Record& a, const Record& b) const {
    return std::all_of(common_.begin(), common_.end(),
                       [&](const CommonField& field) { return a.Get(field.a) == b.Get(field.b); });
}

void Comparison::AppendValue(std::string_view name, uint32_t type,
                             std::optional<std::string_view> bytes) {
    AppendJsonName(out_.GetBuffer(), name);
    out_.GetBuffer().push_back(':');
    if (bytes) {
        AppendJsonValue(out_.GetBuffer(), type, *bytes);
    } else {
        Append(out_.GetBuffer(), "null");
    }
}

void Comparison::TellChanged(const std::string& label, const Record& a, const Record& b) {
    for (const char sign : {'-', '+'}) {
        fmt::format_to(fmt::appender(out_.GetBuffer()), "{} {} {{", sign, label);
        bool first = true;
        for (const CommonField& common : common_) {
            if (a.Get(common.a) != b.Get(common.b)) {
                const FieldSpec& field = a_.GetFields()[common.a];
                Append(out_.GetBuffer(), first ? "" : ",");
                AppendValue(field.name, field.type,
                            sign == '-' ? a.Get(common.a) : b.Get(common.b));
                first = false;
            }
        }
        Append(out_.GetBuffer(), "}\n");
    }
    ++changed_;
    Flush();
}

void Comparison::TellLone(char sign, const std::string& label, const TableFile& file,
                          const Record& record) {
    fmt::format_to(fmt::appender(out_.GetBuffer()), "{} {} {{", sign, label);
    bool first = true;
    for (const StoredValue& value : record.GetValues()) {
        if (value.field != kNoField) {
            const FieldSpec& field = file.GetFields()[value.field];
            Append(out_.GetBuffer(), first ? "" : ",");
            AppendValue(field.name, field.type, value.bytes);
            first = false;
        }
    }
    Append(out_.GetBuffer(), "}\n");
    ++(sign == '-' ? only_a_ : only_b_);
    Flush();
}

void Comparison::CompareInOrder() {
    RecordReader reader_a(a_);
    RecordReader reader_b(b_);
    Record a;
    Record b;
    const auto label = [](const RecordReader& reader) {
        return fmt::format("record {}", reader.GetDone());
    };
    bool more_a = reader_a.Next(&a);
    bool more_b = reader_b.Next(&b);
    for (; more_a && more_b; more_a = reader_a.Next(&a), more_b = reader_b.Next(&b)) {
        if (!IsSame(a, b)) {
            TellChanged(label(reader_a), a, b);
        }
    }
    for (; more_a; more_a = reader_a.Next(&a)) {
        TellLone('-', label(reader_a), a_, a);
    }
    for (; more_b; more_b = reader_b.Next(&b)) {
        TellLone('+', label(reader_b), b_, b);
    }
}

// Numbers, in their order, stand behind what is no number though the field holds integers.
bool Comparison::IsLess(const Keyed& a, const Keyed& b) const {
    const auto is_number = [this](const Keyed& keyed) {
        return keyed.key && key_.type == VAMEL_TYPE_INTEGER && keyed.key->size() == 4;
    };
    if (is_number(a) != is_number(b)) {
        return is_number(b);
    }
    return is_number(a) ? IntegerOf(*a.key) < IntegerOf(*b.key) : a.key < b.key;
}

// Records without a key stand first; records of the same key keep their order.
std::vector<Keyed> Comparison::SortByKey(const TableFile& file, size_t field) const {
    std::vector<Keyed> keyed;
    Record record;
    for (RecordReader reader(file); reader.Next(&record);) {
        keyed.push_back({record.Get(field), record.GetOffset()});
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [this](const Keyed& a, const Keyed& b) { return IsLess(a, b); });
    return keyed;
}

std::string Comparison::Label(const Keyed& keyed) const {
    fmt::memory_buffer text;
    Append(text, "record ");
    AppendJsonName(text, key_.name);
    text.push_back('=');
    if (keyed.key) {
        AppendJsonValue(text, key_.type, *keyed.key);
    } else {
        Append(text, "null");
    }
    return fmt::to_string(text);
}

void Comparison::CompareByKey(const std::string& key) {
    const size_t field_a = a_.GetField(key);
    const size_t field_b = b_.GetField(key);
    key_ = a_.GetFields()[field_a];
    if (b_.GetFields()[field_b].type != key_.type) {
        throw ToolError(EXIT_WRONG_USE, fmt::format("--key {}: its type is not the same in {} and "
                                                    "{}",
                                                    key, a_.GetName(), b_.GetName()));
    }
    const std::vector<Keyed> all_a = SortByKey(a_, field_a);
    const std::vector<Keyed> all_b = SortByKey(b_, field_b);
    RecordReader reader_a(a_);
    RecordReader reader_b(b_);
    Record a;
    Record b;
    auto at_a = all_a.begin();
    auto at_b = all_b.begin();
    while (at_a != all_a.end() || at_b != all_b.end()) {
        const bool lone_a = at_b == all_b.end() || (at_a != all_a.end() && IsLess(*at_a, *at_b));
        const bool lone_b = !lone_a && (at_a == all_a.end() || IsLess(*at_b, *at_a));
        if (!lone_b) {
            reader_a.ReadAt(at_a->offset, &a);
        }
        if (!lone_a) {
            reader_b.ReadAt(at_b->offset, &b);
        }
        if (lone_a) {
            TellLone('-', Label(*at_a), a_, a);
        } else if (lone_b) {
            TellLone('+', Label(*at_b), b_, b);
        } else if (!IsSame(a, b)) {
            TellChanged(Label(*at_a), a, b);
        }
        at_a += lone_b ? 0 : 1;
        at_b += lone_a ? 0 : 1;
    }
}

int Diff(const DiffOptions& options) {
    if (options.a == "-" && options.b == "-") {
        throw ToolError(EXIT_WRONG_USE, "standard input can be only one of the two files");
    }
    return Comparison(options).Run(options);
}

}  // namespace

void AddDiff(CLI::App& app, Action& action) {
    auto options = std::make_shared<DiffOptions>();
    CLI::App* sub = app.add_subcommand("diff", "Show the fields and records that differ");
    sub->add_option("A", options->a, "A database file; - for standard input")->required();
    sub->add_option("B", options->b, "Another one")->required();
    sub->add_option("--key", options->key,
                    "The field that says which records belong together; without it, the first "
                    "record belongs to the first, and so on")
        ->type_name("NAME");
    sub->add_flag("-q,--quiet", options->quiet, "Only the counts");
    sub->footer(
        "- is what A has, + what B has. Values of fields that only one file has are not "
        "compared. Exit status 1 if anything differs.\nExample:\n  vamel diff old.db new.db --key "
        "id");
    sub->callback([options, &action] { action = [options] { return Diff(*options); }; });
}

}  // namespace tool

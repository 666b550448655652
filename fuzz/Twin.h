#ifndef VAMEL_FUZZ_TWIN_H
#define VAMEL_FUZZ_TWIN_H

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

// A second record store, as plain as can be, that runs beside the library: vectors, linear scans,
// and not a line in common with it. Where the two differ, one of them is wrong. Results are the
// library's codes, as plain numbers; text is ASCII.
namespace twin {

inline std::string Number(size_t value) {
    return {char(value >> 24), char(value >> 16), char(value >> 8), char(value)};
}

// The file with this plain content.
inline std::string Seal(std::string content) {
    size_t sum = 0;
    std::for_each(content.begin(), content.end(), [&](char c) { sum += uint8_t(c); });
    content += Number(sum);
    int before = 0;
    for (size_t i = 0; i < content.size(); before = content[i++]) {
        content[i] = char(content[i] ^ before ^ "HorsesRunFasterThanTurtles"[i % 26]);
    }
    return content;
}

struct Value {
    size_t field;
    std::string data;
    int32_t compare;
};
using Record = std::vector<Value>;
using RecordPtr = std::shared_ptr<Record>;
using Records = std::vector<RecordPtr>;

struct File {
    std::string bytes;
    Records records;
    int32_t verdict;  // the result of reading it, unless a record is refused
};

struct Statement {
    bool attached = false, selected = false;
    Record bound = {};
    Records found = {};
    size_t cursor = 0;  // 1 for the first record
    RecordPtr current = nullptr;

    RecordPtr At() { return cursor - 1 < found.size() ? found[cursor - 1] : nullptr; }
    int32_t Move(size_t to) {
        cursor = to;
        current = At();
        return !selected ? -3 : current != nullptr ? 1 : 2;
    }
};

inline uint32_t Bucket(const std::string& data, int type) {
    uint32_t hash = 0;
    std::for_each(data.begin(), data.end(), [&](char) { hash = hash * 137 + uint8_t(data[0]); });
    return type >= 1 && type <= 3 ? hash % 1987 : 0;
}

inline bool Matches(const Value& stored, const Value& key, int type) {
    std::string a = stored.data, b = key.data;
    if (type == 1 && !a.empty() && !b.empty()) {  // numbers, the sign turned, order as their bytes
        a = char(a[0] ^ 0x80) + (a + std::string(3, '\0')).substr(1, 3);
        b = char(b[0] ^ 0x80) + (b + std::string(3, '\0')).substr(1, 3);
    }
    const size_t shorter = std::min(a.size(), b.size());
    const int c = a.empty() ? -1 : b.empty() ? 1 : a.compare(0, shorter, b, 0, shorter);
    const bool results[] = {c == 0, c<0, c> 0, c <= 0, c >= 0};
    return results[key.compare >= 0 && key.compare <= 4 ? key.compare : 0];
}

inline Record::iterator Find(const RecordPtr& record, size_t field) {
    return std::find_if(record->begin(), record->end(), [=](auto& v) { return v.field == field; });
}

// An open database and its statements; closed, it is replaced by an empty one.
struct Store {
    std::map<std::string, File>* files = nullptr;  // by path
    std::vector<std::tuple<std::string, int, int>> fields;
    std::string main, backup;
    Statement statements[2] = {};
    Records records = {};
    bool indexed = true;  // until the table is emptied
    bool damaged = false;

    int32_t Open() {
        const int32_t result = Load(main, true);
        const int32_t second = result == 0 || backup.empty() ? 4 : Load(backup, true);
        return second == 4 ? result : second;
    }
    int32_t Commit() { return Write(main); }
    int32_t Rollback() {
        if (damaged) {
            return -2;
        }
        Empty();
        const bool readable = files->count(main) == 1 && !files->at(main).bytes.empty();
        return Load(readable || backup.empty() ? main : backup, false);
    }
    int32_t Close() {
        Write(main);
        const int32_t result = Write(backup.empty() ? main : backup);
        return damaged ? 5 : result;
    }
    int32_t Insert(Statement* by) { return Add(by->bound, nullptr); }
    int32_t Update(Statement* by) {
        const RecordPtr old = by->current;
        const int32_t result = old != nullptr ? Add(by->bound, old) : -5;
        return result == 0 ? Remove(old, by) : result;
    }
    int32_t Delete(Statement* by) { return by->current != nullptr ? Remove(by->current, by) : -5; }
    int32_t Select(Statement* by) {
        by->found = by->bound.empty() ? records : Records();
        for (const Value& key : by->bound) {
            const bool seed = by->found.empty();
            by->found = Pick(seed ? records : by->found, key, seed, seed && key.compare == 0);
        }
        by->selected = true;
        by->cursor = 0;
        return 0;
    }
    // The value as the call for this type shows it; of a number, its bytes.
    // Whether bytes are UTF-8: taken apart into characters, each is what it would be written as.
    static bool IsText(const std::string& bytes) {
        for (size_t i = 0; i < bytes.size();) {
            const auto at = [&](size_t k) { return k < bytes.size() ? uint8_t(bytes[k]) : 0U; };
            const size_t more = at(i) < 0x80 ? 0 : at(i) < 0xE0 ? 1 : at(i) < 0xF0 ? 2 : 3;
            static const uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0},
                                  kLeast[] = {0, 0x80, 0x800, 0x10000};
            uint32_t c = at(i) - kLead[more];
            for (size_t k = 1; k <= more; ++k) {
                c = c * 64 + (at(i + k) - 0x80 < 64 ? at(i + k) - 0x80 : 0x110000);
            }
            if (at(i) < kLead[more] || c < kLeast[more] || c >= 0x110000 || c / 0x800 == 0x1B) {
                return false;
            }
            i += more + 1;
        }
        return true;
    }
    int32_t Fetch(const Statement& by, size_t field, int type, std::string* out) const {
        const bool known = field < fields.size();
        const bool fits = known && std::get<1>(fields[field]) == type;
        if (!fits || by.current == nullptr || Find(by.current, field) == by.current->end()) {
            return !by.attached ? -3 : fits ? -5 : known ? -6 : 3;
        }
        const std::string data = Find(by.current, field)->data, text = data.c_str();
        const bool shows = type == 1 || (type == 2 ? IsText(text) : !data.empty());
        const std::string number = (data + std::string(4, '\0')).substr(0, 4);
        *out = !shows ? *out : type == 1 ? number : type == 2 ? text : data;
        return shows ? 0 : -4;
    }
    std::string Content() const {
        std::string content = Number(fields.size());
        for (size_t i = 0; i < fields.size(); ++i) {
            const auto& [name, type, flags] = fields[i];
            content += Number(size_t(type)) + char(i) + Number(name.size() + 1) + name + '\0';
        }
        content += Number(records.size());
        for (const RecordPtr& record : records) {
            for (const Value& value : *record) {
                content += char(value.field) + Number(value.data.size()) + value.data;
            }
            content += '\xFF';
        }
        return content;
    }

  private:
    // The records that match. A seed drops those without a value; an index shows one bucket.
    Records Pick(const Records& from, const Value& key, bool seed, bool by_index) const {
        const auto& [name, type, flags] = fields[key.field];
        const bool one_bucket = by_index && indexed && (flags & 1) != 0;
        const uint32_t bucket = Bucket(key.data, type);
        Records picked;
        for (const RecordPtr& record : from) {
            const auto value = Find(record, key.field);
            const bool fits = value == record->end() ? !seed : Matches(*value, key, type);
            const bool seen = !one_bucket || !fits || Bucket(value->data, type) == bucket;
            picked.insert(picked.end(), fits && seen ? 1 : 0, record);
        }
        return picked;
    }
    int32_t Add(const Record& values, const RecordPtr& old) {
        const auto record = std::make_shared<Record>(old != nullptr ? *old : Record());
        for (const Value& value : values) {
            const bool unique = (std::get<2>(fields[value.field]) & 2) != 0;
            const Records taken = unique ? Pick(records, value, true, true) : Records();
            if (!taken.empty() && (taken[0] != old || taken.size() > 1)) {
                damaged = true;
                return -10;
            }
            const auto held = Find(record, value.field);
            (held != record->end() ? *held : record->emplace_back()) = {value.field, value.data, 0};
        }
        records.push_back(record);
        return 0;
    }
    int32_t Remove(RecordPtr record, const Statement* by) {
        for (Statement& s : statements) {
            const bool on = s.At() == record;
            const auto rest = std::remove(s.found.begin(), s.found.end(), record);
            s.cursor -= on ? 1 : 0;
            s.found.erase(rest, s.found.end());
            s.current = &s == by || s.current == record ? s.At() : s.current;
        }
        records.erase(std::find(records.begin(), records.end(), record));
        return 0;
    }
    void Empty() {
        for (Statement& s : statements) {
            s = {s.attached, s.selected, s.bound};
        }
        records.clear();
        indexed = false;
    }
    int32_t Write(const std::string& path) {
        const int32_t result = damaged ? -2 : records.empty() ? -3 : 0;
        (*files)[result == 0 ? path : "nowhere"] = {Seal(Content()), records, 0};
        return result;
    }
    // Opening removes a file that is no good.
    int32_t Load(const std::string& path, bool opening) {
        const File file = files->count(path) == 1 ? files->at(path) : File{"", {}, 4};
        const auto add = [&](const RecordPtr& stored) { return Add(*stored, nullptr) == 0; };
        if (!std::all_of(file.records.begin(), file.records.end(), add)) {
            damaged = false;
            return -10;
        }
        if (file.verdict == -7 && !file.records.empty()) {
            Empty();
        }
        files->erase(opening && file.verdict < 0 ? path : "nowhere");
        return file.verdict;
    }
};

}  // namespace twin

#endif

// consumer FILE: stores two records, reads them back from the file, and removes the file.
#include <cstdio>
#include <string>
#include <vamel/vamel.hpp>

namespace {

const vamel::field number("number");
const vamel::field name("name");

vamel::database open(const char* path) {
    vamel::environment env;
    env.add("number", vamel::type::integer, vamel::unique).add("name", vamel::type::text);
    return vamel::database(path, env);
}

void store(const char* path) {
    vamel::database db = open(path);
    vamel::statement stmt = db.prepare();
    stmt.insert(number = 1, name = "one");
    stmt.insert(number = 7, name = "seven");
    db.close();
}

std::string read(const char* path) {
    std::string names;
    vamel::database db = open(path);
    vamel::statement stmt = db.prepare();
    for (auto& row : stmt.select(number > 1)) {
        names += row.get<std::string>(name).value_or("nobody");
    }
    return names;
}

}  // namespace

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "consumer.db";
    std::remove(path);
    store(path);
    const std::string names = read(path);
    std::printf("%s\n", names.c_str());
    return std::remove(path) == 0 && names == "seven" ? 0 : 1;
}

// Reading list: a table in C++, with fields as names to compare and assign, records in a for loop,
// and text as std::string.
//
//     reading_list DATABASE
//
// DATABASE is the file to make.
#include <filesystem>
#include <iostream>

#include "vamel/vamel.hpp"

namespace {

const vamel::field title("title"), year("year"), rating("rating");

vamel::database open_list(const char* path) {
    vamel::environment env;
    env.add("title", vamel::type::text, vamel::indexed | vamel::unique)
        .add("year", vamel::type::integer)
        .add("rating", vamel::type::integer);
    return {path, env};
}

void fill(vamel::statement& books) {
    books.insert(title = "Emma", year = 1815, rating = 4);
    books.insert(title = "Middlemarch", year = 1871);
    books.insert(title = "Cranford", year = 1853, rating = 3);
    books.insert(title = "Ferragus", year = 1833, rating = 2);
    // A plain insert of a title that is there would spoil the open database. This one looks first.
    if (!books.insert_checked(title = "Emma", year = 2020)) {
        std::cout << "Emma is on the list already\n";
    }
}

void print(vamel::statement& book) {
    const std::optional<int32_t> stars = book.get<int32_t>(rating);
    std::cout << "  " << book.get<std::string>(title).value() << ", "
              << book.get<int32_t>(year).value() << ' '
              << (stars ? std::string(static_cast<size_t>(*stars), '*') : "not read yet") << '\n';
}

void ask(vamel::statement& books) {
    std::cout << "between 1830 and 1880:\n";
    for (auto& book : books.select_all_of(year >= 1830, year <= 1880)) {
        print(book);
    }
    // A plain select would start anew with the second criterion, and find them all.
    std::cout << "between 1900 and 1950: " << books.select_all_of(year >= 1900, year <= 1950).size()
              << '\n';
}

// The loop goes on after the record before the one that was changed or removed.
void change(vamel::statement& books) {
    for (auto& book : books.select()) {
        const auto stars = book.get<int32_t>(rating);
        if (!stars) {
            book.update(rating = 5);
        } else if (*stars < 3) {
            book.remove();
        }
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2 || std::filesystem::exists(argv[1])) {
        std::cerr << "usage: reading_list DATABASE, which is not there yet\n";
        return 2;
    }
    vamel::database db = open_list(argv[1]);
    vamel::statement books = db.prepare();
    fill(books);
    ask(books);
    change(books);
    db.close();  // writes the file; the statement is safe, and of no more use

    db = open_list(argv[1]);
    books = db.prepare();
    std::cout << "read again from the file:\n";
    for (auto& book : books.select()) {
        print(book);
    }
    db.close();
    return 0;
} catch (const vamel::error& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}

// Transactions: what a scope holds, what commit keeps, what rollback takes back, and what a failure
// leaves behind.
//
//     transactions DATABASE
//
// DATABASE is the file to make.
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "vamel/vamel.hpp"

namespace {

const vamel::field owner("owner"), cents("cents");

int32_t balance(vamel::statement& account) {
    return account.get<int32_t>(cents).value_or(0);
}

// Moves money, or throws in the middle of it.
void move_money(vamel::database& db, const char* from, const char* to, int32_t amount) {
    vamel::statement account = db.prepare();
    for (auto& found : account.select(owner == from)) {
        found.update(cents = balance(found) - amount);
    }
    account.select(owner == to);
    if (!account.step()) {
        throw std::runtime_error(std::string("no account of ") + to);
    }
    account.update(cents = balance(account) + amount);
}

void transfer(vamel::database& db, const char* from, const char* to, int32_t amount) {
    vamel::transaction guard(db);  // the lock is this thread's until the end of the scope
    try {
        move_money(db, from, to, amount);
    } catch (...) {
        guard.rollback();  // else the half of the transfer that was done would stay in memory
        throw;
    }
    guard.commit();
}

void try_transfer(vamel::database& db, const char* from, const char* to, int32_t amount) {
    try {
        transfer(db, from, to, amount);
        std::cout << from << " pays " << to << ' ' << amount << ":";
    } catch (const std::runtime_error& failure) {
        std::cout << from << " cannot pay, " << failure.what() << ":";
    }
    vamel::statement account = db.prepare();
    for (const char* name : {"Ann", "Bob"}) {
        account.select(owner == name);
        account.step();
        std::cout << ' ' << name << ' ' << balance(account);
    }
    std::cout << '\n';
}

// Failures as codes, for hosts that want no exceptions.
void spoil(vamel::database& db) {
    std::error_code ec;
    vamel::statement account = db.prepare(ec);
    account.insert(ec, owner = "Ann", cents = 0);
    std::cout << "a second Ann: " << ec.message() << '\n';
    db.commit(ec);
    std::cout << "commit: " << ec.message() << '\n';
    db.close(ec);
    std::cout << "close: " << ec.message() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::filesystem::exists(argv[1])) {
        std::cerr << "usage: transactions DATABASE, which is not there yet\n";
        return 2;
    }
    vamel::environment env;
    env.add("owner", vamel::type::text, vamel::unique).add("cents", vamel::type::integer);
    vamel::database db(argv[1], env);
    vamel::statement account = db.prepare();
    account.insert(owner = "Ann", cents = 1000);
    account.insert(owner = "Bob", cents = 500);
    db.commit();

    try_transfer(db, "Ann", "Bob", 300);
    try_transfer(db, "Ann", "Cid", 300);
    spoil(db);

    db = vamel::database(argv[1], env);
    account = db.prepare();
    std::cout << "in the file: " << account.select().size() << " accounts\n";
    db.close();
    return 0;
}

#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <random>

#include "tests/support.h"

namespace {

namespace fs = std::filesystem;

// The records that a host meant to save, saved, and saved to both files: known when it is dead.
auto* const begun = static_cast<int*>(
    mmap(nullptr, 3 * sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
auto *const saved = begun + 1, *const closed = begun + 2;

struct KillTest : testing::TestWithParam<bool> {  // whether there is a backup
    void Work(int rounds) const {
        for (; rounds > 0; --rounds) {
            Db db(dir / "at/main", env);
            Stmt(db).Insert({{"d", Bytes(3000)}}), ++*begun, vamel_commit(db), *saved = *begun;
            Stmt(db).Insert({{"d", Bytes(3000)}}), ++*begun, db.Close(), *closed = *saved = *begun;
        }
    }
    // Starts a host and kills it at a stop at a system call, or after a while. Whether it lived.
    bool Kill(int stops, useconds_t wait) const {
        fs::remove_all(dir / "at"), fs::remove_all(dir / "copy"), fs::create_directory(dir / "at");
        *begun = *saved = *closed = 0, Work(1);
        const pid_t host = fork();
        if (host == 0) {
            const bool traced = stops > 0 && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
            traced ? raise(SIGSTOP) : 0;
            Work(traced ? 1 : stops > 0 ? 0 : 1 << 30);
            _exit(0);
        }
        int status = 0x7F;  // stopped
        for (int i = 0; i < stops && WIFSTOPPED(status); ++i) {
            i > 0 ? ptrace(PTRACE_SYSCALL, host, nullptr, nullptr) : 0;
            waitpid(host, &status, 0);
        }
        usleep(wait);
        WIFSTOPPED(status) ? kill(host, SIGKILL), waitpid(host, nullptr, 0) : 0;
        fs::copy(dir / "at", dir / "copy");
        const std::string main = Db(dir / "copy/main", alone).Show();
        const std::string backup = Db(dir / "copy/backup", alone).Show();
        const std::string now = Db(dir / "at/main", env).Show();
        const bool whole = main.size() > 4, found = now.size() > 4;  // not "none", and not empty
        EXPECT_TRUE(now == (whole || !GetParam() ? main : backup) && (found || !GetParam()));
        const auto records = std::count(now.begin(), now.end(), ';');
        EXPECT_TRUE(!found || (records >= (whole ? *saved : *closed) && records <= *begun));
        EXPECT_TRUE(whole || *begun > *saved);  // it was killed while it saved
        return WIFSTOPPED(status) && !HasFailure();
    }
    const TempDir dir = {};
    const Env alone{{{"d", 3, 0}}}, env{{{"d", 3, 0}}, GetParam() ? dir / "at/backup" : ""};
};

TEST_P(KillTest, AtEverySystemCall) {
    int stops = 1;
    for (; Kill(stops, 0); ++stops) {
    }
    if (stops == 1) {
        GTEST_SKIP() << "no process can be traced here";
    }
    EXPECT_GT(stops, 50);
}

TEST_P(KillTest, AtAnyMoment) {
    const char* kills = std::getenv("VAMEL_KILLS");
    const auto seed = std::random_device()();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    for (int n = kills != nullptr ? std::atoi(kills) : 60; n > 0; n -= 2) {
        EXPECT_TRUE(Kill(0, useconds_t(random() % 20000)));
    }
}

INSTANTIATE_TEST_SUITE_P(Backup, KillTest, testing::Bool());

}  // namespace

#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <climits>
#include <fstream>
#include <random>

#include "fuzz/Twin.h"
#include "tests/support.h"

namespace {

// How far a host has come, seen also when it is dead. Each save makes a generation: a record of it.
struct Progress {
    int begun, saved, closed;
};
auto* const progress = static_cast<Progress*>(
    mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

constexpr uint32_t kSize = 6000;  // of a record: more than a stream writes at once
std::string Image(int generation) {
    return twin::Seal(twin::Number(1) + twin::Number(3) + '\0' + twin::Number(2) + 'd' + '\0' +
                      twin::Number(1) + '\0' + twin::Number(kSize) +
                      std::string(kSize, char(generation)) + '\xFF');
}

class KillTest : public testing::TestWithParam<bool> {  // whether there is a backup
  protected:
    void Work(int rounds) const {
        for (; rounds > 0; --rounds) {
            Db db(dir / "main", env);
            Stmt all(db);
            for (const bool closes : {false, true}) {
                vamel_select(db, all, nullptr);
                while (vamel_step(all) == VAMEL_ROW) {
                    vamel_delete(db, all);
                }
                all.Insert({{"d", Bytes(kSize, uint8_t(++progress->begun))}});
                closes ? db.Close() : vamel_commit(db);
                progress->saved = progress->begun;
            }
            progress->closed = progress->begun;
        }
    }
    pid_t Start(bool traced) const {
        Work(1);
        const pid_t host = fork();
        if (host == 0) {
            const bool waits = traced && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
            waits ? raise(SIGSTOP) : 0;
            Work(traced ? waits : INT_MAX);
            _exit(0);
        }
        return host;
    }
    // The generation that a file holds whole, of those since the last close; -1 for none.
    int Find(const std::string& path) const {
        std::ifstream in(path, std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(in), {});
        int generation = progress->begun;
        while (generation >= progress->closed && bytes != Image(generation)) {
            --generation;
        }
        return generation >= progress->closed ? generation : -1;
    }
    void Kill(pid_t host) const {
        kill(host, SIGKILL);
        waitpid(host, nullptr, 0);
        const int main = Find(dir / "main"), backup = Find(dir / "backup");
        Db db(dir / "main", env);
        if (main >= 0 || GetParam()) {
            const std::string data(kSize, char(main >= 0 ? main : backup));
            EXPECT_EQ(db.opened, VAMEL_OK);
            EXPECT_TRUE(db.Show() == "d=" + Hex(data.data(), kSize) + " ;") << main << backup;
        } else {  // killed while it saved, which is the documented loss
            EXPECT_TRUE(db.opened == 4 || db.opened == -7 || db.opened == -11) << db.opened;
            EXPECT_FALSE(std::filesystem::exists(dir / "main"));
        }
        EXPECT_TRUE(main >= progress->saved || progress->begun > progress->saved);
        db != nullptr ? Object(db.handle)->SetDamaged() : void();  // nothing is written
    }
    const TempDir dir;
    const Env env{{{"d", 3, 0}}, GetParam() ? dir / "backup" : ""};
};

TEST_P(KillTest, AtEverySystemCall) {
    int status = 0, stops = 0;
    for (int n = 0; n <= stops; ++n) {
        SCOPED_TRACE(n)
        const pid_t host = Start(true);
        waitpid(host, &status, 0);
        if (WIFEXITED)
            GTEST_SKIP() << "no host can be traced here";
        for (int i = 0; i < n && WIFSTOPPED(status); ++i) {
            ptrace(PTRACE_SYSCALL, host, nullptr, nullptr);
            waitpid(host, &status, 0);
        }
        Kill(host);
    }
}

TEST_P(KillTest, AtAnyMoment) {
    const char *kills = std::getenv("VAMEL_KILLS"), *seed = std::getenv("VAMEL_SEED");
    const unsigned first = seed != nullptr ? std::stoul(seed) : std::random_device()();
    std::cout << "VAMEL_SEED=" << start << std::endl;
    std::mt19937 random(start);
    for (int left = kills ? atoi(kills) : 60; left > 0; --left) {
        const pid_t host = Start(false);
        usleep(random() % 10000);
        Kill(host);
    }
}

INSTANTIATE_TEST_SUITE_P(Backup, KillTest, testing::Bool());

}  // namespace

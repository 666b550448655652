#include "tools/Replacement.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/ToolError.h"

namespace tool {

namespace {

constexpr int kStoppingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What a stopping signal removes; empty where there is nothing to remove.
char g_doomed[PATH_MAX];

extern "C" void RemoveAndStop(int signal_number) {
    if (g_doomed[0] != 0) {
        unlink(g_doomed);
    }
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}

// Holds the stopping signals back until the end of its scope.
class SignalPause {
  public:
    SignalPause() {
        sigset_t set;
        sigemptyset(&set);
        for (const int number : kStoppingSignals) {
            sigaddset(&set, number);
        }
        sigprocmask(SIG_BLOCK, &set, &before_);
    }
    SignalPause(const SignalPause&) = delete;
    SignalPause& operator=(const SignalPause&) = delete;
    ~SignalPause() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

void HandleSignals() {
    // Past the limit for the size of a file, write is to say so rather than end the program.
    signal(SIGXFSZ, SIG_IGN);
    for (const int number : kStoppingSignals) {
        if (signal(number, RemoveAndStop) == SIG_IGN) {
            signal(number, SIG_IGN);  // as whoever started the program wants it
        }
    }
}

constexpr size_t kMostOfName = NAME_MAX - sizeof "..XXXXXX";

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

std::string NameOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The path behind symbolic links, also where the last one leads to a file that is not there yet.
std::string Resolve(const std::string& path) {
    char resolved[PATH_MAX];
    if (realpath(path.c_str(), resolved) != nullptr) {
        return resolved;
    }
    char target[PATH_MAX];
    const ssize_t count = readlink(path.c_str(), target, sizeof target);
    if (errno != ENOENT || count <= 0 || count == static_cast<ssize_t>(sizeof target)) {
        return path;
    }
    const std::string name(target, static_cast<size_t>(count));
    return Resolve(name.front() == '/' ? name : FolderOf(path) + name);
}

mode_t ModeOfNewFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool IsSameContent(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

Replacement::Replacement(const std::string& path) : shown_(path), path_(Resolve(path)) {
    struct stat status;
    if (stat(path_.c_str(), &status) == 0) {
        old_ = status;
        if (!S_ISREG(status.st_mode)) {
            throw ToolError(EXIT_FILE_TROUBLE, shown_ + ": is no regular file");
        }
        if (access(path_.c_str(), W_OK) != 0) {  // a rename would not ask
            Fail("cannot be written");
        }
    } else if (errno != ENOENT) {
        Fail("cannot be looked at");
    }
}

void Replacement::RequireOther(const std::string& source) const {
    struct stat status;
    const int failed = source == "-" ? fstat(STDIN_FILENO, &status) : stat(source.c_str(), &status);
    if (failed == 0 && old_ && status.st_dev == old_->st_dev && status.st_ino == old_->st_ino) {
        throw ToolError(EXIT_WRONG_USE,
                        fmt::format("{}: is the same file as {}, which would be lost; name another "
                                    "one",
                                    shown_, source == "-" ? "standard input" : source));
    }
}

Replacement::~Replacement() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
        g_doomed[0] = 0;
    }
}

void Replacement::Fail(const std::string& what) const {
    throw ToolError(EXIT_FILE_TROUBLE,
                    fmt::format("{}: {}: {}; {}", shown_, what, std::strerror(errno),
                                HasOldFile() ? "the old file is as it was" : "no file was made"));
}

int Replacement::Open() {
    if (descriptor_ >= 0) {
        return descriptor_;
    }
    // A name may be as long as names can be: there is room for no more.
    std::string name = FolderOf(path_) + "." + NameOf(path_).substr(0, kMostOfName) + ".XXXXXX";
    const SignalPause pause;
    if (name.size() >= sizeof g_doomed) {
        errno = ENAMETOOLONG;
        Fail("cannot be written");
    }
    descriptor_ = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        Fail("no file can be made beside it");
    }
    temporary_ = name;
    std::memcpy(g_doomed, name.c_str(), name.size() + 1);
    HandleSignals();
    return descriptor_;
}

void Replacement::Write(const void* data, size_t count) {
    constexpr size_t kMostAtOnce = 1 << 30;
    const auto* from = static_cast<const char*>(data);
    Open();
    while (count > 0) {
        const ssize_t done = write(descriptor_, from, count < kMostAtOnce ? count : kMostAtOnce);
        if (done < 0 && errno != EINTR) {
            Fail("cannot be written");
        }
        from += done > 0 ? done : 0;
        count -= done > 0 ? static_cast<size_t>(done) : 0;
    }
}

// A second name for the old file, so that there is never none at its own.
std::string Replacement::KeepOldFile() const {
    for (unsigned int number = 1;; ++number) {
        const std::string suffix = number == 1 ? ".old" : fmt::format(".old{}", number);
        if (link(path_.c_str(), (path_ + suffix).c_str()) == 0) {
            return path_ + suffix;
        }
        if (errno != EEXIST) {
            Fail("cannot be kept under another name");
        }
    }
}

// On the disk before its name is: else a crash could leave the name without the content.
void Replacement::Sync() {
    if (old_) {
        // Only the superuser can keep another's file another's.
        static_cast<void>(fchown(descriptor_, old_->st_uid, old_->st_gid) == 0);
    }
    const mode_t mode = old_ ? old_->st_mode & 07777U : ModeOfNewFiles();
    if (fchmod(descriptor_, mode) != 0 || fsync(descriptor_) != 0) {
        Fail("cannot be written");
    }
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0) {
        Fail("cannot be written");
    }
}

void Replacement::CheckUnchanged() const {
    struct stat now;
    const bool exists = stat(path_.c_str(), &now) == 0;
    if (exists != HasOldFile() || (exists && !IsSameContent(now, *old_))) {
        throw ToolError(EXIT_FILE_TROUBLE,
                        shown_ +
                            ": has been changed by another program meanwhile; it is as that "
                            "program left it: run the command again");
    }
}

void Replacement::SyncFolder() const {
    const int folder = open(FolderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
}

void Replacement::Rename() {
    const SignalPause pause;
    if (rename(temporary_.c_str(), path_.c_str()) != 0) {
        Fail("the new file cannot be put into place");
    }
    temporary_.clear();
    g_doomed[0] = 0;
}

std::string Replacement::Commit(Keeping keeping) {
    Open();
    Sync();
    CheckUnchanged();
    std::string kept = keeping == KEEP_OLD && HasOldFile() ? KeepOldFile() : "";
    try {
        Rename();
    } catch (const ToolError&) {
        if (!kept.empty()) {
            unlink(kept.c_str());
        }
        throw;
    }
    SyncFolder();
    return kept;
}

}  // namespace tool

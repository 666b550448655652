#ifndef VAMEL_TOOLS_REPLACEMENT_H
#define VAMEL_TOOLS_REPLACEMENT_H

#include <sys/stat.h>

#include <cstddef>
#include <optional>
#include <string>

namespace tool {

// Replaces a file as a whole: whatever ends the program, and whenever, the path leads to the old
// file or to the new one, complete.
//
//   people.db                 the old file, untouched until
//   .people.db.XXXXXX         the new one, in the same folder, is complete and on the disk;
//                             then a rename puts it into place
//
// The new file is removed when the object ends without a commit, and when the program is stopped by
// SIGINT, SIGTERM or SIGHUP; SIGKILL leaves it behind, harmless. A symbolic link stays, and the
// file behind it is replaced. The mode stays, too. A file that somebody else has changed meanwhile
// is not replaced.
//
// Throws ToolError with EXIT_FILE_TROUBLE. One object at a time.
class Replacement {
  public:
    // Looks at what there is; makes no file yet. Make it before the old file is read.
    explicit Replacement(const std::string& path);
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement();

    // Refuses, as wrong use, to replace the file that the new one is made from: it would be lost.
    // "-" is standard input.
    void RequireOther(const std::string& source) const;

    bool HasOldFile() const { return old_.has_value(); }
    const std::string& GetPath() const { return path_; }  // behind symbolic links

    // Opens the new file; it happens by itself at the first Write.
    int Open();
    void Write(const void* data, size_t count);

    // The new file, once it is open, for whoever wants to read it before it is put into place.
    const std::string& GetTemporary() const { return temporary_; }

    // Puts the new file into place. With KEEP_OLD the old one, if there is one, stays beside it
    // under a name of its own, which is given; else nothing is.
    enum Keeping { DROP_OLD, KEEP_OLD };
    std::string Commit(Keeping keeping = DROP_OLD);

  private:
    std::string KeepOldFile() const;
    void Rename();
    void Sync();
    void CheckUnchanged() const;
    void SyncFolder() const;
    [[noreturn]] void Fail(const std::string& what) const;

    std::string shown_;  // the path as the user gave it
    std::string path_;
    std::string temporary_;
    std::optional<struct stat> old_;
    int descriptor_ = -1;
};

}  // namespace tool

#endif

#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/foundation/FileDescriptor.h"

namespace dovrel::notifyd {

// Watches named files through their folders with one inotify descriptor.
//
// A file is watched through its folder, as systemd watches /etc/localtime: replacing a file by
// renaming another over it (what SQLite's writers never do but `ln -sf`, timedatectl and
// editors do) keeps being seen, which a watch on the file itself would lose. Each watch has a
// set of names in its folder and a kind of change (modification only, or any change of the
// entry); read() answers the tags of the watches whose files changed.
//
// Not thread-safe: one thread owns it. Throws std::system_error when inotify cannot be used; a
// folder that does not exist is not watched (watch() answers false).
class FileWatch {
  public:
    enum class Changes {
        // The file's contents were written (IN_MODIFY). For files that readers also open for
        // writing (an SQLite database), where closing is no sign of a change.
        contents,
        // The entry was created, replaced, removed, written or had its attributes changed.
        entry,
    };

    FileWatch();

    int descriptor() const noexcept { return inotify_.get(); }

    // Watches the files `names` of `folder` for `changes`; `tag` is answered by read() when one
    // of them changes.
    bool watch(const std::filesystem::path& folder, std::set<std::string> names, Changes changes,
               int tag);

    // Reads every pending event; the tags that changed, each once. Empty when nothing was
    // pending.
    std::set<int> read();

  private:
    struct Watch {
        int watchDescriptor;
        std::uint32_t mask;
        std::set<std::string> names;
        int tag;
    };
    FileDescriptor inotify_;
    std::vector<Watch> watches_;
};

}  // namespace dovrel::notifyd

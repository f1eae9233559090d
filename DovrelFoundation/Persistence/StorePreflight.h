#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace dovrel {

// Why a file cannot be the habit store.
struct StoreFileProblem {
    enum class Kind {
        notAFile,             // a directory, a device, a socket...
        unreadable,           // the file exists but cannot be read (permissions, I/O)
        notSQLite,            // not an SQLite database at all
        corrupt,              // an SQLite database that SQLite cannot read, or a truncated one
        foreign,              // a readable SQLite database without the store's tables and metadata
        unknownModelVersion,  // a store of a model version this program does not know
        notWritable,          // the file, or the folder that holds (or would hold) it, is read-only
        busy,                 // another program kept the file locked past the busy timeout
    };
    Kind kind;
    // A short, untranslated detail for the user: the system's or SQLite's message, or the part
    // of the store that is missing ("no table Z_METADATA").
    std::string detail;
};

// Looks at the file the program is about to open as its store, before the store library opens
// it, and answers why it cannot be the store, or nothing when it can (or does not exist yet, or
// is empty: the library makes a new store there).
//
// The check never changes the file or its folder: the file is read through a plain read-only
// descriptor and through SQLite in immutable mode, so no journal, -wal or -shm file is made
// beside it. Only when the file is an SQLite database in write-ahead mode whose -wal file exists
// (a store that was not closed, or one another process has open) is it read through that log, in
// read-only mode with the reader's locks, so that tables still in the log are seen and a write
// under way is never read half done; the same happens when another process opened the file while
// it was being read immutably. Locks held by other processes are waited for up to
// kSQLiteBusyTimeout (SQLiteBusyWait.h), so a busy store is not a problem.
//
// A store is an SQLite database with the tables Z_METADATA (holding the keys "NSStoreUUID" and
// "NSStoreModelVersionIdentifier"), Z_PRIMARYKEY, Habit and Performing, whose model version is
// one of `knownModelVersions` (an older one is migrated by the library as it opens). The store
// is written to, and SQLite keeps its -wal and -shm files beside it, so the file and its folder
// must be writable; a file that does not exist yet needs an existing, writable folder.
std::optional<StoreFileProblem> checkStoreFile(const std::filesystem::path& path,
                                               const std::vector<std::string>& knownModelVersions);

// The sentence that tells the user why `path` cannot be the store, localised: it names the file
// and says that the file was left as it was.
std::string storeFileProblemText(const std::filesystem::path& path,
                                 const StoreFileProblem& problem);

}  // namespace dovrel

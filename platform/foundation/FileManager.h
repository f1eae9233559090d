#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace dovrel {

// Where the application keeps its files, following the XDG base directory rules. Every
// directory is read from the environment at each call (tests point XDG_DATA_HOME at a
// temporary folder), and directories that do not exist yet are created, each missing level with
// mode 0700 (owner only), as the base directory rules ask.
class FileManager {
  public:
    // The user's data home: $XDG_DATA_HOME when it is set to an absolute path, otherwise
    // $HOME/.local/share (HOME from the password database when unset). Not created.
    static std::filesystem::path dataHome();

    // The container shared by the programs of an application group:
    // <data home>/<groupIdentifier>, created when missing. Nothing when the identifier is not
    // one plain directory name (empty, ".", "..", or containing '/' or NUL) or the directory
    // cannot be created (or exists as something other than a directory).
    static std::optional<std::filesystem::path> containerURL(std::string_view groupIdentifier);

    // The application's own data directory, <data home>/dovrel, created when missing; nothing
    // when it cannot be created.
    static std::optional<std::filesystem::path> applicationDataDirectory();

    // The user's cache home: $XDG_CACHE_HOME when it is set to an absolute path, otherwise
    // $HOME/.cache. Not created.
    static std::filesystem::path cacheHome();

    // The application's caches directory, <cache home>/dovrel, for files that can be made again
    // (notification artwork), created when missing; nothing when it cannot be created.
    static std::optional<std::filesystem::path> cachesDirectory();
};

}  // namespace dovrel

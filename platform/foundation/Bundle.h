#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace dovrel {

// A directory of read-only resources that ship with the program: string tables
// (locale/<language>/LC_MESSAGES/dovrel.mo), colour assets (colors.json) and the like.
//
// The main bundle's resource directory is, in this order of preference:
//   1. $DOVREL_RESOURCES, when that variable is set and not empty (whether or not it exists);
//   2. <directory of the running executable>/../resources, when it is a directory (a build tree
//      keeps programs in <build>/bin and resources in <build>/resources);
//   3. <directory of the running executable>/resources, when it is a directory;
//   4. <directory of the running executable>/../share/dovrel, when it is a directory (an install
//      under any prefix keeps programs in <prefix>/bin and resources in <prefix>/share/dovrel);
//   5. /usr/local/share/dovrel, when it is a directory;
//   6. /usr/share/dovrel otherwise (the packaged install; it may be missing, and then no
//      resource is found).
class Bundle {
  public:
    explicit Bundle(std::filesystem::path resourcePath);

    // The bundle of the running program. Its directory is chosen once, on the first call, and
    // kept for the rest of the process. Thread-safe.
    static const Bundle& main();

    // The rule above, applied to explicit inputs: `environmentValue` is the value of
    // DOVREL_RESOURCES (nullptr when unset), `executableDirectory` the directory of the program.
    static std::filesystem::path locateResourceDirectory(
        const char* environmentValue, const std::filesystem::path& executableDirectory);

    // The directory holding the running executable (from /proc/self/exe), or the current
    // directory when it cannot be read.
    static std::filesystem::path executableDirectory();

    // The bundle's resource directory.
    const std::filesystem::path& resourcePath() const noexcept { return resourcePath_; }

    // The path of the resource `name` (a file or directory name, possibly with subdirectories,
    // relative to the resource directory), or nothing when no such file or directory exists.
    std::optional<std::filesystem::path> pathForResource(std::string_view name) const;

  private:
    std::filesystem::path resourcePath_;
};

}  // namespace dovrel

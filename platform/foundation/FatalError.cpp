#include "platform/foundation/FatalError.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace dovrel {

std::string fatalErrorSourcePath(std::string_view fileName) {
#ifdef DOVREL_SOURCE_ROOT
    constexpr std::string_view root = DOVREL_SOURCE_ROOT;
    if (fileName.starts_with(root)) {
        fileName.remove_prefix(root.size());
    }
#endif
    // A compiler given relative paths (ccache with a base directory, a build folder inside the
    // tree) reports "../DovrelFoundation/Model/Habit.cpp": the path from the build folder.
    while (fileName.starts_with("../") || fileName.starts_with("./")) {
        fileName.remove_prefix(fileName.find('/') + 1);
    }
    const auto slash = fileName.find_last_of('/');
    const auto dot = fileName.find_last_of('.');
    if (dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash)) {
        fileName = fileName.substr(0, dot);
    }
    // The library's files name their library and themselves, whichever subsystem folder holds
    // them: DovrelFoundation/Model/Habit.cpp reports as DovrelFoundation/Habit.
    constexpr std::string_view library = "DovrelFoundation/";
    if (fileName.starts_with(library)) {
        const auto file = fileName.substr(fileName.find_last_of('/') + 1);
        return std::string(library) + std::string(file);
    }
    return std::string(fileName);
}

void fatalError(std::string_view message, std::source_location location) {
    const std::string text = "Fatal error: " + std::string(message) + ": file " +
                             fatalErrorSourcePath(location.file_name()) + ", line " +
                             std::to_string(location.line()) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
    std::abort();
}

}  // namespace dovrel

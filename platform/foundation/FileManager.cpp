#include "platform/foundation/FileManager.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <vector>

namespace dovrel {

namespace {

constexpr std::string_view kApplicationDirectoryName = "dovrel";

std::filesystem::path homeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return home;
    }
    // getpwuid_r with a buffer of our own: getpwuid's static result is not thread-safe.
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
    passwd entry{};
    passwd* result = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 &&
        result != nullptr && result->pw_dir != nullptr) {
        return result->pw_dir;
    }
    return "/";
}

// mkdir -p with mode 0700 for every level it creates. Levels that exist already keep their
// mode. True when `directory` is a directory afterwards.
bool makeDirectories(const std::filesystem::path& directory) {
    std::error_code error;
    if (std::filesystem::is_directory(directory, error)) {
        return true;
    }
    const auto parent = directory.parent_path();
    if (!parent.empty() && parent != directory && !makeDirectories(parent)) {
        return false;
    }
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) {
        return false;
    }
    // Another process may have made it meanwhile (EEXIST); it must be a directory either way.
    return std::filesystem::is_directory(directory, error);
}

std::optional<std::filesystem::path> directoryInDataHome(std::string_view name) {
    auto directory = FileManager::dataHome() / std::filesystem::path(name);
    if (!makeDirectories(directory)) {
        return std::nullopt;
    }
    return directory;
}

// The base directory that the variable `variable` names when it holds an absolute path,
// otherwise `fallback` below the home directory.
std::filesystem::path baseDirectory(const char* variable, const std::filesystem::path& fallback) {
    std::filesystem::path home;
    if (const char* value = std::getenv(variable); value != nullptr && value[0] == '/') {
        home = std::filesystem::path(value).lexically_normal();
    } else {
        home = (homeDirectory() / fallback).lexically_normal();
    }
    // "/a/b/" normalises to itself; drop the trailing separator so that the path names the
    // directory the same way whatever the variable looked like.
    if (!home.has_filename() && home.has_relative_path()) {
        home = home.parent_path();
    }
    return home;
}

}  // namespace

std::filesystem::path FileManager::dataHome() {
    return baseDirectory("XDG_DATA_HOME", std::filesystem::path(".local") / "share");
}

std::filesystem::path FileManager::cacheHome() {
    return baseDirectory("XDG_CACHE_HOME", ".cache");
}

std::optional<std::filesystem::path> FileManager::cachesDirectory() {
    auto directory = cacheHome() / std::filesystem::path(kApplicationDirectoryName);
    if (!makeDirectories(directory)) {
        return std::nullopt;
    }
    return directory;
}

std::optional<std::filesystem::path> FileManager::containerURL(std::string_view groupIdentifier) {
    if (groupIdentifier.empty() || groupIdentifier == "." || groupIdentifier == ".." ||
        groupIdentifier.find('/') != std::string_view::npos ||
        groupIdentifier.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    return directoryInDataHome(groupIdentifier);
}

std::optional<std::filesystem::path> FileManager::applicationDataDirectory() {
    return directoryInDataHome(kApplicationDirectoryName);
}

}  // namespace dovrel

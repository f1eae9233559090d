#include "platform/foundation/Bundle.h"

#include <cstdlib>
#include <system_error>
#include <utility>

namespace dovrel {

namespace {

bool isDirectory(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

}  // namespace

Bundle::Bundle(std::filesystem::path resourcePath) : resourcePath_(std::move(resourcePath)) {}

const Bundle& Bundle::main() {
    // A function-local static: initialised once, thread-safely, and never destroyed before the
    // objects that may still ask for resources during shutdown.
    static const Bundle* const bundle =
        new Bundle(locateResourceDirectory(std::getenv("DOVREL_RESOURCES"), executableDirectory()));
    return *bundle;
}

std::filesystem::path Bundle::locateResourceDirectory(
    const char* environmentValue, const std::filesystem::path& executableDirectory) {
    if (environmentValue != nullptr && *environmentValue != '\0') {
        return std::filesystem::path(environmentValue);
    }
    const std::filesystem::path candidates[] = {
        executableDirectory.parent_path() / "resources",
        executableDirectory / "resources",
        executableDirectory.parent_path() / "share" / "dovrel",
        "/usr/local/share/dovrel",
    };
    for (const auto& candidate : candidates) {
        if (isDirectory(candidate)) {
            return candidate.lexically_normal();
        }
    }
    return "/usr/share/dovrel";
}

std::filesystem::path Bundle::executableDirectory() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error || executable.empty()) {
        return std::filesystem::current_path(error);
    }
    return executable.parent_path();
}

std::optional<std::filesystem::path> Bundle::pathForResource(std::string_view name) const {
    if (name.empty()) {
        return std::nullopt;
    }
    auto path = resourcePath_ / std::filesystem::path(name);
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        return std::nullopt;
    }
    return path;
}

}  // namespace dovrel

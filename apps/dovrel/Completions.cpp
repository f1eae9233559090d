#include "apps/dovrel/Completions.h"

#include <iostream>

#include "DovrelFoundation/Settings/Constants.h"
#include "apps/dovrel/Application.h"
#include "apps/dovrel/ColorArgument.h"
#include "platform/foundation/FileManager.h"

namespace dovrel::cli {

namespace {

bool storeExists(const std::optional<std::filesystem::path>& storePath) {
    std::error_code error;
    if (storePath) {
        return std::filesystem::is_regular_file(*storePath, error);
    }
    // Looked up without containerURL, which would make the folder.
    return std::filesystem::is_regular_file(
        FileManager::dataHome() / Constants::appGroupIdentifier / "Habit.sqlite", error);
}

}  // namespace

int printCompletions(const std::string& kind,
                     const std::optional<std::filesystem::path>& storePath) {
    if (kind == "colors") {
        for (const auto& [name, color] : namedPalette()) {
            std::cout << name << '\n';
        }
        return 0;
    }
    if (kind != "habits") {
        return 2;
    }
    if (!storeExists(storePath)) {
        return 0;
    }
    try {
        Application::Options options;
        options.storePath = storePath;
        options.countsLaunch = false;
        const Application application(options);
        std::size_t number = 0;
        for (const auto& habit : application.habits()) {
            ++number;
            const auto name = habit->name();
            std::cout << (name && !name->empty() ? *name : std::to_string(number)) << '\n';
        }
    } catch (const std::exception&) {
        // A store that cannot be read completes to nothing; the command itself will say why.
    }
    return 0;
}

}  // namespace dovrel::cli

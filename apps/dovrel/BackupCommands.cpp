#include <filesystem>
#include <initializer_list>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Appearance/StringExtensions.h"
#include "DovrelFoundation/Model/HabitBackupArchive.h"
#include "DovrelFoundation/Model/HabitBackupPreview.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/Commands.h"
#include "apps/dovrel/HabitTitle.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

namespace {

using Backup = AnalyticsEvents::MainApp::Backup;

std::string habitsText(std::size_t count) {
    return localized("Cli.Backup.Habits", static_cast<std::int64_t>(count));
}

}  // namespace

void backupHabits(const Application& application, const std::filesystem::path& file, bool force) {
    const auto& context = application.coreDataManager().viewContext();
    const auto habits = application.habits();
    const std::size_t count = habits.size();

    // The habits without a colour, "2 “Read”, #3", in list order.
    std::string colourless;
    std::int64_t colourlessCount = 0;
    for (std::size_t i = 0; i < habits.size(); ++i) {
        if (habits[i]->color()) {
            continue;
        }
        if (!colourless.empty()) {
            colourless += ", ";
        }
        const std::optional<std::string> name = habits[i]->name();
        colourless +=
            name ? std::to_string(i + 1) + " " + habitTitle(name, i + 1) : habitTitle(name, i + 1);
        ++colourlessCount;
    }
    if (colourlessCount > 0) {
        const std::initializer_list<std::pair<std::string_view, std::string>> values = {
            {"habits", localized("Cli.Backup.Colourless", colourlessCount)},
            {"list", colourless},
            {"file", file.string()}};
        if (!force) {
            throw CommandError(text("Cli.Error.BackupColourless", values));
        }
        std::cerr << "dovrel: " << text("Cli.Warning.BackupColourless", values) << '\n';
    }

    try {
        HabitBackupArchive::writeBackupFile(context, file);
    } catch (const Error& error) {
        throw CommandError(
            text("Cli.Error.BackupFailed",
                 {{"file", file.string()}, {"detail", error.localizedDescription()}}));
    }
    std::cout << text("Cli.Backup.Done", {{"habits", habitsText(count)}, {"file", file.string()}})
              << '\n';
    application.tracker().trackEvent(Backup(Backup::store_a_backup).rawValue());
}

void restoreHabits(const Application& application, const std::filesystem::path& file, bool dryRun) {
    const auto failed = [&](const Error& error) {
        return CommandError(
            text("Cli.Error.RestoreFailed",
                 {{"file", file.string()}, {"detail", error.localizedDescription()}}));
    };
    if (dryRun) {
        // What the archive would add, from a scratch store; the real store is not touched.
        std::vector<BackupPreviewHabit> added;
        try {
            added = previewBackupFile(file);
        } catch (const Error& error) {
            throw failed(error);
        }
        std::cout << text("Cli.Restore.WouldAdd",
                          {{"file", file.string()}, {"habits", habitsText(added.size())}})
                  << '\n';
        for (const auto& habit : added) {
            std::cout << "  "
                      << text("Cli.Restore.Habit",
                              {{"name", habit.name.value_or(text("Cli.Habit.Unnamed"))},
                               {"checkmarks",
                                localized("Cli.Restore.Checkmarks",
                                          static_cast<std::int64_t>(habit.checkmarks))}})
                      << '\n';
        }
        return;
    }
    std::size_t restored = 0;
    try {
        restored = HabitBackupArchive::restoreBackupFile(
            file, application.coreDataManager().createNewBackgroundContext());
    } catch (const Error& error) {
        throw failed(error);
    }
    application.habitsChanged();
    std::cout << text("Cli.Restore.Done",
                      {{"habits", habitsText(restored)}, {"file", file.string()}})
              << '\n';
    application.tracker().trackEvent(Backup(Backup::restore_from_the_backup).rawValue());
}

}  // namespace dovrel::cli

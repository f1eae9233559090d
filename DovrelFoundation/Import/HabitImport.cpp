#include "DovrelFoundation/Import/HabitImport.h"

#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Import/HabitctlImport.h"
#include "DovrelFoundation/Import/LoopBackupImport.h"
#include "DovrelFoundation/Import/LoopCsvImport.h"
#include "DovrelFoundation/Import/ZipArchive.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

// A habit as the import recognises it: its name and the days of its checkmarks.
using HabitKey = std::pair<std::string, std::set<double>>;

HabitKey keyOf(const std::string& name, const std::vector<Date>& dates) {
    std::set<double> days;
    for (const Date date : dates) {
        if (std::isfinite(date.timeIntervalSinceReferenceDate())) {
            days.insert(onlyDay(date).timeIntervalSinceReferenceDate());
        }
    }
    return {name, std::move(days)};
}

void addHabit(const ImportedHabit& imported, store::ManagedObjectContext& context) {
    auto habit = insertObject<Habit>(context);
    habit->setName(imported.name);
    habit->setQuestion(imported.question);
    habit->setColor(imported.color ? *imported.color
                                   : randomColor(habitPalette(), ExcludedColors::nothing()));
    habit->setRepeatInterval(imported.interval);
    habit->setCreationDate(Clock::now());
    habit->setRemind(imported.reminder.has_value());
    if (imported.reminder) {
        habit->setRemindTime(todayAt(imported.reminder->first, imported.reminder->second));
    }
    std::vector<Date> dates = imported.checkmarks;
    std::sort(dates.begin(), dates.end());
    for (const Date date : dates) {
        auto performing = insertObject<Performing>(context);
        performing->setDate(date);
        habit->addPerformingObject(performing);
    }
    // The caches, as a checkmark made in the application leaves them.
    const std::size_t last = std::min<std::size_t>(dates.size(), 5);
    habit->setLastFivePerformingDates(LastFivePerformingDates(
        std::vector<Date>(dates.end() - static_cast<long>(last), dates.end())));
    habit->setLastPerformingDateProgress(HabitProgressCalculator::calculateProgress(
        dates, imported.interval.times(), imported.interval.days()));
}

// A new folder of this user's alone, for an archive to be unpacked in.
std::filesystem::path privateScratchFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "dovrel-import-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw ImportError("no folder for unpacking can be made in " +
                          std::filesystem::temp_directory_path().string());
    }
    return pattern;
}

}  // namespace

ImportedHabits readHabitsToImport(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        throw ImportError(path.string() + ": there is no such file or folder");
    }
    if (std::filesystem::is_directory(path, error)) {
        if (isLoopCsvFolder(path)) {
            return readLoopCsvFolder(path);
        }
        if (isHabitctl(path)) {
            return readHabitctl(path);
        }
        throw ImportError(path.string() +
                          ": the folder holds neither Loop Habit Tracker's Habits.csv nor "
                          "habitctl's habits file");
    }
    if (path.filename() == "Habits.csv") {
        return readLoopCsvFolder(path.parent_path());
    }
    if (isZipFile(path)) {
        // Loop's CSV export as it comes: unpacked into a private folder, read, removed.
        const auto scratch = privateScratchFolder();
        try {
            unpackZip(path, scratch);
            auto root = scratch;
            // The files may sit in one folder inside the archive.
            if (!isLoopCsvFolder(root)) {
                for (const auto& entry : std::filesystem::directory_iterator(scratch, error)) {
                    if (entry.is_directory() && isLoopCsvFolder(entry.path())) {
                        root = entry.path();
                    }
                }
            }
            if (!isLoopCsvFolder(root)) {
                throw ImportError(path.filename().string() +
                                  ": the zip archive holds no Habits.csv");
            }
            auto habits = readLoopCsvFolder(root);
            std::filesystem::remove_all(scratch, error);
            return habits;
        } catch (...) {
            std::filesystem::remove_all(scratch, error);
            throw;
        }
    }
    if (isHabitctl(path)) {
        return readHabitctl(path);
    }
    if (isSQLiteFile(path)) {
        return readLoopBackup(path);
    }
    throw ImportError(path.string() +
                      ": not a file Dovrel can import (Loop Habit Tracker's CSV export folder or "
                      "backup, or habitctl's files)");
}

ImportOutcome importHabits(const ImportedHabits& habits, store::ManagedObjectContext& context,
                           bool dryRun) {
    ImportOutcome outcome;
    context.performAndWait([&] {
        std::set<HabitKey> present;
        for (const auto& habit : context.fetch(Habit::fetchRequest(std::nullopt, false))) {
            if (const auto name = habit->name()) {
                present.insert(keyOf(*name, habit->performingDates()));
            }
        }
        try {
            for (const auto& imported : habits.habits) {
                HabitKey key = keyOf(imported.name, imported.checkmarks);
                if (present.contains(key)) {
                    outcome.alreadyThere.push_back(imported.name);
                    continue;
                }
                present.insert(std::move(key));
                outcome.added.push_back(imported.name);
                outcome.checkmarks += imported.checkmarks.size();
                if (!dryRun) {
                    addHabit(imported, context);
                }
            }
            if (!dryRun && context.hasChanges()) {
                context.save();
            }
        } catch (...) {
            context.rollback();
            throw;
        }
    });
    return outcome;
}

}  // namespace dovrel

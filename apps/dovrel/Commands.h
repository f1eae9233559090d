#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "apps/dovrel/Application.h"
#include "apps/dovrel/ColorArgument.h"
#include "apps/dovrel/Terminal.h"
#include "platform/foundation/Color.h"
#include "platform/foundation/Date.h"

namespace dovrel::cli {

// The commands of the program that work on habits. Each runs on an opened Application, prints
// its result on standard output, and reports failures by throwing CommandError (status 1).
// Arguments arrive already read (dates, colours, times), so usage errors are found before the
// store is opened. Every change is saved before the command returns and followed by a widget
// reload; the analytics event of each command is sent after its work succeeded.

// The values that add and edit set; absent values are left as they are (edit) or get their
// defaults (add: a random palette colour, every day, no reminder, no question).
struct HabitEdits {
    std::optional<std::string> name;
    std::optional<std::string> question;  // an empty question removes it
    std::optional<Color> color;
    std::optional<std::int64_t> times;
    std::optional<std::int64_t> days;
    std::optional<TimeOfDay> remindAt;  // switches the reminder on at that time of day
    bool remindOff = false;             // switches the reminder off (edit)
};

// list [--at WHEN] [--json]: the habits, oldest first, with their progress and mark on the day
// of `at` (today when absent), as text or as a JSON array.
void listHabits(const Application& application, const Terminal& terminal, std::optional<Date> at,
                bool json);
// add NAME
void addHabit(const Application& application, const HabitEdits& edits);
// check HABIT [--at WHEN] [--from-widget]
void checkHabit(const Application& application, const std::string& habit, std::optional<Date> at,
                bool fromWidget);
// show HABIT [--at WHEN] [--json] [--year]: with `year`, the text ends with the year up to the
// day as a grid of weeks instead of the day's month.
void showHabit(const Application& application, const Terminal& terminal, const std::string& habit,
               std::optional<Date> at, bool json, bool year = false);
// why HABIT [--at WHEN] [--json]: how the habit's score on the day of `at` (now when absent)
// came about, step by step, and what further checkmarks would reach 50, 80 and 100.
void explainProgress(const Application& application, const Terminal& terminal,
                     const std::string& habit, std::optional<Date> at, bool json);
// stats [HABIT] [--at WHEN] [--json]: streaks in the habit's own terms and completion per week
// and month on the day of `at` (now when absent), for one habit or, without one, every habit.
void showStatistics(const Application& application, const Terminal& terminal,
                    const std::optional<std::string>& habit, std::optional<Date> at, bool json);
// edit HABIT
void editHabit(const Application& application, const std::string& habit, const HabitEdits& edits);
// delete HABIT
void deleteHabit(const Application& application, const std::string& habit);
// reset HABIT
void resetHabit(const Application& application, const std::string& habit);
// backup FILE [--force]. A habit without a colour is written with a null colour, and such a
// record never restores, so one colourless habit would make the whole file unrestorable: the
// command names those habits and says how to give them a colour, and writes nothing (a
// CommandError) unless `force` is given; with `force` it writes the file and warns on standard
// error.
void backupHabits(const Application& application, const std::filesystem::path& file, bool force);
// restore FILE [--dry-run]
void restoreHabits(const Application& application, const std::filesystem::path& file, bool dryRun);
// settings
void showSettings(const Application& application);

}  // namespace dovrel::cli

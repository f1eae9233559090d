#pragma once

#include <filesystem>

#include "DovrelFoundation/Import/ImportedHabit.h"

namespace dovrel {

// A full backup of Loop Habit Tracker: an SQLite file (PRAGMA user_version 8 or later) with the
// tables Habits and Repetitions, opened read-only and never changed.
//   Habits: id, name, description, question (version 23 on; before it the description is the
//           question), freq_num, freq_den (the repeat interval), color (a palette index 0 to
//           19; before version 14 an ARGB number whose RGB is kept), archived, position (the
//           order), reminder_hour and reminder_min (a daily reminder), reminder_days, type
//           (0 yes/no, 1 numerical) and target_value.
//   Repetitions: habit, timestamp (milliseconds at midnight UTC of the local day) and value
//           (version 16 on: 2 done by the user, 1 automatic, 0 not done, 3 skipped; a
//           numerical habit's value in thousandths). Before version 16 every row is a
//           checkmark.
// Only days done by the user become checkmarks; a numerical habit gets one on each day whose
// value reaches its target, with a note. Anything that does not read is an ImportError naming
// the table and the row's id.
ImportedHabits readLoopBackup(const std::filesystem::path& file);

// Whether `file` starts as an SQLite database does.
bool isSQLiteFile(const std::filesystem::path& file);

}  // namespace dovrel

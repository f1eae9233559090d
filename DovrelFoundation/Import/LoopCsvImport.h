#pragma once

#include <filesystem>

#include "DovrelFoundation/Import/ImportedHabit.h"

namespace dovrel {

// Loop Habit Tracker's CSV export, unpacked in a folder:
//   Habits.csv  header "Position,Name,Type,Question,Description,FrequencyNumerator,
//               FrequencyDenominator,Color,Unit,Target Type,Target Value,Archived?", one habit
//               a line (Type YES_NO or NUMERICAL, Color "#RRGGBB");
//   "NNN Name"/Checkmarks.csv  per habit, in the folder named by its position (three digits)
//               and name: header "Date,Value,Notes", Date "yyyy-MM-dd", Value YES_MANUAL,
//               YES_AUTO, NO, SKIP or UNKNOWN (a number for a numerical habit).
// A YES_MANUAL day is one checkmark at the start of that local day; the other values add none;
// a numerical habit gets a checkmark on each day whose value reaches its target, with a note.
// The top-level Checkmarks.csv and each Scores.csv are not needed and not read. Anything that
// does not read is an ImportError naming the file and line.
ImportedHabits readLoopCsvFolder(const std::filesystem::path& folder);

// Whether `folder` holds a Habits.csv.
bool isLoopCsvFolder(const std::filesystem::path& folder);

}  // namespace dovrel

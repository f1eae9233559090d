#pragma once

#include <filesystem>

#include "DovrelFoundation/Import/ImportedHabit.h"

namespace dovrel {

// habitctl's two files, in its folder (~/.habitctl):
//   habits  lines "N Name": N is 1 (daily), 7 (weekly) or 0 (only tracked); "#" starts a
//           comment; blank lines are skipped.
//   log     lines "YYYY-MM-DD<TAB>Name<TAB>y|n|s"; "y" is a checkmark, "n" and "s" are none.
// A daily habit becomes 1 in 1 day, a weekly one 1 in 7 days, an only-tracked one 1 in 1 day
// with a note that habitctl did not ask for it. A log line of a habit that the habits file does
// not name, an unknown answer, a bad date or a bad frequency is an ImportError naming its file
// and line. `path` is the folder or either of its files.
ImportedHabits readHabitctl(const std::filesystem::path& path);

// Whether `path` looks like habitctl's: a folder with a "habits" file, or a file named "habits"
// or "log" beside the other.
bool isHabitctl(const std::filesystem::path& path);

}  // namespace dovrel

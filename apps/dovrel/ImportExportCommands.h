#pragma once

#include <filesystem>

#include "apps/dovrel/Application.h"

namespace dovrel::cli {

// import FILE [--dry-run]: the habits of another tracker's files (Loop Habit Tracker's CSV
// export folder or full backup, habitctl's folder or files), all or nothing. Prints what was
// added (or would be), what was recognised as already there, and the reader's notes. A file
// that does not read is a CommandError naming the record; nothing is imported then.
void importHabitsFrom(const Application& application, const std::filesystem::path& file,
                      bool dryRun);

// export --csv FOLDER: every habit and checkmark as habits.csv and checkmarks.csv.
void exportHabitsAsCsvTo(const Application& application, const std::filesystem::path& folder);

}  // namespace dovrel::cli

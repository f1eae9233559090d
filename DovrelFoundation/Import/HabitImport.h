#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "DovrelFoundation/Import/ImportedHabit.h"
#include "platform/store/ManagedObjectContext.h"

namespace dovrel {

// Reads the habits of another tracker from `path`, whichever of the known formats it is: Loop
// Habit Tracker's CSV export (its zip archive, or unpacked in a folder), Loop Habit Tracker's
// full backup (an SQLite file), or habitctl's folder or files. A path of none of them, or one that
// does not read, is an ImportError that says so (naming the record that failed).
ImportedHabits readHabitsToImport(const std::filesystem::path& path);

// What an import did, or would do.
struct ImportOutcome {
    std::vector<std::string> added;         // names, in the order of the file
    std::vector<std::string> alreadyThere;  // recognised and skipped
    std::size_t checkmarks = 0;             // of the added habits
};

// Adds the habits to the store of `context` (its thread's context) in one save: all of them or
// none. A habit is recognised, and skipped, when the store has one of the same name whose
// checkmarks fall on the same days, so that importing a file twice adds nothing the second time.
// Each added habit gets its checkmarks with the caches that follow from them, a palette colour
// when it has none, a reminder at its time of day when it has one, and now as its creation
// date. With `dryRun` nothing is saved or left in the context. A failed save throws the store's
// Error, and the context is rolled back.
ImportOutcome importHabits(const ImportedHabits& habits, store::ManagedObjectContext& context,
                           bool dryRun);

}  // namespace dovrel

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"

namespace dovrel {

class Habit;

namespace store {
class ManagedObjectContext;
}

// The backup file of all habits: a JSON object {"version": 1, "habits": [habit records]} with
// the habit records of HabitBackupCoding.h (dates as ISO 8601 texts in UTC with milliseconds,
// optional values as explicit nulls). The order of habits and of checkmarks is not
// significant; makeBackup writes the habits oldest first.
//
// Restoring adds the archive's habits to the store: every habit record is decoded into one
// context, and the context is saved only when all of them decoded. Any failure rolls the context
// back and throws an Error of domain kErrorDomain, so the store is exactly as it was; a failed
// record is named by its position in "habits" (counting from 0), its name when it has one, and
// the place inside it that failed.
//
// Every operation that takes a context runs on that context's queue itself (performAndWait).
class HabitBackupArchive {
  public:
    static constexpr std::int64_t kVersion = 1;

    static constexpr const char* kErrorDomain = "HabitBackupArchive";
    // User-info keys of a restore error, besides the localized description.
    static constexpr const char* kRecordIndexKey = "recordIndex";  // decimal, from 0
    static constexpr const char* kRecordNameKey = "recordName";    // only when the record has one
    static constexpr const char* kCodingPathKey = "codingPath";    // "habits[3].performings[0]"

    enum class ErrorCode : std::int64_t {
        // The file could not be read or written.
        fileUnreadable = 1,
        fileUnwritable = 2,
        // The text is not JSON, not an object, or has no list under "habits".
        malformedArchive = 3,
        // "version" is missing, not an integer, or not kVersion.
        unsupportedVersion = 4,
        // A habit record (or one of its checkmarks) could not be decoded.
        malformedHabitRecord = 5,
        // The context had unsaved changes: a restore needs a context of its own (a failed
        // restore rolls the context back, which would discard them).
        contextHasChanges = 6,
        // Saving the decoded habits failed; the store kept its contents.
        saveFailed = 7,
        // A habit holds a value that JSON cannot hold (a date or progress that is not finite).
        unencodableHabit = 8,
    };

    HabitBackupArchive() = delete;

    // The archive text of the given habits, in the given order.
    static std::string makeBackup(const std::vector<std::shared_ptr<Habit>>& habits);
    // The archive text of every habit of the context, oldest first (Habit's default sort).
    static std::string makeBackup(const std::shared_ptr<store::ManagedObjectContext>& context);
    // makeBackup(context) written to `file` (writeFileAtomically: private to the user, a new file
    // beside it renamed over it when complete and synced).
    static void writeBackupFile(const std::shared_ptr<store::ManagedObjectContext>& context,
                                const std::filesystem::path& file);

    // Decodes every habit of the archive text into `context` and saves it. Returns the number of
    // habits restored. `context` must have no unsaved changes.
    static std::size_t restoreBackup(const std::string& archiveText,
                                     const std::shared_ptr<store::ManagedObjectContext>& context);
    // restoreBackup of the contents of `file`.
    static std::size_t restoreBackupFile(
        const std::filesystem::path& file,
        const std::shared_ptr<store::ManagedObjectContext>& context);
};

}  // namespace dovrel

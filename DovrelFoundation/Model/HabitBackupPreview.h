#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace dovrel {

// What restoring a backup file would add, found without touching the store: the archive is
// restored into a scratch store of its own (in a new folder under the temporary folder, removed
// afterwards), exactly as it would be into the real one, and the habits that arrived there are
// reported in list order (oldest first), each with its name (nothing for an unnamed habit) and
// its number of checkmarks.
//
// Throws the restore's Error when the file cannot be read or a record fails (all or nothing, as
// the restore itself: the error names the record), and an Error when the scratch store cannot be
// made. Any thread; it uses no context of the caller's.
struct BackupPreviewHabit {
    std::optional<std::string> name;
    std::size_t checkmarks = 0;
};
std::vector<BackupPreviewHabit> previewBackupFile(const std::filesystem::path& file);

}  // namespace dovrel

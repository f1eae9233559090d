#pragma once

#include <filesystem>
#include <string_view>

namespace dovrel {

// Replaces `file` with `contents` so that a reader, or the file after a crash, holds the old
// contents or the new ones, never a mix: the contents go to a new file beside it, created 0600
// (private to the user, whatever the umask), are synced, and the new file is renamed over
// `file`; then the folder is synced so that the rename lasts. The file ends up 0600 even where
// an older one was readable by others.
//
// Throws std::system_error naming the step that failed; `file` is then as it was and no
// temporary file is left behind. Thread-safe for different files.
void writeFileAtomically(const std::filesystem::path& file, std::string_view contents);

}  // namespace dovrel

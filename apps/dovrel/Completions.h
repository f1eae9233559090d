#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace dovrel::cli {

// What the shell completions ask the program for (`dovrel __complete KIND`), one word a line:
//   "habits": the names of the habits in list order (the list number for one without a name),
//             from the store at `storePath` or the application's own; nothing when that store
//             does not exist yet (it is never made for a completion) or cannot be read;
//   "colors": the palette's colour names.
// Never prints an error: a completion that fails offers nothing. The launch is not counted.
// Answers the exit status (0, or 2 for an unknown kind).
int printCompletions(const std::string& kind,
                     const std::optional<std::filesystem::path>& storePath);

}  // namespace dovrel::cli

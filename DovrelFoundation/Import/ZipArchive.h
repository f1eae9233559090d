#pragma once

#include <filesystem>

namespace dovrel {

// Unpacks the zip archive `archive` into the empty folder `folder`, the way an import reads it:
// regular files and folders only, every name kept inside `folder` (an absolute name or one with
// ".." is refused), at most 10,000 entries and 256 MiB in all. Anything else, or an archive that
// does not read (a truncated file, say), is an ImportError naming the archive and the entry.
void unpackZip(const std::filesystem::path& archive, const std::filesystem::path& folder);

// Whether `file` starts as a zip archive does ("PK\3\4").
bool isZipFile(const std::filesystem::path& file);

}  // namespace dovrel

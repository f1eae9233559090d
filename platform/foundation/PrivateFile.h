#pragma once

#include <filesystem>

namespace dovrel {

// Creates `file` empty and readable and writable by its owner only (0600) when it does not
// exist, so that an SQLite database made in it is private from its first moment (SQLite gives
// the -wal and -shm companions the same permissions).
//
// A file that exists already is left exactly as it is and is never opened: closing any
// descriptor of a database file drops every POSIX lock that this process holds on it, those of
// its live SQLite connections included, and another process could then take the file for
// unused and checkpoint or remove its log under them (writes would be lost).
//
// Throws std::system_error when the file can neither be created nor found.
void createPrivateFileIfMissing(const std::filesystem::path& file);

}  // namespace dovrel

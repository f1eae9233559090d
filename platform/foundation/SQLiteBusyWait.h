#pragma once

#include <chrono>
#include <functional>

namespace dovrel {

// Waiting for another connection's lock on an SQLite file that several processes share (the
// store, the user-defaults suites, the reminder center's file).
//
// A connection with a busy timeout makes SQLite itself wait for most locks. In a few cases SQLite
// answers SQLITE_BUSY or SQLITE_LOCKED at once, without having waited: a write-ahead log that
// another connection is recovering or restarting at that moment, a read transaction that cannot
// become a write transaction because its snapshot is stale, a journal-mode change that needs the
// file to itself. A statement that failed that way outside a transaction left nothing behind and
// may simply be started again; retryWhileBusy does that.

// How long every connection to a shared file of the application waits for another process
// before a busy error reaches the caller.
inline constexpr std::chrono::milliseconds kSQLiteBusyTimeout{10000};

// Whether an SQLite result code (primary or extended) says that another connection holds a lock.
bool isSQLiteBusy(int code) noexcept;

// Runs `attempt` (which returns an SQLite result code) and runs it again, after a short pause
// that grows from one millisecond to 32 with random jitter, for as long as it answers busy and
// `timeout` has not passed since the first try. Returns the last result code. Thread-safe.
int retryWhileSQLiteBusy(std::chrono::milliseconds timeout, const std::function<int()>& attempt);

}  // namespace dovrel

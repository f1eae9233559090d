#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/store/Value.h"

namespace dovrel::store {

// A thin RAII layer over one SQLite connection, used by the SQLite store. Every failure throws
// dovrel::Error in the domain "SQLite" with SQLite's result code and message.
//
// Busy files. With a busy timeout set, SQLite itself waits for other connections' locks; where it
// still answers SQLITE_BUSY or SQLITE_LOCKED without having waited (see SQLiteBusyWait.h),
// preparing a statement, and a statement or execute() text that has no transaction under way (not
// even a deferred one's read) and has not returned a row yet, are started again after a short,
// growing pause until the busy timeout has passed. Only then does the busy error reach the
// caller.
class SQLiteDatabase {
  public:
    class Statement;

    // Opens the file at `path` read-write (creating it only when `create` is true).
    SQLiteDatabase(const std::filesystem::path& path, bool create);
    SQLiteDatabase(const SQLiteDatabase&) = delete;
    SQLiteDatabase& operator=(const SQLiteDatabase&) = delete;

    sqlite3* handle() const noexcept { return db_.get(); }

    // How long a statement waits for another connection's lock (also SQLite's own busy timeout).
    void setBusyTimeout(std::chrono::milliseconds timeout);
    std::chrono::milliseconds busyTimeout() const noexcept { return busyTimeout_; }
    // Runs `attempt` (which returns an SQLite result code) again after a short, growing pause
    // while it answers SQLITE_BUSY or SQLITE_LOCKED and the busy timeout has not passed since the
    // first try; returns the last result code.
    int retryWhileBusy(const std::function<int()>& attempt) const;

    // Runs one or more statements that return nothing of interest. Outside a transaction a busy
    // answer runs the whole text again (see above), so such a text must be safe to repeat.
    void execute(const std::string& sql);
    // A prepared statement; cached ones live as long as the connection and are reset on reuse.
    Statement prepare(std::string_view sql);
    Statement& cached(const std::string& sql);

    // The rows that statements of this connection have produced so far.
    std::uint64_t rowsRead() const noexcept { return rowsRead_.load(); }

    std::int64_t lastInsertRowID() const { return sqlite3_last_insert_rowid(db_.get()); }

    [[noreturn]] void fail(int code) const;

    class Statement {
      public:
        Statement() = default;
        Statement(Statement&&) noexcept = default;
        Statement& operator=(Statement&&) noexcept = default;

        // 1-based; objects must be transformed first. Without `copy`, text and blobs must stay
        // unchanged until the statement is reset.
        void bind(int index, const Value& value, bool copy = true);
        void bindNull(int index);
        void bindInteger(int index, std::int64_t value);
        void bindText(int index, std::string_view text);
        // Advances to the next row; false when the statement is done.
        bool step();
        // Runs a statement that returns no rows.
        void run();
        void reset();

        bool isNull(int column) const;
        std::int64_t integer(int column) const;
        double real(int column) const;
        std::string text(int column) const;
        Data blob(int column) const;

      private:
        friend class SQLiteDatabase;
        struct Finalizer {
            void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
        };
        std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
        SQLiteDatabase* database_ = nullptr;
        // Whether a row has come back since the last reset (a busy statement is then not
        // started again).
        bool returnedRow_ = false;
    };

  private:
    struct Closer {
        void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
    };
    std::unique_ptr<sqlite3, Closer> db_;
    std::chrono::milliseconds busyTimeout_{0};
    std::atomic<std::uint64_t> rowsRead_{0};
    std::vector<std::pair<std::string, std::unique_ptr<Statement>>> cache_;
};

}  // namespace dovrel::store

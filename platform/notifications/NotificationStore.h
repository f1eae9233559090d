#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace dovrel::notifications {

// The rows of the notification center's file, as stored. Texts are the encodings of
// NotificationCoding.h; dates are seconds since the reference date. A value of the wrong SQLite
// type (a damaged row) reads as nothing, so that the center can skip the row.

// A pending request. `sequence` grows with every insertion: the order in which requests were
// added. `fireDate` is a time-interval trigger's date fixed when it was added (or moved on when
// it repeats); `lastFireDate` the last delivery of a repeating calendar trigger.
struct PendingRow {
    std::int64_t sequence = 0;
    std::string identifier;
    std::optional<std::string> content;
    std::optional<std::string> trigger;  // nothing for a request without a trigger
    std::optional<double> addedDate;
    std::optional<double> fireDate;
    std::optional<double> lastFireDate;
};

// A delivered notification; `sequence` is the order of delivery.
struct DeliveredRow {
    std::int64_t sequence = 0;
    std::string identifier;
    std::optional<double> date;
    std::optional<std::string> content;
    std::optional<std::string> trigger;
};

// The center's SQLite file: opening it (created 0600, write-ahead log, busy timeout, tables) and
// running transactions on it.
//
// Every operation of the center is one call of read() or write(), whose body sees one consistent
// state of the file. write() takes the write lock first (BEGIN IMMEDIATE), so that what the body
// reads cannot change before it writes. While another connection holds the file, SQLite's busy
// handler waits; what SQLite refuses without waiting (SQLiteBusyWait.h) ends the attempt, rolls
// it back and runs the whole body again, until kSQLiteBusyTimeout has passed. A body must
// therefore start from scratch each time it runs (reset what it collects), and must keep its
// effects outside the file until the call returns.
//
// Errors: the constructor and both calls throw dovrel::Error (domain `errorDomain`, the SQLite
// result code) when the file cannot be opened or a statement fails after waiting; the
// transaction is then rolled back. An exception thrown by a body rolls back and reaches the
// caller unchanged.
//
// Threads: one connection, used by one transaction at a time; calls from several threads wait
// for each other. Not for use in a child process after fork().
class NotificationStore {
  public:
    class Transaction;
    using Body = std::function<void(Transaction&)>;

    NotificationStore(const std::filesystem::path& file, std::string errorDomain);
    ~NotificationStore();
    NotificationStore(const NotificationStore&) = delete;
    NotificationStore& operator=(const NotificationStore&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

    void read(const Body& body);
    void write(const Body& body);

    // The statements a body may run, inside its transaction.
    class Transaction {
      public:
        std::vector<PendingRow> pendingRows();
        // The sequence and identifier of every pending row, in sequence order: what a caller
        // that already knows the rows' requests needs, without reading their texts.
        std::vector<std::pair<std::int64_t, std::string>> pendingKeys();
        // One whole pending row, or nothing when there is none with that sequence.
        std::optional<PendingRow> pendingRow(std::int64_t sequence);
        // Returns the new row's sequence.
        std::int64_t insertPending(const std::string& identifier, const std::string& content,
                                   const std::optional<std::string>& trigger, double addedDate,
                                   std::optional<double> fireDate);
        void updatePendingDates(std::int64_t sequence, std::optional<double> fireDate,
                                std::optional<double> lastFireDate);
        void deletePending(const std::string& identifier);
        void deletePendingRow(std::int64_t sequence);
        void deleteAllPending();

        std::vector<DeliveredRow> deliveredRows();
        void insertDelivered(const std::string& identifier, double date, const std::string& content,
                             const std::optional<std::string>& trigger);
        void deleteDelivered(const std::string& identifier);
        void deleteAllDelivered();

        // The encoded categories, in the order they were registered.
        std::vector<std::string> categories();
        void replaceCategories(const std::vector<std::string>& categories);

      private:
        friend class NotificationStore;
        explicit Transaction(NotificationStore& store) : store_(store) {}
        NotificationStore& store_;
    };

  private:
    struct Closer {
        void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
    };

    void run(const char* begin, const Body& body);

    std::filesystem::path path_;
    std::string errorDomain_;
    std::unique_ptr<sqlite3, Closer> database_;
    std::mutex mutex_;
    // The statements of the transactions, prepared once per connection and kept by their SQL
    // text (the literals of the .cpp file); used under mutex_. Declared after the connection so
    // that they are finalized before it closes.
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
    };
    std::map<const char*, std::unique_ptr<sqlite3_stmt, Finalizer>> statements_;
    sqlite3_stmt* prepared(const char* sql);
};

}  // namespace dovrel::notifications

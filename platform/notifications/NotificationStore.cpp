#include "platform/notifications/NotificationStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/foundation/Error.h"
#include "platform/foundation/PrivateFile.h"
#include "platform/foundation/SQLiteBusyWait.h"

namespace dovrel::notifications {

namespace {

// A failed SQLite call inside a transaction: the result code and SQLite's message.
struct SQLiteFailure {
    int code;
    std::string message;
};

[[noreturn]] void failWith(sqlite3* database, int code) {
    throw SQLiteFailure{code, sqlite3_errmsg(database)};
}

// One use of a prepared statement that the store keeps: bound, stepped, and reset (with its
// bindings cleared) when the scope ends, ready for the next use.
class Statement {
  public:
    Statement(sqlite3* database, sqlite3_stmt* prepared)
        : database_(database), statement_(prepared) {}
    ~Statement() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(int index, const std::string& text) {
        check(sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_TRANSIENT,
                                  SQLITE_UTF8));
    }
    void bind(int index, const std::optional<std::string>& text) {
        if (text) {
            bind(index, *text);
        } else {
            check(sqlite3_bind_null(statement_, index));
        }
    }
    void bind(int index, double value) { check(sqlite3_bind_double(statement_, index, value)); }
    void bind(int index, std::optional<double> value) {
        if (value) {
            bind(index, *value);
        } else {
            check(sqlite3_bind_null(statement_, index));
        }
    }
    void bind(int index, std::int64_t value) {
        check(sqlite3_bind_int64(statement_, index, value));
    }

    // Advances to the next row; false when the statement is done.
    bool step() {
        const int code = sqlite3_step(statement_);
        if (code == SQLITE_ROW) {
            return true;
        }
        if (code == SQLITE_DONE) {
            return false;
        }
        failWith(database_, code);
    }
    void run() {
        while (step()) {
        }
    }

    std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
    std::optional<std::string> text(int column) const {
        if (sqlite3_column_type(statement_, column) != SQLITE_TEXT) {
            return std::nullopt;
        }
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
        const int size = sqlite3_column_bytes(statement_, column);
        return std::string(bytes != nullptr ? bytes : "", static_cast<std::size_t>(size));
    }
    std::optional<double> real(int column) const {
        const int type = sqlite3_column_type(statement_, column);
        if (type != SQLITE_FLOAT && type != SQLITE_INTEGER) {
            return std::nullopt;
        }
        return sqlite3_column_double(statement_, column);
    }

  private:
    void check(int code) {
        if (code != SQLITE_OK) {
            failWith(database_, code);
        }
    }

    sqlite3* database_;
    sqlite3_stmt* statement_ = nullptr;
};

// The tables. The file format: change it only together with a new user_version and a migration.
constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS pending ("
    "  sequence INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  identifier TEXT NOT NULL UNIQUE,"
    "  content TEXT NOT NULL,"
    "  trigger TEXT,"
    "  added_date REAL NOT NULL,"
    "  fire_date REAL,"
    "  last_fire_date REAL"
    ");"
    "CREATE TABLE IF NOT EXISTS delivered ("
    "  sequence INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  identifier TEXT NOT NULL,"
    "  date REAL NOT NULL,"
    "  content TEXT NOT NULL,"
    "  trigger TEXT"
    ");"
    "CREATE INDEX IF NOT EXISTS delivered_identifier ON delivered (identifier);"
    "CREATE TABLE IF NOT EXISTS categories ("
    "  position INTEGER PRIMARY KEY,"
    "  category TEXT NOT NULL"
    ");"
    "PRAGMA user_version = 1;";

}  // namespace

NotificationStore::NotificationStore(const std::filesystem::path& file, std::string errorDomain)
    : path_(file), errorDomain_(std::move(errorDomain)) {
    const auto error = [&](int code, const std::string& description) {
        return Error(errorDomain_, code, {{Error::kLocalizedDescriptionKey, description}});
    };
    // Created here, so that the file is private from its first moment; SQLite gives its -wal and
    // -shm companions the same permissions.
    // A file that exists is not opened here (see PrivateFile.h): the process may hold it open.
    try {
        createPrivateFileIfMissing(file);
    } catch (const std::system_error& failure) {
        throw error(SQLITE_CANTOPEN, failure.what());
    }

    sqlite3* raw = nullptr;
    const int opened = sqlite3_open_v2(
        file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
        nullptr);
    database_.reset(raw);  // a handle comes back even when opening fails
    if (opened != SQLITE_OK) {
        throw error(opened, "cannot open " + file.string() + ": " +
                                (raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(opened)));
    }
    sqlite3* database = database_.get();
    sqlite3_busy_timeout(database, static_cast<int>(kSQLiteBusyTimeout.count()));
    sqlite3_extended_result_codes(database, 1);

    // The journal mode is set outside any transaction; it may be refused at once while another
    // connection opens the file, and is then asked again.
    const int journal = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [database] {
        return sqlite3_exec(database, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;",
                            nullptr, nullptr, nullptr);
    });
    if (journal != SQLITE_OK) {
        throw error(journal, "cannot prepare " + file.string() + ": " + sqlite3_errmsg(database));
    }
    write([database](Transaction&) {
        const int code = sqlite3_exec(database, kSchema, nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) {
            failWith(database, code);
        }
    });
}

NotificationStore::~NotificationStore() = default;

void NotificationStore::read(const Body& body) {
    run("BEGIN", body);
}

void NotificationStore::write(const Body& body) {
    run("BEGIN IMMEDIATE", body);
}

void NotificationStore::run(const char* begin, const Body& body) {
    std::lock_guard lock(mutex_);
    sqlite3* database = database_.get();
    const auto rollback = [database] {
        if (sqlite3_get_autocommit(database) == 0) {
            sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
        }
    };
    std::string lastMessage;
    const int code = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [&]() -> int {
        try {
            int result = sqlite3_exec(database, begin, nullptr, nullptr, nullptr);
            if (result != SQLITE_OK) {
                failWith(database, result);
            }
            Transaction transaction(*this);
            body(transaction);
            result = sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
            if (result != SQLITE_OK) {
                failWith(database, result);
            }
            return SQLITE_OK;
        } catch (const SQLiteFailure& failure) {
            rollback();
            lastMessage = failure.message;
            return failure.code;
        } catch (...) {
            rollback();
            throw;
        }
    });
    if (code != SQLITE_OK) {
        throw Error(errorDomain_, code,
                    {{Error::kLocalizedDescriptionKey,
                      "cannot use the notification file " + path_.string() + ": " + lastMessage}});
    }
}

sqlite3_stmt* NotificationStore::prepared(const char* sql) {
    auto& statement = statements_[sql];
    if (!statement) {
        sqlite3_stmt* made = nullptr;
        const int code =
            sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr);
        if (code != SQLITE_OK) {
            failWith(database_.get(), code);
        }
        statement.reset(made);
    }
    return statement.get();
}

namespace {

// The row a statement stands on that selects sequence, identifier, content, trigger,
// added_date, fire_date and last_fire_date, in that order.
PendingRow pendingRowOf(Statement& statement) {
    PendingRow row;
    row.sequence = statement.integer(0);
    row.identifier = statement.text(1).value_or("");
    row.content = statement.text(2);
    row.trigger = statement.text(3);
    row.addedDate = statement.real(4);
    row.fireDate = statement.real(5);
    row.lastFireDate = statement.real(6);
    return row;
}

}  // namespace

std::vector<PendingRow> NotificationStore::Transaction::pendingRows() {
    Statement statement(
        store_.database_.get(),
        store_.prepared("SELECT sequence, identifier, content, trigger, added_date, fire_date, "
                        "last_fire_date FROM pending ORDER BY sequence"));
    std::vector<PendingRow> rows;
    while (statement.step()) {
        rows.push_back(pendingRowOf(statement));
    }
    return rows;
}

std::vector<std::pair<std::int64_t, std::string>> NotificationStore::Transaction::pendingKeys() {
    Statement statement(
        store_.database_.get(),
        store_.prepared("SELECT sequence, identifier FROM pending ORDER BY sequence"));
    std::vector<std::pair<std::int64_t, std::string>> keys;
    while (statement.step()) {
        keys.emplace_back(statement.integer(0), statement.text(1).value_or(""));
    }
    return keys;
}

std::optional<PendingRow> NotificationStore::Transaction::pendingRow(std::int64_t sequence) {
    Statement statement(
        store_.database_.get(),
        store_.prepared("SELECT sequence, identifier, content, trigger, added_date, fire_date, "
                        "last_fire_date FROM pending WHERE sequence = ?1"));
    statement.bind(1, sequence);
    if (!statement.step()) {
        return std::nullopt;
    }
    return pendingRowOf(statement);
}

std::int64_t NotificationStore::Transaction::insertPending(
    const std::string& identifier, const std::string& content,
    const std::optional<std::string>& trigger, double addedDate, std::optional<double> fireDate) {
    Statement statement(
        store_.database_.get(),
        store_.prepared("INSERT INTO pending (identifier, content, trigger, added_date, fire_date) "
                        "VALUES (?1, ?2, ?3, ?4, ?5)"));
    statement.bind(1, identifier);
    statement.bind(2, content);
    statement.bind(3, trigger);
    statement.bind(4, addedDate);
    statement.bind(5, fireDate);
    statement.run();
    return sqlite3_last_insert_rowid(store_.database_.get());
}

void NotificationStore::Transaction::updatePendingDates(std::int64_t sequence,
                                                        std::optional<double> fireDate,
                                                        std::optional<double> lastFireDate) {
    Statement statement(
        store_.database_.get(),
        store_.prepared(
            "UPDATE pending SET fire_date = ?2, last_fire_date = ?3 WHERE sequence = ?1"));
    statement.bind(1, sequence);
    statement.bind(2, fireDate);
    statement.bind(3, lastFireDate);
    statement.run();
}

void NotificationStore::Transaction::deletePending(const std::string& identifier) {
    Statement statement(store_.database_.get(),
                        store_.prepared("DELETE FROM pending WHERE identifier = ?1"));
    statement.bind(1, identifier);
    statement.run();
}

void NotificationStore::Transaction::deletePendingRow(std::int64_t sequence) {
    Statement statement(store_.database_.get(),
                        store_.prepared("DELETE FROM pending WHERE sequence = ?1"));
    statement.bind(1, sequence);
    statement.run();
}

void NotificationStore::Transaction::deleteAllPending() {
    Statement(store_.database_.get(), store_.prepared("DELETE FROM pending")).run();
}

std::vector<DeliveredRow> NotificationStore::Transaction::deliveredRows() {
    Statement statement(store_.database_.get(),
                        store_.prepared("SELECT sequence, identifier, date, content, trigger FROM "
                                        "delivered ORDER BY sequence"));
    std::vector<DeliveredRow> rows;
    while (statement.step()) {
        DeliveredRow row;
        row.sequence = statement.integer(0);
        row.identifier = statement.text(1).value_or("");
        row.date = statement.real(2);
        row.content = statement.text(3);
        row.trigger = statement.text(4);
        rows.push_back(std::move(row));
    }
    return rows;
}

void NotificationStore::Transaction::insertDelivered(const std::string& identifier, double date,
                                                     const std::string& content,
                                                     const std::optional<std::string>& trigger) {
    Statement statement(
        store_.database_.get(),
        store_.prepared("INSERT INTO delivered (identifier, date, content, trigger) "
                        "VALUES (?1, ?2, ?3, ?4)"));
    statement.bind(1, identifier);
    statement.bind(2, date);
    statement.bind(3, content);
    statement.bind(4, trigger);
    statement.run();
}

void NotificationStore::Transaction::deleteDelivered(const std::string& identifier) {
    Statement statement(store_.database_.get(),
                        store_.prepared("DELETE FROM delivered WHERE identifier = ?1"));
    statement.bind(1, identifier);
    statement.run();
}

void NotificationStore::Transaction::deleteAllDelivered() {
    Statement(store_.database_.get(), store_.prepared("DELETE FROM delivered")).run();
}

std::vector<std::string> NotificationStore::Transaction::categories() {
    Statement statement(store_.database_.get(),
                        store_.prepared("SELECT category FROM categories ORDER BY position"));
    std::vector<std::string> categories;
    while (statement.step()) {
        // A damaged row reads as an empty text, which does not decode and is skipped there.
        categories.push_back(statement.text(0).value_or(""));
    }
    return categories;
}

void NotificationStore::Transaction::replaceCategories(const std::vector<std::string>& categories) {
    Statement(store_.database_.get(), store_.prepared("DELETE FROM categories")).run();
    std::int64_t position = 0;
    for (const auto& category : categories) {
        Statement statement(
            store_.database_.get(),
            store_.prepared("INSERT INTO categories (position, category) VALUES (?1, ?2)"));
        statement.bind(1, position++);
        statement.bind(2, category);
        statement.run();
    }
}

}  // namespace dovrel::notifications

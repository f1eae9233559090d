#include "platform/foundation/UserDefaults.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/foundation/Error.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/SQLiteBusyWait.h"

namespace dovrel {

namespace {

// The type tag stored beside each value: SQLite's own column types cannot tell a bool from an
// integer or a Date from a double. The numbers are part of the file format.
enum class TypeTag : int { boolean = 0, integer = 1, real = 2, text = 3, date = 4, data = 5 };

struct DatabaseCloser {
    void operator()(sqlite3* database) const noexcept { sqlite3_close_v2(database); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using DatabaseHandle = std::unique_ptr<sqlite3, DatabaseCloser>;
using StatementHandle = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

Error defaultsError(std::int64_t code, const std::string& description) {
    return Error(UserDefaults::kErrorDomain, code,
                 {{Error::kLocalizedDescriptionKey, description}});
}

Error sqliteError(sqlite3* database, int code, const std::string& what) {
    return defaultsError(
        code,
        what + ": " + (database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(code)));
}

// Resets a cached statement and clears its bindings when the scope ends, whatever happened.
class StatementUse {
  public:
    explicit StatementUse(sqlite3_stmt* statement) : statement_(statement) {}
    ~StatementUse() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    StatementUse(const StatementUse&) = delete;
    StatementUse& operator=(const StatementUse&) = delete;

  private:
    sqlite3_stmt* statement_;
};

// Steps a statement that returns at most one row, starting it again while another process holds
// the file (a statement refused before its first row left nothing behind).
int stepWaiting(sqlite3_stmt* statement) {
    return retryWhileSQLiteBusy(kSQLiteBusyTimeout, [statement] {
        sqlite3_reset(statement);
        return sqlite3_step(statement);
    });
}

void bindKey(sqlite3_stmt* statement, std::string_view key) {
    // An empty view may carry a null pointer, which would bind NULL instead of "".
    sqlite3_bind_text64(statement, 1, key.empty() ? "" : key.data(), key.size(), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

}  // namespace

struct UserDefaults::Storage {
    std::optional<std::string> suiteName;
    std::filesystem::path path;
    DatabaseHandle database;
    StatementHandle select;
    StatementHandle upsert;
    StatementHandle remove;
    // SQLite serialises calls on one connection, but a cached statement is bound, stepped and
    // reset as a unit (and update() reads and writes as one), and that unit is what this mutex
    // protects.
    std::mutex mutex;

    // The three operations, with the mutex held.
    std::optional<Value> read(std::string_view key);
    void write(std::string_view key, const Value& value);
    void erase(std::string_view key);
};

UserDefaults::UserDefaults(std::string_view suiteName)
    : UserDefaults(std::string(suiteName), [&] {
          auto container = FileManager::containerURL(suiteName);
          if (!container) {
              throw defaultsError(SQLITE_CANTOPEN, "cannot create the container of the suite \"" +
                                                       std::string(suiteName) + "\"");
          }
          return *container / kFileName;
      }()) {}

UserDefaults UserDefaults::atPath(const std::filesystem::path& file) {
    return UserDefaults(std::nullopt, file);
}

UserDefaults& UserDefaults::standard() {
    static std::mutex mutex;
    // Never destroyed: references handed out stay valid until the process ends.
    static auto* suites = new std::map<std::filesystem::path, std::unique_ptr<UserDefaults>>();
    auto directory = FileManager::applicationDataDirectory();
    if (!directory) {
        throw defaultsError(SQLITE_CANTOPEN, "cannot create the application data directory in " +
                                                 FileManager::dataHome().string());
    }
    const auto file = *directory / kFileName;
    std::lock_guard lock(mutex);
    auto& suite = (*suites)[file];
    if (!suite) {
        suite.reset(new UserDefaults(std::nullopt, file));
    }
    return *suite;
}

UserDefaults::UserDefaults(std::optional<std::string> suiteName, const std::filesystem::path& file)
    : storage_(std::make_unique<Storage>()) {
    storage_->suiteName = std::move(suiteName);
    storage_->path = file;

    // Create the file ourselves so that it is private from the first moment; SQLite gives its
    // -wal and -shm companions the same permissions.
    // Only a file that does not exist yet is opened here (O_EXCL): closing any descriptor of a
    // file drops every POSIX lock this process holds on it, so opening and closing an existing
    // file under another connection of this process would let another process delete that
    // connection's -wal and -shm files as if nobody used them.
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0 && errno != EEXIST) {
        throw defaultsError(SQLITE_CANTOPEN,
                            "cannot create " + file.string() + ": " + std::strerror(errno));
    }
    if (descriptor >= 0) {
        ::close(descriptor);
    }

    sqlite3* raw = nullptr;
    int result = sqlite3_open_v2(file.c_str(), &raw,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                                 nullptr);
    storage_->database.reset(raw);  // a handle is returned even when opening fails
    if (result != SQLITE_OK) {
        throw sqliteError(raw, result, "cannot open " + file.string());
    }
    sqlite3* database = storage_->database.get();
    sqlite3_busy_timeout(database, static_cast<int>(kSQLiteBusyTimeout.count()));

    const char* setup =
        "PRAGMA journal_mode=WAL;"
        "PRAGMA synchronous=NORMAL;"
        "CREATE TABLE IF NOT EXISTS defaults ("
        "  key TEXT PRIMARY KEY NOT NULL,"
        "  type INTEGER NOT NULL,"
        "  value"
        ") WITHOUT ROWID;";
    // Every statement of the set-up may run again when another process held the file.
    result = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [database, setup] {
        return sqlite3_exec(database, setup, nullptr, nullptr, nullptr);
    });
    if (result != SQLITE_OK) {
        throw sqliteError(database, result, "cannot prepare " + file.string());
    }

    const auto prepare = [&](StatementHandle& handle, const char* sql) {
        sqlite3_stmt* statement = nullptr;
        const int code = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [&] {
            return sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                                      nullptr);
        });
        handle.reset(statement);
        if (code != SQLITE_OK) {
            throw sqliteError(database, code, "cannot prepare a statement on " + file.string());
        }
    };
    prepare(storage_->select, "SELECT type, value FROM defaults WHERE key = ?1");
    prepare(storage_->upsert,
            "INSERT INTO defaults (key, type, value) VALUES (?1, ?2, ?3) "
            "ON CONFLICT (key) DO UPDATE SET type = excluded.type, value = excluded.value");
    prepare(storage_->remove, "DELETE FROM defaults WHERE key = ?1");
}

UserDefaults::UserDefaults(UserDefaults&&) noexcept = default;
UserDefaults& UserDefaults::operator=(UserDefaults&&) noexcept = default;
UserDefaults::~UserDefaults() = default;

const std::optional<std::string>& UserDefaults::suiteName() const noexcept {
    return storage_->suiteName;
}

const std::filesystem::path& UserDefaults::path() const noexcept {
    return storage_->path;
}

std::optional<UserDefaults::Value> UserDefaults::object(std::string_view key) const {
    std::lock_guard lock(storage_->mutex);
    return storage_->read(key);
}

void UserDefaults::set(std::string_view key, const Value& value) {
    std::lock_guard lock(storage_->mutex);
    storage_->write(key, value);
}

void UserDefaults::removeObject(std::string_view key) {
    std::lock_guard lock(storage_->mutex);
    storage_->erase(key);
}

std::optional<UserDefaults::Value> UserDefaults::update(
    std::string_view key, const std::function<std::optional<Value>(std::optional<Value>)>& change) {
    std::lock_guard lock(storage_->mutex);
    sqlite3* database = storage_->database.get();
    // BEGIN IMMEDIATE takes the write lock before the read, so no other process writes between
    // the two; SQLite's busy handler waits for it, and what it refuses at once is tried again.
    int result = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [database] {
        return sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    });
    if (result != SQLITE_OK) {
        throw sqliteError(database, result,
                          "cannot update \"" + std::string(key) + "\" in " + path().string());
    }
    try {
        auto value = change(storage_->read(key));
        if (value) {
            storage_->write(key, *value);
        } else {
            storage_->erase(key);
        }
        result = retryWhileSQLiteBusy(kSQLiteBusyTimeout, [database] {
            return sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
        });
        if (result != SQLITE_OK) {
            throw sqliteError(database, result,
                              "cannot update \"" + std::string(key) + "\" in " + path().string());
        }
        return value;
    } catch (...) {
        sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

std::optional<UserDefaults::Value> UserDefaults::Storage::read(std::string_view key) {
    sqlite3_stmt* statement = select.get();
    StatementUse use(statement);
    bindKey(statement, key);
    if (stepWaiting(statement) != SQLITE_ROW) {
        return std::nullopt;  // absent, or a failed read: both find nothing
    }
    switch (static_cast<TypeTag>(sqlite3_column_int(statement, 0))) {
        case TypeTag::boolean:
            return Value(std::in_place_type<bool>, sqlite3_column_int64(statement, 1) != 0);
        case TypeTag::integer:
            return Value(std::in_place_type<std::int64_t>, sqlite3_column_int64(statement, 1));
        case TypeTag::real:
            return Value(std::in_place_type<double>, sqlite3_column_double(statement, 1));
        case TypeTag::text: {
            const auto* text = sqlite3_column_text(statement, 1);
            const int size = sqlite3_column_bytes(statement, 1);
            return Value(std::in_place_type<std::string>,
                         text != nullptr ? reinterpret_cast<const char*>(text) : "",
                         static_cast<std::size_t>(size));
        }
        case TypeTag::date:
            return Value(std::in_place_type<Date>, Date(sqlite3_column_double(statement, 1)));
        case TypeTag::data: {
            const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, 1));
            const int size = sqlite3_column_bytes(statement, 1);
            // A zero-length blob reads back as a null pointer.
            return Value(std::in_place_type<Data>, bytes, bytes == nullptr ? bytes : bytes + size);
        }
    }
    return std::nullopt;  // a type tag from a newer version of the file: not readable here
}

void UserDefaults::Storage::write(std::string_view key, const Value& value) {
    sqlite3_stmt* statement = upsert.get();
    StatementUse use(statement);
    bindKey(statement, key);
    std::visit(
        [statement](const auto& stored) {
            using T = std::decay_t<decltype(stored)>;
            if constexpr (std::is_same_v<T, bool>) {
                sqlite3_bind_int(statement, 2, static_cast<int>(TypeTag::boolean));
                sqlite3_bind_int64(statement, 3, stored ? 1 : 0);
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                sqlite3_bind_int(statement, 2, static_cast<int>(TypeTag::integer));
                sqlite3_bind_int64(statement, 3, stored);
            } else if constexpr (std::is_same_v<T, double>) {
                sqlite3_bind_int(statement, 2, static_cast<int>(TypeTag::real));
                sqlite3_bind_double(statement, 3, stored);
            } else if constexpr (std::is_same_v<T, std::string>) {
                sqlite3_bind_int(statement, 2, static_cast<int>(TypeTag::text));
                sqlite3_bind_text64(statement, 3, stored.data(), stored.size(), SQLITE_TRANSIENT,
                                    SQLITE_UTF8);
            } else if constexpr (std::is_same_v<T, Date>) {
                sqlite3_bind_int(statement, 2, static_cast<int>(TypeTag::date));
                sqlite3_bind_double(statement, 3, stored.timeIntervalSinceReferenceDate());
            } else {
                static_assert(std::is_same_v<T, Data>);
                sqlite3_bind_int(statement, 2, static_cast<int>(TypeTag::data));
                // A null pointer would bind NULL; an empty blob must stay a blob.
                if (stored.empty()) {
                    sqlite3_bind_zeroblob(statement, 3, 0);
                } else {
                    sqlite3_bind_blob64(statement, 3, stored.data(), stored.size(),
                                        SQLITE_TRANSIENT);
                }
            }
        },
        value);
    const int result = stepWaiting(statement);
    if (result != SQLITE_DONE) {
        throw sqliteError(database.get(), result,
                          "cannot store \"" + std::string(key) + "\" in " + path.string());
    }
}

void UserDefaults::Storage::erase(std::string_view key) {
    sqlite3_stmt* statement = remove.get();
    StatementUse use(statement);
    bindKey(statement, key);
    const int result = stepWaiting(statement);
    if (result != SQLITE_DONE) {
        throw sqliteError(database.get(), result,
                          "cannot remove \"" + std::string(key) + "\" from " + path.string());
    }
}

}  // namespace dovrel

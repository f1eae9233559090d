#include "platform/store/SQLiteDatabase.h"

#include "platform/foundation/Error.h"
#include "platform/foundation/SQLiteBusyWait.h"

namespace dovrel::store {

namespace {

[[noreturn]] void throwSQLite(int code, std::string message) {
    if (isSQLiteBusy(code)) {
        // Only after the busy timeout: say who is in the way.
        message = "another program kept the file locked past the busy timeout (" + message + ")";
    }
    throw Error("SQLite", code, {{Error::kLocalizedDescriptionKey, std::move(message)}});
}

}  // namespace

SQLiteDatabase::SQLiteDatabase(const std::filesystem::path& path, bool create) {
    sqlite3* raw = nullptr;
    const int flags =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_CREATE : 0);
    const int code = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
    db_.reset(raw);
    if (code != SQLITE_OK) {
        std::string message = raw ? sqlite3_errmsg(raw) : sqlite3_errstr(code);
        throwSQLite(code, message + " (" + path.string() + ")");
    }
    sqlite3_extended_result_codes(raw, 0);
}

void SQLiteDatabase::setBusyTimeout(std::chrono::milliseconds timeout) {
    busyTimeout_ = timeout;
    sqlite3_busy_timeout(db_.get(), static_cast<int>(timeout.count()));
}

int SQLiteDatabase::retryWhileBusy(const std::function<int()>& attempt) const {
    return retryWhileSQLiteBusy(busyTimeout_, attempt);
}

void SQLiteDatabase::fail(int code) const {
    throwSQLite(code, sqlite3_errmsg(db_.get()));
}

void SQLiteDatabase::execute(const std::string& sql) {
    sqlite3* db = db_.get();
    char* message = nullptr;
    auto run = [&] {
        sqlite3_free(message);
        message = nullptr;
        return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
    };
    int code = run();
    // Outside a transaction a busy statement left nothing behind (statements that open one, such
    // as BEGIN, leave none open when they fail), so the text can run again from its start.
    if (isSQLiteBusy(code) && sqlite3_get_autocommit(db)) {
        code = retryWhileBusy(run);
    }
    if (code != SQLITE_OK) {
        std::string text = message ? message : sqlite3_errstr(code);
        sqlite3_free(message);
        throwSQLite(code, text);
    }
}

SQLiteDatabase::Statement SQLiteDatabase::prepare(std::string_view sql) {
    sqlite3_stmt* raw = nullptr;
    // Preparing reads the schema, which waits like any read.
    const int code = retryWhileBusy([&] {
        return sqlite3_prepare_v2(db_.get(), sql.data(), static_cast<int>(sql.size()), &raw,
                                  nullptr);
    });
    Statement statement;
    statement.statement_.reset(raw);
    statement.database_ = this;
    if (code != SQLITE_OK) {
        fail(code);
    }
    return statement;
}

SQLiteDatabase::Statement& SQLiteDatabase::cached(const std::string& sql) {
    for (auto& [text, statement] : cache_) {
        if (text == sql) {
            statement->reset();
            return *statement;
        }
    }
    cache_.emplace_back(sql, std::make_unique<Statement>(prepare(sql)));
    return *cache_.back().second;
}

void SQLiteDatabase::Statement::bind(int index, const Value& value, bool copy) {
    sqlite3_stmt* s = statement_.get();
    const auto destructor = copy ? SQLITE_TRANSIENT : SQLITE_STATIC;
    int code = SQLITE_OK;
    switch (value.kind()) {
        case Value::Kind::null:
            code = sqlite3_bind_null(s, index);
            break;
        case Value::Kind::integer:
            code = sqlite3_bind_int64(s, index, *value.integer());
            break;
        case Value::Kind::real:
            code = sqlite3_bind_double(s, index, std::get<double>(value.storage()));
            break;
        case Value::Kind::boolean:
            code = sqlite3_bind_int64(s, index, *value.boolean() ? 1 : 0);
            break;
        case Value::Kind::string: {
            const auto& text = std::get<std::string>(value.storage());
            code = sqlite3_bind_text64(s, index, text.data(), text.size(), destructor, SQLITE_UTF8);
            break;
        }
        case Value::Kind::date:
            code = sqlite3_bind_double(s, index, value.date()->timeIntervalSinceReferenceDate());
            break;
        case Value::Kind::data: {
            const auto& bytes = std::get<Data>(value.storage());
            // A zero-length blob must stay a blob, not become NULL.
            code = bytes.empty()
                       ? sqlite3_bind_zeroblob(s, index, 0)
                       : sqlite3_bind_blob64(s, index, bytes.data(), bytes.size(), destructor);
            break;
        }
        case Value::Kind::object:
            throwSQLite(SQLITE_MISUSE, "an untransformed object cannot be stored");
    }
    if (code != SQLITE_OK) {
        database_->fail(code);
    }
}

void SQLiteDatabase::Statement::bindNull(int index) {
    if (int code = sqlite3_bind_null(statement_.get(), index); code != SQLITE_OK) {
        database_->fail(code);
    }
}

void SQLiteDatabase::Statement::bindInteger(int index, std::int64_t value) {
    if (int code = sqlite3_bind_int64(statement_.get(), index, value); code != SQLITE_OK) {
        database_->fail(code);
    }
}

void SQLiteDatabase::Statement::bindText(int index, std::string_view text) {
    if (int code = sqlite3_bind_text64(statement_.get(), index, text.data(), text.size(),
                                       SQLITE_TRANSIENT, SQLITE_UTF8);
        code != SQLITE_OK) {
        database_->fail(code);
    }
}

bool SQLiteDatabase::Statement::step() {
    sqlite3_stmt* s = statement_.get();
    int code = sqlite3_step(s);
    if ((code == SQLITE_BUSY || code == SQLITE_LOCKED) && !returnedRow_ &&
        sqlite3_txn_state(database_->handle(), nullptr) == SQLITE_TXN_NONE) {
        // Without a transaction under way a failed statement left nothing behind: start it
        // again.
        code = database_->retryWhileBusy([s] {
            sqlite3_reset(s);
            return sqlite3_step(s);
        });
    }
    if (code == SQLITE_ROW) {
        returnedRow_ = true;
        database_->rowsRead_.fetch_add(1, std::memory_order_relaxed);
        return true;
    }
    if (code == SQLITE_DONE) {
        return false;
    }
    sqlite3_reset(s);
    returnedRow_ = false;
    database_->fail(code);
}

void SQLiteDatabase::Statement::run() {
    while (step()) {
    }
}

void SQLiteDatabase::Statement::reset() {
    returnedRow_ = false;
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
}

bool SQLiteDatabase::Statement::isNull(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::int64_t SQLiteDatabase::Statement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

double SQLiteDatabase::Statement::real(int column) const {
    return sqlite3_column_double(statement_.get(), column);
}

std::string SQLiteDatabase::Statement::text(int column) const {
    const auto* bytes = sqlite3_column_text(statement_.get(), column);
    const int size = sqlite3_column_bytes(statement_.get(), column);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes), size) : std::string();
}

Data SQLiteDatabase::Statement::blob(int column) const {
    const auto* bytes =
        static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.get(), column));
    const int size = sqlite3_column_bytes(statement_.get(), column);
    return bytes ? Data(bytes, bytes + size) : Data();
}

}  // namespace dovrel::store

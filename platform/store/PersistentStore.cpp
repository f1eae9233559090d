#include "platform/store/PersistentStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <set>
#include <system_error>

#include "platform/foundation/FatalError.h"
#include "platform/store/PersistentStoreSQL.h"
#include "platform/store/StoreError.h"

// Opening a store file: creating or checking its schema, the connection's settings, and the
// metadata kept in the file.

namespace dovrel::store {

using namespace sql;

PersistentStore::PersistentStore(PersistentStoreDescription description,
                                 std::shared_ptr<const ManagedObjectModel> model,
                                 std::unique_ptr<SQLiteDatabase> database)
    : description_(std::move(description)),
      model_(std::move(model)),
      database_(std::move(database)) {}

std::shared_ptr<PersistentStore> PersistentStore::load(
    const PersistentStoreDescription& description,
    std::shared_ptr<const ManagedObjectModel> model) {
    const auto& path = description.url();
    if (path.empty()) {
        throw StoreError::make(StoreError::kPersistentStoreOpenError, "The store has no URL");
    }
    // Create a missing file ourselves, so that it (and SQLite's -wal and -shm files, which take
    // the main file's mode) is private to the user whatever the umask.
    bool created = false;
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
        created = true;
        ::close(fd);
    } else if (errno != EEXIST) {
        const int error = errno;
        throw StoreError::make(
            error == EACCES || error == EROFS || error == EPERM
                ? StoreError::kFileWriteNoPermissionError
                : StoreError::kPersistentStoreOpenError,
            "The store file " + path.string() + " could not be created: " + std::strerror(error));
    }
    if (!created && ::access(path.c_str(), R_OK | W_OK) != 0) {
        throw StoreError::make(StoreError::kFileWriteNoPermissionError,
                               "The store file " + path.string() + " is not writable");
    }
    try {
        auto database = std::make_unique<SQLiteDatabase>(path, false);
        std::shared_ptr<PersistentStore> store(
            new PersistentStore(description, std::move(model), std::move(database)));
        // A busy timeout does not write; everything up to validation only reads, so a file that
        // turns out to be foreign is left untouched.
        const auto milliseconds =
            std::chrono::milliseconds(std::lround(std::max(0.0, description.timeout()) * 1000));
        store->database_->setBusyTimeout(milliseconds);
        bool empty = false;
        {
            auto tables = store->database_->prepare(
                "SELECT count(*) FROM sqlite_master WHERE type = 'table'");
            tables.step();
            empty = tables.integer(0) == 0;
        }
        if (empty && !created && std::filesystem::file_size(path) != 0 &&
            !store->inWriteAheadLogMode()) {
            // An SQLite database without tables is still somebody else's file, unless it is
            // already in write-ahead-log mode: then another connection has just created it as a
            // store and is about to write the schema (createSchema settles who does).
            throw StoreError::make(StoreError::kPersistentStoreIncompatibleSchemaError,
                                   "The file " + path.string() + " holds no store");
        }
        if (empty) {
            store->configureConnection();
            store->createSchema();
        } else {
            store->validateSchema();
            store->readMetadata();
            store->configureConnection();
        }
        store->prepareHistory();
        return store;
    } catch (const Error& error) {
        if (created) {
            std::error_code ignored;
            std::filesystem::remove(path, ignored);
            std::filesystem::remove(path.string() + "-wal", ignored);
            std::filesystem::remove(path.string() + "-shm", ignored);
        }
        if (error.domain() == StoreError::kDomain) {
            throw;
        }
        if (error.domain() == "SQLite" &&
            (error.code() == SQLITE_NOTADB || error.code() == SQLITE_CORRUPT)) {
            throw wrap(StoreError::kFileReadCorruptFileError,
                       "The file " + path.string() + " is not a store", error);
        }
        if (error.domain() == "SQLite" &&
            (error.code() == SQLITE_CANTOPEN || error.code() == SQLITE_READONLY ||
             error.code() == SQLITE_PERM)) {
            throw wrap(StoreError::kFileWriteNoPermissionError,
                       "The store " + path.string() + " cannot be opened for writing", error);
        }
        throw wrap(StoreError::kPersistentStoreOpenError,
                   "The store " + path.string() + " could not be opened", error);
    }
}

bool PersistentStore::inWriteAheadLogMode() {
    // Asking for the mode (without setting it) only reads the file's header.
    auto mode = database_->prepare("PRAGMA journal_mode");
    return mode.step() && mode.text(0) == "wal";
}

void PersistentStore::configureConnection() {
    auto mode = database_->prepare("PRAGMA journal_mode=WAL");
    if (!mode.step() || mode.text(0) != "wal") {
        throw StoreError::make(StoreError::kFileWriteNoPermissionError,
                               "The store " + url().string() + " cannot use write-ahead logging");
    }
    database_->execute(
        description_.boolOption(PersistentStoreDescription::kFullSynchronousOptionKey)
            ? "PRAGMA synchronous=FULL"
            : "PRAGMA synchronous=NORMAL");
}

void PersistentStore::createSchema() {
    uuid_ = makeRandomUUID();
    bool createdElsewhere = false;
    performWriteTransaction([&] {
        // Another process that opened the new file at the same moment may have been first.
        auto tables = database_->prepare("SELECT count(*) FROM sqlite_master WHERE type = 'table'");
        tables.step();
        if (tables.integer(0) != 0) {
            createdElsewhere = true;
            return;
        }
        database_->execute(
            "CREATE TABLE Z_METADATA (Z_KEY TEXT PRIMARY KEY, Z_TYPE INTEGER NOT NULL, Z_VALUE);"
            "CREATE TABLE Z_PRIMARYKEY (Z_NAME TEXT PRIMARY KEY, Z_MAX INTEGER NOT NULL);");
        for (const auto& entity : model_->entities()) {
            std::string sql = "CREATE TABLE " + quoted(entity->name()) +
                              " (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL";
            for (const auto& attribute : entity->attributes()) {
                sql += ", " + quoted(attribute.name) + " " + columnType(attribute.attributeType);
            }
            for (const auto& relationship : entity->relationships()) {
                if (!relationship.isToMany) {
                    sql += ", " + quoted(relationship.name) + " INTEGER";
                }
            }
            database_->execute(sql + ")");
            for (const auto& relationship : entity->relationships()) {
                if (!relationship.isToMany) {
                    database_->execute(
                        "CREATE INDEX " + quoted("Z_" + entity->name() + "_" + relationship.name) +
                        " ON " + quoted(entity->name()) + " (" + quoted(relationship.name) + ")");
                }
            }
            auto key = database_->prepare("INSERT INTO Z_PRIMARYKEY (Z_NAME, Z_MAX) VALUES (?, 0)");
            key.bindText(1, entity->name());
            key.run();
        }
        metadata_.clear();
        metadata_[kStoreUUIDKey] = identifier();
        metadata_[kModelVersionIdentifierKey] = model_->versionIdentifier();
        setMetadata({});
    });
    if (createdElsewhere) {
        validateSchema();
        readMetadata();
    }
}

void PersistentStore::validateSchema() {
    auto incompatible = [&](const std::string& why) {
        return StoreError::make(StoreError::kPersistentStoreIncompatibleSchemaError,
                                "The file " + url().string() + " holds a foreign schema: " + why);
    };
    auto columnsOf = [&](const std::string& table) {
        std::set<std::string> columns;
        auto info = database_->prepare("PRAGMA table_info(" + quoted(table) + ")");
        while (info.step()) {
            columns.insert(info.text(1));
        }
        return columns;
    };
    for (const char* table : {"Z_METADATA", "Z_PRIMARYKEY"}) {
        if (columnsOf(table).empty()) {
            throw incompatible(std::string("no table ") + table);
        }
    }
    // The model version is checked before the tables: another version is a migration matter,
    // not a foreign file.
    auto version = database_->prepare("SELECT Z_VALUE FROM Z_METADATA WHERE Z_KEY = ?");
    version.bindText(1, kModelVersionIdentifierKey);
    if (!version.step()) {
        throw incompatible("no model version");
    }
    if (version.text(0) != model_->versionIdentifier()) {
        throw StoreError::make(StoreError::kPersistentStoreIncompatibleVersionHashError,
                               "The store " + url().string() + " was made by model version \"" +
                                   version.text(0) + "\", not \"" + model_->versionIdentifier() +
                                   "\"");
    }
    for (const auto& entity : model_->entities()) {
        const auto columns = columnsOf(entity->name());
        if (columns.empty()) {
            throw incompatible("no table " + entity->name());
        }
        for (const auto& column : entityColumns(*entity)) {
            if (!columns.contains(column)) {
                throw incompatible("no column " + entity->name() + "." + column);
            }
        }
    }
}

namespace {

// The rows of Z_METADATA, each value stored with the Value::Kind it had.
std::map<std::string, Value> readMetadataTable(SQLiteDatabase& database) {
    std::map<std::string, Value> metadata;
    auto statement = database.prepare("SELECT Z_KEY, Z_TYPE, Z_VALUE FROM Z_METADATA");
    while (statement.step()) {
        Value value;
        switch (static_cast<Value::Kind>(statement.integer(1))) {
            case Value::Kind::integer:
                value = statement.integer(2);
                break;
            case Value::Kind::real:
                value = statement.real(2);
                break;
            case Value::Kind::boolean:
                value = statement.integer(2) != 0;
                break;
            case Value::Kind::string:
                value = statement.text(2);
                break;
            case Value::Kind::date:
                value = Date(statement.real(2));
                break;
            case Value::Kind::data:
                value = statement.blob(2);
                break;
            default:
                break;
        }
        metadata[statement.text(0)] = std::move(value);
    }
    return metadata;
}

}  // namespace

std::map<std::string, Value> PersistentStore::metadataOfStore(const std::filesystem::path& url) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(url, error)) {
        throw StoreError::make(StoreError::kPersistentStoreOpenError,
                               "There is no store at " + url.string());
    }
    try {
        SQLiteDatabase database(url, false);
        auto table = database.prepare(
            "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'Z_METADATA'");
        table.step();
        if (table.integer(0) == 0) {
            throw StoreError::make(StoreError::kPersistentStoreIncompatibleSchemaError,
                                   "The file " + url.string() + " holds no store");
        }
        return readMetadataTable(database);
    } catch (const Error& failure) {
        if (failure.domain() == StoreError::kDomain) {
            throw;
        }
        throw wrap(failure.domain() == "SQLite" &&
                           (failure.code() == SQLITE_NOTADB || failure.code() == SQLITE_CORRUPT)
                       ? StoreError::kFileReadCorruptFileError
                       : StoreError::kPersistentStoreOpenError,
                   "The metadata of " + url.string() + " could not be read", failure);
    }
}

void PersistentStore::readMetadata() {
    std::lock_guard lock(mutex_);
    metadata_ = readMetadataTable(*database_);
    auto uuid = metadata_.find(kStoreUUIDKey);
    if (uuid == metadata_.end() || !uuid->second.string() ||
        !parseUUID(*uuid->second.string(), uuid_)) {
        throw StoreError::make(StoreError::kPersistentStoreIncompatibleSchemaError,
                               "The store " + url().string() + " has no valid UUID");
    }
}

std::map<std::string, Value> PersistentStore::metadata() const {
    std::lock_guard lock(mutex_);
    return metadata_;
}

void PersistentStore::setMetadata(const std::map<std::string, Value>& metadata) {
    std::lock_guard lock(mutex_);
    std::map<std::string, Value> merged = metadata;
    merged[kStoreUUIDKey] = metadata_.at(kStoreUUIDKey);
    merged[kModelVersionIdentifierKey] = metadata_.at(kModelVersionIdentifierKey);
    for (const auto& [key, value] : merged) {
        if (value.kind() == Value::Kind::object) {
            fatalError("Store metadata \"" + key + "\" must be a plain value, not an object");
        }
    }
    auto write = [&] {
        database_->execute("DELETE FROM Z_METADATA");
        auto insert =
            database_->prepare("INSERT INTO Z_METADATA (Z_KEY, Z_TYPE, Z_VALUE) VALUES (?, ?, ?)");
        for (const auto& [key, value] : merged) {
            insert.reset();
            insert.bindText(1, key);
            insert.bindInteger(2, static_cast<std::int64_t>(value.kind()));
            insert.bind(3, value);
            insert.run();
        }
    };
    if (sqlite3_get_autocommit(database_->handle())) {
        try {
            performWriteTransaction(write);
        } catch (const Error& error) {
            throw wrap(StoreError::kPersistentStoreSaveError, "The metadata was not saved", error);
        }
    } else {
        write();
    }
    metadata_ = std::move(merged);
}

}  // namespace dovrel::store

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

#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/ValueTransformer.h"
#include "platform/store/StoreError.h"

namespace dovrel::store {

namespace {

std::string quoted(const std::string& identifier) {
    std::string result = "\"";
    for (char c : identifier) {
        result += c;
        if (c == '"') {
            result += '"';
        }
    }
    return result + "\"";
}

const char* columnType(AttributeType type) {
    switch (type) {
        case AttributeType::integer64AttributeType:
        case AttributeType::booleanAttributeType:
            return "INTEGER";
        case AttributeType::doubleAttributeType:
        case AttributeType::dateAttributeType:
            return "REAL";
        case AttributeType::stringAttributeType:
            return "TEXT";
        case AttributeType::binaryDataAttributeType:
        case AttributeType::transformableAttributeType:
            return "BLOB";
    }
    return "BLOB";
}

// The columns of an entity's table after Z_PK and Z_OPT: attributes, then to-one relationships
// in slot order.
std::vector<std::string> entityColumns(const EntityDescription& entity) {
    std::vector<std::string> columns;
    for (const auto& attribute : entity.attributes()) {
        columns.push_back(attribute.name);
    }
    std::vector<std::string> toOne(entity.toOneCount());
    for (const auto& relationship : entity.relationships()) {
        if (!relationship.isToMany) {
            toOne[relationship.slot] = relationship.name;
        }
    }
    columns.insert(columns.end(), toOne.begin(), toOne.end());
    return columns;
}

std::string selectList(const EntityDescription& entity, bool keysOnly) {
    std::string sql = "Z_PK, Z_OPT";
    if (!keysOnly) {
        for (const auto& column : entityColumns(entity)) {
            sql += ", " + quoted(column);
        }
    }
    return sql;
}

Error wrap(std::int64_t code, const std::string& what, const Error& cause) {
    return StoreError::wrapping(code, what, cause);
}

}  // namespace

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

Value PersistentStore::storedForm(const AttributeDescription& attribute, const Value& value) const {
    if (attribute.attributeType != AttributeType::transformableAttributeType || value.isNull()) {
        return value;
    }
    if (value.kind() == Value::Kind::data) {
        return value;
    }
    auto transformer = ValueTransformer::valueTransformer(attribute.valueTransformerName);
    if (!transformer) {
        fatalError("No value transformer is registered under the name \"" +
                   attribute.valueTransformerName + "\"");
    }
    std::any transformed = transformer->transformedValue(*value.object());
    if (!transformed.has_value()) {
        return Value();
    }
    if (const Data* bytes = std::any_cast<Data>(&transformed)) {
        return *bytes;
    }
    fatalError("The value transformer \"" + attribute.valueTransformerName +
               "\" did not produce binary data");
}

std::vector<Value> PersistentStore::readAttributes(const EntityDescription& entity,
                                                   SQLiteDatabase::Statement& statement,
                                                   int firstColumn) {
    std::vector<Value> values;
    values.reserve(entity.attributes().size());
    int column = firstColumn;
    for (const auto& attribute : entity.attributes()) {
        if (statement.isNull(column)) {
            values.emplace_back();
            ++column;
            continue;
        }
        switch (attribute.attributeType) {
            case AttributeType::integer64AttributeType:
                values.emplace_back(statement.integer(column));
                break;
            case AttributeType::doubleAttributeType:
                values.emplace_back(statement.real(column));
                break;
            case AttributeType::booleanAttributeType:
                values.emplace_back(statement.integer(column) != 0);
                break;
            case AttributeType::stringAttributeType:
                values.emplace_back(statement.text(column));
                break;
            case AttributeType::dateAttributeType:
                values.emplace_back(Date(statement.real(column)));
                break;
            case AttributeType::binaryDataAttributeType:
                values.emplace_back(statement.blob(column));
                break;
            case AttributeType::transformableAttributeType: {
                auto transformer =
                    ValueTransformer::valueTransformer(attribute.valueTransformerName);
                if (!transformer) {
                    fatalError("No value transformer is registered under the name \"" +
                               attribute.valueTransformerName + "\"");
                }
                values.push_back(Value::object(
                    transformer->reverseTransformedValue(std::any(statement.blob(column)))));
                break;
            }
        }
        ++column;
    }
    return values;
}

std::vector<StoredRow> PersistentStore::fetchRows(
    const EntityDescription& entity, const std::string& where, const std::vector<Value>& bindings,
    const std::vector<SortDescriptor>& sortDescriptors, std::size_t limit, bool keysOnly) {
    std::string sql = "SELECT " + selectList(entity, keysOnly) + " FROM " + quoted(entity.name());
    if (!where.empty()) {
        sql += " WHERE " + where;
    }
    sql += " ORDER BY ";
    for (const auto& sort : sortDescriptors) {
        if (entity.attribute(sort.key) == nullptr) {
            fatalError("Sort key \"" + sort.key + "\" is not an attribute of entity " +
                       entity.name());
        }
        sql += quoted(sort.key) + (sort.ascending ? " ASC, " : " DESC, ");
    }
    sql += "Z_PK";
    if (limit > 0) {
        sql += " LIMIT " + std::to_string(limit);
    }
    std::lock_guard lock(mutex_);
    auto statement = database_->prepare(sql);
    for (std::size_t i = 0; i < bindings.size(); ++i) {
        statement.bind(static_cast<int>(i + 1), bindings[i]);
    }
    std::vector<StoredRow> rows;
    const int toOneColumn = 2 + static_cast<int>(entity.attributes().size());
    while (statement.step()) {
        StoredRow row;
        row.primaryKey = statement.integer(0);
        row.version = statement.integer(1);
        if (!keysOnly) {
            row.attributes = readAttributes(entity, statement, 2);
            row.toOne.resize(entity.toOneCount());
            for (std::size_t slot = 0; slot < entity.toOneCount(); ++slot) {
                const int column = toOneColumn + static_cast<int>(slot);
                if (!statement.isNull(column)) {
                    row.toOne[slot] = statement.integer(column);
                }
            }
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::int64_t PersistentStore::countRows(const EntityDescription& entity, const std::string& where,
                                        const std::vector<Value>& bindings) {
    std::string sql = "SELECT count(*) FROM " + quoted(entity.name());
    if (!where.empty()) {
        sql += " WHERE " + where;
    }
    std::lock_guard lock(mutex_);
    auto statement = database_->prepare(sql);
    for (std::size_t i = 0; i < bindings.size(); ++i) {
        statement.bind(static_cast<int>(i + 1), bindings[i]);
    }
    statement.step();
    return statement.integer(0);
}

std::optional<StoredRow> PersistentStore::fetchRow(const EntityDescription& entity,
                                                   std::int64_t primaryKey) {
    auto rows = fetchRows(entity, "Z_PK = ?", {Value(primaryKey)}, {}, 0, false);
    if (rows.empty()) {
        return std::nullopt;
    }
    return std::move(rows.front());
}

std::vector<std::int64_t> PersistentStore::fetchRelatedKeys(const RelationshipDescription& toMany,
                                                            std::int64_t ownerKey) {
    std::lock_guard lock(mutex_);
    auto& statement = database_->cached(
        "SELECT Z_PK FROM " + quoted(toMany.destinationEntity->name()) + " WHERE " +
        quoted(toMany.inverseRelationship->name) + " = ? ORDER BY Z_PK");
    statement.bindInteger(1, ownerKey);
    std::vector<std::int64_t> keys;
    while (statement.step()) {
        keys.push_back(statement.integer(0));
    }
    statement.reset();
    return keys;
}

void PersistentStore::performWriteTransaction(const std::function<void()>& body) {
    std::lock_guard lock(mutex_);
    sqlite3* db = database_->handle();
    // SQLite's busy handler waits for the write lock; what it gives up on without waiting is
    // tried again here.
    if (int code = database_->retryWhileBusy(
            [db] { return sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr); });
        code != SQLITE_OK) {
        database_->fail(code);
    }
    try {
        body();
        // A COMMIT that answers "busy" leaves the transaction open and may be repeated.
        if (int code = database_->retryWhileBusy(
                [db] { return sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr); });
            code != SQLITE_OK) {
            database_->fail(code);
        }
    } catch (...) {
        if (!sqlite3_get_autocommit(database_->handle())) {
            sqlite3_exec(database_->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
        throw;
    }
}

void PersistentStore::prepareHistory() {
    origin_ = 0;
    while (origin_ == 0) {
        const StoreUUID random = makeRandomUUID();
        for (std::size_t i = 0; i < 8; ++i) {
            origin_ = origin_ << 8 | random[i];
        }
    }
    if (!description_.boolOption(PersistentStoreDescription::kPersistentHistoryTrackingKey)) {
        tracksHistory_ = historyTablesExist();
        return;
    }
    if (!historyTablesExist()) {
        performWriteTransaction([&] {
            database_->execute(
                "CREATE TABLE IF NOT EXISTS Z_TRANSACTION (Z_PK INTEGER PRIMARY KEY AUTOINCREMENT,"
                " Z_TIMESTAMP REAL NOT NULL, Z_AUTHOR TEXT, Z_CONTEXTNAME TEXT,"
                " Z_ORIGIN INTEGER NOT NULL);"
                "CREATE INDEX IF NOT EXISTS Z_TRANSACTION_TIMESTAMP ON Z_TRANSACTION (Z_TIMESTAMP);"
                "CREATE TABLE IF NOT EXISTS Z_CHANGE (Z_PK INTEGER PRIMARY KEY,"
                " Z_TRANSACTIONID INTEGER NOT NULL, Z_CHANGETYPE INTEGER NOT NULL,"
                " Z_ENTITY TEXT NOT NULL, Z_ENTITYPK INTEGER NOT NULL);"
                "CREATE INDEX IF NOT EXISTS Z_CHANGE_TRANSACTIONID ON Z_CHANGE (Z_TRANSACTIONID);"
                "CREATE TABLE IF NOT EXISTS Z_HISTORYSTATE (Z_KEY TEXT PRIMARY KEY,"
                " Z_VALUE INTEGER NOT NULL);");
        });
    }
    tracksHistory_ = true;
}

bool PersistentStore::historyTablesExist() {
    std::lock_guard lock(mutex_);
    auto& statement = database_->cached(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
        "('Z_TRANSACTION', 'Z_CHANGE', 'Z_HISTORYSTATE')");
    statement.step();
    const bool exist = statement.integer(0) == 3;
    statement.reset();
    return exist;
}

bool PersistentStore::tracksHistory() {
    std::lock_guard lock(mutex_);
    if (!tracksHistory_) {
        // Another connection may have started keeping history in the file since.
        tracksHistory_ = historyTablesExist();
    }
    return tracksHistory_;
}

void PersistentStore::recordHistoryTransaction(
    const std::optional<std::string>& author, const std::optional<std::string>& contextName,
    const std::vector<PersistentHistoryChange>& changes) {
    std::lock_guard lock(mutex_);
    if (changes.empty() || !tracksHistory()) {
        return;
    }
    const Date now = Clock::now();
    auto& transaction = database_->cached(
        "INSERT INTO Z_TRANSACTION (Z_TIMESTAMP, Z_AUTHOR, Z_CONTEXTNAME, Z_ORIGIN)"
        " VALUES (?, ?, ?, ?)");
    transaction.bind(1, Value(now.timeIntervalSinceReferenceDate()));
    transaction.bind(2, author ? Value(*author) : Value());
    transaction.bind(3, contextName ? Value(*contextName) : Value());
    transaction.bindInteger(4, static_cast<std::int64_t>(origin_));
    transaction.run();
    transaction.reset();
    const std::int64_t number = database_->lastInsertRowID();
    auto& change = database_->cached(
        "INSERT INTO Z_CHANGE (Z_TRANSACTIONID, Z_CHANGETYPE, Z_ENTITY, Z_ENTITYPK)"
        " VALUES (?, ?, ?, ?)");
    for (const auto& entry : changes) {
        change.reset();
        change.bindInteger(1, number);
        change.bindInteger(2, static_cast<std::int64_t>(entry.changeType));
        change.bindText(3, entry.changedObjectID.entity().name());
        change.bindInteger(4, entry.changedObjectID.primaryKey());
        change.run();
    }
    change.reset();
    auto age = description_.options().find(
        PersistentStoreDescription::kPersistentHistoryMaximumAgeOptionKey);
    if (age != description_.options().end()) {
        if (auto seconds = age->second.real()) {
            pruneHistory("Z_TIMESTAMP < ?",
                         Value(now.timeIntervalSinceReferenceDate() - std::max(0.0, *seconds)));
        }
    }
}

void PersistentStore::pruneHistory(const std::string& condition, const Value& bound) {
    // Called inside a write transaction.
    auto last = database_->prepare("SELECT max(Z_PK) FROM Z_TRANSACTION WHERE " + condition);
    last.bind(1, bound);
    if (!last.step() || last.isNull(0)) {
        return;
    }
    const std::int64_t through = last.integer(0);
    auto changes = database_->prepare(
        "DELETE FROM Z_CHANGE WHERE Z_TRANSACTIONID IN (SELECT Z_PK FROM Z_TRANSACTION WHERE " +
        condition + ")");
    changes.bind(1, bound);
    changes.run();
    auto transactions = database_->prepare("DELETE FROM Z_TRANSACTION WHERE " + condition);
    transactions.bind(1, bound);
    transactions.run();
    auto state = database_->prepare(
        "INSERT INTO Z_HISTORYSTATE (Z_KEY, Z_VALUE) VALUES ('deletedThrough', ?)"
        " ON CONFLICT (Z_KEY) DO UPDATE SET Z_VALUE = max(Z_VALUE, excluded.Z_VALUE)");
    state.bindInteger(1, through);
    state.run();
}

void PersistentStore::deleteHistory(Date before) {
    if (!tracksHistory()) {
        return;
    }
    try {
        performWriteTransaction([&] {
            pruneHistory("Z_TIMESTAMP < ?", Value(before.timeIntervalSinceReferenceDate()));
        });
    } catch (const Error& error) {
        throw wrap(StoreError::kPersistentStoreSaveError, "The history was not deleted", error);
    }
}

void PersistentStore::deleteHistory(std::int64_t throughNumber) {
    if (!tracksHistory()) {
        return;
    }
    try {
        performWriteTransaction([&] { pruneHistory("Z_PK <= ?", Value(throughNumber)); });
    } catch (const Error& error) {
        throw wrap(StoreError::kPersistentStoreSaveError, "The history was not deleted", error);
    }
}

std::vector<PersistentHistoryTransaction> PersistentStore::historyTransactions(
    std::int64_t afterNumber) {
    std::lock_guard lock(mutex_);
    std::vector<PersistentHistoryTransaction> transactions;
    if (!tracksHistory()) {
        return transactions;
    }
    // One read transaction, so that the changes belong to the transactions read (inside a write
    // transaction of this connection that holds already).
    const bool ownTransaction = sqlite3_get_autocommit(database_->handle()) != 0;
    if (ownTransaction) {
        database_->execute("BEGIN");
    }
    try {
        auto& select = database_->cached(
            "SELECT Z_PK, Z_TIMESTAMP, Z_AUTHOR, Z_CONTEXTNAME, Z_ORIGIN FROM Z_TRANSACTION"
            " WHERE Z_PK > ? ORDER BY Z_PK");
        select.bindInteger(1, afterNumber);
        while (select.step()) {
            PersistentHistoryTransaction transaction;
            transaction.token = {uuid_, select.integer(0)};
            transaction.timestamp = Date(select.real(1));
            if (!select.isNull(2)) {
                transaction.author = select.text(2);
            }
            if (!select.isNull(3)) {
                transaction.contextName = select.text(3);
            }
            transaction.origin = static_cast<std::uint64_t>(select.integer(4));
            transactions.push_back(std::move(transaction));
        }
        select.reset();
        if (!transactions.empty()) {
            auto& changes = database_->cached(
                "SELECT Z_TRANSACTIONID, Z_CHANGETYPE, Z_ENTITY, Z_ENTITYPK FROM Z_CHANGE"
                " WHERE Z_TRANSACTIONID > ? ORDER BY Z_TRANSACTIONID, Z_PK");
            changes.bindInteger(1, afterNumber);
            std::size_t index = 0;
            while (changes.step()) {
                const std::int64_t number = changes.integer(0);
                while (index < transactions.size() &&
                       transactions[index].token.transactionNumber < number) {
                    ++index;
                }
                if (index == transactions.size()) {
                    break;
                }
                if (transactions[index].token.transactionNumber != number) {
                    continue;
                }
                const EntityDescription* entity = model_->entity(changes.text(2));
                const auto type = changes.integer(1);
                if (entity == nullptr || type < 0 || type > 2) {
                    continue;
                }
                transactions[index].changes.push_back(
                    {static_cast<PersistentHistoryChangeType>(type),
                     ManagedObjectID::permanent(*entity, uuid_, changes.integer(3))});
            }
            changes.reset();
        }
        if (ownTransaction) {
            database_->execute("COMMIT");
        }
    } catch (...) {
        if (ownTransaction) {
            sqlite3_exec(database_->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
        throw;
    }
    return transactions;
}

PersistentHistoryToken PersistentStore::currentHistoryToken() {
    std::lock_guard lock(mutex_);
    PersistentHistoryToken token{uuid_, 0};
    if (!tracksHistory()) {
        return token;
    }
    // The sequence counts transactions that were deleted as well.
    auto& statement =
        database_->cached("SELECT seq FROM sqlite_sequence WHERE name = 'Z_TRANSACTION'");
    if (statement.step()) {
        token.transactionNumber = statement.integer(0);
    }
    statement.reset();
    return token;
}

std::int64_t PersistentStore::historyDeletedThrough() {
    std::lock_guard lock(mutex_);
    if (!tracksHistory()) {
        return 0;
    }
    auto& statement =
        database_->cached("SELECT Z_VALUE FROM Z_HISTORYSTATE WHERE Z_KEY = 'deletedThrough'");
    std::int64_t through = 0;
    if (statement.step()) {
        through = statement.integer(0);
    }
    statement.reset();
    return through;
}

std::int64_t PersistentStore::dataVersion() {
    std::lock_guard lock(mutex_);
    auto& statement = database_->cached("PRAGMA data_version");
    std::int64_t version = 0;
    if (statement.step()) {
        version = statement.integer(0);
    }
    statement.reset();
    return version;
}

std::int64_t PersistentStore::allocatePrimaryKeys(const EntityDescription& entity,
                                                  std::int64_t count) {
    std::lock_guard lock(mutex_);
    auto& select = database_->cached("SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = ?");
    select.bindText(1, entity.name());
    std::int64_t max = 0;
    if (select.step()) {
        max = select.integer(0);
    }
    select.reset();
    auto& update = database_->cached("UPDATE Z_PRIMARYKEY SET Z_MAX = ? WHERE Z_NAME = ?");
    update.bindInteger(1, max + count);
    update.bindText(2, entity.name());
    update.run();
    return max + 1;
}

std::optional<std::int64_t> PersistentStore::rowVersion(const EntityDescription& entity,
                                                        std::int64_t primaryKey) {
    std::lock_guard lock(mutex_);
    auto& statement =
        database_->cached("SELECT Z_OPT FROM " + quoted(entity.name()) + " WHERE Z_PK = ?");
    statement.bindInteger(1, primaryKey);
    std::optional<std::int64_t> version;
    if (statement.step()) {
        version = statement.integer(0);
    }
    statement.reset();
    return version;
}

void PersistentStore::bindRow(SQLiteDatabase::Statement& statement, int first,
                              const EntityDescription& entity, const StoredRow& row,
                              const std::vector<std::size_t>& attributes,
                              const std::vector<std::size_t>& toOneSlots) {
    int index = first;
    for (std::size_t attribute : attributes) {
        statement.bind(index++,
                       storedForm(entity.attributes()[attribute], row.attributes[attribute]));
    }
    for (std::size_t slot : toOneSlots) {
        if (row.toOne[slot]) {
            statement.bindInteger(index++, *row.toOne[slot]);
        } else {
            statement.bindNull(index++);
        }
    }
}

void PersistentStore::insertRow(const EntityDescription& entity, const StoredRow& row) {
    insertRow(entity, row.primaryKey, row.version, row.attributes, row.toOne);
}

void PersistentStore::insertRow(const EntityDescription& entity, std::int64_t primaryKey,
                                std::int64_t version, const std::vector<Value>& attributes,
                                const std::vector<std::optional<std::int64_t>>& toOne) {
    std::lock_guard lock(mutex_);
    auto& prepared = insertStatements_[&entity];
    if (!prepared) {
        std::string sql = "INSERT INTO " + quoted(entity.name()) + " (Z_PK, Z_OPT";
        std::string placeholders = "?, ?";
        for (const auto& column : entityColumns(entity)) {
            sql += ", " + quoted(column);
            placeholders += ", ?";
        }
        sql += ") VALUES (" + placeholders + ")";
        prepared = std::make_unique<SQLiteDatabase::Statement>(database_->prepare(sql));
    }
    auto& statement = *prepared;
    statement.reset();
    statement.bindInteger(1, primaryKey);
    statement.bindInteger(2, version);
    int index = 3;
    for (std::size_t i = 0; i < entity.attributes().size(); ++i) {
        const auto& attribute = entity.attributes()[i];
        if (attribute.attributeType == AttributeType::transformableAttributeType) {
            statement.bind(index++, storedForm(attribute, attributes[i]));
        } else {
            // The values outlive the step below, so SQLite need not copy them.
            statement.bind(index++, attributes[i], false);
        }
    }
    for (std::size_t slot = 0; slot < entity.toOneCount(); ++slot) {
        if (toOne[slot]) {
            statement.bindInteger(index++, *toOne[slot]);
        } else {
            statement.bindNull(index++);
        }
    }
    statement.run();
    statement.reset();
}

void PersistentStore::updateRow(const EntityDescription& entity, const StoredRow& row,
                                const std::vector<std::size_t>& attributes,
                                const std::vector<std::size_t>& toOneSlots) {
    std::lock_guard lock(mutex_);
    const auto columns = entityColumns(entity);
    std::string sql = "UPDATE " + quoted(entity.name()) + " SET Z_OPT = ?";
    for (std::size_t attribute : attributes) {
        sql += ", " + quoted(columns[attribute]) + " = ?";
    }
    for (std::size_t slot : toOneSlots) {
        sql += ", " + quoted(columns[entity.attributes().size() + slot]) + " = ?";
    }
    sql += " WHERE Z_PK = ?";
    auto statement = database_->prepare(sql);
    statement.bindInteger(1, row.version);
    bindRow(statement, 2, entity, row, attributes, toOneSlots);
    statement.bindInteger(2 + static_cast<int>(attributes.size() + toOneSlots.size()),
                          row.primaryKey);
    statement.run();
}

void PersistentStore::deleteRow(const EntityDescription& entity, std::int64_t primaryKey) {
    std::lock_guard lock(mutex_);
    auto& statement = database_->cached("DELETE FROM " + quoted(entity.name()) + " WHERE Z_PK = ?");
    statement.bindInteger(1, primaryKey);
    statement.run();
}

}  // namespace dovrel::store

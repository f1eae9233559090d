#include "platform/store/PersistentStore.h"

#include "platform/foundation/FatalError.h"
#include "platform/foundation/ValueTransformer.h"
#include "platform/store/PersistentStoreSQL.h"

// Writing rows for a context's save: the write transaction, primary keys, row versions, and the
// inserts, updates and deletes.

namespace dovrel::store {

using namespace sql;

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

std::int64_t PersistentStore::allocatePrimaryKeys(const EntityDescription& entity,
                                                  std::int64_t count) {
    assertInWriteTransaction();
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
    assertInWriteTransaction();
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

Value PersistentStore::storedForm(const AttributeDescription& attribute, const Value& value) {
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

void PersistentStore::assertInWriteTransaction() const {
    if (sqlite3_get_autocommit(database_->handle())) {
        fatalError("The store's rows are written only inside performWriteTransaction");
    }
}

void PersistentStore::bindRow(SQLiteDatabase::Statement& statement, int first,
                              const EntityDescription& entity, const std::vector<Value>& values,
                              const std::vector<std::optional<std::int64_t>>& toOne,
                              const std::vector<std::size_t>& attributes,
                              const std::vector<std::size_t>& toOneSlots) {
    int index = first;
    for (std::size_t attribute : attributes) {
        statement.bind(index++, storedForm(entity.attributes()[attribute], values[attribute]));
    }
    for (std::size_t slot : toOneSlots) {
        if (toOne[slot]) {
            statement.bindInteger(index++, *toOne[slot]);
        } else {
            statement.bindNull(index++);
        }
    }
}

void PersistentStore::insertRow(const EntityDescription& entity, std::int64_t primaryKey,
                                std::int64_t version, const std::vector<Value>& attributes,
                                const std::vector<std::optional<std::int64_t>>& toOne) {
    assertInWriteTransaction();
    // A save inserts the objects of one entity after another: the last statement is at hand.
    if (&entity != lastInsertEntity_) {
        lastInsertEntity_ = &entity;
        lastInsertStatement_ = &insertStatements_[&entity];
    }
    auto& prepared = *lastInsertStatement_;
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
    // Every parameter is bound below: the reset after the last insert left nothing to clear.
    auto& statement = *prepared;
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

void PersistentStore::updateRow(const EntityDescription& entity, std::int64_t primaryKey,
                                std::int64_t version, const std::vector<Value>& values,
                                const std::vector<std::optional<std::int64_t>>& toOne,
                                const std::vector<std::size_t>& attributes,
                                const std::vector<std::size_t>& toOneSlots) {
    assertInWriteTransaction();
    const auto columns = entityColumns(entity);
    std::string sql = "UPDATE " + quoted(entity.name()) + " SET Z_OPT = ?";
    for (std::size_t attribute : attributes) {
        sql += ", " + quoted(columns[attribute]) + " = ?";
    }
    for (std::size_t slot : toOneSlots) {
        sql += ", " + quoted(columns[entity.attributes().size() + slot]) + " = ?";
    }
    sql += " WHERE Z_PK = ?";
    // Saves tend to change the same attributes again (a toggle writes the two caches), so the
    // statement is kept for the next one.
    auto& statement = database_->cached(sql);
    statement.bindInteger(1, version);
    bindRow(statement, 2, entity, values, toOne, attributes, toOneSlots);
    statement.bindInteger(2 + static_cast<int>(attributes.size() + toOneSlots.size()), primaryKey);
    statement.run();
    statement.reset();
}

void PersistentStore::deleteRow(const EntityDescription& entity, std::int64_t primaryKey) {
    assertInWriteTransaction();
    auto& statement = database_->cached("DELETE FROM " + quoted(entity.name()) + " WHERE Z_PK = ?");
    statement.bindInteger(1, primaryKey);
    statement.run();
}

}  // namespace dovrel::store

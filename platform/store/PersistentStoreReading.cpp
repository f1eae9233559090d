#include "platform/store/PersistentStore.h"

#include "platform/foundation/FatalError.h"
#include "platform/foundation/ValueTransformer.h"
#include "platform/store/PersistentStoreSQL.h"

// Reading rows for the contexts: fetches, counts and the keys of to-many relationships, with
// transformable attributes turned back into objects.

namespace dovrel::store {

using namespace sql;

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

}  // namespace dovrel::store

#include "platform/store/PersistentStore.h"

#include "platform/foundation/FatalError.h"
#include "platform/foundation/ValueTransformer.h"
#include "platform/store/PersistentStoreSQL.h"

// Reading rows for the contexts: fetches, counts and the keys of to-many relationships, with
// transformable attributes turned back into objects.

namespace dovrel::store {

using namespace sql;

namespace {

// Reads attributes of the current row of a statement into values, as the contexts hold them.
// The value transformers of transformable attributes are looked up once, when the reader is
// made, not once per row.
class AttributeReader {
  public:
    AttributeReader(const EntityDescription& entity, std::vector<std::size_t> indexes,
                    AttributeForm form)
        : entity_(entity), indexes_(std::move(indexes)), form_(form) {
        transformers_.reserve(indexes_.size());
        for (const std::size_t index : indexes_) {
            const auto& attribute = entity.attributes().at(index);
            std::shared_ptr<ValueTransformer> transformer;
            if (attribute.attributeType == AttributeType::transformableAttributeType &&
                form_ == AttributeForm::values) {
                transformer = ValueTransformer::valueTransformer(attribute.valueTransformerName);
                if (!transformer) {
                    fatalError("No value transformer is registered under the name \"" +
                               attribute.valueTransformerName + "\"");
                }
            }
            transformers_.push_back(std::move(transformer));
        }
    }

    // Every attribute of the entity, in the entity's order.
    static std::vector<std::size_t> all(const EntityDescription& entity) {
        std::vector<std::size_t> indexes(entity.attributes().size());
        for (std::size_t index = 0; index < indexes.size(); ++index) {
            indexes[index] = index;
        }
        return indexes;
    }

    // The attributes, read from consecutive columns starting at `firstColumn`.
    std::vector<Value> read(SQLiteDatabase::Statement& statement, int firstColumn) const {
        std::vector<Value> values;
        values.reserve(indexes_.size());
        for (std::size_t position = 0; position < indexes_.size(); ++position) {
            values.push_back(read(entity_.attributes()[indexes_[position]],
                                  transformers_[position].get(), statement,
                                  firstColumn + static_cast<int>(position)));
        }
        return values;
    }

    // As read(), into `values` (one slot per attribute), so that a caller reading row after row
    // reuses one buffer.
    void readInto(SQLiteDatabase::Statement& statement, int firstColumn,
                  std::vector<Value>& values) const {
        for (std::size_t position = 0; position < indexes_.size(); ++position) {
            values[position] =
                read(entity_.attributes()[indexes_[position]], transformers_[position].get(),
                     statement, firstColumn + static_cast<int>(position));
        }
    }

  private:
    static Value read(const AttributeDescription& attribute, const ValueTransformer* transformer,
                      SQLiteDatabase::Statement& statement, int column) {
        if (statement.isNull(column)) {
            return Value();
        }
        switch (attribute.attributeType) {
            case AttributeType::integer64AttributeType:
                return Value(statement.integer(column));
            case AttributeType::doubleAttributeType:
                return Value(statement.real(column));
            case AttributeType::booleanAttributeType:
                return Value(statement.integer(column) != 0);
            case AttributeType::stringAttributeType:
                return Value(statement.text(column));
            case AttributeType::dateAttributeType:
                return Value(Date(statement.real(column)));
            case AttributeType::binaryDataAttributeType:
                return Value(statement.blob(column));
            case AttributeType::transformableAttributeType:
                if (transformer == nullptr) {
                    return Value(statement.blob(column));  // the stored form was asked for
                }
                return Value::object(
                    transformer->reverseTransformedValue(std::any(statement.blob(column))));
        }
        fatalError("Unknown attribute type of attribute \"" + attribute.name + "\"");
    }

    const EntityDescription& entity_;
    std::vector<std::size_t> indexes_;
    AttributeForm form_;
    std::vector<std::shared_ptr<ValueTransformer>> transformers_;
};

// " ORDER BY <sort keys>, Z_PK [LIMIT n]".
std::string orderAndLimit(const EntityDescription& entity,
                          const std::vector<SortDescriptor>& sortDescriptors, std::size_t limit) {
    std::string sql = " ORDER BY ";
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
    return sql;
}

// "SELECT <columns> FROM <entity> [WHERE <where>] ORDER BY ... [LIMIT n]", prepared, with the
// predicate's bindings bound.
SQLiteDatabase::Statement prepareSelect(SQLiteDatabase& database, const EntityDescription& entity,
                                        const std::string& columns, const std::string& where,
                                        const std::vector<Value>& bindings,
                                        const std::vector<SortDescriptor>& sortDescriptors,
                                        std::size_t limit) {
    std::string sql = "SELECT " + columns + " FROM " + quoted(entity.name());
    if (!where.empty()) {
        sql += " WHERE " + where;
    }
    sql += orderAndLimit(entity, sortDescriptors, limit);
    auto statement = database.prepare(sql);
    for (std::size_t i = 0; i < bindings.size(); ++i) {
        statement.bind(static_cast<int>(i + 1), bindings[i]);
    }
    return statement;
}

}  // namespace

void PersistentStore::forEachAttributeRow(
    const EntityDescription& entity, const std::string& where, const std::vector<Value>& bindings,
    const std::vector<SortDescriptor>& sortDescriptors, std::size_t limit,
    const std::vector<std::size_t>& attributes, AttributeForm form,
    const std::function<void(std::int64_t, const std::vector<Value>&)>& visit) {
    const AttributeReader reader(entity, attributes, form);
    std::string columns = "Z_PK";
    for (const std::size_t index : attributes) {
        columns += ", " + quoted(entity.attributes().at(index).name);
    }
    std::lock_guard lock(mutex_);
    auto statement =
        prepareSelect(*database_, entity, columns, where, bindings, sortDescriptors, limit);
    // One buffer for every row: a row's values live only until the next row is read, so a long
    // fetch holds one row's worth of memory, not the whole result's.
    std::vector<Value> values(attributes.size());
    while (statement.step()) {
        reader.readInto(statement, 1, values);
        visit(statement.integer(0), values);
    }
}

std::vector<StoredRow> PersistentStore::fetchRows(
    const EntityDescription& entity, const std::string& where, const std::vector<Value>& bindings,
    const std::vector<SortDescriptor>& sortDescriptors, std::size_t limit, bool keysOnly) {
    std::lock_guard lock(mutex_);
    auto statement = prepareSelect(*database_, entity, selectList(entity, keysOnly), where,
                                   bindings, sortDescriptors, limit);
    const AttributeReader reader(entity, AttributeReader::all(entity), AttributeForm::values);
    std::vector<StoredRow> rows;
    const int toOneColumn = 2 + static_cast<int>(entity.attributes().size());
    while (statement.step()) {
        StoredRow row;
        row.primaryKey = statement.integer(0);
        row.version = statement.integer(1);
        if (!keysOnly) {
            row.attributes = reader.read(statement, 2);
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

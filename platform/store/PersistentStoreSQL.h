#pragma once

// The SQL that the files of PersistentStore share: quoting, column types and lists, and the
// wrapping of SQLite's errors. Internal to the store.

#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/store/EntityDescription.h"
#include "platform/store/StoreError.h"

namespace dovrel::store::sql {

// An identifier in double quotes, inner quotes doubled.
inline std::string quoted(const std::string& identifier) {
    std::string result = "\"";
    for (char c : identifier) {
        result += c;
        if (c == '"') {
            result += '"';
        }
    }
    return result + "\"";
}

inline const char* columnType(AttributeType type) {
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
inline std::vector<std::string> entityColumns(const EntityDescription& entity) {
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

inline std::string selectList(const EntityDescription& entity, bool keysOnly) {
    std::string sql = "Z_PK, Z_OPT";
    if (!keysOnly) {
        for (const auto& column : entityColumns(entity)) {
            sql += ", " + quoted(column);
        }
    }
    return sql;
}

inline Error wrap(std::int64_t code, const std::string& what, const Error& cause) {
    return StoreError::wrapping(code, what, cause);
}

}  // namespace dovrel::store::sql

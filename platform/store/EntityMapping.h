#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/store/Value.h"

namespace dovrel::store {

class EntityMigrationPolicy;
class ManagedObject;

// How one attribute of a destination instance gets its value during a migration, instead of
// being copied from the source attribute of the same name.
struct AttributeMapping {
    // The destination attribute.
    std::string name;
    // Computes the value from the source instance. A null function leaves the attribute at its
    // default value.
    std::function<Value(const ManagedObject& source)> valueExpression;

    // The value of the source attribute (or relationship) `sourceKey`.
    static AttributeMapping renamed(std::string name, std::string sourceKey);
    // The value `expression` computes from the source instance.
    static AttributeMapping computed(std::string name,
                                     std::function<Value(const ManagedObject& source)> expression);
    // The destination attribute's default value (nothing is copied).
    static AttributeMapping defaultValue(std::string name);
};

// Which source relationship a destination to-one relationship follows, instead of the source
// relationship of the same name. An empty `sourceKey` leaves the relationship empty.
struct RelationshipMapping {
    std::string name;
    std::string sourceKey;
};

// How the instances of one source entity become instances of one destination entity: one step
// of a MappingModel, known by its name (such as "HabitToHabit").
//
// Without a custom policy every source instance becomes one destination instance whose
// attributes are copied from the source attributes of the same name (attributeMappings override
// single attributes; destination attributes the source lacks keep their default value), and
// whose to-one relationships point at the destination instances made from the source's
// destinations of the relationship of the same name (relationshipMappings override single
// relationships). To-many relationships follow from their to-one inverses.
//
// An empty destinationEntityName drops the source instances; an empty sourceEntityName makes
// nothing (the destination entity starts empty).
struct EntityMapping {
    EntityMapping() = default;
    EntityMapping(std::string name, std::string sourceEntityName, std::string destinationEntityName)
        : name(std::move(name)),
          sourceEntityName(std::move(sourceEntityName)),
          destinationEntityName(std::move(destinationEntityName)) {}

    std::string name;
    std::string sourceEntityName;
    std::string destinationEntityName;
    std::vector<AttributeMapping> attributeMappings;
    std::vector<RelationshipMapping> relationshipMappings;
    // Makes the policy that migrates this mapping's instances (one per migration); null for the
    // plain EntityMigrationPolicy.
    std::function<std::unique_ptr<EntityMigrationPolicy>()> policyFactory;

    // The attribute mapping for the destination attribute `name`, or null.
    const AttributeMapping* attributeMapping(const std::string& attribute) const;
    // The relationship mapping for the destination relationship `name`, or null.
    const RelationshipMapping* relationshipMapping(const std::string& relationship) const;

    // Sets policyFactory to make instances of T.
    template <class T>
    EntityMapping& setPolicy() {
        policyFactory = [] { return std::make_unique<T>(); };
        return *this;
    }
};

}  // namespace dovrel::store

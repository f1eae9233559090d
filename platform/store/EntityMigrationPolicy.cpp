#include "platform/store/EntityMigrationPolicy.h"

#include "platform/store/EntityMapping.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/MigrationManager.h"
#include "platform/store/StoreError.h"

namespace dovrel::store {

namespace {

// Whether a source attribute's values fit the destination attribute as they are.
bool copyable(AttributeType from, AttributeType to) {
    return from == to || (from == AttributeType::integer64AttributeType &&
                          to == AttributeType::doubleAttributeType);
}

}  // namespace

void EntityMigrationPolicy::beginEntityMapping(const EntityMapping&, MigrationManager&) {}

void EntityMigrationPolicy::endEntityMapping(const EntityMapping&, MigrationManager&) {}

void EntityMigrationPolicy::createDestinationInstances(const std::shared_ptr<ManagedObject>& source,
                                                       const EntityMapping& mapping,
                                                       MigrationManager& manager) {
    if (mapping.destinationEntityName.empty()) {
        return;
    }
    auto destination = manager.destinationContext().insertNewObject(mapping.destinationEntityName);
    const EntityDescription& sourceEntity = source->entity();
    for (const auto& attribute : destination->entity().attributes()) {
        if (const AttributeMapping* attributeMapping = mapping.attributeMapping(attribute.name)) {
            if (attributeMapping->valueExpression) {
                destination->setValue(attributeMapping->valueExpression(*source), attribute.name);
            }
            continue;
        }
        const AttributeDescription* from = sourceEntity.attribute(attribute.name);
        if (from == nullptr) {
            continue;
        }
        if (!copyable(from->attributeType, attribute.attributeType)) {
            throw StoreError::make(StoreError::kMigrationError,
                                   "The attribute \"" + attribute.name + "\" changes from " +
                                       std::string(attributeTypeName(from->attributeType)) +
                                       " to " +
                                       std::string(attributeTypeName(attribute.attributeType)) +
                                       " and needs an attribute mapping");
        }
        destination->setValue(source->value(attribute.name), attribute.name);
    }
    manager.associate(source, destination, mapping);
}

void EntityMigrationPolicy::createRelationships(const std::shared_ptr<ManagedObject>& destination,
                                                const EntityMapping& mapping,
                                                MigrationManager& manager) {
    auto source = manager.sourceInstance(*destination);
    if (!source) {
        return;
    }
    for (const auto& relationship : destination->entity().relationships()) {
        if (relationship.isToMany) {
            continue;  // follows from the members' to-one inverse
        }
        std::string key = relationship.name;
        if (const RelationshipMapping* relationshipMapping =
                mapping.relationshipMapping(relationship.name)) {
            key = relationshipMapping->sourceKey;
        }
        const RelationshipDescription* from =
            key.empty() ? nullptr : source->entity().relationship(key);
        if (from == nullptr || from->isToMany) {
            continue;
        }
        auto related = source->object(key);
        if (!related) {
            continue;
        }
        for (ManagedObject* candidate : manager.destinationInstances(*related)) {
            if (&candidate->entity() == relationship.destinationEntity) {
                destination->setObject(candidate->shared_from_this(), relationship.name);
                break;
            }
        }
    }
}

}  // namespace dovrel::store

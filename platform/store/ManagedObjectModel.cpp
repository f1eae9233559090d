#include "platform/store/ManagedObjectModel.h"

#include "platform/foundation/FatalError.h"

namespace dovrel::store {

ManagedObjectModel::ManagedObjectModel(std::string versionIdentifier,
                                       std::vector<EntityDescription> entities)
    : versionIdentifier_(std::move(versionIdentifier)) {
    for (auto& entity : entities) {
        if (this->entity(entity.name()) != nullptr || entity.name().empty()) {
            fatalError("Invalid or duplicate entity name \"" + entity.name() + "\"");
        }
        entities_.push_back(std::make_unique<EntityDescription>(std::move(entity)));
        entities_.back()->model_ = this;
    }
    for (auto& entity : entities_) {
        for (auto& relationship : entity->relationships_) {
            const EntityDescription* destination = this->entity(relationship.destinationEntityName);
            if (destination == nullptr) {
                fatalError("Relationship " + entity->name() + "." + relationship.name +
                           " names the unknown entity \"" + relationship.destinationEntityName +
                           "\"");
            }
            relationship.destinationEntity = destination;
            if (!relationship.inverseName.empty()) {
                relationship.inverseRelationship =
                    destination->relationship(relationship.inverseName);
                if (relationship.inverseRelationship == nullptr ||
                    relationship.inverseRelationship->destinationEntityName != entity->name()) {
                    fatalError("Relationship " + entity->name() + "." + relationship.name +
                               " names the unknown inverse \"" + relationship.inverseName + "\"");
                }
            }
            if (relationship.isToMany && (relationship.inverseRelationship == nullptr ||
                                          relationship.inverseRelationship->isToMany)) {
                fatalError("To-many relationship " + entity->name() + "." + relationship.name +
                           " needs a to-one inverse");
            }
        }
    }
}

const EntityDescription* ManagedObjectModel::entity(std::string_view name) const {
    for (const auto& entity : entities_) {
        if (entity->name() == name) {
            return entity.get();
        }
    }
    return nullptr;
}

}  // namespace dovrel::store

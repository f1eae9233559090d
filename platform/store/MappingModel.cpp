#include "platform/store/MappingModel.h"

#include "platform/store/ManagedObjectModel.h"

namespace dovrel::store {

MappingModel MappingModel::inferred(const ManagedObjectModel& source,
                                    const ManagedObjectModel& destination) {
    std::vector<EntityMapping> mappings;
    for (const auto& entity : destination.entities()) {
        if (source.entity(entity->name()) != nullptr) {
            EntityMapping mapping;
            mapping.name = entity->name() + "To" + entity->name();
            mapping.sourceEntityName = entity->name();
            mapping.destinationEntityName = entity->name();
            mappings.push_back(std::move(mapping));
        }
    }
    return MappingModel(std::move(mappings));
}

const EntityMapping* MappingModel::entityMapping(std::string_view name) const {
    for (const auto& mapping : entityMappings_) {
        if (mapping.name == name) {
            return &mapping;
        }
    }
    return nullptr;
}

}  // namespace dovrel::store

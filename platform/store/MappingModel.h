#pragma once

#include <string_view>
#include <vector>

#include "platform/store/EntityMapping.h"

namespace dovrel::store {

class ManagedObjectModel;

// How the objects of one model version become objects of the next: a list of named entity
// mappings, run in order (every mapping creates its destination instances before any
// relationship is re-linked, so a mapping may refer to instances of a later one).
//
// Source entities that no mapping names are dropped; destination entities that no mapping
// names start empty. A mapping that names an entity its model does not have, or two mappings
// with one name, stop the process when the migration starts.
class MappingModel {
  public:
    MappingModel() = default;
    explicit MappingModel(std::vector<EntityMapping> entityMappings)
        : entityMappings_(std::move(entityMappings)) {}

    // One plain mapping "<Name>To<Name>" for every entity that both models have, in the
    // destination model's order.
    static MappingModel inferred(const ManagedObjectModel& source,
                                 const ManagedObjectModel& destination);

    const std::vector<EntityMapping>& entityMappings() const noexcept { return entityMappings_; }
    std::vector<EntityMapping>& entityMappings() noexcept { return entityMappings_; }
    // The mapping called `name`, or null.
    const EntityMapping* entityMapping(std::string_view name) const;

  private:
    std::vector<EntityMapping> entityMappings_;
};

}  // namespace dovrel::store

#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/store/EntityDescription.h"

namespace dovrel::store {

// A complete schema: the entities of one model version. Making a model resolves every
// relationship's destination and inverse; a relationship to an unknown entity or inverse, a
// to-many relationship without a to-one inverse, or a duplicate name is a programming error and
// stops the process. Immutable afterwards and shared (std::shared_ptr<const ManagedObjectModel>)
// by the coordinator, its stores and every object ID.
class ManagedObjectModel {
  public:
    ManagedObjectModel(std::string versionIdentifier, std::vector<EntityDescription> entities);
    ManagedObjectModel(const ManagedObjectModel&) = delete;
    ManagedObjectModel& operator=(const ManagedObjectModel&) = delete;

    // Recorded in every store made with this model; a store of another version does not load.
    const std::string& versionIdentifier() const noexcept { return versionIdentifier_; }

    const std::vector<std::unique_ptr<EntityDescription>>& entities() const noexcept {
        return entities_;
    }
    // The entity called `name`, or null.
    const EntityDescription* entity(std::string_view name) const;

  private:
    std::string versionIdentifier_;
    std::vector<std::unique_ptr<EntityDescription>> entities_;
};

}  // namespace dovrel::store

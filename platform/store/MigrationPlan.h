#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/ManagedObjectModel.h"
#include "platform/store/MappingModel.h"

namespace dovrel::store {

// One version of a model, and how the objects of the version before it become its objects.
struct ModelVersion {
    std::shared_ptr<const ManagedObjectModel> model;
    // From the previous version of the plan to this one; empty for the first version, and for a
    // version that stores of the previous one cannot be migrated to.
    std::optional<MappingModel> mappingFromPrevious;
};

// The versions of one model, oldest first; the last one is the current one. A coordinator with
// a plan migrates a store made by an older version, step by step, when it opens it (see
// PersistentStoreCoordinator::setMigrationPlan). A library with two versions writes:
//
//   auto plan = std::make_shared<MigrationPlan>(std::vector<ModelVersion>{
//       {habitModelVersion1(), std::nullopt},
//       {habitModelVersion2(), habitMappingModel1To2()},
//   });
//   PersistentContainer container("Habits", plan);
//
// Two versions with one identifier, or an empty plan, stop the process.
class MigrationPlan {
  public:
    explicit MigrationPlan(std::vector<ModelVersion> versions);

    const std::vector<ModelVersion>& versions() const noexcept { return versions_; }
    const std::shared_ptr<const ManagedObjectModel>& currentModel() const noexcept {
        return versions_.back().model;
    }

    // The position of the version with this identifier, or nothing.
    std::optional<std::size_t> indexOfVersion(const std::string& versionIdentifier) const;

    // One step of a migration path.
    struct Step {
        std::shared_ptr<const ManagedObjectModel> sourceModel;
        std::shared_ptr<const ManagedObjectModel> destinationModel;
        const MappingModel* mapping = nullptr;
    };
    // The steps from the version `versionIdentifier` to the current one (none when it is the
    // current one). Throws StoreError kMigrationMissingSourceModelError for a version the plan
    // does not have, and kMigrationMissingMappingModelError when a step has no mapping model.
    std::vector<Step> path(const std::string& versionIdentifier) const;

  private:
    std::vector<ModelVersion> versions_;
};

}  // namespace dovrel::store

#include "platform/store/MigrationPlan.h"

#include <set>

#include "platform/foundation/FatalError.h"
#include "platform/store/StoreError.h"

namespace dovrel::store {

MigrationPlan::MigrationPlan(std::vector<ModelVersion> versions) : versions_(std::move(versions)) {
    if (versions_.empty()) {
        fatalError("A migration plan needs at least one model version");
    }
    std::set<std::string> identifiers;
    for (const auto& version : versions_) {
        if (!version.model) {
            fatalError("A model version of a migration plan has no model");
        }
        if (!identifiers.insert(version.model->versionIdentifier()).second) {
            fatalError("The migration plan has two model versions \"" +
                       version.model->versionIdentifier() + "\"");
        }
    }
}

std::optional<std::size_t> MigrationPlan::indexOfVersion(
    const std::string& versionIdentifier) const {
    for (std::size_t i = 0; i < versions_.size(); ++i) {
        if (versions_[i].model->versionIdentifier() == versionIdentifier) {
            return i;
        }
    }
    return std::nullopt;
}

std::vector<MigrationPlan::Step> MigrationPlan::path(const std::string& versionIdentifier) const {
    auto index = indexOfVersion(versionIdentifier);
    if (!index) {
        throw StoreError::make(StoreError::kMigrationMissingSourceModelError,
                               "model version \"" + versionIdentifier + "\" is unknown");
    }
    std::vector<Step> steps;
    for (std::size_t i = *index + 1; i < versions_.size(); ++i) {
        if (!versions_[i].mappingFromPrevious) {
            throw StoreError::make(StoreError::kMigrationMissingMappingModelError,
                                   "no mapping model leads from model version \"" +
                                       versions_[i - 1].model->versionIdentifier() + "\" to \"" +
                                       versions_[i].model->versionIdentifier() + "\"");
        }
        steps.push_back(
            {versions_[i - 1].model, versions_[i].model, &*versions_[i].mappingFromPrevious});
    }
    return steps;
}

}  // namespace dovrel::store

#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/ManagedObjectID.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/PersistentStore.h"
#include "platform/store/PersistentStoreDescription.h"

namespace dovrel::store {

// Joins one model to the stores that hold its objects. Contexts read and write through it.
// Safe to use from any thread.
class PersistentStoreCoordinator {
  public:
    explicit PersistentStoreCoordinator(std::shared_ptr<const ManagedObjectModel> model);

    const std::shared_ptr<const ManagedObjectModel>& managedObjectModel() const noexcept {
        return model_;
    }

    // Opens the store that `description` names and adds it after the others. Throws StoreError
    // when it does not load (see PersistentStore::load); the coordinator is then unchanged.
    std::shared_ptr<PersistentStore> addPersistentStore(
        const PersistentStoreDescription& description);
    // Forgets a store (its file stays).
    void removePersistentStore(const std::shared_ptr<PersistentStore>& store);
    // The stores in the order they were added.
    std::vector<std::shared_ptr<PersistentStore>> persistentStores() const;
    std::shared_ptr<PersistentStore> persistentStore(const StoreUUID& uuid) const;

    std::map<std::string, Value> metadata(const PersistentStore& store) const {
        return store.metadata();
    }
    void setMetadata(const std::map<std::string, Value>& metadata, PersistentStore& store) {
        store.setMetadata(metadata);
    }

    // The ID that a URI representation names: nothing for a malformed URI, a temporary one, one
    // of a store this coordinator does not have, an unknown entity, or a row that does not exist
    // (such as a deleted object's).
    std::optional<ManagedObjectID> managedObjectID(const std::string& uriRepresentation) const;

  private:
    std::shared_ptr<const ManagedObjectModel> model_;
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<PersistentStore>> stores_;
};

}  // namespace dovrel::store

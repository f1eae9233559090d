#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/MigrationPlan.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/PersistentStoreDescription.h"

namespace dovrel::store {

// The usual stack in one object: a model, a coordinator, the store descriptions to load, a view
// context on the main queue and background contexts on private queues.
class PersistentContainer {
  public:
    // A container whose one description names <defaultDirectoryURL()>/<name>.sqlite.
    PersistentContainer(std::string name, std::shared_ptr<const ManagedObjectModel> model);
    // The same for the plan's current model; stores of older versions of the plan are migrated
    // when they load (see PersistentStoreCoordinator), and a failed migration reaches the load
    // handler as the store's error.
    PersistentContainer(std::string name, std::shared_ptr<const MigrationPlan> plan);

    // $XDG_DATA_HOME (or ~/.local/share) followed by "dovrel".
    static std::filesystem::path defaultDirectoryURL();

    const std::string& name() const noexcept { return name_; }
    const std::shared_ptr<const ManagedObjectModel>& managedObjectModel() const noexcept {
        return model_;
    }
    const std::shared_ptr<PersistentStoreCoordinator>& persistentStoreCoordinator() const noexcept {
        return coordinator_;
    }

    const std::vector<PersistentStoreDescription>& persistentStoreDescriptions() const noexcept {
        return descriptions_;
    }
    void setPersistentStoreDescriptions(std::vector<PersistentStoreDescription> descriptions) {
        descriptions_ = std::move(descriptions);
    }

    // Loads one store per description, in order, on the calling thread, and calls `handler` once
    // per description with nothing on success or the error that kept the store from loading.
    void loadPersistentStores(const std::function<void(const PersistentStoreDescription&,
                                                       std::optional<Error>)>& handler);

    // The main-queue context (made on first use, shared afterwards).
    const std::shared_ptr<ManagedObjectContext>& viewContext();
    // A new private-queue context on the coordinator.
    std::shared_ptr<ManagedObjectContext> newBackgroundContext();
    // Runs `work` with a new background context on that context's queue.
    void performBackgroundTask(std::function<void(ManagedObjectContext&)> work);

  private:
    std::string name_;
    std::shared_ptr<const ManagedObjectModel> model_;
    std::shared_ptr<PersistentStoreCoordinator> coordinator_;
    std::vector<PersistentStoreDescription> descriptions_;
    std::shared_ptr<ManagedObjectContext> viewContext_;
};

}  // namespace dovrel::store

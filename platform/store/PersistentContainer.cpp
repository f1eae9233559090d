#include "platform/store/PersistentContainer.h"

#include <cstdlib>

namespace dovrel::store {

PersistentContainer::PersistentContainer(std::string name,
                                         std::shared_ptr<const ManagedObjectModel> model)
    : name_(std::move(name)),
      model_(std::move(model)),
      coordinator_(std::make_shared<PersistentStoreCoordinator>(model_)) {
    descriptions_.emplace_back(defaultDirectoryURL() / (name_ + ".sqlite"));
}

PersistentContainer::PersistentContainer(std::string name,
                                         std::shared_ptr<const MigrationPlan> plan)
    : name_(std::move(name)),
      model_(plan ? plan->currentModel() : nullptr),
      coordinator_(std::make_shared<PersistentStoreCoordinator>(std::move(plan))) {
    descriptions_.emplace_back(defaultDirectoryURL() / (name_ + ".sqlite"));
}

std::filesystem::path PersistentContainer::defaultDirectoryURL() {
    if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data != '\0') {
        return std::filesystem::path(data) / "dovrel";
    }
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home ? home : ".") / ".local" / "share" / "dovrel";
}

void PersistentContainer::loadPersistentStores(
    const std::function<void(const PersistentStoreDescription&, std::optional<Error>)>& handler) {
    for (const auto& description : descriptions_) {
        std::optional<Error> failure;
        try {
            coordinator_->addPersistentStore(description);
        } catch (const Error& error) {
            failure = error;
        }
        handler(description, failure);
    }
}

const std::shared_ptr<ManagedObjectContext>& PersistentContainer::viewContext() {
    if (!viewContext_) {
        viewContext_ = std::make_shared<ManagedObjectContext>(
            ManagedObjectContext::ConcurrencyType::mainQueueConcurrencyType);
        viewContext_->setPersistentStoreCoordinator(coordinator_);
    }
    return viewContext_;
}

std::shared_ptr<ManagedObjectContext> PersistentContainer::newBackgroundContext() {
    auto context = std::make_shared<ManagedObjectContext>(
        ManagedObjectContext::ConcurrencyType::privateQueueConcurrencyType);
    context->setPersistentStoreCoordinator(coordinator_);
    return context;
}

void PersistentContainer::performBackgroundTask(std::function<void(ManagedObjectContext&)> work) {
    auto context = newBackgroundContext();
    context->perform([context, work = std::move(work)] { work(*context); });
}

}  // namespace dovrel::store

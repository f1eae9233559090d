#include "platform/store/PersistentStoreCoordinator.h"

#include <algorithm>
#include <charconv>

namespace dovrel::store {

PersistentStoreCoordinator::PersistentStoreCoordinator(
    std::shared_ptr<const ManagedObjectModel> model)
    : model_(std::move(model)) {}

std::shared_ptr<PersistentStore> PersistentStoreCoordinator::addPersistentStore(
    const PersistentStoreDescription& description) {
    auto store = PersistentStore::load(description, model_);
    std::lock_guard lock(mutex_);
    stores_.push_back(store);
    return store;
}

void PersistentStoreCoordinator::removePersistentStore(
    const std::shared_ptr<PersistentStore>& store) {
    std::lock_guard lock(mutex_);
    std::erase(stores_, store);
}

std::vector<std::shared_ptr<PersistentStore>> PersistentStoreCoordinator::persistentStores() const {
    std::lock_guard lock(mutex_);
    return stores_;
}

std::shared_ptr<PersistentStore> PersistentStoreCoordinator::persistentStore(
    const StoreUUID& uuid) const {
    std::lock_guard lock(mutex_);
    for (const auto& store : stores_) {
        if (store->uuid() == uuid) {
            return store;
        }
    }
    return nullptr;
}

std::optional<ManagedObjectID> PersistentStoreCoordinator::managedObjectID(
    const std::string& uri) const {
    // x-dovrel://<store UUID>/<Entity>/p<primary key>
    static constexpr std::string_view kScheme = "x-dovrel://";
    if (!uri.starts_with(kScheme)) {
        return std::nullopt;
    }
    const std::string rest = uri.substr(kScheme.size());
    const auto firstSlash = rest.find('/');
    const auto lastSlash = rest.rfind('/');
    if (firstSlash == std::string::npos || lastSlash == firstSlash) {
        return std::nullopt;
    }
    StoreUUID uuid;
    if (!parseUUID(rest.substr(0, firstSlash), uuid)) {
        return std::nullopt;
    }
    const std::string entityName = rest.substr(firstSlash + 1, lastSlash - firstSlash - 1);
    const std::string key = rest.substr(lastSlash + 1);
    if (key.size() < 2 || key[0] != 'p') {
        return std::nullopt;
    }
    std::int64_t primaryKey = 0;
    const char* begin = key.data() + 1;
    const char* end = key.data() + key.size();
    auto [last, error] = std::from_chars(begin, end, primaryKey);
    if (error != std::errc() || last != end || primaryKey <= 0 || *begin == '+') {
        return std::nullopt;
    }
    const EntityDescription* entity = model_->entity(entityName);
    auto store = persistentStore(uuid);
    if (entity == nullptr || !store) {
        return std::nullopt;
    }
    if (!store->fetchRow(*entity, primaryKey)) {
        return std::nullopt;
    }
    return ManagedObjectID::permanent(*entity, uuid, primaryKey);
}

}  // namespace dovrel::store

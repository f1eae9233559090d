#include "DovrelFoundation/Persistence/ObjectsDidChangeNotification.h"

#include <any>
#include <string>

#include "platform/store/ManagedObjectContext.h"

namespace dovrel {
namespace {

store::ObjectSet objectsForKey(const Notification& notification, const char* key) {
    auto found = notification.userInfo.find(key);
    if (found == notification.userInfo.end()) {
        return {};
    }
    if (const auto* objects = std::any_cast<store::ObjectSet>(&found->second)) {
        return *objects;
    }
    return {};
}

}  // namespace

store::ObjectSet ObjectsDidChangeNotification::deletedObjects() const {
    return objectsForKey(notification, store::ManagedObjectContext::kDeletedObjectsKey);
}

store::ObjectSet ObjectsDidChangeNotification::invalidatedObjects() const {
    return objectsForKey(notification, store::ManagedObjectContext::kInvalidatedObjectsKey);
}

store::ObjectSet ObjectsDidChangeNotification::updatedObjects() const {
    return objectsForKey(notification, store::ManagedObjectContext::kUpdatedObjectsKey);
}

store::ObjectSet ObjectsDidChangeNotification::refreshedObjects() const {
    return objectsForKey(notification, store::ManagedObjectContext::kRefreshedObjectsKey);
}

bool ObjectsDidChangeNotification::invalidatedAllObjects() const {
    return notification.userInfo.count(store::ManagedObjectContext::kInvalidatedAllObjectsKey) > 0;
}

}  // namespace dovrel

#include "DovrelFoundation/Persistence/ManagedObjectObserver.h"

#include <utility>

#include "platform/store/ManagedObjectContext.h"

namespace dovrel {
namespace {

bool contains(const store::ObjectSet& objects, const store::ManagedObject& object) {
    for (const auto& member : objects) {
        if (member.get() == &object) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::shared_ptr<ManagedObjectObserver> ManagedObjectObserver::make(
    NotificationCenter& notificationCenter, std::shared_ptr<store::ManagedObject> object,
    ChangeHandler changeHandler) {
    if (!object) {
        return nullptr;
    }
    store::ManagedObjectContext* context = object->managedObjectContext();
    if (context == nullptr) {
        return nullptr;
    }
    std::shared_ptr<ManagedObjectObserver> observer(new ManagedObjectObserver(notificationCenter));
    std::weak_ptr<ManagedObjectObserver> weakObserver = observer;
    observer->token_ = notificationCenter.addObserver(
        std::string(store::ManagedObjectContext::kObjectsDidChangeNotification), context,
        [weakObserver, object = std::move(object),
         changeHandler = std::move(changeHandler)](const Notification& notification) {
            if (weakObserver.expired()) {
                return;
            }
            const auto change = changeType(*object, ObjectsDidChangeNotification{notification});
            if (change && changeHandler) {
                changeHandler(*change);
            }
        });
    return observer;
}

std::optional<ManagedObjectObserver::ChangeType> ManagedObjectObserver::changeType(
    const store::ManagedObject& object, const ObjectsDidChangeNotification& notification) {
    if (notification.invalidatedAllObjects()) {
        return ChangeType::delete_;
    }
    if (contains(notification.deletedObjects(), object) ||
        contains(notification.invalidatedObjects(), object)) {
        return ChangeType::delete_;
    }
    if (contains(notification.updatedObjects(), object) ||
        contains(notification.refreshedObjects(), object)) {
        return ChangeType::update;
    }
    return std::nullopt;
}

}  // namespace dovrel

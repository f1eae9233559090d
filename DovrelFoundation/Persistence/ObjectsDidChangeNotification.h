#pragma once

#include "platform/foundation/NotificationCenter.h"
#include "platform/store/ManagedObject.h"

namespace dovrel {

// A typed view of a context's objects-did-change notification
// (store::ManagedObjectContext::kObjectsDidChangeNotification): the objects it reports, by kind.
// A set whose key is missing, or holds something other than a store::ObjectSet, is empty.
struct ObjectsDidChangeNotification {
    // The notification as posted; not checked for its name.
    Notification notification;

    store::ObjectSet deletedObjects() const;
    store::ObjectSet invalidatedObjects() const;
    store::ObjectSet updatedObjects() const;
    store::ObjectSet refreshedObjects() const;
    // True when the notification carries the all-objects-invalidated key at all (a context
    // reset), whatever its value.
    bool invalidatedAllObjects() const;
};

}  // namespace dovrel

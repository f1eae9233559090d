#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "DovrelFoundation/Persistence/ObjectsDidChangeNotification.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/store/ManagedObject.h"

namespace dovrel {

// Watches one managed object and tells its owner when the object was deleted or changed, from
// the objects-did-change notifications of the object's context.
//
// The change type of the object in one notification:
//   1. the context was reset (all objects invalidated): delete_;
//   2. the object (by identity) is among the deleted or invalidated objects: delete_;
//   3. else, among the updated or refreshed objects: update;
//   4. else no change, and the handler is not called.
//
// The handler runs on the thread that posted the notification (the context's queue). It is
// never called once the observer has been released: releasing it removes the observation from
// the notification center. The observation holds the object and the handler (not the observer).
class ManagedObjectObserver {
  public:
    // `delete` is a C++ keyword, hence the trailing underscore.
    enum class ChangeType { delete_, update };
    using ChangeHandler = std::function<void(ChangeType)>;

    // An observer of `object`, registered with `notificationCenter` for the objects-did-change
    // notifications sent by the object's context; null when the object belongs to no context.
    // The center must outlive the observer.
    static std::shared_ptr<ManagedObjectObserver> make(NotificationCenter& notificationCenter,
                                                       std::shared_ptr<store::ManagedObject> object,
                                                       ChangeHandler changeHandler);

    ManagedObjectObserver(const ManagedObjectObserver&) = delete;
    ManagedObjectObserver& operator=(const ManagedObjectObserver&) = delete;

    // The change that `notification` reports for `object`, or nothing (see the class comment).
    static std::optional<ChangeType> changeType(const store::ManagedObject& object,
                                                const ObjectsDidChangeNotification& notification);

  private:
    explicit ManagedObjectObserver(NotificationCenter& notificationCenter)
        : notificationCenter_(notificationCenter) {}

    NotificationCenter& notificationCenter_;
    // Unregisters the observation when the observer goes away.
    std::optional<ObservationToken> token_;
};

}  // namespace dovrel

#include "platform/store/ManagedObjectContext.h"

#include <unordered_set>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/RemoteChangeMonitor.h"

// Merging what others wrote: the did-save notifications of other contexts of the coordinator and
// the commits of other processes that the coordinator detects.

namespace dovrel::store {

void ManagedObjectContext::observeRemoteChanges() {
    remoteObservation_.reset();
    if (!automaticallyMerges_ || !coordinator_) {
        return;
    }
    // The monitor posts on its own queue while this context may be in use (or being destroyed)
    // on another thread: the handler touches only what it captured, never the context.
    std::weak_ptr<ManagedObjectContext> weak = weak_from_this();
    remoteObservation_ = NotificationCenter::defaultCenter().addObserver(
        RemoteChangeMonitor::kRemoteTransactionsNotification, coordinator_.get(),
        [weak, queue = queue_](const Notification& notification) {
            Notification changes;
            changes.name = notification.name;
            changes.userInfo = notification.userInfo;
            queue->async([weak, changes = std::move(changes)] {
                if (auto self = weak.lock()) {
                    self->mergeRemoteChanges(changes);
                    self->processPendingChanges();
                }
            });
        });
}

void ManagedObjectContext::mergeRemoteChanges(const Notification& changes) {
    if (!automaticallyMerges_) {
        return;  // switched off after the changes were announced
    }
    auto refreshAll = changes.userInfo.find(RemoteChangeMonitor::kRefreshAllKey);
    if (refreshAll == changes.userInfo.end()) {
        mergeChanges(changes);
        return;
    }
    // The account is incomplete: every object of the store this context holds is refreshed
    // (and the named changes merged as well).
    StoreUUID storeUUID{};
    if (auto found = changes.userInfo.find(RemoteChangeMonitor::kStoreUUIDKey);
        found != changes.userInfo.end()) {
        if (const auto* uuid = std::any_cast<StoreUUID>(&found->second)) {
            storeUUID = *uuid;
        }
    }
    Notification complete;
    complete.name = changes.name;
    complete.userInfo = changes.userInfo;
    ObjectIDSet updated;
    if (auto found = complete.userInfo.find(kUpdatedObjectIDsKey);
        found != complete.userInfo.end()) {
        if (const auto* ids = std::any_cast<ObjectIDSet>(&found->second)) {
            updated = *ids;
        }
    }
    registered_.forEach([&](const ManagedObjectID& id, const std::weak_ptr<ManagedObject>& weak) {
        if (id.storeUUID() == storeUUID && !weak.expired()) {
            updated.insert(id);
        }
    });
    complete.userInfo[kUpdatedObjectIDsKey] = std::move(updated);
    mergeChanges(complete);
}

void ManagedObjectContext::setAutomaticallyMergesChangesFromParent(bool merges) {
    automaticallyMerges_ = merges;
    if (!merges) {
        saveObservation_.reset();
        remoteObservation_.reset();
        return;
    }
    if (!remoteObservation_.isActive()) {
        observeRemoteChanges();
    }
    if (saveObservation_.isActive()) {
        return;
    }
    std::weak_ptr<ManagedObjectContext> weak = weak_from_this();
    saveObservation_ = NotificationCenter::defaultCenter().addObserver(
        kDidSaveNotification, nullptr, [this, weak](const Notification& notification) {
            // The saving context is alive while it posts; its coordinator never changes then.
            const auto* sender = static_cast<const ManagedObjectContext*>(notification.object);
            if (sender == nullptr || sender == this || !coordinator_ ||
                sender->coordinator_ != coordinator_) {
                return;
            }
            // Only the IDs cross to this context's queue, never the sender's objects.
            Notification ids;
            ids.name = notification.name;
            for (const char* key :
                 {kInsertedObjectIDsKey, kUpdatedObjectIDsKey, kDeletedObjectIDsKey}) {
                if (auto found = notification.userInfo.find(key);
                    found != notification.userInfo.end()) {
                    ids.userInfo.emplace(key, found->second);
                }
            }
            queue_->async([weak, ids = std::move(ids)] {
                if (auto self = weak.lock()) {
                    self->mergeChanges(ids);
                }
            });
        });
}

void ManagedObjectContext::mergeChanges(const Notification& didSave) {
    checkQueue("mergeChanges");
    processPendingChanges();
    auto ids = [&](const char* key) {
        auto found = didSave.userInfo.find(key);
        if (found == didSave.userInfo.end()) {
            return ObjectIDSet();
        }
        const auto* set = std::any_cast<ObjectIDSet>(&found->second);
        return set ? *set : ObjectIDSet();
    };
    ObjectSet inserted, refreshed, deleted, invalidated;
    std::unordered_set<const EntityDescription*> touched;
    for (const auto& id : ids(kDeletedObjectIDsKey)) {
        touched.insert(&id.entity());
        if (auto object = registered(id)) {
            registered_.erase(id);
            detach(*object);
            object->pending_ = 0;
            deleted.insert(object);
        }
    }
    compactChangeLists();
    for (const auto& id : ids(kUpdatedObjectIDsKey)) {
        touched.insert(&id.entity());
        auto object = registered(id);
        if (!object) {
            continue;
        }
        if (object->fault_) {
            refreshed.insert(object);
            continue;
        }
        auto store = coordinator_->persistentStore(id.storeUUID());
        auto row = store ? store->fetchRow(id.entity(), id.primaryKey()) : std::nullopt;
        if (!row) {
            registered_.erase(id);
            detach(*object);
            invalidated.insert(object);
            continue;
        }
        applyRow(*object, *row, object->updated_ && object->committed_);
        refreshed.insert(object);
    }
    for (const auto& id : ids(kInsertedObjectIDsKey)) {
        touched.insert(&id.entity());
        if (!registered(id)) {
            inserted.insert(object(id));
        }
    }
    compactChangeLists();
    // Loaded to-many lists of unchanged objects may now be stale; they load again when read.
    registered_.forEach([&](const ManagedObjectID&, const std::weak_ptr<ManagedObject>& weak) {
        auto object = weak.lock();
        if (!object || object->updated_ || object->inserted_) {
            return;
        }
        for (const auto& relationship : object->entity_->relationships()) {
            if (relationship.isToMany && touched.contains(relationship.destinationEntity)) {
                object->toMany_[relationship.slot].reset();
            }
        }
    });
    std::map<std::string, std::any> userInfo;
    if (!inserted.empty()) {
        userInfo[kInsertedObjectsKey] = std::move(inserted);
    }
    if (!refreshed.empty()) {
        userInfo[kRefreshedObjectsKey] = std::move(refreshed);
    }
    if (!deleted.empty()) {
        userInfo[kDeletedObjectsKey] = std::move(deleted);
    }
    if (!invalidated.empty()) {
        userInfo[kInvalidatedObjectsKey] = std::move(invalidated);
    }
    if (!userInfo.empty()) {
        post(kObjectsDidChangeNotification, std::move(userInfo));
    }
}

}  // namespace dovrel::store

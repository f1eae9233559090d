#include "platform/store/ManagedObjectContext.h"

#include <algorithm>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"

// The identity map: one object per row and context. Objects are registered by their permanent ID
// (held weakly: the callers own them) and inserted ones by the number of their temporary ID.

namespace dovrel::store {

std::shared_ptr<ManagedObject> ManagedObjectContext::registered(
    const ManagedObjectID& objectID) const {
    if (objectID.isTemporaryID()) {
        ManagedObject* const* found = temporary_.find(objectID.primaryKey());
        return found != nullptr && (*found)->inserted_ ? (*found)->shared_from_this() : nullptr;
    }
    if (const auto* found = registered_.find(objectID)) {
        return found->lock();
    }
    return nullptr;
}

std::shared_ptr<ManagedObject> ManagedObjectContext::registerRow(const EntityDescription& entity,
                                                                 PersistentStore& store,
                                                                 StoredRow&& row, bool keysOnly) {
    const auto id = ManagedObjectID::permanent(entity, store.uuid(), row.primaryKey);
    auto& slot = registered_[id];
    if (auto existing = slot.lock()) {
        if (existing->fault_ && !keysOnly) {
            applyRow(*existing, row, false);
        }
        return existing;
    }
    auto object = entity.makeObject();
    object->entity_ = &entity;
    object->context_ = this;
    object->id_ = id;
    object->toMany_.resize(entity.toManyCount());
    if (keysOnly) {
        object->fault_ = true;
        object->version_ = row.version;
        object->versionKnown_ = true;
    } else {
        applyRow(*object, row, false);
    }
    slot = object;
    return object;
}

std::shared_ptr<ManagedObject> ManagedObjectContext::object(const ManagedObjectID& objectID) {
    checkQueue("object(with:)");
    if (auto existing = registered(objectID)) {
        return existing;
    }
    if (objectID.isTemporaryID()) {
        fatalError("The temporary object ID " + objectID.uriRepresentation() +
                   " names no object of this context");
    }
    auto object = objectID.entity().makeObject();
    object->entity_ = &objectID.entity();
    object->context_ = this;
    object->id_ = objectID;
    object->fault_ = true;
    object->toMany_.resize(objectID.entity().toManyCount());
    registered_[objectID] = object;
    return object;
}

std::shared_ptr<ManagedObject> ManagedObjectContext::existingObject(
    const ManagedObjectID& objectID) {
    checkQueue("existingObject(with:)");
    if (auto existing = registered(objectID)) {
        if (!existing->fault_) {
            return existing;
        }
    }
    auto store = (coordinator_ && !objectID.isTemporaryID())
                     ? coordinator_->persistentStore(objectID.storeUUID())
                     : nullptr;
    std::optional<StoredRow> row;
    if (store) {
        row = store->fetchRow(objectID.entity(), objectID.primaryKey());
    }
    if (!row) {
        throw StoreError::make(133000, "No object exists for " + objectID.uriRepresentation());
    }
    return registerRow(objectID.entity(), *store, std::move(*row), false);
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::registeredObjects() const {
    checkQueue("registeredObjects");
    std::vector<std::shared_ptr<ManagedObject>> result;
    registered_.forEach([&](const ManagedObjectID&, const std::weak_ptr<ManagedObject>& weak) {
        if (auto object = weak.lock()) {
            result.push_back(std::move(object));
        }
    });
    for (const auto& object : inserted_) {
        if (object->inserted_) {
            result.push_back(object);
        }
    }
    return result;
}

void ManagedObjectContext::reserveRegistrations(std::size_t additional) {
    registered_.reserve(registered_.size() + additional);
}

}  // namespace dovrel::store

#include "platform/store/ManagedObjectContext.h"

#include <algorithm>
#include <map>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/RemoteChangeMonitor.h"
#include "platform/store/StoreError.h"

namespace dovrel::store {

namespace {

Error wrapSaveError(const Error& error) {
    if (error.domain() == StoreError::kDomain) {
        return error;
    }
    return StoreError::wrapping(StoreError::kPersistentStoreSaveError, "The save failed", error);
}

}  // namespace

ManagedObjectContext::ManagedObjectContext(ConcurrencyType concurrencyType)
    : concurrencyType_(concurrencyType),
      queue_(concurrencyType == ConcurrencyType::mainQueueConcurrencyType
                 ? ContextQueue::main()
                 : ContextQueue::makeSerial("dovrel.store.ManagedObjectContext")) {}

std::shared_ptr<ManagedObjectContext> ManagedObjectContext::makeSharingQueue(
    const ManagedObjectContext& other) {
    auto context =
        std::make_shared<ManagedObjectContext>(ConcurrencyType::mainQueueConcurrencyType);
    context->concurrencyType_ = other.concurrencyType_;
    context->queue_ = other.queue_;
    return context;
}

ManagedObjectContext::~ManagedObjectContext() {
    saveObservation_.reset();
    remoteObservation_.reset();
    for (auto& [id, weak] : registered_) {
        if (auto object = weak.lock()) {
            object->context_ = nullptr;
        }
    }
    for (auto* list : {&inserted_, &updated_, &deleted_}) {
        for (auto& object : *list) {
            object->context_ = nullptr;
        }
    }
}

void ManagedObjectContext::checkQueue(const char* operation) const {
#ifdef DOVREL_DEBUG
    if (!queue_->isCurrent()) {
        fatalError(std::string("ManagedObjectContext ") + operation +
                   " called off the queue of the context");
    }
#else
    (void)operation;
#endif
}

void ManagedObjectContext::setPersistentStoreCoordinator(
    std::shared_ptr<PersistentStoreCoordinator> coordinator) {
    coordinator_ = std::move(coordinator);
    observeRemoteChanges();
}

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
    for (const auto& [id, weak] : registered_) {
        if (id.storeUUID() == storeUUID && !weak.expired()) {
            updated.insert(id);
        }
    }
    complete.userInfo[kUpdatedObjectIDsKey] = std::move(updated);
    mergeChanges(complete);
}

void ManagedObjectContext::perform(std::function<void()> work) {
    queue_->async([self = shared_from_this(), work = std::move(work)] {
        work();
        self->processPendingChanges();
    });
}

void ManagedObjectContext::performAndWait(const std::function<void()>& work) {
    queue_->sync(work);
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

std::shared_ptr<ManagedObject> ManagedObjectContext::registered(
    const ManagedObjectID& objectID) const {
    if (objectID.isTemporaryID()) {
        auto found = temporary_.find(objectID.primaryKey());
        return found != temporary_.end() && found->second->inserted_
                   ? found->second->shared_from_this()
                   : nullptr;
    }
    if (auto found = registered_.find(objectID); found != registered_.end()) {
        return found->second.lock();
    }
    return nullptr;
}

std::shared_ptr<ManagedObject> ManagedObjectContext::insertNewObject(
    const std::string& entityName) {
    checkQueue("insertNewObject");
    if (!coordinator_) {
        fatalError("The context has no persistent store coordinator");
    }
    const EntityDescription* entity = coordinator_->managedObjectModel()->entity(entityName);
    if (entity == nullptr) {
        fatalError("No entity named \"" + entityName + "\" in the model");
    }
    auto object = entity->makeObject();
    object->entity_ = entity;
    object->context_ = this;
    object->id_ = ManagedObjectID::temporary(*entity);
    object->inserted_ = true;
    object->values_.reserve(entity->attributes().size());
    for (const auto& attribute : entity->attributes()) {
        object->values_.push_back(attribute.defaultValue);
    }
    object->toOne_.assign(entity->toOneCount(), std::nullopt);
    object->toMany_.assign(entity->toManyCount(), MemberList());
    temporary_.emplace(object->id_.primaryKey(), object.get());
    inserted_.push_back(object);
    markPending(*object, kPendingInsert);
    return object;
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

void ManagedObjectContext::applyRow(ManagedObject& object, StoredRow& row, bool keepChanges) {
    object.version_ = row.version;
    object.versionKnown_ = true;
    if (keepChanges && object.committed_) {
        // Local changes win property by property; the committed state follows the store.
        for (std::size_t i = 0; i < row.attributes.size(); ++i) {
            if (!object.changedAttributes_[i]) {
                object.values_[i] = row.attributes[i];
            }
        }
        std::vector<std::optional<ManagedObjectID>> toOne(row.toOne.size());
        for (const auto& relationship : object.entity_->relationships()) {
            if (!relationship.isToMany) {
                const auto& key = row.toOne[relationship.slot];
                toOne[relationship.slot] =
                    key ? std::optional(ManagedObjectID::permanent(*relationship.destinationEntity,
                                                                   object.id_.storeUUID(), *key))
                        : std::nullopt;
                if (!object.changedToOne_[relationship.slot]) {
                    object.toOne_[relationship.slot] = toOne[relationship.slot];
                }
            }
        }
        object.committed_->values = std::move(row.attributes);
        object.committed_->toOne = std::move(toOne);
        return;
    }
    object.values_ = std::move(row.attributes);
    object.toOne_.assign(object.entity_->toOneCount(), std::nullopt);
    for (const auto& relationship : object.entity_->relationships()) {
        if (!relationship.isToMany && row.toOne[relationship.slot]) {
            object.toOne_[relationship.slot] =
                ManagedObjectID::permanent(*relationship.destinationEntity, object.id_.storeUUID(),
                                           *row.toOne[relationship.slot]);
        }
    }
    object.fault_ = false;
}

std::shared_ptr<PersistentStore> ManagedObjectContext::storeFor(const ManagedObject& object) const {
    if (object.id_.isTemporaryID()) {
        auto stores = coordinator_->persistentStores();
        if (object.assignedStore_ != nullptr) {
            // An assigned store that has been removed holds nothing, and takes nothing.
            auto found = std::find_if(stores.begin(), stores.end(), [&](const auto& store) {
                return store.get() == object.assignedStore_;
            });
            return found != stores.end() ? *found : nullptr;
        }
        return stores.empty() ? nullptr : stores.front();
    }
    return coordinator_->persistentStore(object.id_.storeUUID());
}

void ManagedObjectContext::fireFault(ManagedObject& object) {
    auto store = coordinator_ ? coordinator_->persistentStore(object.id_.storeUUID()) : nullptr;
    std::optional<StoredRow> row;
    if (store) {
        row = store->fetchRow(*object.entity_, object.id_.primaryKey());
    }
    if (!row) {
        fatalError("Could not fulfill a fault for " + object.id_.uriRepresentation());
    }
    applyRow(object, *row, false);
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

void ManagedObjectContext::willChange(ManagedObject& object, bool snapshot) {
    if (object.inserted_ || object.deleted_) {
        return;
    }
    if (snapshot && !object.committed_) {
        if (object.fault_) {
            fireFault(object);
        }
        object.committed_ = std::make_unique<ManagedObject::Snapshot>(
            ManagedObject::Snapshot{object.values_, object.toOne_});
        object.changedAttributes_.assign(object.values_.size(), false);
        object.changedToOne_.assign(object.toOne_.size(), false);
    }
    if (!object.updated_) {
        object.updated_ = true;
        auto shared = object.shared_from_this();
        updated_.push_back(shared);
        markPending(object, kPendingUpdate);
    } else {
        markPending(object, kPendingUpdate);
    }
}

void ManagedObjectContext::markPending(ManagedObject& object, std::uint8_t change) {
    if (object.pending_ == 0) {
        pending_.push_back(object.shared_from_this());
    }
    object.pending_ |= change;
}

void ManagedObjectContext::removeMember(const ManagedObjectID& owner,
                                        const RelationshipDescription& toMany,
                                        const ManagedObjectID& member) {
    auto ownerObject = object(owner);
    willChange(*ownerObject, false);
    if (auto& members = ownerObject->toMany_[toMany.slot]) {
        members->remove(member);
    }
}

void ManagedObjectContext::addMember(const ManagedObjectID& owner,
                                     const RelationshipDescription& toMany,
                                     const ManagedObjectID& member) {
    auto ownerObject = object(owner);
    willChange(*ownerObject, false);
    if (auto& members = ownerObject->toMany_[toMany.slot]) {
        members->add(member);
    }
}

void ManagedObjectContext::setToOne(ManagedObject& source,
                                    const RelationshipDescription& relationship,
                                    const std::optional<ManagedObjectID>& destination) {
    const auto previous = source.toOne_[relationship.slot];
    if (previous == destination) {
        return;
    }
    willChange(source, true);
    source.toOne_[relationship.slot] = destination;
    if (!source.changedToOne_.empty()) {
        source.changedToOne_[relationship.slot] = true;
    }
    const RelationshipDescription* inverse = relationship.inverseRelationship;
    if (inverse == nullptr) {
        return;
    }
    if (inverse->isToMany) {
        if (previous) {
            removeMember(*previous, *inverse, source.id_);
        }
        if (destination) {
            addMember(*destination, *inverse, source.id_);
        }
        return;
    }
    // One-to-one: the old partner lets go, the new partner points back (leaving its own old
    // partner).
    if (previous) {
        auto old = object(*previous);
        if (old->fault_) {
            fireFault(*old);
        }
        if (old->toOne_[inverse->slot] == source.id_) {
            setToOne(*old, *inverse, std::nullopt);
        }
    }
    if (destination) {
        auto partner = object(*destination);
        if (partner->fault_) {
            fireFault(*partner);
        }
        setToOne(*partner, *inverse, source.id_);
    }
}

void ManagedObjectContext::loadToMany(ManagedObject& owner,
                                      const RelationshipDescription& relationship) {
    std::vector<ManagedObjectID> stored;
    if (!owner.id_.isTemporaryID()) {
        if (auto store = coordinator_->persistentStore(owner.id_.storeUUID())) {
            for (std::int64_t key : store->fetchRelatedKeys(relationship, owner.id_.primaryKey())) {
                stored.push_back(ManagedObjectID::permanent(*relationship.destinationEntity,
                                                            owner.id_.storeUUID(), key));
            }
        }
    }
    MemberList members(std::move(stored));
    // Unsaved changes of the members' side decide over what the store says.
    const RelationshipDescription& inverse = *relationship.inverseRelationship;
    for (const auto* list : {&inserted_, &updated_, &deleted_}) {
        for (const auto& changed : *list) {
            if (&changed->entity() != relationship.destinationEntity ||
                !(changed->inserted_ || changed->updated_ || changed->deleted_)) {
                continue;
            }
            members.remove(changed->id_);
            if (!changed->deleted_ && !changed->fault_ &&
                changed->toOne_[inverse.slot] == owner.id_) {
                members.add(changed->id_);
            }
        }
    }
    owner.toMany_[relationship.slot] = std::move(members);
}

void ManagedObjectContext::assign(const std::shared_ptr<ManagedObject>& object,
                                  const std::shared_ptr<PersistentStore>& store) {
    checkQueue("assign");
    if (!object || object->context_ != this || !object->inserted_) {
        fatalError("Only an unsaved object inserted into this context can be assigned to a store");
    }
    const auto stores = coordinator_->persistentStores();
    if (!store || std::find(stores.begin(), stores.end(), store) == stores.end()) {
        fatalError("Can't assign an object to a store that is not in the coordinator");
    }
    object->assignedStore_ = store.get();
}

void ManagedObjectContext::deleteObject(const std::shared_ptr<ManagedObject>& object) {
    checkQueue("delete");
    if (!object || object->context_ != this) {
        fatalError("An object can only be deleted by its own context");
    }
    if (object->deleted_) {
        return;
    }
    if (object->fault_) {
        fireFault(*object);
    }
    // Delete rules first, while the object's relationships are intact.
    for (const auto& relationship : object->entity_->relationships()) {
        if (relationship.isToMany) {
            if (relationship.deleteRule == DeleteRule::denyDeleteRule) {
                continue;
            }
            for (auto& member : object->objects(relationship.name)) {
                if (relationship.deleteRule == DeleteRule::cascadeDeleteRule) {
                    deleteObject(member);
                } else if (!member->deleted_) {
                    if (member->fault_) {
                        fireFault(*member);
                    }
                    member->setObject(nullptr, relationship.inverseRelationship->name);
                }
            }
        } else if (auto destination = object->toOne_[relationship.slot]) {
            if (relationship.deleteRule == DeleteRule::cascadeDeleteRule) {
                auto target = this->object(*destination);
                if (!target->deleted_) {
                    deleteObject(target);
                }
            } else if (relationship.deleteRule == DeleteRule::nullifyDeleteRule &&
                       relationship.inverseRelationship != nullptr) {
                const auto* inverse = relationship.inverseRelationship;
                if (inverse->isToMany) {
                    removeMember(*destination, *inverse, object->id_);
                } else {
                    auto target = this->object(*destination);
                    if (target->fault_) {
                        fireFault(*target);
                    }
                    if (target->toOne_[inverse->slot] == object->id_) {
                        setToOne(*target, *inverse, std::nullopt);
                    }
                }
            }
        }
    }
    if (object->inserted_) {
        // Never saved: it simply leaves the context.
        const bool reported = (object->pending_ & kPendingInsert) == 0;
        object->pending_ &= ~(kPendingInsert | kPendingUpdate);
        object->inserted_ = false;
        temporary_.erase(object->id_.primaryKey());
        if (reported) {
            markPending(*object, kPendingDelete);
        }
        object->context_ = nullptr;
        compactChangeLists();
        return;
    }
    object->deleted_ = true;
    deleted_.push_back(object);
    object->pending_ &= ~kPendingUpdate;
    markPending(*object, kPendingDelete);
}

bool ManagedObjectContext::hasPendingChanges(const EntityDescription& entity) const {
    for (const auto* list : {&inserted_, &updated_, &deleted_}) {
        for (const auto& object : *list) {
            if (object->entity_ == &entity &&
                (object->inserted_ || object->updated_ || object->deleted_)) {
                return true;
            }
        }
    }
    return false;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::fetch(
    const FetchRequestBase& request) {
    checkQueue("fetch");
    if (!coordinator_) {
        fatalError("The context has no persistent store coordinator");
    }
    const EntityDescription* entity =
        coordinator_->managedObjectModel()->entity(request.entityName());
    if (entity == nullptr) {
        fatalError("No entity named \"" + request.entityName() + "\" in the model");
    }
    auto stores = request.affectedStores();
    if (stores.empty()) {
        stores = coordinator_->persistentStores();
    }
    const bool pending = hasPendingChanges(*entity);
    // With unsaved changes or several stores the order and limit are applied in memory.
    const bool inMemory = pending || stores.size() > 1;
    const bool keysOnly = request.returnsObjectsAsFaults() && !inMemory;
    std::vector<std::shared_ptr<ManagedObject>> results;
    try {
        for (const auto& store : stores) {
            std::vector<Value> bindings;
            const std::string where =
                request.predicate() ? request.predicate()->sql(*entity, store->uuid(), bindings)
                                    : "";
            auto rows = store->fetchRows(*entity, where, bindings, request.sortDescriptors(),
                                         inMemory ? 0 : request.fetchLimit(), keysOnly);
            results.reserve(results.size() + rows.size());
            registered_.reserve(registered_.size() + rows.size());
            for (auto& row : rows) {
                results.push_back(registerRow(*entity, *store, std::move(row), keysOnly));
            }
        }
    } catch (const Error& error) {
        if (error.domain() == StoreError::kDomain) {
            throw;
        }
        throw StoreError::wrapping(StoreError::kPersistentStoreOpenError, "The fetch failed",
                                   error);
    }
    if (!inMemory) {
        return results;
    }
    // Objects changed in memory are judged by their current values.
    std::erase_if(results, [&](const auto& object) {
        return object->deleted_ ||
               (object->updated_ && request.predicate() && !request.predicate()->evaluate(*object));
    });
    std::unordered_set<ManagedObject*> present;
    for (const auto& object : results) {
        present.insert(object.get());
    }
    for (const auto* list : {&inserted_, &updated_}) {
        for (const auto& object : *list) {
            if (object->entity_ != entity || present.contains(object.get()) || object->deleted_ ||
                !(object->inserted_ || object->updated_)) {
                continue;
            }
            if (object->inserted_) {
                auto store = storeFor(*object);
                if (std::find(stores.begin(), stores.end(), store) == stores.end()) {
                    continue;
                }
            } else if (!coordinator_->persistentStore(object->id_.storeUUID()) ||
                       std::none_of(stores.begin(), stores.end(), [&](const auto& store) {
                           return store->uuid() == object->id_.storeUUID();
                       })) {
                continue;
            }
            if (!request.predicate() || request.predicate()->evaluate(*object)) {
                present.insert(object.get());
                results.push_back(object);
            }
        }
    }
    sortObjects(results, request.sortDescriptors());
    if (request.fetchLimit() > 0 && results.size() > request.fetchLimit()) {
        results.resize(request.fetchLimit());
    }
    return results;
}

std::int64_t ManagedObjectContext::count(const FetchRequestBase& request) {
    checkQueue("count");
    const EntityDescription* entity =
        coordinator_->managedObjectModel()->entity(request.entityName());
    if (entity == nullptr) {
        fatalError("No entity named \"" + request.entityName() + "\" in the model");
    }
    auto stores = request.affectedStores();
    if (stores.empty()) {
        stores = coordinator_->persistentStores();
    }
    if (hasPendingChanges(*entity)) {
        return static_cast<std::int64_t>(fetch(request).size());
    }
    std::int64_t total = 0;
    try {
        for (const auto& store : stores) {
            std::vector<Value> bindings;
            const std::string where =
                request.predicate() ? request.predicate()->sql(*entity, store->uuid(), bindings)
                                    : "";
            total += store->countRows(*entity, where, bindings);
        }
    } catch (const Error& error) {
        if (error.domain() == StoreError::kDomain) {
            throw;
        }
        throw StoreError::wrapping(StoreError::kPersistentStoreOpenError, "The count failed",
                                   error);
    }
    if (request.fetchLimit() > 0) {
        total = std::min<std::int64_t>(total, static_cast<std::int64_t>(request.fetchLimit()));
    }
    return total;
}

void ManagedObjectContext::compactChangeLists() {
    std::erase_if(inserted_, [](const auto& object) { return !object->inserted_; });
    std::erase_if(updated_,
                  [](const auto& object) { return !object->updated_ || object->deleted_; });
    std::erase_if(deleted_, [](const auto& object) { return !object->deleted_; });
}

bool ManagedObjectContext::hasChanges() const {
    checkQueue("hasChanges");
    for (const auto* list : {&inserted_, &updated_, &deleted_}) {
        for (const auto& object : *list) {
            if (object->inserted_ || object->updated_ || object->deleted_) {
                return true;
            }
        }
    }
    return false;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::insertedObjects() const {
    checkQueue("insertedObjects");
    std::vector<std::shared_ptr<ManagedObject>> result;
    std::copy_if(inserted_.begin(), inserted_.end(), std::back_inserter(result),
                 [](const auto& object) { return object->inserted_; });
    return result;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::updatedObjects() const {
    checkQueue("updatedObjects");
    std::vector<std::shared_ptr<ManagedObject>> result;
    std::copy_if(updated_.begin(), updated_.end(), std::back_inserter(result),
                 [](const auto& object) { return object->updated_ && !object->deleted_; });
    return result;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::deletedObjects() const {
    checkQueue("deletedObjects");
    std::vector<std::shared_ptr<ManagedObject>> result;
    std::copy_if(deleted_.begin(), deleted_.end(), std::back_inserter(result),
                 [](const auto& object) { return object->deleted_; });
    return result;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::registeredObjects() const {
    checkQueue("registeredObjects");
    std::vector<std::shared_ptr<ManagedObject>> result;
    for (const auto& [id, weak] : registered_) {
        if (auto object = weak.lock()) {
            result.push_back(std::move(object));
        }
    }
    for (const auto& object : inserted_) {
        if (object->inserted_) {
            result.push_back(object);
        }
    }
    return result;
}

void ManagedObjectContext::post(const char* name, std::map<std::string, std::any> userInfo) {
    NotificationCenter::defaultCenter().post(name, this, std::move(userInfo));
}

void ManagedObjectContext::processPendingChanges() {
    checkQueue("processPendingChanges");
    if (pending_.empty()) {
        return;
    }
    auto pending = std::move(pending_);
    pending_.clear();
    // With nobody listening there is nothing to build.
    const bool observed = NotificationCenter::defaultCenter().observerCount() > 0;
    ObjectSet inserted, updated, deleted;
    for (auto& object : pending) {
        const auto bits = std::exchange(object->pending_, 0);
        if (!observed || bits == 0) {
            continue;
        }
        if (bits & kPendingInsert) {
            inserted.insert(object);
        } else if (bits & kPendingDelete) {
            deleted.insert(object);
        } else {
            updated.insert(object);
        }
    }
    std::map<std::string, std::any> userInfo;
    if (!inserted.empty()) {
        userInfo[kInsertedObjectsKey] = std::move(inserted);
    }
    if (!updated.empty()) {
        userInfo[kUpdatedObjectsKey] = std::move(updated);
    }
    if (!deleted.empty()) {
        userInfo[kDeletedObjectsKey] = std::move(deleted);
    }
    if (userInfo.empty()) {
        return;
    }
    post(kObjectsDidChangeNotification, std::move(userInfo));
}

void ManagedObjectContext::validateForSave() {
    auto liveMember = [&](const ManagedObjectID& id) {
        auto member = registered(id);
        return !member || !member->deleted_;
    };
    for (const auto* list : {&inserted_, &updated_}) {
        for (const auto& object : *list) {
            if (!(object->inserted_ || object->updated_) || object->deleted_ || object->fault_) {
                continue;
            }
            const auto& attributes = object->entity_->attributes();
            for (std::size_t i = 0; i < attributes.size(); ++i) {
                if (!attributes[i].isOptional && object->values_[i].isNull()) {
                    throw StoreError::make(StoreError::kValidationMissingMandatoryPropertyError,
                                           "The attribute \"" + attributes[i].name + "\" of " +
                                               object->entity_->name() + " is required");
                }
            }
        }
    }
    for (const auto& object : deleted_) {
        if (!object->deleted_) {
            continue;
        }
        for (const auto& relationship : object->entity_->relationships()) {
            if (relationship.deleteRule != DeleteRule::denyDeleteRule) {
                continue;
            }
            bool holds = false;
            if (relationship.isToMany) {
                if (!object->toMany_[relationship.slot]) {
                    loadToMany(*object, relationship);
                }
                const auto& members = *object->toMany_[relationship.slot];
                holds = std::any_of(members.begin(), members.end(), liveMember);
            } else if (auto destination = object->toOne_[relationship.slot]) {
                holds = liveMember(*destination);
            }
            if (holds) {
                throw StoreError::make(StoreError::kValidationRelationshipDeniedDeleteError,
                                       "The " + object->entity_->name() + " cannot be deleted " +
                                           "while its relationship \"" + relationship.name +
                                           "\" holds objects");
            }
        }
    }
}

void ManagedObjectContext::clearChangeState(ManagedObject& object) {
    object.inserted_ = false;
    object.updated_ = false;
    object.committed_.reset();
    object.changedAttributes_.clear();
    object.changedToOne_.clear();
}

void ManagedObjectContext::save() {
    checkQueue("save");
    processPendingChanges();
    compactChangeLists();
    if (inserted_.empty() && updated_.empty() && deleted_.empty()) {
        return;
    }
    validateForSave();

    // Everything below until the commit only stages; memory changes after it succeeds.
    struct StagedUpdate {
        std::shared_ptr<ManagedObject> object;
        std::int64_t version = 0;
        bool conflicted = false;
    };
    std::vector<StagedUpdate> staged;
    // The permanent ID staged for an inserted object's temporary ID, or nothing.
    auto stagedFor = [&](const ManagedObjectID& temporary) -> const ManagedObjectID* {
        auto target = registered(temporary);
        if (!target || !target->inserted_ || target->stagedID_ == ManagedObjectID()) {
            return nullptr;
        }
        return &target->stagedID_;
    };
    // The primary key a relationship to `id` is stored as in the store `storeUUID`; a row only
    // refers to rows of its own store.
    auto resolve = [&](const std::optional<ManagedObjectID>& id,
                       const StoreUUID& storeUUID) -> std::optional<std::int64_t> {
        if (!id) {
            return std::nullopt;
        }
        const ManagedObjectID* permanent = id->isTemporaryID() ? stagedFor(*id) : &*id;
        if (permanent == nullptr) {
            auto target = registered(*id);
            throw StoreError::make(
                StoreError::kPersistentStoreSaveError,
                target && target->inserted_
                    ? "A relationship joins objects of different stores"
                    : "A relationship refers to an object that is not being saved");
        }
        if (permanent->storeUUID() != storeUUID) {
            throw StoreError::make(StoreError::kPersistentStoreSaveError,
                                   "A relationship joins objects of different stores");
        }
        return permanent->primaryKey();
    };

    std::map<PersistentStore*, std::shared_ptr<PersistentStore>> stores;
    std::map<PersistentStore*, std::vector<std::shared_ptr<ManagedObject>>> inserts, updates,
        deletes;
    for (const auto& object : inserted_) {
        object->stagedID_ = ManagedObjectID();
    }
    const auto allStores = coordinator_->persistentStores();
    for (const auto& object : inserted_) {
        auto store = object->assignedStore_ == nullptr && !allStores.empty() ? allStores.front()
                                                                             : storeFor(*object);
        if (!store) {
            throw StoreError::make(StoreError::kPersistentStoreSaveError,
                                   object->assignedStore_ != nullptr
                                       ? "A new object is assigned to a store that was removed"
                                       : "The coordinator has no store for new objects");
        }
        stores[store.get()] = store;
        inserts[store.get()].push_back(object);
    }
    for (const auto& object : updated_) {
        if (auto store = storeFor(*object)) {
            stores[store.get()] = store;
            updates[store.get()].push_back(object);
        }
    }
    for (const auto& object : deleted_) {
        if (auto store = storeFor(*object)) {
            stores[store.get()] = store;
            deletes[store.get()].push_back(object);
        }
    }
    if (allStores.size() > 1) {
        // A row refers only to rows of its own store; checked before any store is written.
        auto storeOf = [&](const ManagedObjectID& id) -> PersistentStore* {
            if (!id.isTemporaryID()) {
                return coordinator_->persistentStore(id.storeUUID()).get();
            }
            auto target = registered(id);
            return target ? storeFor(*target).get() : nullptr;
        };
        for (const auto* changes : {&inserts, &updates}) {
            for (const auto& [raw, objects] : *changes) {
                for (const auto& object : objects) {
                    for (const auto& id : object->toOne_) {
                        if (id && storeOf(*id) != raw) {
                            throw StoreError::make(
                                StoreError::kPersistentStoreSaveError,
                                "A relationship joins objects of different stores");
                        }
                    }
                }
            }
        }
    }

    try {
        for (auto& [raw, store] : stores) {
            store->performWriteTransaction([&, raw = raw, &store = store] {
                std::vector<PersistentHistoryChange> history;
                // Keys first, so that rows can refer to each other in any order.
                std::map<const EntityDescription*, std::vector<ManagedObject*>> byEntity;
                for (const auto& object : inserts[raw]) {
                    byEntity[object->entity_].push_back(object.get());
                }
                for (auto& [entity, objects] : byEntity) {
                    std::int64_t key = store->allocatePrimaryKeys(
                        *entity, static_cast<std::int64_t>(objects.size()));
                    for (auto* object : objects) {
                        object->stagedID_ =
                            ManagedObjectID::permanent(*entity, store->uuid(), key++);
                    }
                }
                std::vector<std::optional<std::int64_t>> toOne;
                for (const auto& object : inserts[raw]) {
                    toOne.resize(object->toOne_.size());
                    for (std::size_t slot = 0; slot < object->toOne_.size(); ++slot) {
                        toOne[slot] = resolve(object->toOne_[slot], store->uuid());
                    }
                    store->insertRow(*object->entity_, object->stagedID_.primaryKey(), 1,
                                     object->values_, toOne);
                    history.push_back({PersistentHistoryChangeType::insert, object->stagedID_});
                }
                for (const auto& object : updates[raw]) {
                    std::vector<std::size_t> attributes;
                    std::vector<std::size_t> slots;
                    for (std::size_t i = 0; i < object->changedAttributes_.size(); ++i) {
                        if (object->changedAttributes_[i]) {
                            attributes.push_back(i);
                        }
                    }
                    for (std::size_t i = 0; i < object->changedToOne_.size(); ++i) {
                        if (object->changedToOne_[i]) {
                            slots.push_back(i);
                        }
                    }
                    if (attributes.empty() && slots.empty()) {
                        continue;  // only a to-many changed: the rows of the members hold it
                    }
                    auto current = store->rowVersion(*object->entity_, object->id_.primaryKey());
                    if (!current) {
                        throw StoreError::make(StoreError::kManagedObjectMergeError,
                                               "The object " + object->id_.uriRepresentation() +
                                                   " was deleted from the store meanwhile");
                    }
                    const bool conflicted = object->versionKnown_ && *current != object->version_;
                    if (conflicted && mergePolicy_ == MergePolicy::errorMergePolicy) {
                        throw StoreError::make(StoreError::kManagedObjectMergeError,
                                               "The object " + object->id_.uriRepresentation() +
                                                   " was changed in the store meanwhile");
                    }
                    StoredRow updated;
                    updated.primaryKey = object->id_.primaryKey();
                    updated.version = *current + 1;
                    updated.attributes = object->values_;
                    updated.toOne.resize(object->toOne_.size());
                    for (std::size_t slot : slots) {
                        updated.toOne[slot] = resolve(object->toOne_[slot], store->uuid());
                    }
                    store->updateRow(*object->entity_, updated, attributes, slots);
                    staged.push_back({object, updated.version, conflicted});
                    history.push_back({PersistentHistoryChangeType::update, object->id_});
                }
                for (const auto& object : deletes[raw]) {
                    store->deleteRow(*object->entity_, object->id_.primaryKey());
                    history.push_back({PersistentHistoryChangeType::delete_, object->id_});
                }
                // In the same transaction: the rows and their account commit together.
                store->recordHistoryTransaction(transactionAuthor_,
                                                name_.empty() ? std::nullopt : std::optional(name_),
                                                history);
            });
        }
    } catch (const Error& error) {
        throw wrapSaveError(error);
    }

    // Committed: the context catches up. References to temporary IDs first, while the
    // temporary IDs still find their objects.
    auto rewrite = [&](ManagedObjectID& id) {
        if (id.isTemporaryID()) {
            if (const ManagedObjectID* permanent = stagedFor(id)) {
                id = *permanent;
            }
        }
    };
    for (const auto* list : {&inserted_, &updated_}) {
        for (const auto& object : *list) {
            for (auto& id : object->toOne_) {
                if (id) {
                    rewrite(*id);
                }
            }
            for (auto& members : object->toMany_) {
                if (members) {
                    members->rewriteEach(rewrite);
                }
            }
        }
    }
    // With nobody listening the did-save notification has no reader: its sets are not built.
    const bool observed = NotificationCenter::defaultCenter().observerCount() > 0;
    ObjectIDSet insertedIDs, updatedIDs, deletedIDs;
    if (observed) {
        insertedIDs.reserve(inserted_.size());
        updatedIDs.reserve(updated_.size());
    }
    temporary_.clear();
    registered_.reserve(registered_.size() + inserted_.size());
    for (auto& object : inserted_) {
        object->id_ = object->stagedID_;
        object->version_ = 1;
        object->versionKnown_ = true;
        object->assignedStore_ = nullptr;
        registered_.emplace(object->id_, object);
        clearChangeState(*object);
        if (observed) {
            insertedIDs.insert(object->id_);
        }
    }
    for (auto& update : staged) {
        update.object->version_ = update.version;
        update.object->versionKnown_ = true;
    }
    for (auto& object : updated_) {
        clearChangeState(*object);
        if (observed) {
            updatedIDs.insert(object->id_);
        }
    }
    for (auto& update : staged) {
        if (update.conflicted) {
            // The properties this context did not change take what the store now holds.
            refresh(update.object, true);
        }
    }
    for (auto& object : deleted_) {
        object->deleted_ = false;
        registered_.erase(object->id_);
        object->context_ = nullptr;
        if (observed) {
            deletedIDs.insert(object->id_);
        }
    }
    inserted_.clear();
    updated_.clear();
    deleted_.clear();
    if (!observed) {
        return;
    }
    // Built by moving: an initializer list would copy every set.
    std::map<std::string, std::any> userInfo;
    userInfo.emplace(kInsertedObjectIDsKey, std::move(insertedIDs));
    userInfo.emplace(kUpdatedObjectIDsKey, std::move(updatedIDs));
    userInfo.emplace(kDeletedObjectIDsKey, std::move(deletedIDs));
    post(kDidSaveNotification, std::move(userInfo));
}

void ManagedObjectContext::rollback() {
    checkQueue("rollback");
    processPendingChanges();
    ObjectSet reappeared, vanished, restored;
    for (auto& object : inserted_) {
        if (!object->inserted_) {
            continue;
        }
        object->inserted_ = false;
        object->context_ = nullptr;
        vanished.insert(object);
    }
    temporary_.clear();
    for (const auto* list : {&updated_, &deleted_}) {
        for (const auto& object : *list) {
            if (object->committed_) {
                object->values_ = std::move(object->committed_->values);
                object->toOne_ = std::move(object->committed_->toOne);
            }
            // Loaded to-many lists may hold what was just undone; they load again when read.
            for (auto& members : object->toMany_) {
                members.reset();
            }
            if (object->deleted_) {
                reappeared.insert(object);
            } else if (object->updated_) {
                restored.insert(object);
            }
            object->deleted_ = false;
            clearChangeState(*object);
        }
    }
    inserted_.clear();
    updated_.clear();
    deleted_.clear();
    for (const auto& object : reappeared) {
        restored.erase(object);
    }
    std::map<std::string, std::any> userInfo;
    if (!reappeared.empty()) {
        userInfo[kInsertedObjectsKey] = std::move(reappeared);
    }
    if (!vanished.empty()) {
        userInfo[kDeletedObjectsKey] = std::move(vanished);
    }
    if (!restored.empty()) {
        userInfo[kRefreshedObjectsKey] = std::move(restored);
    }
    if (!userInfo.empty()) {
        post(kObjectsDidChangeNotification, std::move(userInfo));
    }
}

void ManagedObjectContext::detach(ManagedObject& object) {
    object.context_ = nullptr;
    object.inserted_ = false;
    object.updated_ = false;
    object.deleted_ = false;
}

void ManagedObjectContext::reset() {
    checkQueue("reset");
    ObjectIDSet all;
    for (auto& [id, weak] : registered_) {
        if (auto object = weak.lock()) {
            all.insert(id);
            detach(*object);
        }
    }
    for (const auto* list : {&inserted_, &updated_, &deleted_}) {
        for (const auto& object : *list) {
            all.insert(object->id_);
            detach(*object);
        }
    }
    registered_.clear();
    temporary_.clear();
    inserted_.clear();
    updated_.clear();
    deleted_.clear();
    for (auto& object : pending_) {
        object->pending_ = 0;
    }
    pending_.clear();
    post(kObjectsDidChangeNotification, {{kInvalidatedAllObjectsKey, std::move(all)}});
}

void ManagedObjectContext::refresh(const std::shared_ptr<ManagedObject>& object,
                                   bool mergeChanges) {
    checkQueue("refresh");
    if (!object || object->context_ != this || object->id_.isTemporaryID()) {
        return;
    }
    auto store = coordinator_->persistentStore(object->id_.storeUUID());
    auto row = store ? store->fetchRow(*object->entity_, object->id_.primaryKey()) : std::nullopt;
    if (!row) {
        registered_.erase(object->id_);
        detach(*object);
        compactChangeLists();
        post(kObjectsDidChangeNotification, {{kInvalidatedObjectsKey, ObjectSet{object}}});
        return;
    }
    const bool keep = mergeChanges && object->updated_ && object->committed_;
    if (!keep && object->updated_) {
        clearChangeState(*object);
        compactChangeLists();
        object->pending_ &= ~kPendingUpdate;
    }
    applyRow(*object, *row, keep);
    for (auto& members : object->toMany_) {
        if (!object->updated_) {
            members.reset();
        }
    }
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
    for (auto& [id, weak] : registered_) {
        auto object = weak.lock();
        if (!object || object->updated_ || object->inserted_) {
            continue;
        }
        for (const auto& relationship : object->entity_->relationships()) {
            if (relationship.isToMany && touched.contains(relationship.destinationEntity)) {
                object->toMany_[relationship.slot].reset();
            }
        }
    }
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

#include "platform/store/ManagedObjectContext.h"

#include <algorithm>
#include <map>

#include "platform/store/PersistentStoreCoordinator.h"

namespace dovrel::store {

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
    registered_.forEach([](const ManagedObjectID&, const std::weak_ptr<ManagedObject>& weak) {
        if (auto object = weak.lock()) {
            object->context_ = nullptr;
        }
    });
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

void ManagedObjectContext::perform(std::function<void()> work) {
    queue_->async([self = shared_from_this(), work = std::move(work)] {
        work();
        self->processPendingChanges();
    });
}

void ManagedObjectContext::performAndWait(const std::function<void()>& work) {
    queue_->sync(work);
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
    temporary_.insertOrAssign(object->id_.primaryKey(), object.get());
    inserted_.push_back(object);
    markPending(*object, kPendingInsert);
    return object;
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

}  // namespace dovrel::store

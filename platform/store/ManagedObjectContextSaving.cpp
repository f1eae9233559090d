#include "platform/store/ManagedObjectContext.h"

#include <algorithm>
#include <map>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"

// Saving and its conflicts, and the operations that end a context's changes otherwise: rollback,
// reset and refresh.

namespace dovrel::store {

namespace {

Error wrapSaveError(const Error& error) {
    if (error.domain() == StoreError::kDomain) {
        return error;
    }
    return StoreError::wrapping(StoreError::kPersistentStoreSaveError, "The save failed", error);
}

}  // namespace

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
    // The change lists keep the objects alive until the save ends.
    std::map<PersistentStore*, std::vector<ManagedObject*>> inserts, updates, deletes;
    const auto allStores = coordinator_->persistentStores();
    // New objects go to the first store unless assigned to another.
    std::vector<ManagedObject*>* firstStoreInserts = nullptr;
    for (const auto& object : inserted_) {
        object->stagedID_ = ManagedObjectID();
        if (object->assignedStore_ == nullptr && firstStoreInserts != nullptr) {
            firstStoreInserts->push_back(object.get());
            continue;
        }
        auto store = object->assignedStore_ == nullptr && !allStores.empty() ? allStores.front()
                                                                             : storeFor(*object);
        if (!store) {
            throw StoreError::make(StoreError::kPersistentStoreSaveError,
                                   object->assignedStore_ != nullptr
                                       ? "A new object is assigned to a store that was removed"
                                       : "The coordinator has no store for new objects");
        }
        auto& list = inserts[store.get()];
        if (list.empty()) {
            stores.try_emplace(store.get(), store);
            list.reserve(inserted_.size());
        }
        list.push_back(object.get());
        if (object->assignedStore_ == nullptr) {
            firstStoreInserts = &list;
        }
    }
    for (const auto& object : updated_) {
        if (auto store = storeFor(*object)) {
            stores.try_emplace(store.get(), store);
            updates[store.get()].push_back(object.get());
        }
    }
    for (const auto& object : deleted_) {
        if (auto store = storeFor(*object)) {
            stores.try_emplace(store.get(), store);
            deletes[store.get()].push_back(object.get());
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

    reserveRegistrations(inserted_.size());
    try {
        for (auto& [raw, store] : stores) {
            store->performWriteTransaction([&, raw = raw, &store = store] {
                // The account of the transaction, for a store that keeps history.
                const bool recordsHistory = store->tracksHistory();
                std::vector<PersistentHistoryChange> history;
                if (recordsHistory) {
                    history.reserve(inserts[raw].size() + updates[raw].size() +
                                    deletes[raw].size());
                }
                // Keys first, so that rows can refer to each other in any order.
                std::map<const EntityDescription*, std::vector<ManagedObject*>> byEntity;
                for (auto* object : inserts[raw]) {
                    byEntity[object->entity_].push_back(object);
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
                for (auto* object : inserts[raw]) {
                    toOne.resize(object->toOne_.size());
                    for (std::size_t slot = 0; slot < object->toOne_.size(); ++slot) {
                        toOne[slot] = resolve(object->toOne_[slot], store->uuid());
                    }
                    store->insertRow(*object->entity_, object->stagedID_.primaryKey(), 1,
                                     object->values_, toOne);
                    // Registered now, while the object is at hand; taken back if the save
                    // fails.
                    registered_.insertOrAssign(object->stagedID_, object->weak_from_this());
                    if (recordsHistory) {
                        history.push_back({PersistentHistoryChangeType::insert, object->stagedID_});
                    }
                }
                for (auto* object : updates[raw]) {
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
                    std::vector<std::optional<std::int64_t>> toOneKeys(object->toOne_.size());
                    for (std::size_t slot : slots) {
                        toOneKeys[slot] = resolve(object->toOne_[slot], store->uuid());
                    }
                    const std::int64_t version = *current + 1;
                    store->updateRow(*object->entity_, object->id_.primaryKey(), version,
                                     object->values_, toOneKeys, attributes, slots);
                    staged.push_back({object->shared_from_this(), version, conflicted});
                    if (recordsHistory) {
                        history.push_back({PersistentHistoryChangeType::update, object->id_});
                    }
                }
                for (auto* object : deletes[raw]) {
                    store->deleteRow(*object->entity_, object->id_.primaryKey());
                    if (recordsHistory) {
                        history.push_back({PersistentHistoryChangeType::delete_, object->id_});
                    }
                }
                // In the same transaction: the rows and their account commit together.
                store->recordHistoryTransaction(transactionAuthor_,
                                                name_.empty() ? std::nullopt : std::optional(name_),
                                                history);
            });
        }
    } catch (const Error& error) {
        for (const auto& object : inserted_) {
            if (object->stagedID_ != ManagedObjectID()) {
                registered_.erase(object->stagedID_);
            }
        }
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
    for (auto& object : inserted_) {
        object->id_ = object->stagedID_;
        object->version_ = 1;
        object->versionKnown_ = true;
        object->assignedStore_ = nullptr;
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
    registered_.forEach([&](const ManagedObjectID& id, const std::weak_ptr<ManagedObject>& weak) {
        if (auto object = weak.lock()) {
            all.insert(id);
            detach(*object);
        }
    });
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

}  // namespace dovrel::store

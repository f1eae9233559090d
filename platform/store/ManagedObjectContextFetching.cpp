#include "platform/store/ManagedObjectContext.h"

#include <algorithm>
#include <unordered_set>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"

// Fetching and faulting: rows read from the stores become registered objects (or fill faults),
// to-many relationships load their member lists, and unsaved changes take part in fetches and
// counts.

namespace dovrel::store {

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

const EntityDescription* ManagedObjectContext::fetchedEntity(
    const FetchRequestBase& request) const {
    if (!coordinator_) {
        fatalError("The context has no persistent store coordinator");
    }
    const EntityDescription* entity =
        coordinator_->managedObjectModel()->entity(request.entityName());
    if (entity == nullptr) {
        fatalError("No entity named \"" + request.entityName() + "\" in the model");
    }
    return entity;
}

std::vector<std::shared_ptr<PersistentStore>> ManagedObjectContext::storesToFetchFrom(
    const FetchRequestBase& request) const {
    auto stores = request.affectedStores();
    if (stores.empty()) {
        stores = coordinator_->persistentStores();
    }
    return stores;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::fetch(
    const FetchRequestBase& request) {
    checkQueue("fetch");
    const EntityDescription* entity = fetchedEntity(request);
    const auto stores = storesToFetchFrom(request);
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
            reserveRegistrations(rows.size());
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

void ManagedObjectContext::forEachAttributes(
    const FetchRequestBase& request, const std::vector<std::string>& attributeNames,
    AttributeForm form,
    const std::function<void(const ManagedObjectID&, const std::vector<Value>&)>& visit) {
    checkQueue("forEachAttributes");
    const EntityDescription* entity = fetchedEntity(request);
    std::vector<std::size_t> indexes;
    indexes.reserve(attributeNames.size());
    for (const auto& name : attributeNames) {
        const auto index = entity->attributeIndex(name);
        if (!index) {
            fatalError("Entity " + entity->name() + " has no attribute \"" + name + "\"");
        }
        indexes.push_back(*index);
    }
    const auto stores = storesToFetchFrom(request);
    if (stores.size() > 1 || hasPendingChanges(*entity)) {
        // Order, limit and unsaved changes are fetch()'s to apply.
        std::vector<Value> values(indexes.size());
        for (const auto& object : fetch(request)) {
            for (std::size_t position = 0; position < indexes.size(); ++position) {
                const auto& attribute = entity->attributes()[indexes[position]];
                const Value& value = object->attributeValue(attribute.name);
                if (form == AttributeForm::storedData && value.object() != nullptr &&
                    attribute.attributeType == AttributeType::transformableAttributeType) {
                    values[position] = PersistentStore::storedForm(attribute, value);
                } else {
                    values[position] = value;
                }
            }
            visit(object->objectID(), values);
        }
        return;
    }
    try {
        for (const auto& store : stores) {
            std::vector<Value> bindings;
            const std::string where =
                request.predicate() ? request.predicate()->sql(*entity, store->uuid(), bindings)
                                    : "";
            const StoreUUID uuid = store->uuid();
            store->forEachAttributeRow(
                *entity, where, bindings, request.sortDescriptors(), request.fetchLimit(), indexes,
                form, [&](std::int64_t primaryKey, const std::vector<Value>& values) {
                    visit(ManagedObjectID::permanent(*entity, uuid, primaryKey), values);
                });
        }
    } catch (const Error& error) {
        if (error.domain() == StoreError::kDomain) {
            throw;
        }
        throw StoreError::wrapping(StoreError::kPersistentStoreOpenError, "The fetch failed",
                                   error);
    }
}

std::vector<ManagedObjectContext::AttributeSnapshot> ManagedObjectContext::fetchAttributes(
    const FetchRequestBase& request, const std::vector<std::string>& attributeNames,
    AttributeForm form) {
    std::vector<AttributeSnapshot> snapshots;
    forEachAttributes(request, attributeNames, form,
                      [&](const ManagedObjectID& objectID, const std::vector<Value>& values) {
                          snapshots.push_back(AttributeSnapshot{objectID, values});
                      });
    return snapshots;
}

std::int64_t ManagedObjectContext::count(const FetchRequestBase& request) {
    checkQueue("count");
    const EntityDescription* entity = fetchedEntity(request);
    const auto stores = storesToFetchFrom(request);
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

void ManagedObjectContext::loadToManyFromMembers(
    const RelationshipDescription& toMany,
    const std::vector<std::shared_ptr<ManagedObject>>& members) {
    const RelationshipDescription& inverse = *toMany.inverseRelationship;
    FlatHashMap<ManagedObjectID, std::vector<ManagedObjectID>> byOwner;
    for (const auto& member : members) {
        if (member->fault_ || &member->entity() != toMany.destinationEntity) {
            continue;
        }
        if (const auto& owner = member->toOne_[inverse.slot]) {
            byOwner[*owner].push_back(member->id_);
        }
    }
    registered_.forEach([&](const ManagedObjectID& id, const std::weak_ptr<ManagedObject>& weak) {
        auto owner = weak.lock();
        if (!owner || &owner->entity() != inverse.destinationEntity ||
            owner->toMany_[toMany.slot]) {
            return;
        }
        // The store lists a relationship's members in primary-key order.
        std::vector<ManagedObjectID> ids;
        if (auto* found = byOwner.find(id)) {
            ids = std::move(*found);
            std::sort(ids.begin(), ids.end(), [](const auto& lhs, const auto& rhs) {
                return lhs.primaryKey() < rhs.primaryKey();
            });
        }
        owner->toMany_[toMany.slot] = MemberList(std::move(ids));
    });
}

}  // namespace dovrel::store

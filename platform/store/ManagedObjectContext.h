#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/foundation/FatalError.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/store/ContextQueue.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/FlatHashMap.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/MergePolicy.h"

namespace dovrel::store {

class PersistentStore;
class PersistentStoreCoordinator;
struct StoredRow;

// A scratch pad over the stores of a coordinator: objects are fetched into it, changed, inserted
// and deleted in memory, and written to the stores all at once by save().
//
// Queues. A main-queue context belongs to the main thread (and the main queue); a private-queue
// context owns a serial queue and is used only inside perform/performAndWait. Every operation
// must be called where the context may be used; debug builds check this and stop the process
// otherwise. A context must be owned by a std::shared_ptr (perform keeps it alive until its
// closure has run).
//
// Notifications, posted on the context's queue through NotificationCenter::defaultCenter() with
// the context as sender:
//  - kObjectsDidChangeNotification when pending changes are processed (at the end of each
//    perform closure, before a save, by processPendingChanges(), rollback(), reset() and merges).
//    User info (each key only when it has objects): kInsertedObjectsKey, kUpdatedObjectsKey,
//    kDeletedObjectsKey, kRefreshedObjectsKey, kInvalidatedObjectsKey (ObjectSet each), and
//    kInvalidatedAllObjectsKey (ObjectIDSet of the objects the context had) after reset().
//  - kDidSaveNotification after a successful save that wrote something. User info:
//    kInsertedObjectIDsKey, kUpdatedObjectIDsKey, kDeletedObjectIDsKey (ObjectIDSet each, always
//    present) with permanent IDs. Only IDs: objects never cross to another context's queue.
//
// Merging. A context with automaticallyMergesChangesFromParent merges every did-save of another
// context of its coordinator, on its own queue: objects it has for updated rows are refreshed
// (values this context has changed are kept: the in-memory values win property by property) and
// reported as refreshed; inserted rows are registered and reported as inserted; its objects of
// deleted rows are dropped and reported as deleted.
//
// Other processes. Such a context also merges the commits that other connections make to its
// coordinator's stores (another process, another coordinator), as the coordinator detects them
// (see PersistentStoreCoordinator, "Remote changes"; this needs stores that keep history):
// the same refreshes, insertions and deletions, followed by kObjectsDidChangeNotification, on
// the context's queue, within about the coordinator's remoteChangeInterval() of the commit (a
// main-queue context once the main loop runs). Its own coordinator's saves reach it only as
// saves, never a second time as remote changes. A context that does not merge automatically is
// not changed by remote commits; it sees them when it fetches or refreshes.
//
// Saves by two processes. Every row has a version that each update raises. save() writes each
// store in one BEGIN IMMEDIATE transaction (which waits for the other writers; no SQLITE_BUSY
// reaches the caller) and, inside it, compares the version each updated object was read at
// with the row's current one. A row changed meanwhile by anyone else is a conflict, resolved
// by mergePolicy():
//  - errorMergePolicy: the save throws StoreError kManagedObjectMergeError and writes nothing;
//    the context keeps its changes. A read-modify-write (an increment, a toggle) that must not
//    lose another process's update runs with this policy: on the error, refresh the objects
//    (refresh(object, false)), apply the change again and save again.
//  - mergeByPropertyObjectTrumpMergePolicy: the properties this context changed are written
//    over the stored ones; the properties it did not change keep the row's current stored
//    values, which the object takes after the save. A value the context computed from a stale
//    read therefore replaces the other writer's value for that property.
// A row deleted meanwhile fails the save with kManagedObjectMergeError under either policy.
class ManagedObjectContext : public std::enable_shared_from_this<ManagedObjectContext> {
  public:
    enum class ConcurrencyType { mainQueueConcurrencyType, privateQueueConcurrencyType };

    static constexpr const char* kObjectsDidChangeNotification =
        "NSManagedObjectContextObjectsDidChangeNotification";
    static constexpr const char* kDidSaveNotification = "NSManagedObjectContextDidSaveNotification";
    static constexpr const char* kInsertedObjectsKey = "inserted";
    static constexpr const char* kUpdatedObjectsKey = "updated";
    static constexpr const char* kDeletedObjectsKey = "deleted";
    static constexpr const char* kRefreshedObjectsKey = "refreshed";
    static constexpr const char* kInvalidatedObjectsKey = "invalidated";
    static constexpr const char* kInvalidatedAllObjectsKey = "invalidatedAll";
    static constexpr const char* kInsertedObjectIDsKey = "inserted_objectIDs";
    static constexpr const char* kUpdatedObjectIDsKey = "updated_objectIDs";
    static constexpr const char* kDeletedObjectIDsKey = "deleted_objectIDs";

    explicit ManagedObjectContext(ConcurrencyType concurrencyType);
    // A context of the same kind that shares the queue of `other`, so that objects of both can be
    // used together in one closure (as a migration reads one store and writes another).
    static std::shared_ptr<ManagedObjectContext> makeSharingQueue(
        const ManagedObjectContext& other);
    ManagedObjectContext(const ManagedObjectContext&) = delete;
    ManagedObjectContext& operator=(const ManagedObjectContext&) = delete;
    ~ManagedObjectContext();

    ConcurrencyType concurrencyType() const noexcept { return concurrencyType_; }

    const std::shared_ptr<PersistentStoreCoordinator>& persistentStoreCoordinator() const noexcept {
        return coordinator_;
    }
    void setPersistentStoreCoordinator(std::shared_ptr<PersistentStoreCoordinator> coordinator);

    const std::string& name() const noexcept { return name_; }
    void setName(std::string name) { name_ = std::move(name); }

    // Runs `work` on the context's queue later; pending changes are processed after it.
    void perform(std::function<void()> work);
    // Runs `work` on the context's queue and waits for it (at once when already there).
    // Exceptions thrown by `work` reach the caller.
    void performAndWait(const std::function<void()>& work);
    // Whether the calling thread may use the context now.
    bool isOnQueue() const { return queue_->isCurrent(); }

    // A new object of the entity, inserted: it has the attributes' default values and a
    // temporary ID. An unknown entity stops the process.
    std::shared_ptr<ManagedObject> insertNewObject(const std::string& entityName);
    // The same, as the entity's class T; an entity whose class is not T stops the process with
    // "Wrong object type".
    template <class T>
    std::shared_ptr<T> insertNewObject(const std::string& entityName) {
        auto typed = std::dynamic_pointer_cast<T>(insertNewObject(entityName));
        if (!typed) {
            fatalError("Wrong object type");
        }
        return typed;
    }

    // Makes an inserted, unsaved object of this context go to `store` (one of the coordinator's)
    // when it is first saved, instead of the coordinator's first store. An object that is not an
    // unsaved insertion of this context, or a store the coordinator does not have, stops the
    // process. A store removed before the save makes the save fail.
    void assign(const std::shared_ptr<ManagedObject>& object,
                const std::shared_ptr<PersistentStore>& store);

    // Marks an object of this context deleted (an unsaved one simply disappears) and applies the
    // delete rules of its relationships: nullify and cascade at once, deny at the next save.
    void deleteObject(const std::shared_ptr<ManagedObject>& object);

    // The objects that match the request, including this context's unsaved changes. Throws
    // StoreError when the store cannot be read.
    std::vector<std::shared_ptr<ManagedObject>> fetch(const FetchRequestBase& request);
    template <class T>
    std::vector<std::shared_ptr<T>> fetch(const FetchRequest<T>& request) {
        std::vector<std::shared_ptr<T>> typed;
        for (auto& object : fetch(static_cast<const FetchRequestBase&>(request))) {
            auto cast = std::dynamic_pointer_cast<T>(object);
            if (!cast) {
                fatalError("Wrong object type");
            }
            typed.push_back(std::move(cast));
        }
        return typed;
    }
    // The named attributes of the objects fetch() would return, in the same order, as values,
    // with each object's ID: a snapshot for work that reads a few attributes of many objects
    // (the reminders of every habit, say). Without unsaved changes of the entity in this context
    // and with one store, the attributes are read straight from the store: no object is made or
    // registered, and the other attributes are never read. Otherwise the objects are fetched and
    // their current values copied. With AttributeForm::storedData, transformable attributes come
    // as the data their value transformer makes of them (what the file holds), left for the
    // caller to decode where it needs them. An unknown attribute name stops the process; a store
    // that cannot be read throws StoreError.
    struct AttributeSnapshot {
        ManagedObjectID objectID;
        std::vector<Value> values;  // in the order of the names asked for
    };
    std::vector<AttributeSnapshot> fetchAttributes(const FetchRequestBase& request,
                                                   const std::vector<std::string>& attributeNames,
                                                   AttributeForm form = AttributeForm::values);
    // As fetchAttributes, but each object's ID and values are handed to `visit` in fetch order
    // instead of being collected: the values are valid only during the call, so a caller that
    // keeps little of each object never holds the whole result. `visit` must not use this
    // context's store (it runs while the store is being read); errors are fetchAttributes'.
    void forEachAttributes(
        const FetchRequestBase& request, const std::vector<std::string>& attributeNames,
        AttributeForm form,
        const std::function<void(const ManagedObjectID&, const std::vector<Value>&)>& visit);

    // The number of objects fetch() would return.
    std::int64_t count(const FetchRequestBase& request);

    // The object for an ID: the registered one, or a fault that is not checked against the store.
    std::shared_ptr<ManagedObject> object(const ManagedObjectID& objectID);
    // The object for an ID, read from the store when it is not registered. Throws StoreError when
    // the object does not exist (a deleted row, an unsaved object of another context, a store the
    // coordinator does not have).
    std::shared_ptr<ManagedObject> existingObject(const ManagedObjectID& objectID);

    // Writes every change to the stores in one write transaction per store: all of it or (on an
    // error, which is thrown as StoreError) none of it, leaving the context's changes as they were.
    // Checks non-optional attributes and deny rules first.
    void save();
    // Discards every unsaved change: updated objects get their committed values back, inserted
    // ones leave the context, deleted ones return.
    void rollback();
    // Forgets every object: all of them lose their context (invalidated).
    void reset();
    bool hasChanges() const;

    // Posts kObjectsDidChangeNotification for the changes made since the last one, if any.
    void processPendingChanges();

    // Re-reads an object from its store. With `mergeChanges`, the values changed in this context
    // are kept; without, they are discarded. An object whose row is gone is invalidated.
    void refresh(const std::shared_ptr<ManagedObject>& object, bool mergeChanges);

    // Applies another context's did-save notification (see the class comment).
    void mergeChanges(const Notification& didSaveNotification);

    bool automaticallyMergesChangesFromParent() const noexcept { return automaticallyMerges_; }
    void setAutomaticallyMergesChangesFromParent(bool merges);

    // Recorded as the author of this context's saves in stores that keep history (nothing when
    // unset).
    const std::optional<std::string>& transactionAuthor() const noexcept {
        return transactionAuthor_;
    }
    void setTransactionAuthor(std::optional<std::string> author) {
        transactionAuthor_ = std::move(author);
    }

    MergePolicy mergePolicy() const noexcept { return mergePolicy_; }
    void setMergePolicy(MergePolicy policy) { mergePolicy_ = policy; }

    std::vector<std::shared_ptr<ManagedObject>> insertedObjects() const;
    std::vector<std::shared_ptr<ManagedObject>> updatedObjects() const;
    std::vector<std::shared_ptr<ManagedObject>> deletedObjects() const;
    // The objects registered in the context that are still alive.
    std::vector<std::shared_ptr<ManagedObject>> registeredObjects() const;

  private:
    friend class ManagedObject;
    friend class MigrationManager;

    // For owners registered here whose to-many `toMany` is not loaded: sets its members to the
    // given objects (all of the destination entity, saved, read with their values) that point to
    // them through the inverse to-one, as loading it would find if `members` are every object of
    // the entity. Saves a query per owner when a whole entity has been read (a migration).
    void loadToManyFromMembers(const RelationshipDescription& toMany,
                               const std::vector<std::shared_ptr<ManagedObject>>& members);

    void checkQueue(const char* operation) const;
    void observeRemoteChanges();
    void mergeRemoteChanges(const Notification& changes);
    std::shared_ptr<ManagedObject> registerRow(const EntityDescription& entity,
                                               PersistentStore& store, StoredRow&& row,
                                               bool keysOnly);
    void applyRow(ManagedObject& object, StoredRow& row, bool keepChanges);
    void fireFault(ManagedObject& object);
    void willChange(ManagedObject& object, bool snapshot);
    void loadToMany(ManagedObject& object, const RelationshipDescription& relationship);
    void setToOne(ManagedObject& source, const RelationshipDescription& relationship,
                  const std::optional<ManagedObjectID>& destination);
    void removeMember(const ManagedObjectID& owner, const RelationshipDescription& toMany,
                      const ManagedObjectID& member);
    void addMember(const ManagedObjectID& owner, const RelationshipDescription& toMany,
                   const ManagedObjectID& member);
    std::shared_ptr<ManagedObject> registered(const ManagedObjectID& objectID) const;
    // Makes room in the identity map for `additional` more registrations (it grows
    // geometrically, so a run of small loads does not rehash it each time).
    void reserveRegistrations(std::size_t additional);
    std::shared_ptr<PersistentStore> storeFor(const ManagedObject& object) const;
    bool hasPendingChanges(const EntityDescription& entity) const;
    // The request's entity; stops the process without a coordinator or for an unknown entity.
    const EntityDescription* fetchedEntity(const FetchRequestBase& request) const;
    // The request's affected stores, or every store of the coordinator when it names none.
    std::vector<std::shared_ptr<PersistentStore>> storesToFetchFrom(
        const FetchRequestBase& request) const;
    void validateForSave();
    void detach(ManagedObject& object);
    void clearChangeState(ManagedObject& object);
    void post(const char* name, std::map<std::string, std::any> userInfo);
    void compactChangeLists();
    static constexpr std::uint8_t kPendingInsert = 1;
    static constexpr std::uint8_t kPendingUpdate = 2;
    static constexpr std::uint8_t kPendingDelete = 4;
    void markPending(ManagedObject& object, std::uint8_t change);

    ConcurrencyType concurrencyType_;
    std::shared_ptr<ContextQueue> queue_;
    std::shared_ptr<PersistentStoreCoordinator> coordinator_;
    std::string name_;
    bool automaticallyMerges_ = false;
    MergePolicy mergePolicy_ = MergePolicy::errorMergePolicy;
    ObservationToken saveObservation_;
    ObservationToken remoteObservation_;
    std::optional<std::string> transactionAuthor_;

    // Registered objects by permanent ID, held weakly; entries of objects that are gone are
    // dropped when the map grows.
    struct GoneObject {
        bool operator()(const std::weak_ptr<ManagedObject>& object) const noexcept {
            return object.expired();
        }
    };
    FlatHashMap<ManagedObjectID, std::weak_ptr<ManagedObject>, std::hash<ManagedObjectID>,
                GoneObject>
        registered_;
    // Inserted, unsaved objects by the number of their temporary ID (held by inserted_).
    FlatHashMap<std::int64_t, ManagedObject*> temporary_;
    // Changes since the last save, in the order they were made (entries whose object no longer
    // has that state are skipped and dropped lazily).
    std::vector<std::shared_ptr<ManagedObject>> inserted_;
    std::vector<std::shared_ptr<ManagedObject>> updated_;
    std::vector<std::shared_ptr<ManagedObject>> deleted_;
    // Changes since the last objects-did-change notification.
    // (Each object's pending_ bits say which; an object is listed once while it has any.)
    std::vector<std::shared_ptr<ManagedObject>> pending_;
};

}  // namespace dovrel::store

#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/ManagedObjectID.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/MigrationPlan.h"
#include "platform/store/PersistentHistoryTransaction.h"
#include "platform/store/PersistentStore.h"
#include "platform/store/PersistentStoreDescription.h"

namespace dovrel::store {

class ManagedObject;
class RemoteChangeMonitor;

// Joins one model to the stores that hold its objects. Contexts read and write through it.
// Safe to use from any thread.
//
// Several stores. Fetches and counts cover every store, or only a request's affectedStores.
// A new object is saved to the first store unless it was assigned to another one (assign)
// before its first save. A relationship joins objects of one store only.
//
// Versions. Every store records the identifier of the model version that made it. Without a
// migration plan only stores of the coordinator's model version load. With one, a store of an
// older version of the plan is migrated when it is added: the migrated objects are written to a
// new file beside the store ("<store>.migration"), which replaces the store only after the whole
// migration succeeded; until then the store's files are only read. A store of a version the plan
// does not know, or without mapping models all the way to the current version, is refused
// (StoreError kMigrationMissingSourceModelError, kMigrationMissingMappingModelError) and left
// as it was.
//
// Remote changes. The coordinator watches its stores that keep history or have
// kRemoteChangeNotificationPostOptionKey for commits made through other connections to their files
// (another process, or another coordinator in this process): every remoteChangeInterval() (25 ms
// unless set) a timer on a queue of its own compares each store's data version (PRAGMA
// data_version), and only when it changed reads the history transactions written since the last
// check, leaving out the coordinator's own. Its contexts that merge automatically
// (ManagedObjectContext::automaticallyMergesChangesFromParent) then merge those changes on their
// own queues, as they merge the saves of sibling contexts. For a store with
// kRemoteChangeNotificationPostOptionKey it also posts kPersistentStoreRemoteChangeNotification,
// with the coordinator as sender, on the timer's queue (observers hop to their own queue with async
// and never wait there for another queue: the coordinator's destructor waits for a check under
// way), with kPersistentStoreURLKey (std::filesystem::path) and, for a store that keeps history,
// kPersistentHistoryTokenKey (PersistentHistoryToken of the latest remote transaction). A store
// with the option but without history is announced too, but its changes cannot be told apart:
// contexts that merge automatically then refresh every object of it they hold (as they do when
// history they had not read yet was deleted meanwhile). The timer stops when the coordinator is
// destroyed.
class PersistentStoreCoordinator {
  public:
    static constexpr const char* kPersistentStoreRemoteChangeNotification =
        "NSPersistentStoreRemoteChangeNotification";
    static constexpr const char* kPersistentStoreURLKey = "storeURL";
    static constexpr const char* kPersistentHistoryTokenKey = "historyToken";

    explicit PersistentStoreCoordinator(std::shared_ptr<const ManagedObjectModel> model);
    // A coordinator of the plan's current model that migrates stores of its older versions.
    explicit PersistentStoreCoordinator(std::shared_ptr<const MigrationPlan> plan);
    PersistentStoreCoordinator(const PersistentStoreCoordinator&) = delete;
    PersistentStoreCoordinator& operator=(const PersistentStoreCoordinator&) = delete;
    // Stops watching for remote changes (waiting for a check under way on another thread).
    ~PersistentStoreCoordinator();

    const std::shared_ptr<const ManagedObjectModel>& managedObjectModel() const noexcept {
        return model_;
    }

    // The plan stores of older versions are migrated by (null: none). The plan's current model
    // must have the coordinator's model version identifier; another one stops the process.
    const std::shared_ptr<const MigrationPlan>& migrationPlan() const noexcept { return plan_; }
    void setMigrationPlan(std::shared_ptr<const MigrationPlan> plan);

    // Opens the store that `description` names (migrating it first when it was made by an older
    // version of the migration plan) and adds it after the others. Throws StoreError when it
    // does not load (see PersistentStore::load) or its migration fails; the coordinator is then
    // unchanged and the store's file as it was.
    std::shared_ptr<PersistentStore> addPersistentStore(
        const PersistentStoreDescription& description);
    // Forgets a store (its file stays). Objects of the store that contexts still hold can no
    // longer load or save.
    void removePersistentStore(const std::shared_ptr<PersistentStore>& store);
    // Removes the store at `url` from the coordinator (when it has it) and deletes its file with
    // the -wal, -shm and -journal files beside it. A missing file is not an error; a file that
    // cannot be deleted throws StoreError. References to the removed store must not be used.
    void destroyPersistentStore(const std::filesystem::path& url);
    // Puts the store file at `source` in the place of the one at `destination` (which the
    // coordinator must not have added): both are checkpointed, the destination's -wal and -shm
    // files are removed, and `source` is renamed over `destination` (atomic; the folder is
    // synced). A crash at any moment leaves either the old or the new store complete, perhaps
    // with `source` beside it. Throws StoreError when a step fails.
    static void replacePersistentStore(const std::filesystem::path& destination,
                                       const std::filesystem::path& source);

    // Makes `object` (inserted into a context of this coordinator and not saved yet) go to
    // `store` (one of this coordinator's) when it is first saved. Anything else stops the process.
    void assign(const std::shared_ptr<ManagedObject>& object,
                const std::shared_ptr<PersistentStore>& store);
    // The stores in the order they were added.
    std::vector<std::shared_ptr<PersistentStore>> persistentStores() const;
    std::shared_ptr<PersistentStore> persistentStore(const StoreUUID& uuid) const;

    // The metadata of a store of this coordinator (see PersistentStore::metadata).
    std::map<std::string, Value> metadataForPersistentStore(const PersistentStore& store) const {
        return store.metadata();
    }
    std::map<std::string, Value> metadata(const PersistentStore& store) const {
        return store.metadata();
    }
    // The metadata kept in the store file at `url`, read without opening it as a store (and
    // without changing it). Throws StoreError when there is no file or it holds no store.
    static std::map<std::string, Value> metadataForPersistentStore(
        const std::filesystem::path& url);
    // Replaces the application's metadata of `store`. It is written to the file at once, in its
    // own transaction (not with the next save), so it survives a reopen without a save.
    void setMetadata(const std::map<std::string, Value>& metadata, PersistentStore& store) {
        store.setMetadata(metadata);
    }

    // --- Persistent history and remote changes ---

    // The history transactions of the stores that keep history, oldest first per store: with a
    // token, those of its store written after it; without, all of every store.
    std::vector<PersistentHistoryTransaction> fetchHistory(
        const std::optional<PersistentHistoryToken>& after = std::nullopt) const;
    // Deletes the history transactions recorded before `date` in every store.
    void deleteHistory(Date before);
    // Deletes the history of the token's store up to and including the transaction it names.
    void deleteHistory(const PersistentHistoryToken& through);
    // The token of the latest transaction recorded in `store`.
    PersistentHistoryToken currentPersistentHistoryToken(PersistentStore& store) const {
        return store.currentHistoryToken();
    }

    // How often the stores are checked for remote changes (seconds).
    TimeInterval remoteChangeInterval() const;
    void setRemoteChangeInterval(TimeInterval seconds);
    // Checks for remote changes now, on the calling thread, instead of waiting for the timer.
    void checkForRemoteChanges();

    // The ID that a URI representation names: nothing for a malformed URI, a temporary one, one
    // of a store this coordinator does not have, an unknown entity, or a row that does not exist
    // (such as a deleted object's).
    std::optional<ManagedObjectID> managedObjectID(const std::string& uriRepresentation) const;

  private:
    void migrateIfNeeded(const PersistentStoreDescription& description);

    std::shared_ptr<const ManagedObjectModel> model_;
    std::shared_ptr<const MigrationPlan> plan_;
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<PersistentStore>> stores_;
    std::shared_ptr<RemoteChangeMonitor> monitor_;
};

}  // namespace dovrel::store

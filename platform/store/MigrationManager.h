#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/store/FlatHashMap.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/MappingModel.h"

namespace dovrel::store {

class EntityMigrationPolicy;
class ManagedObject;
class ManagedObjectContext;

// Copies the objects of a store made by one model version into a new store of the next version,
// as a mapping model says (see MappingModel, EntityMapping and EntityMigrationPolicy).
//
// migrateStore reads the old file and writes a new one; it never changes the old file. Putting
// the new file in place of the old one is the coordinator's work
// (PersistentStoreCoordinator::replacePersistentStore), done only after a complete run; a
// coordinator with a MigrationPlan does all of it when it opens a store of an older version.
//
// The source objects live in a context over the old store and the destination objects in a
// context over the new one; both are private to the migration, which runs on the calling
// thread. All destination objects are written by one save at the end, so a migration holds the
// whole store in memory once on each side.
//
// Not thread-safe: one migration per manager at a time.
class MigrationManager {
  public:
    MigrationManager(std::shared_ptr<const ManagedObjectModel> sourceModel,
                     std::shared_ptr<const ManagedObjectModel> destinationModel);
    MigrationManager(const MigrationManager&) = delete;
    MigrationManager& operator=(const MigrationManager&) = delete;
    ~MigrationManager();

    const ManagedObjectModel& sourceModel() const noexcept { return *sourceModel_; }
    const ManagedObjectModel& destinationModel() const noexcept { return *destinationModel_; }

    // Migrates the store at `sourceURL` (made by the source model) into a new store at
    // `destinationURL`, which must not exist yet. The new store has a new UUID (the primary
    // keys change, so URIs of the old objects must not name new ones) and keeps the old store's
    // application metadata. Throws StoreError: the source's own load errors, kMigrationError when
    // the new store cannot be written, kEntityMigrationPolicyError when a policy throws. After a
    // failure the destination's files are gone and the source file is as it was.
    void migrateStore(const std::filesystem::path& sourceURL,
                      const std::filesystem::path& destinationURL, const MappingModel& mapping);

    // --- For migration policies, while migrateStore runs ---

    ManagedObjectContext& sourceContext();
    ManagedObjectContext& destinationContext();
    const MappingModel& mappingModel() const;
    // The entity mapping being run.
    const EntityMapping& currentEntityMapping() const;

    // Records that `destination` was made from `source` by `mapping` (destinationInstances and
    // the re-linking of relationships find it through this).
    void associate(const std::shared_ptr<ManagedObject>& source,
                   const std::shared_ptr<ManagedObject>& destination, const EntityMapping& mapping);
    // The destination instances that the mapping called `entityMappingName` made from the given
    // source instances, in their order (a source may have made several, or none). An unknown
    // mapping name stops the process.
    std::vector<std::shared_ptr<ManagedObject>> destinationInstances(
        const std::string& entityMappingName,
        const std::vector<std::shared_ptr<ManagedObject>>& sourceInstances) const;
    // The reverse: the source instances the named mapping made the given destinations from.
    std::vector<std::shared_ptr<ManagedObject>> sourceInstances(
        const std::string& entityMappingName,
        const std::vector<std::shared_ptr<ManagedObject>>& destinationInstances) const;
    // The destination instances made from `source` by any mapping (used to re-link); they live
    // as long as the migration does.
    // The view stays valid until the next association.
    std::span<ManagedObject* const> destinationInstances(const ManagedObject& source) const;

    // The source instance `destination` was made from (by any mapping), or null.
    std::shared_ptr<ManagedObject> sourceInstance(const ManagedObject& destination) const;

  private:
    struct MappingState {
        const EntityMapping* mapping = nullptr;
        std::unique_ptr<EntityMigrationPolicy> policy;
        // The destination instances it made, in order.
        std::vector<std::shared_ptr<ManagedObject>> destinations;
    };
    struct Origin {
        const MappingState* state = nullptr;
        ManagedObject* source = nullptr;
    };

    void run(const MappingModel& mapping);
    void validate(const MappingModel& mapping) const;
    const MappingState& state(const std::string& entityMappingName) const;
    void clear();
    // Takes the source objects and the associations out of the manager (which then holds none)
    // and returns a closure that frees them, to be run on another thread.
    std::function<void()> releaseSourceObjects();
    // The same for the destination objects, once they are saved.
    std::function<void()> releaseDestinationObjects();

    std::shared_ptr<const ManagedObjectModel> sourceModel_;
    std::shared_ptr<const ManagedObjectModel> destinationModel_;
    std::shared_ptr<ManagedObjectContext> sourceContext_;
    std::shared_ptr<ManagedObjectContext> destinationContext_;
    const MappingModel* mappingModel_ = nullptr;
    const EntityMapping* currentMapping_ = nullptr;
    std::vector<std::unique_ptr<MappingState>> states_;
    // What each source made, and where each destination came from, over every mapping.
    // Flat maps: a migration associates hundreds of thousands of objects, and a node per
    // association cost more than making the objects.
    // They point to objects that sources_ and the states' destinations keep: a migration touches
    // each of its objects' reference counts once, not once per map.
    // Most sources make exactly one destination, which is kept inline rather than in a vector
    // of its own.
    struct MadeFrom {
        ManagedObject* only = nullptr;
        std::vector<ManagedObject*> several;

        void add(ManagedObject* destination);
        std::span<ManagedObject* const> all() const noexcept;
    };
    FlatHashMap<const ManagedObject*, MadeFrom> madeFrom_;
    FlatHashMap<const ManagedObject*, Origin> originOf_;
    // Every source instance, read at the start.
    std::vector<std::shared_ptr<ManagedObject>> sources_;
};

}  // namespace dovrel::store

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "platform/foundation/FileManager.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentContainer.h"

namespace dovrel {

class AnalyticsTrackerProtocol;

// The one persistent container through which the application and its desktop widget read and
// write habits. The store files live in the application group's shared container
// (FileManager::containerURL), so both processes open the same SQLite store; every store is
// opened with persistent history and remote-change notifications, so that each process learns
// of the other's writes. A store written by an older model version is migrated as it opens
// (see HabitMigrationPlan.h).
//
// There are two ways of starting, and a caller uses exactly one of them, once, before any
// other operation:
//  - the application's: a primary store and, optionally, a secondary (older) store beside it,
//    whose habits mergeStoreContents() later folds into the primary store once;
//  - the widget's: only the default store "Habit.sqlite" of the application group.
//
// Diagnostics are plain console lines written at info level (failures at error level) to the
// process-wide logger kLoggerName (platform/foundation/Logging.h); a program decides where they
// go by adding destinations to it. The lines, exactly:
//   "CoreDataManager: initializing for widget with group ID: <group>"
//   "CoreDataManager Widget: Failed to load store: <error>"
//   "CoreDataManager Widget: Successfully loaded persistent store"
//   "CoreDataManager Widget: Found <n> habits in database"
//   "CoreDataManager Widget: Error counting habits: <error>"
//   "Merge already performed previously - skipping"
//   "Found <n> habits in secondary store to merge"
//   "No habits found in secondary store"
//   "Secondary store removed from container and deleted from disk after successful merge"
//   "Error during store merge: <error>"
//   "Notified widget of Core Data merge completion"
// where <error> is describeError(error).
//
// Threads: the initialisers run on the calling thread (the application's main thread: the view
// context is a main-queue context and the widget start counts habits in it). isReadyToUse is a
// plain flag without a lock. The merge runs on a background context's queue and reports on the
// main queue.
class CoreDataManager {
  public:
    // One store file: the application group whose shared container holds it, and its name there.
    struct StoreConfiguration {
        std::string groupIdentifier;
        std::string fileName;

        friend bool operator==(const StoreConfiguration&, const StoreConfiguration&) = default;
    };

    static constexpr const char* kLoggerName = "CoreDataManager";
    // The container's name.
    static constexpr const char* kContainerName = "Habit";
    // The entity that the widget counts and the merge copies.
    static constexpr const char* kHabitEntityName = "Habit";
    // The store file that the widget opens in the container of the application group.
    static constexpr const char* kWidgetStoreFileName = "Habit.sqlite";
    // Store metadata key whose presence (with any value) marks a primary store into which a
    // secondary store was merged. The merge writes the current date under it.
    static constexpr const char* kMergeDateMetadataKey = "mergeDate";
    // Key, in the application group's user-defaults suite, of the time of the last merge (or of
    // the last merge call that found the merge done): a double, seconds since 1970.
    static constexpr const char* kLastMergeTimestampKey = "lastCoreDataMergeTimestamp";
    // The error of a merge that finds fewer than two stores.
    static constexpr const char* kErrorDomain = "CoreDataManager";
    static constexpr std::int64_t kMissingStoresErrorCode = 1;

    // Nothing is opened: no container, isReadyToUse false, no store loaded.
    CoreDataManager();
    // Uses `appGroupIdentifier` in place of Constants::appGroupIdentifier for the widget's store
    // and the merge timestamp (for tools and tests that keep several groups apart).
    explicit CoreDataManager(std::string appGroupIdentifier);
    CoreDataManager(const CoreDataManager&) = delete;
    CoreDataManager& operator=(const CoreDataManager&) = delete;

    // The application group of the widget's store and of the merge timestamp.
    const std::string& defaultAppGroupID() const noexcept { return defaultAppGroupID_; }

    // False until the store (or both stores) have loaded; on the widget's way, false again when
    // the store failed to load. Others may set it too.
    bool isReadyToUse() const noexcept { return isReadyToUse_; }
    void setIsReadyToUse(bool isReadyToUse) noexcept { isReadyToUse_ = isReadyToUse; }

    // The container's main-queue context, which merges the saves of background contexts
    // automatically and resolves conflicts in favour of its in-memory values, property by
    // property. Reading it before one of the initialisers has run stops the process.
    const std::shared_ptr<store::ManagedObjectContext>& viewContext();
    // A new private-queue context of the container. Same precondition as viewContext().
    std::shared_ptr<store::ManagedObjectContext> createNewBackgroundContext();

    // The container, or null before an initialiser has run.
    const std::shared_ptr<store::PersistentContainer>& persistentContainer() const noexcept {
        return persistentContainer_;
    }

    // The application's start. Registers the value transformers, makes the container and loads
    // the primary store, then the secondary one when a configuration is given for it (in that
    // order: the primary store is the coordinator's first). When the last of them has loaded,
    // isReadyToUse becomes true and `completion` runs once, on the calling thread, with true when
    // a secondary store was configured (so that a merge is due). A store that fails to load is
    // reported to `analyticsTracker.trackError` and then stops the process with
    // "Failed to load store: <error>". A group identifier that has no shared container stops the
    // process with "Could not create URL for <group identifier>".
    void initializePersistentContainer(
        const FileManager& fileManager, AnalyticsTrackerProtocol& analyticsTracker,
        const StoreConfiguration& primaryStoreConfig,
        const std::optional<StoreConfiguration>& secondaryStoreConfig,
        const std::function<void(bool)>& completion);
    // The same start for a program that must report a store that fails to load rather than
    // stop (the command line on a full disk, say): the error goes to
    // `analyticsTracker.trackError` and then to `loadFailure`, on the calling thread, instead of
    // stopping the process; `completion` does not run and isReadyToUse stays false. Everything
    // else is as above.
    void initializePersistentContainer(
        const FileManager& fileManager, AnalyticsTrackerProtocol& analyticsTracker,
        const StoreConfiguration& primaryStoreConfig,
        const std::optional<StoreConfiguration>& secondaryStoreConfig,
        const std::function<void(bool)>& completion,
        const std::function<void(const Error&)>& loadFailure);

    // The widget's start: the store kWidgetStoreFileName in the container of
    // defaultAppGroupID(). On success isReadyToUse becomes true and the habits are counted (a
    // console line either way); on failure the error goes to the console and to
    // `analyticsTracker.trackError`, and isReadyToUse becomes false. `completion` runs once, on
    // the calling thread, in both cases: the widget goes on and shows what it can. The widget
    // never creates the store (the application does): a missing file is a failure like a file
    // that does not load (store error 260, "The store file <path> does not exist"), and either
    // is left as it was.
    void initializePersistentContainer(const FileManager& fileManager,
                                       AnalyticsTrackerProtocol& analyticsTracker,
                                       const std::function<void()>& completion);

    // Copies the habits of the secondary store into the primary store, once, and removes the
    // secondary store with its files. Only the habits' attributes are copied (their checkmarks
    // are not); each copy is a new habit of the primary store. After a successful merge the
    // primary store carries kMergeDateMetadataKey, the container has only the primary store's
    // description, kLastMergeTimestampKey is stamped in the application group's defaults, and
    // every widget timeline is asked to reload. A call that finds the mark only restamps and
    // asks for the reload. With a single store description there is nothing to do.
    //
    // `completion` always runs on the main queue (DispatchQueue::main()), with nothing on
    // success or the error that stopped the merge: domain kErrorDomain, code
    // kMissingStoresErrorCode when the coordinator has fewer than two stores, or the error of
    // the fetch, the save, the removal of the store or the writing of the mark. After a failure
    // the mark is not set, so a later call tries again.
    //
    // The work runs on a new background context's queue and keeps the container alive until it
    // is done, even if this manager goes away meanwhile.
    void mergeStoreContents(std::function<void(std::optional<Error>)> completion);

    // The text that the console lines give for an error:
    //   Error Domain=<domain> Code=<code> "<localized description>"
    static std::string describeError(const Error& error);

  private:
    std::shared_ptr<store::PersistentContainer> makeContainer() const;

    const std::string defaultAppGroupID_;
    bool isReadyToUse_ = false;
    std::shared_ptr<store::PersistentContainer> persistentContainer_;
    std::int64_t loadedStoresCount_ = 0;
};

}  // namespace dovrel

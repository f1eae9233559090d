#include "DovrelFoundation/Persistence/CoreDataManager.h"

#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"
#include "DovrelFoundation/Model/HabitMigrationPlan.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/Logging.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/store/PersistentStore.h"
#include "platform/store/PersistentStoreDescription.h"
#include "platform/store/StoreError.h"
#include "platform/widgets/WidgetCenter.h"

namespace dovrel {

namespace {

namespace fs = std::filesystem;

// The store error of a file that is not there (the platform's "no such file" reading error).
constexpr std::int64_t kFileReadNoSuchFileError = 260;

spdlog::logger& console() {
    static const std::shared_ptr<spdlog::logger> logger = namedLogger(CoreDataManager::kLoggerName);
    return *logger;
}

// Reports the merge's outcome on the main queue, as every merge completion is.
void completeOnMainQueue(std::function<void(std::optional<Error>)> completion,
                         std::optional<Error> error) {
    DispatchQueue::main().async(
        [completion = std::move(completion), error = std::move(error)] { completion(error); });
}

// The store description of one file in a group container, with the history and remote-change
// options on, so that the other process learns of this one's writes.
store::PersistentStoreDescription makeStoreDescription(const FileManager& fileManager,
                                                       const std::string& groupIdentifier,
                                                       const std::string& fileName) {
    auto container = fileManager.containerURL(groupIdentifier);
    if (!container) {
        fatalError("Could not create URL for " + groupIdentifier);
    }
    store::PersistentStoreDescription description(*container / fileName);
    description.setOption(store::Value(true),
                          store::PersistentStoreDescription::kPersistentHistoryTrackingKey);
    description.setOption(
        store::Value(true),
        store::PersistentStoreDescription::kRemoteChangeNotificationPostOptionKey);
    return description;
}

void configureViewContext(store::PersistentContainer& container) {
    const auto& context = container.viewContext();
    context->setAutomaticallyMergesChangesFromParent(true);
    context->setMergePolicy(store::MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
}

// Records the time of the merge in the group's shared defaults (when the suite opens) and asks
// every widget to reload, so that the widget shows the merged habits.
void stampMerge(const std::string& groupIdentifier) {
    try {
        UserDefaults suite(groupIdentifier);
        suite.set(CoreDataManager::kLastMergeTimestampKey,
                  UserDefaults::Value(Date::now().timeIntervalSince1970()));
    } catch (const Error&) {
        // No suite, no timestamp; the widget is still told.
    }
    widgets::WidgetCenter::shared().reloadAllTimelines();
    console().info("Notified widget of Core Data merge completion");
}

// Deletes a store file and every file beside it whose name starts with the store's base name
// (the name up to its first "."), such as its -wal and -shm files. Failures are ignored.
void deleteStoreFiles(const fs::path& url) {
    std::error_code ignored;
    fs::remove(url, ignored);

    const std::string fileName = url.filename().string();
    const std::string baseName = fileName.substr(0, fileName.find('.'));
    std::error_code listing;
    fs::directory_iterator entries(url.parent_path(), listing);
    if (listing) {
        return;
    }
    std::vector<fs::path> doomed;
    for (const auto& entry : entries) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with('.')) {
            continue;
        }
        if (name.starts_with(baseName) && name != fileName) {
            doomed.push_back(entry.path());
        }
    }
    for (const auto& path : doomed) {
        fs::remove(path, ignored);
    }
}

// The merge proper, on `context`'s queue. Returns the error that stopped it, if any.
std::optional<Error> mergeSecondaryStore(store::PersistentContainer& container,
                                         store::ManagedObjectContext& context) {
    const auto& coordinator = container.persistentStoreCoordinator();
    auto stores = coordinator->persistentStores();
    if (stores.size() < 2) {
        return Error(CoreDataManager::kErrorDomain, CoreDataManager::kMissingStoresErrorCode,
                     {{Error::kLocalizedDescriptionKey,
                       "Expected at least 2 stores but found " + std::to_string(stores.size())}});
    }
    std::shared_ptr<store::PersistentStore> primary = stores[0];
    std::shared_ptr<store::PersistentStore> secondary = stores[1];
    stores.clear();

    fs::path secondaryURL;
    try {
        {
            store::FetchRequestBase request(CoreDataManager::kHabitEntityName);
            request.setAffectedStores({secondary});
            auto habits = context.fetch(request);
            if (!habits.empty()) {
                console().info("Found {} habits in secondary store to merge", habits.size());
                for (const auto& habit : habits) {
                    auto copy = context.insertNewObject(CoreDataManager::kHabitEntityName);
                    // Attributes only: the checkmarks stay behind, the cached values come along.
                    for (const auto& attribute : habit->entity().attributes()) {
                        copy->setValue(habit->value(attribute.name), attribute.name);
                    }
                    context.assign(copy, primary);
                }
            } else {
                console().info("No habits found in secondary store");
            }
            context.save();
            // The copies are in the primary store now; forget the secondary store's objects so
            // that nothing keeps its file open once the coordinator lets it go.
            context.reset();
        }
        secondaryURL = secondary->url();
        coordinator->removePersistentStore(secondary);
        secondary.reset();
    } catch (const Error& error) {
        console().error("Error during store merge: {}", CoreDataManager::describeError(error));
        return error;
    }

    auto descriptions = container.persistentStoreDescriptions();
    descriptions.resize(1);
    container.setPersistentStoreDescriptions(std::move(descriptions));

    if (!secondaryURL.empty()) {
        deleteStoreFiles(secondaryURL);
        console().info(
            "Secondary store removed from container and deleted from disk after successful merge");
    }

    try {
        coordinator->setMetadata(
            {{CoreDataManager::kMergeDateMetadataKey, store::Value(Date::now())}}, *primary);
    } catch (const Error& error) {
        // Without the mark a later call would not know the merge happened; report it.
        console().error("Error during store merge: {}", CoreDataManager::describeError(error));
        return error;
    }
    return std::nullopt;
}

}  // namespace

CoreDataManager::CoreDataManager() : CoreDataManager(std::string(Constants::appGroupIdentifier)) {}

CoreDataManager::CoreDataManager(std::string appGroupIdentifier)
    : defaultAppGroupID_(std::move(appGroupIdentifier)) {}

std::string CoreDataManager::describeError(const Error& error) {
    return "Error Domain=" + error.domain() + " Code=" + std::to_string(error.code()) + " \"" +
           error.localizedDescription() + "\"";
}

const std::shared_ptr<store::ManagedObjectContext>& CoreDataManager::viewContext() {
    if (!persistentContainer_) {
        fatalError("CoreDataManager: viewContext used before the persistent container exists");
    }
    return persistentContainer_->viewContext();
}

std::shared_ptr<store::ManagedObjectContext> CoreDataManager::createNewBackgroundContext() {
    if (!persistentContainer_) {
        fatalError(
            "CoreDataManager: createNewBackgroundContext used before the persistent container "
            "exists");
    }
    return persistentContainer_->newBackgroundContext();
}

std::shared_ptr<store::PersistentContainer> CoreDataManager::makeContainer() const {
    // The plan's current model is the container's model; stores of its older versions migrate
    // as they load.
    return std::make_shared<store::PersistentContainer>(kContainerName, habitMigrationPlan());
}

void CoreDataManager::initializePersistentContainer(
    const FileManager& fileManager, AnalyticsTrackerProtocol& analyticsTracker,
    const StoreConfiguration& primaryStoreConfig,
    const std::optional<StoreConfiguration>& secondaryStoreConfig,
    const std::function<void(bool)>& completion) {
    initializePersistentContainer(
        fileManager, analyticsTracker, primaryStoreConfig, secondaryStoreConfig, completion,
        [](const Error& error) { fatalError("Failed to load store: " + describeError(error)); });
}

void CoreDataManager::initializePersistentContainer(
    const FileManager& fileManager, AnalyticsTrackerProtocol& analyticsTracker,
    const StoreConfiguration& primaryStoreConfig,
    const std::optional<StoreConfiguration>& secondaryStoreConfig,
    const std::function<void(bool)>& completion,
    const std::function<void(const Error&)>& loadFailure) {
    registerValueTransformers();
    auto container = makeContainer();

    std::vector<store::PersistentStoreDescription> descriptions;
    descriptions.push_back(makeStoreDescription(fileManager, primaryStoreConfig.groupIdentifier,
                                                primaryStoreConfig.fileName));
    const bool hasSecondary = secondaryStoreConfig.has_value();
    if (hasSecondary) {
        descriptions.push_back(makeStoreDescription(
            fileManager, secondaryStoreConfig->groupIdentifier, secondaryStoreConfig->fileName));
    }

    configureViewContext(*container);
    container->setPersistentStoreDescriptions(std::move(descriptions));
    persistentContainer_ = container;

    const std::int64_t expectedStores = hasSecondary ? 2 : 1;
    bool failed = false;
    container->loadPersistentStores(
        [&](const store::PersistentStoreDescription&, std::optional<Error> error) {
            if (error) {
                analyticsTracker.trackError(*error);
                if (!failed) {
                    failed = true;
                    loadFailure(*error);
                }
                return;
            }
            loadedStoresCount_ += 1;
            if (loadedStoresCount_ == expectedStores) {
                isReadyToUse_ = true;
                completion(hasSecondary);
            }
        });
}

void CoreDataManager::initializePersistentContainer(const FileManager& fileManager,
                                                    AnalyticsTrackerProtocol& analyticsTracker,
                                                    const std::function<void()>& completion) {
    registerValueTransformers();
    console().info("CoreDataManager: initializing for widget with group ID: {}",
                   defaultAppGroupID_);

    auto container = makeContainer();
    std::vector<store::PersistentStoreDescription> descriptions;
    descriptions.push_back(
        makeStoreDescription(fileManager, defaultAppGroupID_, kWidgetStoreFileName));
    configureViewContext(*container);
    container->setPersistentStoreDescriptions(std::move(descriptions));
    persistentContainer_ = container;

    auto handler = [&](const store::PersistentStoreDescription&, std::optional<Error> error) {
        if (error) {
            console().error("CoreDataManager Widget: Failed to load store: {}",
                            describeError(*error));
            analyticsTracker.trackError(*error);
            isReadyToUse_ = false;
            completion();
            return;
        }
        console().info("CoreDataManager Widget: Successfully loaded persistent store");
        isReadyToUse_ = true;
        try {
            const auto count =
                container->viewContext()->count(store::FetchRequestBase(kHabitEntityName));
            console().info("CoreDataManager Widget: Found {} habits in database", count);
        } catch (const Error& countError) {
            console().error("CoreDataManager Widget: Error counting habits: {}",
                            describeError(countError));
        }
        completion();
    };

    // The application makes the store; the widget only opens it. Opening a missing file would
    // create an empty store in the group container, so a missing file fails instead.
    const auto& description = container->persistentStoreDescriptions().front();
    std::error_code status;
    if (!std::filesystem::exists(description.url(), status)) {
        handler(description,
                store::StoreError::make(
                    kFileReadNoSuchFileError,
                    "The store file " + description.url().string() + " does not exist"));
        return;
    }
    container->loadPersistentStores(handler);
}

void CoreDataManager::mergeStoreContents(std::function<void(std::optional<Error>)> completion) {
    if (!persistentContainer_ || persistentContainer_->persistentStoreDescriptions().size() < 2) {
        completeOnMainQueue(std::move(completion), std::nullopt);
        return;
    }

    const auto& coordinator = persistentContainer_->persistentStoreCoordinator();
    const auto stores = coordinator->persistentStores();
    if (!stores.empty() &&
        coordinator->metadataForPersistentStore(*stores.front()).contains(kMergeDateMetadataKey)) {
        console().info("Merge already performed previously - skipping");
        stampMerge(defaultAppGroupID_);
        completeOnMainQueue(std::move(completion), std::nullopt);
        return;
    }

    auto container = persistentContainer_;
    auto context = container->newBackgroundContext();
    context->perform([container, context, groupIdentifier = defaultAppGroupID_,
                      completion = std::move(completion)]() mutable {
        if (auto error = mergeSecondaryStore(*container, *context)) {
            completeOnMainQueue(std::move(completion), std::move(error));
            return;
        }
        stampMerge(groupIdentifier);
        completeOnMainQueue(std::move(completion), std::nullopt);
    });
}

}  // namespace dovrel

#include "apps/dovrel-app/AppServices.h"

#include "DovrelFoundation/Analytics/ConsoleLoggingAnalyticsService.h"
#include "DovrelFoundation/Appearance/StringExtensions.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/StorePreflight.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "DovrelFoundation/Reminders/IconBadgeService.h"
#include "DovrelFoundation/Reminders/UserNotificationService.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"
#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Logging.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/widgets/WidgetCenter.h"

namespace dovrel::app {

namespace {

constexpr const char* kStoreFileName = "Habit.sqlite";

#ifdef NDEBUG
constexpr bool kIsDebugBuild = false;
#else
constexpr bool kIsDebugBuild = true;
#endif

}  // namespace

AppServices::AppServices(const Options& options) {
    // Analytics go to the console service in debug builds only.
    std::vector<std::shared_ptr<AnalyticsServiceProtocol>> analyticsServices;
    if (auto console = ConsoleLoggingAnalyticsService::make(kIsDebugBuild)) {
        analyticsServices.push_back(std::move(console));
    }
    analyticsServices.insert(analyticsServices.end(), options.analyticsServices.begin(),
                             options.analyticsServices.end());
    tracker_ = std::make_shared<AnalyticsTracker>(std::move(analyticsServices));

    mode_ = options.mode;
    if (mode_ == Mode::widget) {
        openWidgetStore();
    } else {
        openStore(options);
    }

    settings_ = std::make_shared<ApplicationSettingsService>(
        StaticRemoteConfigService::makeServiceWithDefaultValues(), coreDataManager_);
    if (options.countsLaunch && mode_ == Mode::application) {
        settings_->handleAppLaunch();
        firstLaunch_ = settings_->isFirstAppLaunch();
    }
    if (hasStore()) {
        startReminders();
    }
}

AppServices::~AppServices() = default;

void AppServices::openStore(const Options& options) {
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    if (!container && !options.storePath) {
        storeProblem_ = localizedText("Cli.Error.Store.NoContainer",
                                      {{"folder", FileManager::dataHome().string()}});
        return;
    }
    storePath_ = options.storePath ? std::filesystem::absolute(*options.storePath)
                                   : *container / kStoreFileName;
    const std::vector<std::string> versions = {std::string(kHabitModelVersion1Identifier),
                                               std::string(kHabitModelVersion2Identifier)};
    if (const auto problem = checkStoreFile(storePath_, versions)) {
        storeProblem_ = storeFileProblemText(storePath_, *problem);
        return;
    }
    std::optional<CoreDataManager::StoreConfiguration> secondary;
    if (options.mergeFrom) {
        const auto older = std::filesystem::absolute(*options.mergeFrom);
        if (const auto problem = checkStoreFile(older, versions)) {
            storeProblem_ = storeFileProblemText(older, *problem);
            return;
        }
        if (std::filesystem::exists(older)) {
            secondary = CoreDataManager::StoreConfiguration{
                std::string(Constants::appGroupIdentifier), older.string()};
        }
    }

    coreDataManager_ = std::make_shared<CoreDataManager>();
    const FileManager fileManager;
    std::optional<Error> loadFailure;
    coreDataManager_->initializePersistentContainer(
        fileManager, *tracker_,
        CoreDataManager::StoreConfiguration{std::string(Constants::appGroupIdentifier),
                                            storePath_.string()},
        secondary, [](bool) {}, [&](const Error& error) { loadFailure = error; });
    if (loadFailure) {
        storeProblem_ = localizedText("Cli.Error.Store.LoadFailed",
                                      {{"detail", loadFailure->localizedDescription()}});
        coreDataManager_.reset();
        return;
    }
    if (secondary) {
        // The merge is once per older store: the manager deletes it after copying its habits.
        coreDataManager_->mergeStoreContents([tracker = tracker_](std::optional<Error> error) {
            if (error) {
                tracker->trackError(*error);
            }
        });
    }
    // Other processes' saves (the command line, the widget, a reminder's Complete) reach the
    // list through the view context's merges.
    viewContext().setAutomaticallyMergesChangesFromParent(true);
}

void AppServices::openWidgetStore() {
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    if (!container) {
        storeProblem_ = localizedText("Cli.Error.Store.NoContainer",
                                      {{"folder", FileManager::dataHome().string()}});
        return;
    }
    storePath_ = *container / CoreDataManager::kWidgetStoreFileName;
    std::error_code status;
    if (!std::filesystem::exists(storePath_, status)) {
        // The application makes the store; until it has, there is nothing to show.
        storeMissing_ = true;
        storeProblem_ = localizedText("Widget.Empty.NoStore", {});
        return;
    }
    const std::vector<std::string> versions = {std::string(kHabitModelVersion1Identifier),
                                               std::string(kHabitModelVersion2Identifier)};
    if (const auto problem = checkStoreFile(storePath_, versions)) {
        storeProblem_ = storeFileProblemText(storePath_, *problem);
        return;
    }
    coreDataManager_ = std::make_shared<CoreDataManager>();
    coreDataManager_->initializePersistentContainer(FileManager(), *tracker_, [] {});
    if (!coreDataManager_->isReadyToUse()) {
        storeProblem_ = storeFileProblemText(
            storePath_,
            StoreFileProblem{StoreFileProblem::Kind::unreadable, "the store did not load"});
        coreDataManager_.reset();
    }
}

void AppServices::startReminders() {
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    const auto applicationStore = container ? *container / kStoreFileName : storePath_;
    try {
        if (storePath_ == applicationStore) {
            notificationCenter_ = notifications::UserNotificationCenter::forApplicationGroup(
                Constants::appGroupIdentifier);
        } else {
            // A store of its own keeps its reminders beside it; the switch for reminders stays
            // the user's one switch.
            notificationCenter_ = notifications::UserNotificationCenter::atPath(
                storePath_.parent_path() / notifications::UserNotificationCenter::kStoreFileName,
                UserDefaults(Constants::appGroupIdentifier).path());
        }
    } catch (const Error& error) {
        tracker_->trackError(error);
        return;
    }
    remindersScheduler_ = HabitRemindersScheduler::create(
        coreDataManager_, notificationCenter_, settings_,
        std::make_shared<IconBadgeService>(Constants::appGroupIdentifier), tracker_);
    if (mode_ == Mode::widget) {
        return;
    }
    notificationService_ =
        UserNotificationService::create(notificationCenter_, remindersScheduler_, coreDataManager_,
                                        remindersScheduler_->iconBadgeService(), tracker_);
    notificationService_->registerNotificationCategories();
    if (firstLaunch_) {
        notificationService_->requestAuthorization(DispatchQueue::main(), [](bool) {});
    }
}

store::ManagedObjectContext& AppServices::viewContext() const {
    return *coreDataManager_->viewContext();
}

void AppServices::habitsChanged() const {
    settings_->setNumberOfHabits(numberOfHabits(viewContext()));
    widgets::WidgetCenter::shared().reloadTimelines(Habit::kWidgetKind);
    if (remindersScheduler_) {
        remindersScheduler_->rescheduleRemindersForAllHabits({}, {});
    }
}

}  // namespace dovrel::app

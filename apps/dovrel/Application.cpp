#include "apps/dovrel/Application.h"

#include <atomic>
#include <chrono>
#include <string>

#include "DovrelFoundation/Analytics/ConsoleLoggingAnalyticsService.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/StorePreflight.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "DovrelFoundation/Reminders/IconBadgeService.h"
#include "DovrelFoundation/Reminders/UserNotificationService.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/Texts.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Logging.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/store/StoreError.h"
#include "platform/widgets/WidgetCenter.h"

namespace dovrel::cli {

namespace {

constexpr const char* kStoreFileName = "Habit.sqlite";

}  // namespace

Application::Application(const Options& options) {
    if (options.debug) {
        for (const char* logger : {CoreDataManager::kLoggerName, widgets::kWidgetsLoggerName}) {
            addLogDestination(logger, makeConsoleLogDestination());
        }
    }
    // Analytics go to the console with --debug only; otherwise nobody hears them.
    std::vector<std::shared_ptr<AnalyticsServiceProtocol>> analyticsServices;
    if (auto console = ConsoleLoggingAnalyticsService::make(options.debug)) {
        analyticsServices.push_back(std::move(console));
    }
    const bool analyticsAreHeard = !analyticsServices.empty();
    tracker_ = std::make_shared<AnalyticsTracker>(std::move(analyticsServices));

    // The application's store, or the file asked for. An absolute file name replaces the
    // container's folder when the manager joins the two, so the same configuration names either.
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    if (!container) {
        throw CommandError(
            text("Cli.Error.Store.NoContainer", {{"folder", FileManager::dataHome().string()}}));
    }
    storePath_ = options.storePath ? std::filesystem::absolute(*options.storePath)
                                   : *container / kStoreFileName;
    if (const auto problem =
            checkStoreFile(storePath_, {std::string(kHabitModelVersion1Identifier),
                                        std::string(kHabitModelVersion2Identifier)})) {
        throw CommandError(storeFileProblemText(storePath_, *problem));
    }

    coreDataManager_ = std::make_shared<CoreDataManager>();
    const FileManager fileManager;
    std::optional<Error> loadFailure;
    coreDataManager_->initializePersistentContainer(
        fileManager, *tracker_,
        CoreDataManager::StoreConfiguration{std::string(Constants::appGroupIdentifier),
                                            storePath_.string()},
        std::nullopt, [](bool) {}, [&](const Error& error) { loadFailure = error; });
    if (loadFailure) {
        // The file passed the check, yet does not load: a full disk, or a change meanwhile.
        throw CommandError(
            text("Cli.Error.Store.LoadFailed", {{"detail", loadFailure->localizedDescription()}}));
    }

    settings_ = std::make_shared<ApplicationSettingsService>(
        StaticRemoteConfigService::makeServiceWithDefaultValues(), coreDataManager_);
    if (!options.countsLaunch) {
        return;
    }
    settings_->handleAppLaunch();
    // The install date lives in the keychain (the Secret Service, over D-Bus): it is asked for
    // only when an analytics service will hear whether this first launch is an install or a
    // reinstall, so that a launch that only counts itself connects to nothing.
    if (settings_->isFirstAppLaunch() && analyticsAreHeard) {
        // The keychain's install date outlives the application's data: when it is there, this
        // first launch follows a reinstall.
        if (const auto installed = settings_->firstAppInstallDate()) {
            tracker_->trackAppReinstalled(*installed);
        } else {
            tracker_->trackAppInstalled();
        }
    }
}

Application::~Application() = default;

store::ManagedObjectContext& Application::context() const {
    return *coreDataManager_->viewContext();
}

std::vector<std::shared_ptr<Habit>> Application::habits() const {
    // Every habit is shown with its values: read them in the one query, not a fault each.
    return context().fetch(Habit::sortedFetchRequest(std::nullopt, false));
}

void Application::save(const std::function<void(store::ManagedObjectContext&)>& changes) const {
    bool finished = false;
    std::optional<Error> failure;
    // Another process may change the same habit meanwhile (the widget, a reminder's Complete,
    // another run): its change is read and `changes` applied again on top of it.
    performChangesRetryingOnConflict(
        context(), changes, [&] { finished = true; },
        [&](const Error& error) {
            failure = error;
            finished = true;
        });
    MainRunLoop::runUntil([&] { return finished; }, std::chrono::hours(1));
    if (failure) {
        if (store::StoreError::isBusy(*failure)) {
            throw CommandError(text("Store.Problem.Busy", {{"file", storePath_.string()}}));
        }
        throw CommandError(
            text("Cli.Error.SaveFailed", {{"detail", CoreDataManager::describeError(*failure)}}));
    }
    if (!finished) {
        throw CommandError(text("Cli.Error.SaveFailed", {{"detail", "timeout"}}));
    }
}

void Application::habitsChanged() const {
    settings_->setNumberOfHabits(numberOfHabits(context()));
    widgets::WidgetCenter::shared().reloadTimelines(Habit::kWidgetKind);
    rescheduleReminders();
}

notifications::UserNotificationCenter& Application::notificationCenter() const {
    if (!notificationCenter_) {
        const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
        const auto applicationStore = container ? *container / kStoreFileName : storePath_;
        try {
            if (storePath_ == applicationStore) {
                notificationCenter_ = notifications::UserNotificationCenter::forApplicationGroup(
                    Constants::appGroupIdentifier);
            } else {
                // The switch for reminders stays the user's one switch.
                notificationCenter_ = notifications::UserNotificationCenter::atPath(
                    storePath_.parent_path() /
                        notifications::UserNotificationCenter::kStoreFileName,
                    UserDefaults(Constants::appGroupIdentifier).path());
            }
        } catch (const Error& error) {
            throw CommandError(text("Cli.Error.Reminders.Unavailable",
                                    {{"detail", error.localizedDescription()}}));
        }
    }
    return *notificationCenter_;
}

HabitRemindersScheduler& Application::remindersScheduler() const {
    if (!remindersScheduler_) {
        notificationCenter();
        remindersScheduler_ = HabitRemindersScheduler::create(
            coreDataManager_, notificationCenter_, settings_,
            std::make_shared<IconBadgeService>(Constants::appGroupIdentifier), tracker_);
    }
    return *remindersScheduler_;
}

UserNotificationService& Application::notificationService() const {
    if (!notificationService_) {
        remindersScheduler();
        notificationService_ = UserNotificationService::create(
            notificationCenter_, remindersScheduler_, coreDataManager_,
            remindersScheduler_->iconBadgeService(), tracker_);
        notificationService_->registerNotificationCategories();
    }
    return *notificationService_;
}

void Application::rescheduleReminders() const {
    auto finished = std::make_shared<std::atomic<bool>>(false);
    remindersScheduler().rescheduleRemindersForAllHabits({}, [finished] { *finished = true; });
    waitUntil([&] { return finished->load(); });
}

void Application::waitUntil(const std::function<bool()>& finished) const {
    MainRunLoop::runUntil(finished, std::chrono::minutes(1));
    if (!finished()) {
        throw CommandError(text("Cli.Error.Reminders.Timeout"));
    }
}

}  // namespace dovrel::cli

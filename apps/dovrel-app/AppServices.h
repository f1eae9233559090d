#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Settings/ApplicationSettingsService.h"
#include "platform/notifications/UserNotificationCenter.h"

namespace dovrel {
class HabitRemindersScheduler;
class UserNotificationService;
}  // namespace dovrel

namespace dovrel::app {

// What the desktop application and its widget stand on, made once at start-up in the order they
// start. The application's way: the store (checked first, then opened the application's way,
// with the one-time merge of an older store when one is named), the remote configuration and
// the settings service with its launch bookkeeping, the analytics tracker (the console service
// in debug builds only), the reminder scheduler and the notification service with the reminder
// category registered. The widget's way (Mode::widget): the application group's own store, which
// the widget never makes (a missing file is a problem like a damaged one), opened the widget's
// way; the settings service without launch bookkeeping; the reminder scheduler, and no
// notification service (the reminders' answers are the daemon's and the application's).
//
// A store that cannot be opened does not stop the construction: storeProblem() then says why in
// a sentence that names the file, the file is left exactly as it was, and only the settings and
// the tracker exist. Main thread only.
class AppServices {
  public:
    enum class Mode { application, widget };

    struct Options {
        Mode mode = Mode::application;
        // The store file; nothing means "Habit.sqlite" in the application group's container
        // (always so for the widget).
        std::optional<std::filesystem::path> storePath;
        // An older store whose habits are merged into the store once, then removed.
        std::optional<std::filesystem::path> mergeFrom;
        // Counts this launch in the settings (false for tests that start many windows).
        bool countsLaunch = true;
        // Analytics services besides the console service of debug builds (tests record here).
        std::vector<std::shared_ptr<AnalyticsServiceProtocol>> analyticsServices;
    };

    explicit AppServices(const Options& options);
    ~AppServices();
    AppServices(const AppServices&) = delete;
    AppServices& operator=(const AppServices&) = delete;

    const std::filesystem::path& storePath() const noexcept { return storePath_; }
    // Why the store could not be opened, for the user; nothing when it is open.
    // storeIsMissing() tells the widget's calm "nothing yet" apart from a real problem.
    const std::optional<std::string>& storeProblem() const noexcept { return storeProblem_; }
    bool hasStore() const noexcept { return !storeProblem_; }
    bool storeIsMissing() const noexcept { return storeMissing_; }

    // Only with a store.
    CoreDataManager& coreDataManager() const { return *coreDataManager_; }
    store::ManagedObjectContext& viewContext() const;
    HabitRemindersScheduler& remindersScheduler() const { return *remindersScheduler_; }
    UserNotificationService& notificationService() const { return *notificationService_; }
    // Whether the reminders' center could be opened (with a store only).
    bool notificationCenterReady() const noexcept { return notificationCenter_ != nullptr; }
    notifications::UserNotificationCenter& notificationCenter() const {
        return *notificationCenter_;
    }

    AnalyticsTracker& tracker() const noexcept { return *tracker_; }
    ApplicationSettingsService& settings() const noexcept { return *settings_; }
    // Whether this launch was the first one (onboarding and the authorization request).
    bool isFirstLaunch() const noexcept { return firstLaunch_; }

    // After a change of habits: the settings' number of habits, the widget's reload and a
    // rescheduling of every reminder (which runs in the background).
    void habitsChanged() const;

  private:
    void openStore(const Options& options);
    void openWidgetStore();
    void startReminders();

    std::filesystem::path storePath_;
    std::optional<std::string> storeProblem_;
    std::shared_ptr<AnalyticsTracker> tracker_;
    std::shared_ptr<CoreDataManager> coreDataManager_;
    std::shared_ptr<ApplicationSettingsService> settings_;
    std::shared_ptr<notifications::UserNotificationCenter> notificationCenter_;
    std::shared_ptr<HabitRemindersScheduler> remindersScheduler_;
    std::shared_ptr<UserNotificationService> notificationService_;
    bool firstLaunch_ = false;
    bool storeMissing_ = false;
    Mode mode_ = Mode::application;
};

}  // namespace dovrel::app

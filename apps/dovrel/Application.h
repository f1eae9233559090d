#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Settings/ApplicationSettingsService.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "platform/store/ManagedObjectContext.h"

namespace dovrel {
class HabitRemindersScheduler;
class UserNotificationService;
}  // namespace dovrel

namespace dovrel::cli {

// What a run of the program that works on habits stands on, made once per run in the order the
// application starts: the analytics tracker, the store, the settings service with its launch
// bookkeeping.
//
// The store is the application's primary store, "Habit.sqlite" in the application group's
// container under $XDG_DATA_HOME, or the file that `storePath` names. Before the store library
// opens it, the file is checked (StorePreflight.h): a file that cannot be the store ends the
// construction with a CommandError that names the file and the reason, and the file is left as
// it was.
//
// With `debug`, the analytics events, the store's console lines and the widget signals are
// logged on standard error; otherwise nothing is logged.
class Application {
  public:
    struct Options {
        std::optional<std::filesystem::path> storePath;
        bool debug = false;
        // False for a run that only looks (shell completion): the launch is not counted and no
        // install is reported.
        bool countsLaunch = true;
    };

    explicit Application(const Options& options);
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    // The store file in use.
    const std::filesystem::path& storePath() const noexcept { return storePath_; }

    // The view context of the store (this thread's).
    store::ManagedObjectContext& context() const;
    AnalyticsTracker& tracker() const noexcept { return *tracker_; }
    ApplicationSettingsService& settings() const noexcept { return *settings_; }
    CoreDataManager& coreDataManager() const noexcept { return *coreDataManager_; }

    // Every habit, in list order (oldest first).
    std::vector<std::shared_ptr<Habit>> habits() const;

    // Applies `changes` to the view context and saves it, waiting for the save. When another
    // process changed one of the same objects meanwhile, the context reads them again and
    // `changes` runs again (performChangesRetryingOnConflict), so it must work from the objects'
    // current state. On a failed save the context is rolled back and a CommandError carries the
    // save's error (or says that another program holds the store).
    void save(const std::function<void(store::ManagedObjectContext&)>& changes) const;

    // Asks the widgets to show the store's new state, as the library does after its own changes,
    // keeps the settings' number of habits (which the widget reads) up to date, and reschedules
    // the reminders (rescheduleReminders()).
    void habitsChanged() const;

    // The reminders, made on first use, so that a command that does not touch them opens
    // nothing: the notification center of the store (the application group's center for the
    // application's store; for a store named with --store, a center in the same folder, so that
    // looking into another store never replaces the application's reminders), the scheduler,
    // and the notification service that answers reminders as their buttons do (the center's
    // delegate, with the reminder category registered).
    notifications::UserNotificationCenter& notificationCenter() const;
    HabitRemindersScheduler& remindersScheduler() const;
    UserNotificationService& notificationService() const;

    // A full rescheduling of the reminders of every habit, as the application asks for after a
    // change; returns when it has finished.
    void rescheduleReminders() const;

    // Runs the main queue (where the view context's work and some completions run) until
    // `finished` answers true. A CommandError when that takes more than a minute.
    void waitUntil(const std::function<bool()>& finished) const;

  private:
    std::filesystem::path storePath_;
    std::shared_ptr<AnalyticsTracker> tracker_;
    std::shared_ptr<CoreDataManager> coreDataManager_;
    std::shared_ptr<ApplicationSettingsService> settings_;
    mutable std::shared_ptr<notifications::UserNotificationCenter> notificationCenter_;
    mutable std::shared_ptr<HabitRemindersScheduler> remindersScheduler_;
    mutable std::shared_ptr<UserNotificationService> notificationService_;
};

}  // namespace dovrel::cli

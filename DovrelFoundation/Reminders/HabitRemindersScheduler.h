#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Reminders/HabitsReschedulingStack.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Region.h"
#include "platform/notifications/NotificationRequest.h"
#include "platform/notifications/UserNotificationCenter.h"

namespace dovrel {

class AnalyticsTrackerProtocol;
class ApplicationSettingsServiceProtocol;
class CoreDataManager;
class Habit;
class IconBadgeServiceProtocol;
class NextReminderBatch;

// Turns the stored habits into pending reminders of the notification center.
//
// A full rescheduling (rescheduleRemindersForAllHabits) removes every pending calendar reminder
// (and the postponed reminders of the habits it is told to clean), reads every habit on a fresh
// background context, and adds the earliest maximumNumberOfNotifications() reminders of all
// reminding habits together: each habit's next reminder and the same time on the two following
// calendar days, earliest first (equal dates keep the habits' fetch order), numbered 1, 2, 3...
// as their badges, each with a non-repeating calendar trigger on the year, month, day, hour and
// minute of its date in calendar() (seconds dropped). The removals and the additions are one
// replacement in the center (replacePendingNotificationRequests), so that two processes
// rescheduling at once leave the complete set of one of them, never both or a mix; when the
// fetch fails, the removals alone are made. Full reschedulings go through
// habitsReschedulingStack(), so that one runs at a time and requests that come meanwhile are
// merged into one next run.
//
// A postponed reminder (scheduleReminder) is one extra request with a time-interval trigger and
// no badge; it stays pending across full reschedulings until a rescheduling names its habit in
// its cleaning list, or until it fires.
//
// Every reminder has a new random UUID as identifier, the habit's name as title, its question as
// body (the localised "Did you do it today?" when it has none), the default sound, the category
// kHabitReminderCategoryIdentifier and the user info of HabitReminderIdentifiers.h.
//
// Ownership: made by create(), owned by a std::shared_ptr. Every asynchronous callback holds the
// scheduler weakly: work still under way when the scheduler goes is dropped, and its completion
// is not called.
//
// Threads: both operations may be called from any thread (scheduleReminder where `habit` may be
// used: its context's queue). The rescheduling work runs on the center's callback queue and reads
// the habits on a new background context; only value snapshots leave that context. Errors of the
// fetch and of adding requests go to the tracker's trackError, never retried; a fetch error is
// reported from the main queue.
class HabitRemindersScheduler : public std::enable_shared_from_this<HabitRemindersScheduler> {
  public:
    // How many calendar reminders may be pending at once, for all habits together.
    static constexpr std::size_t kMaximumNumberOfNotifications = 32;
    // How many days of reminders each habit contributes: its next reminder and the following days.
    static constexpr int kReminderDaysPerHabit = 3;
    // The body of a reminder whose habit has no question (a localisation key).
    static constexpr const char* kDefaultBodyKey = "Did you do it today?";

    // The scheduler over these collaborators. `calendar` is the current region (calendar, time
    // zone, locale) at the moment of the call, kept for the scheduler's lifetime.
    // `coreDataManager`, `userNotificationCenter` and `analyticsTracker` must not be null;
    // `iconBadgeService` may be (it is held for the application, not used here), and so may
    // `appSettingsService`.
    static std::shared_ptr<HabitRemindersScheduler> create(
        std::shared_ptr<CoreDataManager> coreDataManager,
        std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter,
        std::shared_ptr<ApplicationSettingsServiceProtocol> appSettingsService,
        std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
        std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker,
        FileManager fileManager = FileManager());

    HabitRemindersScheduler(const HabitRemindersScheduler&) = delete;
    HabitRemindersScheduler& operator=(const HabitRemindersScheduler&) = delete;

    // Asks for a full rescheduling and returns at once. `cleaningPostponedNotificationsWith`
    // names habits (by URI representation) whose postponed reminders are removed as well.
    // `completion`, when given, runs once the rescheduling that covers this request has finished,
    // on the rescheduling stack's serial queue (after the completions of earlier requests).
    void rescheduleRemindersForAllHabits(
        std::vector<std::string> cleaningPostponedNotificationsWith,
        std::function<void()> completion);

    // Adds one reminder of `habit`, due `after` seconds from now (positive: the center refuses
    // anything else), carrying `firstNotificationDate` (the first reminder of the chain that the
    // user postpones) and no badge. `completion`, when given, runs on the main queue once the
    // center has taken the request (whether or not adding it failed). A habit without a name
    // schedules nothing and `completion` is not called. Call it where `habit` may be used.
    void scheduleReminder(const Habit& habit, TimeInterval after,
                          std::optional<Date> firstNotificationDate,
                          std::function<void()> completion);

    // The rescheduling stack, made on first use (with its own serial queue).
    std::shared_ptr<HabitsReschedulingStack> habitsReschedulingStack();

    std::size_t maximumNumberOfNotifications() const noexcept {
        return kMaximumNumberOfNotifications;
    }
    const std::shared_ptr<CoreDataManager>& coreDataManager() const noexcept {
        return coreDataManager_;
    }
    const std::shared_ptr<notifications::UserNotificationCenter>& userNotificationCenter()
        const noexcept {
        return userNotificationCenter_;
    }
    const std::shared_ptr<ApplicationSettingsServiceProtocol>& appSettingsService() const noexcept {
        return appSettingsService_;
    }
    const std::shared_ptr<IconBadgeServiceProtocol>& iconBadgeService() const noexcept {
        return iconBadgeService_;
    }
    const std::shared_ptr<AnalyticsTrackerProtocol>& analyticsTracker() const noexcept {
        return analyticsTracker_;
    }
    // The region in which reminder dates are cut into trigger components.
    const Region& calendar() const noexcept { return calendar_; }
    const FileManager& fileManager() const noexcept { return fileManager_; }

  private:
    struct HabitProjectionForReminder;

    HabitRemindersScheduler(std::shared_ptr<CoreDataManager> coreDataManager,
                            std::shared_ptr<notifications::UserNotificationCenter> center,
                            std::shared_ptr<ApplicationSettingsServiceProtocol> appSettingsService,
                            std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
                            std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker,
                            FileManager fileManager);

    // The snapshot of a habit, or nothing when it has no name. On the habit's queue.
    static std::optional<HabitProjectionForReminder> projection(const Habit& habit,
                                                                NextReminderBatch& nextReminders);

    // The stack's work: fetch, then removal and scheduling in one replacement of the center's
    // pending requests, ending with `done`.
    void reschedule(const std::vector<std::string>& habitURIRepresentations,
                    std::function<void()> done);
    // Reads every reminding habit with a name, in fetch order; throws the fetch's Error.
    std::vector<HabitProjectionForReminder> fetchProjections();
    // The requests of the earliest occurrences of the projections, numbered 1, 2, 3, ...
    std::vector<notifications::NotificationRequest> requestsFor(
        const std::vector<HabitProjectionForReminder>& projections) const;

    notifications::NotificationRequest makeRequest(const HabitProjectionForReminder& projection,
                                                   notifications::NotificationTrigger trigger,
                                                   Date currentNotificationDate,
                                                   std::optional<Date> firstNotificationDate,
                                                   std::optional<std::int64_t> badge) const;

    const std::shared_ptr<CoreDataManager> coreDataManager_;
    const std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter_;
    const std::shared_ptr<ApplicationSettingsServiceProtocol> appSettingsService_;
    const std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService_;
    const std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker_;
    const Region calendar_;
    const FileManager fileManager_;

    std::mutex stackMutex_;
    std::shared_ptr<HabitsReschedulingStack> habitsReschedulingStack_;
};

}  // namespace dovrel

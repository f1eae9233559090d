#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/Date.h"
#include "platform/notifications/NotificationAuthorization.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "platform/notifications/UserNotificationCenterDelegate.h"

namespace dovrel {

class AnalyticsTrackerProtocol;
class CoreDataManager;
class Habit;
class HabitRemindersScheduler;
class IconBadgeServiceProtocol;

// The delegate of the notification center for habit reminders: asks for permission, registers
// the reminder category with its four actions (HabitReminderIdentifiers.h), shows reminders in
// front with sound and alert, and handles the user's answers.
//
// Answers (didReceive). A notification of another category, or an answer that is not one of the
// four actions (a click on the notification, a dismissal), is completed at once and nothing else
// happens. Otherwise the habit named by the reminder's "habitURIRepresentation" is loaded from
// the view context (a reminder of a habit that is gone is completed without more; a failed load
// goes to trackError), the answer is tracked (trackNotificationAction) and then:
//  - a postpone action schedules one reminder of the habit 300, 3600 or 14400 seconds later
//    through the scheduler, carrying the chain's "firstNotificationDate", and completes once the
//    center has taken it (on the main queue);
//  - Complete toggles the habit's checkmark of the day of the chain's first reminder (or of
//    today when the reminder does not say), on the habit's own context, and saves; a save
//    conflicting with another process's write of the habit is retried from the stored state
//    (performChangesRetryingOnConflict). After the save: trackToggleCheckmark from the rich
//    notification, the icon badge lowered by one (a badge at the smallest 64-bit number stops
//    the process with "Arithmetic overflow: the icon badge number cannot be decreased"), and one
//    full rescheduling with an empty cleaning list, requested on the scheduler's rescheduling
//    stack, whose completion completes the answer. A save that fails is rolled back and the
//    answer is completed.
// The completion handler is called exactly once on every path.
//
// Ownership: made by create(), which makes the new service the center's delegate (the center
// holds it weakly, so the caller keeps the returned pointer). Asynchronous callbacks hold the
// service weakly: authorization answers that come after it has gone are dropped, and an answer
// still being handled then is completed without further work.
//
// Threads: the center calls the delegate operations on its callback queue. The view context
// belongs to the main queue, so the work of an answer moves there (and so needs the main run
// loop to be driven); the rescheduling runs on the stack's queue. Authorization completions run
// on the queue that the caller names.
class UserNotificationService final : public notifications::UserNotificationCenterDelegate,
                                      public std::enable_shared_from_this<UserNotificationService> {
  public:
    // The fatal message of a badge that cannot go one lower.
    static constexpr const char* kBadgeOverflowMessage =
        "Arithmetic overflow: the icon badge number cannot be decreased";

    // The service, already the delegate of `userNotificationCenter`. Only `iconBadgeService` may
    // be null. registerNotificationCategories() is left to the application.
    static std::shared_ptr<UserNotificationService> create(
        std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter,
        std::shared_ptr<HabitRemindersScheduler> habitRemindersScheduler,
        std::shared_ptr<CoreDataManager> coreDataManager,
        std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
        std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker);

    UserNotificationService(const UserNotificationService&) = delete;
    UserNotificationService& operator=(const UserNotificationService&) = delete;

    // Authorization with badge, sound, alert and provisional (raw value 71), reported on the main
    // queue with no completion of the caller's.
    void requestProvisionalAuthorization();
    // Authorization with `options`. The answer goes to trackNotificationsAllowed, an error to
    // trackError, and then `completion` (when given) receives the granted flag on `queue`.
    void requestAuthorization(DispatchQueue queue, notifications::AuthorizationOptions options,
                              std::function<void(bool)> completion);
    // The same with badge, sound and alert (raw value 7).
    void requestAuthorization(DispatchQueue queue, std::function<void(bool)> completion);
    // The center's authorization status, handed to `completion` on `queue`.
    void getCurrentAuthorizationStatus(
        DispatchQueue queue, std::function<void(notifications::AuthorizationStatus)> completion);

    // Registers the one category kHabitReminderCategoryIdentifier with the four actions in order,
    // each titled with the localised text of its identifier, without options; it replaces every
    // category registered before.
    void registerNotificationCategories();

    // Always sound and alert (raw value 6).
    void willPresent(
        notifications::UserNotificationCenter& center,
        const notifications::Notification& notification,
        std::function<void(notifications::PresentationOptions)> completionHandler) override;
    // See the class comment.
    void didReceive(notifications::UserNotificationCenter& center,
                    const notifications::NotificationResponse& response,
                    std::function<void()> completionHandler) override;

    const std::shared_ptr<notifications::UserNotificationCenter>& userNotificationCenter()
        const noexcept {
        return userNotificationCenter_;
    }
    const std::shared_ptr<HabitRemindersScheduler>& habitRemindersScheduler() const noexcept {
        return habitRemindersScheduler_;
    }
    const std::shared_ptr<CoreDataManager>& coreDataManager() const noexcept {
        return coreDataManager_;
    }
    const std::shared_ptr<IconBadgeServiceProtocol>& iconBadgeService() const noexcept {
        return iconBadgeService_;
    }
    const std::shared_ptr<AnalyticsTrackerProtocol>& analyticsTracker() const noexcept {
        return analyticsTracker_;
    }

  private:
    UserNotificationService(
        std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter,
        std::shared_ptr<HabitRemindersScheduler> habitRemindersScheduler,
        std::shared_ptr<CoreDataManager> coreDataManager,
        std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
        std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker);

    // The answer's work on the view context's queue, once the action is known.
    void handleAction(const notifications::NotificationResponse& response,
                      const std::string& actionIdentifier, std::function<void()> completionHandler);
    void complete(const std::shared_ptr<Habit>& habit, Date checkmarkDay,
                  std::function<void()> completionHandler);

    const std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter_;
    const std::shared_ptr<HabitRemindersScheduler> habitRemindersScheduler_;
    const std::shared_ptr<CoreDataManager> coreDataManager_;
    const std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService_;
    const std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker_;
};

// The regularity text of a habit for analytics: "<times>/<days>" ("3/7"), or
// "no repeatInterval" for a habit without a repeat interval.
std::string habitRegularity(const Habit& habit);

}  // namespace dovrel

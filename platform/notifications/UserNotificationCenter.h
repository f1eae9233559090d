#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/notifications/NotificationAuthorization.h"
#include "platform/notifications/NotificationCategory.h"
#include "platform/notifications/NotificationRequest.h"
#include "platform/notifications/NotificationResponse.h"
#include "platform/notifications/UserNotificationCenterDelegate.h"

namespace dovrel::notifications {

// The notification center of an application group: the pending requests, the delivered
// notifications and the registered categories of every process of the group.
//
// Storage. Everything lives in one SQLite file in the group's shared container
// (kStoreFileName, created 0600), opened by every process of the group at once: the command
// line, the reminder daemon, the application and the widget. Every operation is one
// transaction that waits for the file's lock (never "database is locked"), so a request is
// either wholly there or not, and two processes adding and removing at once lose nothing. The
// center reads the file anew at every operation; nothing is cached between calls.
//
// Delivery. The center shows nothing by itself. Whoever shows notifications (the reminder
// daemon, `dovrel reminders deliver`) calls deliverDueRequests() when a trigger date comes and
// respond() when the user answers.
//
// Authorization. The desktop asks the user nothing: a request for authorization is granted
// unless the user has switched reminders off in the group's defaults (kRemindersEnabledKey,
// false), and the status is denied while they are off. Requests may be added while reminders
// are off; deliverDueRequests() then drops what is due without delivering it.
//
// Threads. Every operation may be called from any thread. Completions run on the center's own
// serial callback queue (callbackQueue()), never on the main queue and never before the
// operation has returned; the delegate is called there too. Operations that report failure pass
// std::optional<Error>; the synchronous reads throw dovrel::Error.
class UserNotificationCenter : public std::enable_shared_from_this<UserNotificationCenter> {
  public:
    // The center's file in the group's container.
    static constexpr const char* kStoreFileName = "Notifications.sqlite";
    // Key, in the group's user-defaults suite, of a Boolean: false while the user has switched
    // reminders off. Absent means on.
    static constexpr const char* kRemindersEnabledKey = "remindersEnabled";
    // Key, in the group's user-defaults suite, of a Boolean: true once authorization was asked.
    static constexpr const char* kAuthorizationRequestedKey = "notificationAuthorizationRequested";
    // The errors of the center.
    static constexpr const char* kErrorDomain = "UserNotificationCenter";

    // The center of the application group `groupIdentifier` (file in
    // FileManager::containerURL(groupIdentifier), defaults in the suite of that name). A group
    // without a container throws Error.
    static std::shared_ptr<UserNotificationCenter> forApplicationGroup(
        std::string_view groupIdentifier);
    // A center over an explicit file and defaults suite file, for tests and tools.
    static std::shared_ptr<UserNotificationCenter> atPath(
        const std::filesystem::path& storeFile, const std::filesystem::path& defaultsFile);

    ~UserNotificationCenter();
    UserNotificationCenter(const UserNotificationCenter&) = delete;
    UserNotificationCenter& operator=(const UserNotificationCenter&) = delete;

    const std::filesystem::path& storePath() const noexcept;

    // The queue on which completions and the delegate run.
    DispatchQueue callbackQueue() const;

    // The delegate, held weakly: when it is gone, answers are completed without it.
    void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate);
    std::shared_ptr<UserNotificationCenterDelegate> delegate() const;

    // Authorization (see above). `completion` receives granted and an error, if any.
    void requestAuthorization(AuthorizationOptions options,
                              std::function<void(bool, std::optional<Error>)> completion);
    void getNotificationSettings(std::function<void(NotificationSettings)> completion);
    // Whether reminders are on (kRemindersEnabledKey), and switching them; switching throws Error
    // when the defaults cannot be written.
    bool remindersEnabled() const;
    void setRemindersEnabled(bool enabled);

    // Categories: the set replaces every category registered before, for the whole group.
    void setNotificationCategories(const std::vector<NotificationCategory>& categories);
    void getNotificationCategories(
        std::function<void(std::vector<NotificationCategory>)> completion);
    std::vector<NotificationCategory> notificationCategories() const;

    // Adds `request` to the pending requests (replacing a pending one with the same identifier),
    // fixing a time-interval trigger's fire date now. `completion`, when given, receives the
    // error of a failed write.
    void add(const NotificationRequest& request,
             std::function<void(std::optional<Error>)> completion = nullptr);

    // Adds several requests in one transaction, in their order: all of them, or none when the
    // write fails (`completion` then receives its error).
    void add(const std::vector<NotificationRequest>& requests,
             std::function<void(std::optional<Error>)> completion = nullptr);

    // In one transaction, removes every pending request for which `removing` answers true and
    // adds `requests` as add() does. Another process sees the pending requests before or after
    // the whole replacement, never between its removals and its additions, so two processes
    // replacing the same kind of requests at once leave the requests of one of them, not both.
    // `removing` is called inside the transaction, possibly more than once (the transaction runs
    // again after waiting for another process), so it must only look at the request it is
    // given; damaged rows are never given to it and stay. `completion` receives the identifiers
    // removed, or the error of a failed write (and then nothing changed).
    void replacePendingNotificationRequests(
        std::function<bool(const NotificationRequest&)> removing,
        const std::vector<NotificationRequest>& requests,
        std::function<void(std::vector<std::string>, std::optional<Error>)> completion = nullptr);
    // The same, synchronously: returns the identifiers removed; throws Error when the write
    // fails (and then nothing changed).
    std::vector<std::string> replacePendingRequests(
        const std::function<bool(const NotificationRequest&)>& removing,
        const std::vector<NotificationRequest>& requests);

    // The pending requests, in the order they were added.
    void getPendingNotificationRequests(
        std::function<void(std::vector<NotificationRequest>)> completion);
    // The same, synchronously, with each request's trigger date; throws Error on failure.
    std::vector<PendingNotificationRequest> pendingRequests() const;
    // The earliest trigger date of the pending requests, or nothing when none is pending.
    std::optional<Date> nextTriggerDate() const;

    // Removes the pending requests with these identifiers (unknown ones are ignored). These
    // removals, and setNotificationCategories, report a failed write to the "notifications"
    // logger only.
    void removePendingNotificationRequests(const std::vector<std::string>& identifiers);
    void removeAllPendingNotificationRequests();

    // The delivered notifications, in the order they were delivered.
    void getDeliveredNotifications(std::function<void(std::vector<Notification>)> completion);
    std::vector<Notification> deliveredNotifications() const;
    void removeDeliveredNotifications(const std::vector<std::string>& identifiers);
    void removeAllDeliveredNotifications();

    // Moves every pending request whose trigger date is at or before `now` to the delivered
    // notifications (dated with its trigger date), in trigger-date order, and returns them.
    // A repeating request stays pending with its next trigger date (the first after `now`: dates
    // missed meanwhile are delivered once). Two processes delivering at once deliver each request
    // once. While reminders are off, due requests are removed (a repeating one skips to its next
    // date) and nothing is delivered. Throws Error when the file cannot be read or written; the
    // file is then as it was.
    std::vector<Notification> deliverDueRequests(Date now);

    // Hands the user's answer to the delegate on the callback queue and calls `completion` once
    // the delegate has called its completion handler (at once when there is no delegate). The
    // answered notification is removed from the delivered notifications and, when it is still
    // pending and does not repeat, from the pending requests, before the delegate is called. A
    // second call of the delegate's completion handler is ignored and logged.
    void respond(const NotificationResponse& response, std::function<void()> completion = nullptr);

    // Asks the delegate how to show `notification` in front; `completion` receives its answer
    // (nothing when there is no delegate).
    void willPresent(const Notification& notification,
                     std::function<void(std::optional<PresentationOptions>)> completion);

  private:
    struct Implementation;
    explicit UserNotificationCenter(std::unique_ptr<Implementation> implementation);
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace dovrel::notifications

#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Date.h"
#include "platform/notifications/NotificationContent.h"
#include "platform/notifications/NotificationTrigger.h"

namespace dovrel::notifications {

// A notification to be shown when its trigger fires. Adding a request whose identifier is
// already pending replaces the pending one.
struct NotificationRequest {
    std::string identifier;
    NotificationContent content;
    std::optional<NotificationTrigger> trigger;

    friend bool operator==(const NotificationRequest&, const NotificationRequest&) = default;
};

// A request that is pending in the center, with the date on which it is next due: for a
// time-interval trigger the date fixed when it was added; for a calendar trigger the first
// matching instant after it was added (or after it last fired, when it repeats), recomputed in
// the current time zone whenever it is read; for no trigger, the date it was added.
struct PendingNotificationRequest {
    NotificationRequest request;
    Date addedDate;
    std::optional<Date> triggerDate;

    friend bool operator==(const PendingNotificationRequest&,
                           const PendingNotificationRequest&) = default;
};

// A notification that has been delivered: the request and the date on which it was delivered.
struct Notification {
    Date date;
    NotificationRequest request;

    friend bool operator==(const Notification&, const Notification&) = default;
};

}  // namespace dovrel::notifications

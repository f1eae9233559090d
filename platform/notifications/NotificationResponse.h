#pragma once

#include <string>

#include "platform/notifications/NotificationRequest.h"

namespace dovrel::notifications {

// The user's answer to a delivered notification: which notification and which action. The
// action identifier is one of the category's actions, or one of the two identifiers below.
struct NotificationResponse {
    // The notification itself was clicked (not one of its buttons).
    static constexpr const char* kDefaultActionIdentifier = "UNNotificationDefaultActionIdentifier";
    // The notification was closed without an answer.
    static constexpr const char* kDismissActionIdentifier = "UNNotificationDismissActionIdentifier";

    Notification notification;
    std::string actionIdentifier;

    friend bool operator==(const NotificationResponse&, const NotificationResponse&) = default;
};

}  // namespace dovrel::notifications

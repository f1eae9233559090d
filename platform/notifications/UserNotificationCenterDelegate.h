#pragma once

#include <functional>

#include "platform/notifications/NotificationAuthorization.h"
#include "platform/notifications/NotificationRequest.h"
#include "platform/notifications/NotificationResponse.h"

namespace dovrel::notifications {

class UserNotificationCenter;

// The object that decides how notifications are shown in front and handles the user's answers.
// The center calls it on its callback queue. Each operation must call its completion handler
// exactly once, from any thread, possibly later.
class UserNotificationCenterDelegate {
  public:
    virtual ~UserNotificationCenterDelegate() = default;

    // A notification is due while the program is in front: answer how to show it.
    virtual void willPresent(UserNotificationCenter& center, const Notification& notification,
                             std::function<void(PresentationOptions)> completionHandler) = 0;

    // The user answered a notification.
    virtual void didReceive(UserNotificationCenter& center, const NotificationResponse& response,
                            std::function<void()> completionHandler) = 0;
};

}  // namespace dovrel::notifications

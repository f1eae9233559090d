#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/notifications/NotificationRequest.h"

namespace dovrel::notifyd {

// The reminders to drop before catching up on reminders missed while nothing delivered them
// (the machine was off or asleep, the daemon was not running, no notification server was
// there): of the requests due at `now`, every one of a habit that has a later due request. So
// each habit is reminded once, with the latest of its missed reminders (its badge and user info).
// Requests without a habit (no "habitURIRepresentation" text) are never dropped; of two due at
// the same date, the one added later is kept.
std::set<std::string> olderMissedReminders(
    const std::vector<notifications::PendingNotificationRequest>& pending, Date now);

}  // namespace dovrel::notifyd

#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"
#include "platform/notifications/NotificationRequest.h"

namespace dovrel::cli {

// One reminder as the reminder commands show it: a pending request with its trigger date, or a
// delivered notification with its delivery date, and the name of the habit it reminds of (read
// from the store by the URI in its user info; nothing when the habit is gone).
struct ReminderReport {
    notifications::NotificationRequest request;
    std::optional<Date> date;
    std::optional<std::string> habitName;
};

// The JSON of `reminders --json` and `reminders delivered --json`, an interface that scripts
// rely on: an array of objects with exactly these keys, in this order:
//   "identifier"               text
//   "date"                     the trigger (or delivery) date, or null
//   "kind"                     "calendar" or "interval" (null for a request without a trigger)
//   "habit"                    the habit's name, or null
//   "uri"                      the habit URI of the user info, or null
//   "title", "body"            texts
//   "badge"                    integer or null
//   "category"                 text
//   "firstNotificationDate"    date or null
//   "currentNotificationDate"  date or null
// Dates are ISO 8601 local times with the zone's offset in `region`.
nlohmann::ordered_json reminderListJson(const std::vector<ReminderReport>& reminders,
                                        const Region& region);

// The text lines of the same list: one line per reminder with its local date and time, the
// habit, the body, and its badge number or "postponed"; a sentence when the list is empty.
std::vector<std::string> reminderListLines(const std::vector<ReminderReport>& reminders,
                                           const Region& region, const std::string& emptyText);

// "calendar", "interval", or nothing for a request without a trigger.
std::optional<std::string> triggerKindName(const notifications::NotificationRequest& request);

}  // namespace dovrel::cli

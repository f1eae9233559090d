#pragma once

#include <optional>

#include "DovrelFoundation/RawStringEnumeration.h"
#include "platform/foundation/Date.h"

namespace dovrel {

// The texts that tie a habit reminder to its handling: the category whose actions every reminder
// offers and the user-info keys that every reminder carries. The scheduler writes them, the
// notification service reads them; other processes (the reminder daemon, the command line) see
// the same texts through the notification center's file.

// The categoryIdentifier of every habit reminder.
inline constexpr const char* kHabitReminderCategoryIdentifier =
    "HabitReminder.NotificationCategoryIdentifier";
// User info, text: the URI representation (absolute string) of the habit's object identifier.
inline constexpr const char* kHabitURIRepresentationKey = "habitURIRepresentation";
// User info, date: when the first reminder of this chain was due; absent when unknown.
inline constexpr const char* kFirstNotificationDateKey = "firstNotificationDate";
// User info, date: when this very reminder was due.
inline constexpr const char* kCurrentNotificationDateKey = "currentNotificationDate";

// The four actions of a habit reminder, in the order they are offered. The raw text is the
// action's identifier and also the key of its localised title. An identifier that is none of
// them (a click on the notification itself, a dismissal) is "no action": fromRawValue answers
// nothing.
class HabitReminderAction {
  public:
    enum class Case {
        complete,
        postponeFor5Minutes,
        postponeFor1Hour,
        postponeFor4Hours,
    };
    DOVREL_RAW_STRING_ENUMERATION(HabitReminderAction, 4)

    // How far a postpone action moves the reminder: 300, 3600 or 14400 seconds; nothing for
    // complete.
    std::optional<TimeInterval> postponeInterval() const noexcept;
};

}  // namespace dovrel

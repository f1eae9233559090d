#pragma once

#include <optional>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/RawStringEnumeration.h"

namespace dovrel {

// Where a checkmark toggle happened. Raw texts equal the case names ("habitsListScreen").
class EventSource {
  public:
    enum class Case {
        habitsListScreen,
        habitDetailsScreen,
        addHabitScreen,
        editHabitScreen,
        todayWidget,
        richNotification,
    };
    DOVREL_RAW_STRING_ENUMERATION(EventSource, 6)

    // The event that reports a toggle from this source: "main_screen_habit_toggle_checkmark" for
    // habitsListScreen, "detail_screen_habit_toggle_checkmark" for habitDetailsScreen,
    // "today_widget_habit_toggle_checkmark" for todayWidget and
    // "rich_notification_habit_toggle_checkmark" for richNotification. The add and edit screens
    // have none (a toggle reported from them is a caller's mistake; see the tracker).
    std::optional<AnalyticsEvents::MainApp::ToggleCheckmark> toggleCheckmarkEvent() const noexcept;
};

}  // namespace dovrel

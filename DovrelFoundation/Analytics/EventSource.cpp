#include "DovrelFoundation/Analytics/EventSource.h"

#include "DovrelFoundation/RawStringEnumerationTables.h"

namespace dovrel {

namespace {

constexpr std::array<std::string_view, 6> kEventSource{
    "habitsListScreen", "habitDetailsScreen", "addHabitScreen",
    "editHabitScreen",  "todayWidget",        "richNotification",
};

}  // namespace

DOVREL_DEFINE_RAW_STRING_ENUMERATION(EventSource, kEventSource)

std::optional<AnalyticsEvents::MainApp::ToggleCheckmark> EventSource::toggleCheckmarkEvent()
    const noexcept {
    using ToggleCheckmark = AnalyticsEvents::MainApp::ToggleCheckmark;
    switch (value_) {
        case habitsListScreen:
            return ToggleCheckmark::main_screen_habit_toggle_checkmark;
        case habitDetailsScreen:
            return ToggleCheckmark::detail_screen_habit_toggle_checkmark;
        case todayWidget:
            return ToggleCheckmark::today_widget_habit_toggle_checkmark;
        case richNotification:
            return ToggleCheckmark::rich_notification_habit_toggle_checkmark;
        case addHabitScreen:
        case editHabitScreen:
            break;
    }
    return std::nullopt;
}

}  // namespace dovrel

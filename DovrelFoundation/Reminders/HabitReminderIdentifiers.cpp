#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"

#include "DovrelFoundation/RawStringEnumerationTables.h"

namespace dovrel {

namespace {

constexpr std::array<std::string_view, 4> kHabitReminderAction{
    "HabitReminder.Complete",
    "HabitReminder.PostponeFor5Minutes",
    "HabitReminder.PostponeFor1Hour",
    "HabitReminder.PostponeFor4Hours",
};

}  // namespace

DOVREL_DEFINE_RAW_STRING_ENUMERATION(HabitReminderAction, kHabitReminderAction)

std::optional<TimeInterval> HabitReminderAction::postponeInterval() const noexcept {
    switch (value_) {
        case postponeFor5Minutes:
            return 300.0;
        case postponeFor1Hour:
            return 3600.0;
        case postponeFor4Hours:
            return 14400.0;
        case complete:
            break;
    }
    return std::nullopt;
}

}  // namespace dovrel

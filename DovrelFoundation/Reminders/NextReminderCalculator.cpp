#include "DovrelFoundation/Reminders/NextReminderCalculator.h"

#include <algorithm>

#include "DovrelFoundation/Model/RepresentableDate.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

// `date` plus `days` calendar days, the offset clamped to the longest skip; nothing when the
// calendar cannot place `date` (not finite).
std::optional<Date> addingDays(const Region& region, Date date, std::int64_t days) {
    DateComponents offsets;
    offsets.day = std::clamp(days, -NextReminderCalculator::kLongestSkipInterval,
                             NextReminderCalculator::kLongestSkipInterval);
    return region.dateByAdding(offsets, date);
}

}  // namespace

Date NextReminderCalculator::nextReminder(Date on, Date reminderTime, std::int64_t skipInterval,
                                          std::optional<Date> lastPerformingDate) {
    const Region region = Region::current();
    const Date startOn = region.startOfDay(on);

    Date earliestDay = startOn;
    if (lastPerformingDate) {
        const std::optional<Date> resumeDay = addingDays(region, *lastPerformingDate, skipInterval);
        if (resumeDay && *resumeDay >= startOn) {
            earliestDay = *resumeDay;
        }
    }

    const TimeInterval timeOfDay = reminderTime - region.startOfDay(reminderTime);
    const Date candidate = earliestDay + timeOfDay;
    if (candidate < on) {
        if (const std::optional<Date> nextDay = addingDays(region, candidate, 1)) {
            return *nextDay;
        }
    }
    return candidate;
}

}  // namespace dovrel

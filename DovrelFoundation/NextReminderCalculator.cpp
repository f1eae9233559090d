#include "DovrelFoundation/NextReminderCalculator.h"

#include <string>

#include "platform/foundation/FatalError.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

Date addingDays(const Region& region, Date date, std::int64_t days) {
    DateComponents offsets;
    offsets.day = days;
    const auto moved = region.dateByAdding(offsets, date);
    if (!moved) {
        fatalError("The calendar cannot add " + std::to_string(days) + " days to a date");
    }
    return *moved;
}

}  // namespace

Date NextReminderCalculator::nextReminder(Date on, Date reminderTime, std::int64_t skipInterval,
                                          std::optional<Date> lastPerformingDate) {
    const Region region = Region::current();
    const Date startOn = region.startOfDay(on);

    Date earliestDay = startOn;
    if (lastPerformingDate) {
        const Date resumeDay = addingDays(region, *lastPerformingDate, skipInterval);
        if (resumeDay >= startOn) {
            earliestDay = resumeDay;
        }
    }

    const TimeInterval timeOfDay = reminderTime - region.startOfDay(reminderTime);
    const Date candidate = earliestDay + timeOfDay;
    if (candidate < on) {
        return addingDays(region, candidate, 1);
    }
    return candidate;
}

}  // namespace dovrel

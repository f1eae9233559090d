#pragma once

#include <cstdint>
#include <optional>

#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"

namespace dovrel {

class Habit;

// The next reminders of many habits at one instant, for a full rescheduling that reads every
// habit: each answer is exactly what NextReminderCalculator::nextReminder (and so
// Habit::nextReminder) answers for the same instant, bit for bit, while the region current at
// construction stays current.
//
// The calculator asks the calendar for two or three day boundaries and calendar-day additions
// per habit. Here the region is read once, the start of the reference day is found once, and a
// day boundary or a day addition is read from a CalendarDayIndex where that is certain: in the
// Gregorian calendar, within a stretch of instants whose zone offset does not change (away from
// any change by more than a day), a day starts at its local midnight, and adding n days adds
// n * 86,400,000 milliseconds when both ends have the same offset. Anything else is asked of the
// calendar as the calculator asks it.
//
// Use a batch on one thread, for one instant, and let it go: it holds the region of its creation.
class NextReminderBatch {
  public:
    // A batch for reminders at or after `on`, in the current region.
    explicit NextReminderBatch(Date on);

    Date on() const noexcept { return on_; }

    // NextReminderCalculator::nextReminder(on(), reminderTime, skipInterval, lastPerformingDate).
    Date nextReminder(Date reminderTime, std::int64_t skipInterval,
                      std::optional<Date> lastPerformingDate);

    // Habit::nextReminder() as if Clock::now() were on(): nothing without remind, a remindTime
    // and a repeat interval; the same fatal errors for a repeat interval that cannot divide.
    std::optional<Date> nextReminder(const Habit& habit);

  private:
    // Region::startOfDay and `date` plus `days` calendar days, as the calculator computes them.
    Date startOfDay(Date date);
    std::optional<Date> addingDays(Date date, std::int64_t days);

    Date on_;
    Region region_;
    CalendarDayIndex index_;
    Date startOn_;
};

}  // namespace dovrel

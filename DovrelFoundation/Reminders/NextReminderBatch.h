#pragma once

#include <cstdint>
#include <optional>

#include "DovrelFoundation/Model/RepeatInterval.h"
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

    // A date no later than nextReminder(reminderTime, s, d) for every skip interval s >= 1 and
    // every last performing date d: the reminder time's time of day on the day of on(), or
    // on() itself when that is later. (A later resume day only moves the reminder later, and a
    // time of day already past today moves it to a later day.) Not finite when `reminderTime`
    // is not. Cheap: it lets a caller find the earliest reminders of many habits without
    // working out every habit's.
    Date earliestPossibleReminder(Date reminderTime);

    // Habit::nextReminder() as if Clock::now() were on(): nothing without remind, a remindTime
    // and a repeat interval; the same fatal errors for a repeat interval that cannot divide.
    std::optional<Date> nextReminder(const Habit& habit);

    // The same from a habit's stored values (its "remind", "remindTime", "repeatInterval" and the
    // last of its "lastFivePerformingDates"), for callers that read them without the object.
    std::optional<Date> nextReminder(bool remind, std::optional<Date> remindTime,
                                     const std::optional<RepeatInterval>& repeatInterval,
                                     std::optional<Date> lastPerformingDate);

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

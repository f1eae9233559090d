#include "DovrelFoundation/Reminders/NextReminderBatch.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Reminders/NextReminderCalculator.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace {

constexpr double kMillisecondsPerDay = 86'400'000.0;

// ICU counts milliseconds since 1970, as the calendar does in Region.
double toMilliseconds(Date date) {
    return date.timeIntervalSince1970() * 1000.0;
}
Date fromMilliseconds(double milliseconds) {
    return Date::fromTimeIntervalSince1970(milliseconds / 1000.0);
}

bool isFinite(Date date) {
    return std::isfinite(date.timeIntervalSinceReferenceDate());
}

}  // namespace

NextReminderBatch::NextReminderBatch(Date on)
    : on_(on), region_(Region::current()), index_(region_), startOn_(startOfDay(on)) {}

Date NextReminderBatch::startOfDay(Date date) {
    if (!isFinite(date)) {
        return date;
    }
    const double milliseconds = toMilliseconds(date);
    if (const auto stretch = index_.uniformStretch(milliseconds);
        stretch && stretch->midnightStarts) {
        const double local = milliseconds + stretch->offset;
        const double day = std::floor(local / kMillisecondsPerDay);
        // An instant within a millisecond of a midnight is left to the calendar, which floors
        // whole milliseconds.
        if (local - day * kMillisecondsPerDay >= 1.0 &&
            (day + 1) * kMillisecondsPerDay - local >= 1.0) {
            return fromMilliseconds(day * kMillisecondsPerDay - stretch->offset);
        }
    }
    return region_.startOfDay(date);
}

std::optional<Date> NextReminderBatch::addingDays(Date date, std::int64_t days) {
    const std::int64_t clamped = std::clamp(days, -NextReminderCalculator::kLongestSkipInterval,
                                            NextReminderCalculator::kLongestSkipInterval);
    if (isFinite(date) && clamped >= std::numeric_limits<std::int32_t>::min() &&
        clamped <= std::numeric_limits<std::int32_t>::max()) {
        // The calendar adds whole days and then keeps the wall-clock time: with the same offset
        // at both ends, that is the plain sum.
        const double milliseconds = toMilliseconds(date);
        const double sum = milliseconds + static_cast<double>(clamped) * kMillisecondsPerDay;
        const auto from = index_.uniformStretch(milliseconds);
        if (from && from->midnightStarts) {
            const auto to = sum >= from->fromMilliseconds && sum < from->toMilliseconds
                                ? from
                                : index_.uniformStretch(sum);
            if (to && to->midnightStarts && to->offset == from->offset) {
                return fromMilliseconds(sum);
            }
        }
    }
    DateComponents offsets;
    offsets.day = clamped;
    return region_.dateByAdding(offsets, date);
}

Date NextReminderBatch::nextReminder(Date reminderTime, std::int64_t skipInterval,
                                     std::optional<Date> lastPerformingDate) {
    Date earliestDay = startOn_;
    if (lastPerformingDate) {
        const std::optional<Date> resumeDay = addingDays(*lastPerformingDate, skipInterval);
        if (resumeDay && *resumeDay >= startOn_) {
            earliestDay = *resumeDay;
        }
    }
    const TimeInterval timeOfDay = reminderTime - startOfDay(reminderTime);
    const Date candidate = earliestDay + timeOfDay;
    if (candidate < on_) {
        if (const std::optional<Date> nextDay = addingDays(candidate, 1)) {
            return *nextDay;
        }
    }
    return candidate;
}

Date NextReminderBatch::earliestPossibleReminder(Date reminderTime) {
    // nextReminder() starts from a day no earlier than today, so its first candidate is never
    // before `today`; a candidate before on() moves to the same wall-clock time of the next
    // day, which is after today. Only a day the calendar cannot add leaves a candidate before
    // on(): that cannot happen within a few days of an ordinary date, and outside of those
    // `today` alone is the bound.
    const TimeInterval timeOfDay = reminderTime - startOfDay(reminderTime);
    const Date today = startOn_ + timeOfDay;
    constexpr double kOrdinaryRange = 1.0e11;  // seconds, about 3,000 years either way
    const bool ordinary = timeOfDay >= 0 && timeOfDay <= 2 * 86'400.0 &&
                          std::abs(on_.timeIntervalSinceReferenceDate()) < kOrdinaryRange;
    return ordinary && today < on_ ? on_ : today;
}

std::optional<Date> NextReminderBatch::nextReminder(const Habit& habit) {
    if (!habit.remind()) {
        return std::nullopt;
    }
    return nextReminder(true, habit.remindTime(), habit.repeatInterval(),
                        habit.lastPerformingDate());
}

std::optional<Date> NextReminderBatch::nextReminder(
    bool remind, std::optional<Date> remindTime,
    const std::optional<RepeatInterval>& repeatInterval, std::optional<Date> lastPerformingDate) {
    if (!remind || !remindTime || !repeatInterval) {
        return std::nullopt;
    }
    if (repeatInterval->times() == 0) {
        fatalError("Division by zero");
    }
    if (repeatInterval->times() == -1 &&
        repeatInterval->days() == std::numeric_limits<std::int64_t>::min()) {
        fatalError("Division results in an overflow");
    }
    const std::int64_t skipInterval =
        std::max<std::int64_t>(repeatInterval->days() / repeatInterval->times(), 1);
    return nextReminder(*remindTime, skipInterval, lastPerformingDate);
}

}  // namespace dovrel

#include "DovrelFoundation/Progress/AscendingDayGaps.h"

#include <cmath>
#include <optional>

namespace dovrel {

AscendingDayGaps::AscendingDayGaps(CalendarDayIndex& index, Date first) : index_(index) {
    ++lookups_;
    const double milliseconds = toMilliseconds(first);
    settle(milliseconds, index_.dayStart(first));
}

std::int64_t AscendingDayGaps::nextLookedUp(Date date, double milliseconds) {
    ++lookups_;
    const Date start = index_.dayStart(date);
    const Date previous = previousStart();
    const std::int64_t gap =
        start != previous ? CalendarDayIndex::daysBetweenDayStarts(start, previous) : 0;
    settle(milliseconds, start);
    return gap;
}

Date AscendingDayGaps::previousStart() const {
    if (midnightStretchEnd_ != kNever) {
        // What the index holds for a day of a Gregorian stretch, computed the same way: local
        // midnight less the offset.
        return Date::fromTimeIntervalSince1970((dayEnd_ - kMillisecondsPerDay) / 1000.0);
    }
    return start_;
}

void AscendingDayGaps::settle(double milliseconds, Date start) {
    start_ = start;
    sameDayEnd_ = kNever;
    nextDayEnd_ = kNever;
    midnightStretchEnd_ = kNever;
    if (!(milliseconds >= stretchFrom_ && milliseconds < stretchEnd_)) {
        const std::optional<CalendarDayIndex::UniformStretch> stretch =
            index_.uniformStretch(milliseconds);
        if (!stretch) {
            stretchFrom_ = kNever;
            stretchEnd_ = kNever;
            return;
        }
        stretchFrom_ = stretch->fromMilliseconds;
        stretchEnd_ = stretch->toMilliseconds;
        offset_ = stretch->offset;
        midnightStarts_ = stretch->midnightStarts;
    }
    // The instant's local day, with the very arithmetic of CalendarDayIndex::dayStart.
    const double local = milliseconds + offset_;
    const double day = std::floor(local / kMillisecondsPerDay);
    const double withinDay = local - day * kMillisecondsPerDay;
    const bool wholeMilliseconds = milliseconds == std::floor(milliseconds);
    if (!wholeMilliseconds && (withinDay < 1 || withinDay > kMillisecondsPerDay - 1)) {
        // The index asked the calendar for this one; the next instant is looked up too.
        return;
    }
    const double dayEnd = (day + 1) * kMillisecondsPerDay - offset_;
    // Close to midnight the next instant is placed afresh.
    const bool clearOfMidnight =
        withinDay >= kMidnightGuard && withinDay < kMillisecondsPerDay - kMidnightGuard;
    if (midnightStarts_) {
        midnightStretchEnd_ = stretchEnd_;
        enterDay(dayEnd, clearOfMidnight);
    } else if (clearOfMidnight) {
        sameDayEnd_ = std::min(dayEnd - kMidnightGuard, stretchEnd_);
    }
}

}  // namespace dovrel

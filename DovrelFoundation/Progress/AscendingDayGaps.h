#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "platform/foundation/Date.h"

namespace dovrel {

// The day gaps along instants taken in ascending order: for each instant, the number of days
// from the previous instant's day to its own, exactly CalendarDayIndex::dayGap(date, previous)
// (and so the gap between the onlyDay() starts, DateExtensions.h), in the index's region.
//
// Made for long sorted histories, where a gap is needed for every instant and a day lookup per
// instant would cost more than everything else after the sort. While the instants stay in one of
// the index's uniform stretches (one UTC offset, days that start at local midnight), an instant of
// the previous instant's day costs one comparison, one of the next day two more, and one of a
// later day a few multiplications and additions: no division and no table lookup. Everything
// else goes through CalendarDayIndex::dayStart and daysBetweenDayStarts, as a lookup per instant
// would: the first instant, the first of each stretch, instants near an offset change, within two
// milliseconds of a midnight (where the index may ask the calendar), and in calendars other than
// the Gregorian one each instant of a new day.
//
// Instants must be passed earliest first (NaN is not ordered: sort it out before); an instant
// without a day stops the process as dayStart does, at the same instant. The index must outlive
// this value, and the two are used on one thread.
class AscendingDayGaps {
  public:
    // Starts at `first`, whose day is looked up now.
    AscendingDayGaps(CalendarDayIndex& index, Date first);

    // The gap from the previous instant's day to `date`'s, for `date` not earlier than the
    // previous instant: 0 on the same day, and what daysBetweenDayStarts answers for their day
    // starts otherwise.
    std::int64_t next(Date date) {
        const double milliseconds = toMilliseconds(date);
        // Instants are ascending, so one at or after the previous one and before this bound is
        // on the previous one's day.
        if (milliseconds < sameDayEnd_) {
            return 0;
        }
        // The day after it, in a Gregorian stretch.
        if (milliseconds < nextDayEnd_ && milliseconds >= nextDayFrom_) {
            enterDay(dayEnd_ + kMillisecondsPerDay, true);
            return 1;
        }
        if (milliseconds < midnightStretchEnd_) {
            // A later day of the same Gregorian stretch, whose days are 24 hours long: count the
            // whole days after the previous day's end, by a multiplication that is then corrected
            // with the remainder. The rounding of these few operations is far below the guard
            // around midnight, and none at all for whole milliseconds.
            const double sinceDayEnd = milliseconds - dayEnd_;
            if (sinceDayEnd >= 0) {
                auto days = static_cast<std::int64_t>(sinceDayEnd * kDaysPerMillisecond);
                double withinDay = sinceDayEnd - static_cast<double>(days) * kMillisecondsPerDay;
                if (withinDay < 0) {
                    days -= 1;
                    withinDay += kMillisecondsPerDay;
                } else if (withinDay >= kMillisecondsPerDay) {
                    days += 1;
                    withinDay -= kMillisecondsPerDay;
                }
                const bool clearOfMidnight =
                    withinDay >= kMidnightGuard && withinDay < kMillisecondsPerDay - kMidnightGuard;
                if (clearOfMidnight || isWholeMillisecond(milliseconds)) {
                    enterDay(dayEnd_ + static_cast<double>(days + 1) * kMillisecondsPerDay,
                             clearOfMidnight);
                    return days + 1;
                }
            }
        }
        return nextLookedUp(date, milliseconds);
    }

    // How many instants, the first one included, went through the index (for tests and
    // benchmarks: the others were counted from their stretch).
    std::size_t lookups() const noexcept { return lookups_; }

  private:
    static constexpr double kMillisecondsPerDay = 86'400'000.0;
    static constexpr double kDaysPerMillisecond = 1.0 / kMillisecondsPerDay;
    static constexpr double kNever = -std::numeric_limits<double>::infinity();
    // CalendarDayIndex asks the calendar for an instant with a fraction of a millisecond within
    // one millisecond of midnight; instants within twice that are left to it, so that no rounding
    // here can decide otherwise than the index would.
    static constexpr double kMidnightGuard = 2.0;

    // The instant as CalendarDayIndex counts it: milliseconds since 1970.
    static double toMilliseconds(Date date) { return date.timeIntervalSince1970() * 1000.0; }

    // Takes a day of the current Gregorian stretch that ends at `dayEnd` as the previous instant's;
    // `clearOfMidnight` when that instant lies at least kMidnightGuard from either midnight.
    void enterDay(double dayEnd, bool clearOfMidnight) {
        dayEnd_ = dayEnd;
        sameDayEnd_ =
            clearOfMidnight ? std::min(dayEnd - kMidnightGuard, midnightStretchEnd_) : kNever;
        nextDayFrom_ = dayEnd + kMidnightGuard;
        nextDayEnd_ = std::min(dayEnd + kMillisecondsPerDay - kMidnightGuard, midnightStretchEnd_);
    }

    static bool isWholeMillisecond(double milliseconds) {
        return milliseconds == static_cast<double>(static_cast<std::int64_t>(milliseconds));
    }

    // The gap to `date` through the index, and the state for the instants after it.
    std::int64_t nextLookedUp(Date date, double milliseconds);
    // Takes the instant at `milliseconds`, whose day starts at `start`, as the previous one.
    void settle(double milliseconds, Date start);
    // The previous instant's day start.
    Date previousStart() const;

    CalendarDayIndex& index_;

    // Instants from the previous one up to (not including) sameDayEnd_ share its day; instants
    // from nextDayFrom_ up to nextDayEnd_ lie on the next day, clear of its midnights; instants up
    // to midnightStretchEnd_ lie in its stretch, where days start at local midnight. kNever when
    // there is no such bound.
    double sameDayEnd_ = kNever;
    double nextDayFrom_ = 0;
    double nextDayEnd_ = kNever;
    double midnightStretchEnd_ = kNever;

    // While midnightStretchEnd_ is set: where the previous instant's day ends (the next local
    // midnight), in milliseconds since 1970, a whole number. Its day start is then a day earlier;
    // otherwise it is start_.
    double dayEnd_ = 0;
    Date start_;

    // The stretch of the latest instant looked up, if any (stretchEnd_ is kNever otherwise).
    double stretchFrom_ = kNever;
    double stretchEnd_ = kNever;
    double offset_ = 0;
    bool midnightStarts_ = false;

    std::size_t lookups_ = 0;
};

}  // namespace dovrel

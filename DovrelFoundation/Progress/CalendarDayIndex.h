#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/foundation/Date.h"
#include "platform/foundation/Region.h"

namespace dovrel {

// Day starts and day gaps that are exactly those of onlyDay() (DateExtensions.h), at the cost of
// a table lookup instead of an ICU calendar round trip per instant. The progress score needs the
// day start of every checkmark, so a long history is dominated by this cost.
//
// An index is made for one region, normally the current one at the moment of a call
// (CalendarDayIndex::current() reads Region::current() afresh, so a change of zone, locale or
// calendar shows at the next index made). For an instant in that region:
//
//   dayStart(date)  == onlyDay(date) while that region is current, bit for bit;
//   dayGap(a, b)    == (onlyDay(a) - onlyDay(b)) / 86400 in seconds, rounded half away from zero.
//
// How it stays exact: an instant's calendar day is found from the zone's UTC offset at that
// instant (the same offset and the same arithmetic ICU uses), and each calendar day's start is
// either computed once by the plain way and remembered, or, in the Gregorian calendar away from
// any offset change, is that day's local midnight, which is what the plain way answers there.
// Whatever the table cannot answer with certainty (instants outside the years 1900 to 2199, a
// fraction of a millisecond from a day boundary or within a second of an offset change, a zone
// whose transitions ICU cannot list consistently, a day that no instant belongs to) is asked of
// the calendar directly, the plain way.
//
// Tables are kept per thread, per region (calendar, zone and locale identifiers), and built lazily
// in blocks of 64 days as instants reach them; ICU's zone data does not change while a process
// runs, so a table never goes stale. Use an index on the thread that made it.
class CalendarDayIndex {
  public:
    // An index over the current region, read now.
    static CalendarDayIndex current();

    // An index over `region`.
    explicit CalendarDayIndex(Region region);

    ~CalendarDayIndex();
    CalendarDayIndex(CalendarDayIndex&&) noexcept;
    CalendarDayIndex& operator=(CalendarDayIndex&&) noexcept;
    CalendarDayIndex(const CalendarDayIndex&) = delete;
    CalendarDayIndex& operator=(const CalendarDayIndex&) = delete;

    const Region& region() const noexcept { return region_; }

    // The first instant of `date`'s day in the index's region: what onlyDay(date) answers while
    // that region is current. Like onlyDay, it stops the process for a date whose day the
    // calendar cannot build (a non-finite date).
    Date dayStart(Date date);

    // daysBetweenDayStarts(dayStart(later), dayStart(earlier)).
    std::int64_t dayGap(Date later, Date earlier);

    // (laterDayStart - earlierDayStart) in seconds / 86400, rounded to the nearest whole number
    // with halves away from zero, so the 23- and 25-hour days around a DST change count as one.
    // Stops the process if the rounded quotient is not finite or does not fit 64 bits.
    static std::int64_t daysBetweenDayStarts(Date laterDayStart, Date earlierDayStart);

    // How many dayStart answers this index had to ask the calendar for (for tests and
    // benchmarks: the table answers the rest).
    std::size_t plainLookups() const noexcept { return plainLookups_; }

    // A stretch of instants over which the zone's UTC offset does not change and that lies more
    // than a second from any change. Instants are counted as dayStart counts them: milliseconds
    // since 1970, (date.timeIntervalSince1970() * 1000). For an instant at `m` milliseconds
    // within the stretch, with local = m + offset, except one with a fraction of a millisecond
    // within a millisecond of a local midnight (whose day dayStart asks of the calendar):
    //   - its day is the local day number floor(local / 86400000), so two instants of the
    //     stretch with the same number have the same dayStart;
    //   - if `midnightStarts`, that day starts at its local midnight: dayStart answers
    //     Date::fromTimeIntervalSince1970((day * 86400000 - offset) / 1000), and the day gap
    //     between two instants of the stretch is the difference of their day numbers.
    // In the Gregorian calendar a stretch holds only instants of days whose midnight lies more
    // than a day and a half from any offset change, the days whose start is plain there.
    struct UniformStretch {
        double fromMilliseconds;  // the first instant of the stretch
        double toMilliseconds;    // the end of the stretch (not part of it)
        double offset;            // milliseconds, less than a day either way
        bool midnightStarts;      // days start at local midnight (the Gregorian calendar)
    };

    // The stretch that holds the instant `milliseconds`, if there is one: none near an offset
    // change (a day or two either side in the Gregorian calendar), outside the table's years, or
    // in a block whose offsets could not be read consistently. A stretch ends at the end of the
    // table's 64-day blocks built so far; the next block's may go on from there.
    std::optional<UniformStretch> uniformStretch(double milliseconds);

  private:
    struct Table;
    struct Block;

    Date plainDayStart(Date date);
    const Block* blockAt(double milliseconds);

    Region region_;
    std::shared_ptr<Table> table_;
    const Block* lastBlock_ = nullptr;  // the block of the previous lookup, if the table had one
    std::int64_t lastBlockNumber_ = 0;
    std::size_t plainLookups_ = 0;
};

}  // namespace dovrel

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

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

  private:
    struct Table;
    struct Block;

    Date plainDayStart(Date date);

    Region region_;
    std::shared_ptr<Table> table_;
    const Block* lastBlock_ = nullptr;  // the block of the previous lookup, if the table had one
    std::int64_t lastBlockNumber_ = 0;
    std::size_t plainLookups_ = 0;
};

}  // namespace dovrel

#include "DovrelFoundation/Progress/CalendarDayIndex.h"

#include "DovrelFoundation/Progress/DateExtensions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/FatalError.h"
#include "platform/foundation/TimeZoneTransitions.h"

namespace dovrel {

namespace {

constexpr double kMillisecondsPerDay = 86'400'000.0;
constexpr double kSecondsPerDay = 86'400.0;

// A block covers 64 UTC days of instants; the table covers 1900-01-01 (UTC day -25567 since
// 1970) to 2200-01-01 (day 84006) in whole blocks.
constexpr std::int64_t kBlockDays = 64;
constexpr double kMillisecondsPerBlock = kMillisecondsPerDay * kBlockDays;
constexpr std::int64_t kFirstBlock = -400;  // starts on day -25600
constexpr std::int64_t kEndBlock = 1313;    // starts on day 84032

// With an offset under a day, an instant of block k lies on a local day from 64k - 1 to
// 64k + 64, so a block remembers the starts of those 66 days.
constexpr std::size_t kStartsPerBlock = kBlockDays + 2;
constexpr std::int32_t kLargestOffset = 86'400'000 - 1;

// ICU compares instants with an offset change after dropping their milliseconds, and places an
// instant's day by adding the offset in floating point. For an instant with a fraction of a
// millisecond, the table trusts neither within a second of a change nor within a millisecond of
// a day boundary: rounding could place it differently there. Whole milliseconds are exact.
constexpr double kTransitionGuard = 1000.0;
constexpr double kDayBoundaryGuard = 1.0;

// A Gregorian day whose midnight has no offset change within a day and a half either side is
// unambiguous: its midnight exists exactly once, at midnight minus the offset.
constexpr double kMidnightMargin = 1.5 * kMillisecondsPerDay;
// Offsets are read this far beyond a block, so that the margin above can be checked for all the
// block's days, and a block's stretches (below) know the offset changes next to them.
constexpr double kPeriodsMargin = 4.0 * kMillisecondsPerDay;

// At most this many regions keep a table on each thread.
constexpr std::size_t kTablesPerThread = 4;

// The same conversions Region uses: ICU counts milliseconds since 1970.
double toMilliseconds(Date date) {
    return date.timeIntervalSince1970() * 1000.0;
}
Date fromMilliseconds(double milliseconds) {
    return Date::fromTimeIntervalSince1970(milliseconds / 1000.0);
}

// Calendars whose days map to the proleptic Gregorian day count by plain arithmetic in the
// table's years, so that a day's fields build back to that same day's midnight.
bool isGregorian(const std::string& calendarIdentifier) {
    return calendarIdentifier == "gregorian" || calendarIdentifier == "iso8601";
}

bool hasTransitionWithin(const TimeZoneTransitions::Periods& periods, double from, double to) {
    return std::any_of(periods.transitions.begin(), periods.transitions.end(),
                       [&](const TimeZoneTransitions::Transition& transition) {
                           return transition.milliseconds >= from && transition.milliseconds <= to;
                       });
}

}  // namespace

struct CalendarDayIndex::Block {
    // False when the zone's offsets could not be read consistently: every instant of the block
    // then asks the calendar.
    bool trusted = false;
    // True when no offset change lies within the block's instants (and the guard around them).
    bool uniform = false;
    std::int32_t offset = 0;  // the offset of a uniform block
    TimeZoneTransitions::Periods periods;
    // Day starts as seconds since the reference date, for local days 64k - 1 ... 64k + 64 of
    // block k; NaN for a day no instant belongs to.
    std::array<double, kStartsPerBlock> starts{};
    // Runs of the block's instants with one offset, more than a second from any change, whose days
    // (in the Gregorian calendar) all start at the midnight held in `starts`, ascending.
    struct Stretch {
        double from;
        double to;
        std::int32_t offset;
    };
    std::vector<Stretch> stretches;
};

struct CalendarDayIndex::Table {
    explicit Table(Region tableRegion)
        : region(std::move(tableRegion)),
          zone(region.timeZoneIdentifier()),
          gregorian(isGregorian(region.calendarIdentifier())),
          blocks(static_cast<std::size_t>(kEndBlock - kFirstBlock)) {}

    const Block& block(std::int64_t number) {
        std::unique_ptr<Block>& slot = blocks[static_cast<std::size_t>(number - kFirstBlock)];
        if (!slot) {
            slot = build(number);
        }
        return *slot;
    }

    // The block if it exists and has been built already.
    const Block* built(std::int64_t number) const {
        if (number < kFirstBlock || number >= kEndBlock) {
            return nullptr;
        }
        return blocks[static_cast<std::size_t>(number - kFirstBlock)].get();
    }

    std::unique_ptr<Block> build(std::int64_t number) const;

    const Region region;
    TimeZoneTransitions zone;
    const bool gregorian;
    std::vector<std::unique_ptr<Block>> blocks;
};

std::unique_ptr<CalendarDayIndex::Block> CalendarDayIndex::Table::build(std::int64_t number) const {
    auto block = std::make_unique<Block>();
    block->starts.fill(std::numeric_limits<double>::quiet_NaN());

    const double start = static_cast<double>(number) * kMillisecondsPerBlock;
    const double end = start + kMillisecondsPerBlock;
    std::optional<TimeZoneTransitions::Periods> periods =
        zone.periods(start - kPeriodsMargin, end + kPeriodsMargin);
    if (!periods) {
        return block;
    }
    const auto tooLarge = [](std::int32_t offset) {
        return offset > kLargestOffset || offset < -kLargestOffset;
    };
    if (tooLarge(periods->offsetBefore) ||
        std::any_of(periods->transitions.begin(), periods->transitions.end(),
                    [&](const auto& transition) { return tooLarge(transition.offsetAfter); })) {
        return block;
    }
    block->periods = std::move(*periods);
    const TimeZoneTransitions::Periods& offsets = block->periods;
    block->uniform =
        !hasTransitionWithin(offsets, start - kTransitionGuard, end + kTransitionGuard);
    block->offset = offsets.offsetAt(start);

    // The stretches, one between each two offset changes (the ends of the span read count as
    // changes too, since nothing is known beyond them): the instants more than a second from
    // either change, and in the Gregorian calendar only those of the days from the first to the
    // last whose midnight has no change within kMidnightMargin, the days the loop below gives their
    // local midnight. An instant of day d at offset o lies in [d * day - o, (d + 1) * day - o).
    double changedAt = start - kPeriodsMargin;
    std::int32_t offsetSince = offsets.offsetBefore;
    const auto addStretch = [&](double nextChange) {
        double from = std::max(changedAt + kTransitionGuard, start);
        double to = std::min(nextChange - kTransitionGuard, end);
        if (gregorian) {
            // The first day d with d * day - kMidnightMargin > changedAt, and the last day with
            // d * day + kMidnightMargin < nextChange: estimated by a quotient, then settled by
            // the very comparisons hasTransitionWithin makes.
            const auto midnight = [](double day) { return day * kMillisecondsPerDay; };
            double firstDay = std::floor((changedAt + kMidnightMargin) / kMillisecondsPerDay);
            while (midnight(firstDay) - kMidnightMargin <= changedAt) {
                firstDay += 1;
            }
            while (midnight(firstDay - 1) - kMidnightMargin > changedAt) {
                firstDay -= 1;
            }
            double lastDay = std::ceil((nextChange - kMidnightMargin) / kMillisecondsPerDay);
            while (midnight(lastDay) + kMidnightMargin >= nextChange) {
                lastDay -= 1;
            }
            while (midnight(lastDay + 1) + kMidnightMargin < nextChange) {
                lastDay += 1;
            }
            from = std::max(from, firstDay * kMillisecondsPerDay - offsetSince);
            to = std::min(to, (lastDay + 1) * kMillisecondsPerDay - offsetSince);
        }
        if (from < to) {
            block->stretches.push_back(Block::Stretch{from, to, offsetSince});
        }
    };
    for (const auto& transition : offsets.transitions) {
        addStretch(transition.milliseconds);
        changedAt = transition.milliseconds;
        offsetSince = transition.offsetAfter;
    }
    addStretch(end + kPeriodsMargin);

    // Every offset that occurs around the block: a day's instants are found by trying each.
    std::vector<std::int32_t> candidates{offsets.offsetBefore};
    for (const auto& transition : offsets.transitions) {
        candidates.push_back(transition.offsetAfter);
    }

    const std::int64_t firstDay = number * kBlockDays - 1;
    for (std::size_t i = 0; i < kStartsPerBlock; ++i) {
        const std::int64_t day = firstDay + static_cast<std::int64_t>(i);
        const double midnight = static_cast<double>(day) * kMillisecondsPerDay;
        if (gregorian &&
            !hasTransitionWithin(offsets, midnight - kMidnightMargin, midnight + kMidnightMargin)) {
            block->starts[i] = fromMilliseconds(midnight - offsets.offsetAt(midnight))
                                   .timeIntervalSinceReferenceDate();
            continue;
        }
        // Ask the calendar once, with a whole second near noon of that local day under one of
        // the offsets; the answer holds for every instant of the day, since a day's fields (and
        // so what they build back to) depend on nothing but which day it is. The table's own
        // region is asked, never the current one: a table holds only its region's answers, even
        // if the current region changes while it is built.
        for (const std::int32_t offset : candidates) {
            const double noon =
                std::floor((midnight + kMillisecondsPerDay / 2 - offset) / 1000.0) * 1000.0;
            const double local = noon + offsets.offsetAt(noon);
            if (std::floor(local / kMillisecondsPerDay) == static_cast<double>(day)) {
                block->starts[i] =
                    onlyDay(region, fromMilliseconds(noon)).timeIntervalSinceReferenceDate();
                break;
            }
        }
    }
    block->trusted = true;
    return block;
}

CalendarDayIndex CalendarDayIndex::current() {
    return CalendarDayIndex(Region::current());
}

CalendarDayIndex::CalendarDayIndex(Region region) : region_(std::move(region)) {
    // Most recently used first; a handful per thread is plenty (one region is the rule).
    thread_local std::vector<std::shared_ptr<Table>> tables;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        if (tables[i]->region == region_) {
            std::rotate(tables.begin(), tables.begin() + static_cast<std::ptrdiff_t>(i),
                        tables.begin() + static_cast<std::ptrdiff_t>(i) + 1);
            table_ = tables.front();
            return;
        }
    }
    if (tables.size() == kTablesPerThread) {
        tables.pop_back();
    }
    tables.insert(tables.begin(), std::make_shared<Table>(region_));
    table_ = tables.front();
}

CalendarDayIndex::~CalendarDayIndex() = default;
CalendarDayIndex::CalendarDayIndex(CalendarDayIndex&&) noexcept = default;
CalendarDayIndex& CalendarDayIndex::operator=(CalendarDayIndex&&) noexcept = default;

Date CalendarDayIndex::plainDayStart(Date date) {
    ++plainLookups_;
    return onlyDay(region_, date);
}

const CalendarDayIndex::Block* CalendarDayIndex::blockAt(double milliseconds) {
    const double blockPosition = std::floor(milliseconds / kMillisecondsPerBlock);
    // Written so that NaN fails too.
    if (!(blockPosition >= static_cast<double>(kFirstBlock) &&
          blockPosition < static_cast<double>(kEndBlock))) {
        return nullptr;
    }
    const auto number = static_cast<std::int64_t>(blockPosition);
    if (lastBlock_ == nullptr || number != lastBlockNumber_) {
        lastBlock_ = &table_->block(number);
        lastBlockNumber_ = number;
    }
    return lastBlock_;
}

std::optional<CalendarDayIndex::UniformStretch> CalendarDayIndex::uniformStretch(
    double milliseconds) {
    const Block* block = blockAt(milliseconds);
    if (block == nullptr || !block->trusted) {
        return std::nullopt;
    }
    for (const Block::Stretch& stretch : block->stretches) {
        if (milliseconds >= stretch.from && milliseconds < stretch.to) {
            UniformStretch found{stretch.from, stretch.to, static_cast<double>(stretch.offset),
                                 table_->gregorian};
            // Carried on through the blocks after it that are built already, while it goes on
            // there with the same offset (it does up to the next change).
            for (std::int64_t next = lastBlockNumber_ + 1;; ++next) {
                const Block* following = table_->built(next);
                if (following == nullptr || !following->trusted || following->stretches.empty() ||
                    following->stretches.front().from != found.toMilliseconds ||
                    following->stretches.front().offset != stretch.offset) {
                    break;
                }
                found.toMilliseconds = following->stretches.front().to;
            }
            return found;
        }
    }
    return std::nullopt;
}

Date CalendarDayIndex::dayStart(Date date) {
    const double milliseconds = toMilliseconds(date);
    const Block* found = blockAt(milliseconds);
    if (found == nullptr || !found->trusted) {
        return plainDayStart(date);
    }
    const Block& block = *found;
    const std::int64_t number = lastBlockNumber_;
    const bool wholeMilliseconds = milliseconds == std::floor(milliseconds);

    std::int32_t offset = block.offset;
    if (!block.uniform) {
        offset = block.periods.offsetBefore;
        for (const auto& transition : block.periods.transitions) {
            if (!wholeMilliseconds &&
                std::abs(milliseconds - transition.milliseconds) < kTransitionGuard) {
                return plainDayStart(date);
            }
            if (milliseconds < transition.milliseconds) {
                break;
            }
            offset = transition.offsetAfter;
        }
    }
    const double local = milliseconds + offset;
    const double day = std::floor(local / kMillisecondsPerDay);
    if (!wholeMilliseconds) {
        const double withinDay = local - day * kMillisecondsPerDay;
        if (withinDay < kDayBoundaryGuard || withinDay > kMillisecondsPerDay - kDayBoundaryGuard) {
            return plainDayStart(date);
        }
    }
    const auto index = static_cast<std::int64_t>(day) - (number * kBlockDays - 1);
    if (index < 0 || index >= static_cast<std::int64_t>(kStartsPerBlock)) {
        return plainDayStart(date);
    }
    const double start = block.starts[static_cast<std::size_t>(index)];
    if (std::isnan(start)) {
        return plainDayStart(date);
    }
    return Date(start);
}

std::int64_t CalendarDayIndex::dayGap(Date later, Date earlier) {
    const Date laterStart = dayStart(later);
    return daysBetweenDayStarts(laterStart, dayStart(earlier));
}

std::int64_t CalendarDayIndex::daysBetweenDayStarts(Date laterDayStart, Date earlierDayStart) {
    const double rounded =
        std::round(laterDayStart.timeIntervalSince(earlierDayStart) / kSecondsPerDay);
    constexpr double kLimit = 9223372036854775808.0;  // 2^63, exact as a double
    if (!std::isfinite(rounded) || rounded < -kLimit || rounded >= kLimit) {
        fatalError("The day gap is not finite or does not fit a 64-bit integer");
    }
    return static_cast<std::int64_t>(rounded);
}

}  // namespace dovrel

#include "DovrelFoundation/Progress/HabitStatistics.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "DovrelFoundation/Progress/CalendarDayIndex.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

// Checkmarks further back than this many days (about 270 years) cannot be placed on a calendar
// worth showing; they are left out rather than walked day by day.
constexpr std::int64_t kOldestDay = -100'000;

// Days are numbered from the day asked about: 0 is that day, -1 the day before.
using DayNumber = std::int64_t;

// How many of the sorted, distinct `checked` days fall in [first, last].
std::int64_t countWithin(const std::vector<DayNumber>& checked, DayNumber first, DayNumber last) {
    if (last < first) {
        return 0;
    }
    const auto from = std::lower_bound(checked.begin(), checked.end(), first);
    const auto to = std::upper_bound(from, checked.end(), last);
    return static_cast<std::int64_t>(to - from);
}

struct DayRun {
    DayNumber start;
    DayNumber end;
    std::int64_t checkmarks;
};

// The runs of days on track. A window's count changes only on a checked day (it enters) and
// `days` days later (it leaves), so the days between two such events share their state and are
// taken together.
std::vector<DayRun> runsOnTrack(const std::vector<DayNumber>& checked, std::int64_t times,
                                std::int64_t days) {
    std::vector<std::pair<DayNumber, int>> events;
    events.reserve(checked.size() * 2);
    for (const DayNumber day : checked) {
        events.emplace_back(day, 1);
        // day <= 0, so day + days cannot overflow while days <= -day.
        if (days <= -day) {
            events.emplace_back(day + days, -1);
        }
    }
    std::sort(events.begin(), events.end());
    std::vector<DayRun> runs;
    std::int64_t count = 0;
    bool inRun = false;
    DayNumber runFrom = 0;
    for (std::size_t index = 0; index < events.size();) {
        const DayNumber day = events[index].first;
        for (; index < events.size() && events[index].first == day; ++index) {
            count += events[index].second;
        }
        const bool onTrack = count >= times;
        if (onTrack && !inRun) {
            inRun = true;
            runFrom = day;
        } else if (!onTrack && inRun) {
            runs.push_back({runFrom, day - 1, 0});
            inRun = false;
        }
    }
    if (inRun) {
        runs.push_back({runFrom, 0, 0});
    }
    DayNumber previousEnd = kOldestDay - 1;
    for (auto& run : runs) {
        // The first day's window reaches back days - 1 days; the streak begins at its earliest
        // checkmark, though not before the end of the streak before it, so that streaks never
        // share days (a window may hold checkmarks of the streak that just broke).
        const DayNumber windowStart =
            std::max(run.start - std::min(days - 1, run.start - kOldestDay), previousEnd + 1);
        run.start = *std::lower_bound(checked.begin(), checked.end(), windowStart);
        run.checkmarks = countWithin(checked, run.start, run.end);
        previousEnd = run.end;
    }
    return runs;
}

CompletionRate rateOf(const std::vector<DayNumber>& checked, Date start, DayNumber first,
                      std::int64_t periodDays, const RepeatInterval& interval) {
    CompletionRate rate;
    rate.start = start;
    rate.periodDays = periodDays;
    rate.checkedDays = countWithin(checked, first, first + periodDays - 1);
    if (interval.times() >= 1 && interval.days() >= 1) {
        rate.expectedDays = static_cast<double>(interval.times()) *
                            static_cast<double>(periodDays) / static_cast<double>(interval.days());
    }
    if (rate.expectedDays > 0) {
        rate.rate = std::min(1.0, static_cast<double>(rate.checkedDays) / rate.expectedDays);
    }
    return rate;
}

}  // namespace

HabitStatistics HabitStatistics::compute(std::span<const Date> performingDates,
                                         const RepeatInterval& interval, Date on,
                                         std::int64_t firstWeekday, std::optional<Date> since,
                                         std::size_t weeks, std::size_t months) {
    HabitStatistics statistics;
    CalendarDayIndex index = CalendarDayIndex::current();
    const Date today = index.dayStart(on);
    std::vector<DayNumber> checked;
    checked.reserve(performingDates.size());
    for (const Date date : performingDates) {
        if (!std::isfinite(date.timeIntervalSinceReferenceDate()) || date > on) {
            continue;
        }
        // A checkmark further back than any calendar worth showing: measured roughly first,
        // so that the calendar is never asked about it.
        if ((today - date) / 86'400.0 > static_cast<double>(-kOldestDay)) {
            continue;
        }
        checked.push_back(index.dayGap(date, today));
    }
    std::sort(checked.begin(), checked.end());
    checked.erase(std::unique(checked.begin(), checked.end()), checked.end());
    statistics.checkedDays_ = static_cast<std::int64_t>(checked.size());

    auto dayDate = [&](DayNumber day) { return dateInDays(today, day); };
    if (interval.times() >= 1 && interval.days() >= 1 && !checked.empty()) {
        for (const DayRun& run : runsOnTrack(checked, interval.times(), interval.days())) {
            statistics.streaks_.push_back(Streak{dayDate(run.start), dayDate(run.end),
                                                 run.end - run.start + 1, run.checkmarks});
            const Streak& streak = statistics.streaks_.back();
            if (!statistics.best_ || streak.days >= statistics.best_->days) {
                statistics.best_ = streak;
            }
            if (run.end == 0 || run.end == -1) {
                statistics.current_ = streak;
            }
        }
    }

    // The first day rates count: the earlier of `since` and the first checkmark.
    DayNumber countedFrom = checked.empty() ? 1 : checked.front();
    if (since && std::isfinite(since->timeIntervalSinceReferenceDate()) &&
        (today - *since) / 86'400.0 < static_cast<double>(-kOldestDay)) {
        countedFrom = std::min(countedFrom, index.dayGap(*since, today));
    }
    countedFrom = std::clamp<DayNumber>(countedFrom, kOldestDay, 1);
    auto addRate = [&](std::vector<CompletionRate>& rates, DayNumber first, DayNumber last) {
        const DayNumber from = std::max(first, countedFrom);
        if (from <= last) {
            rates.push_back(rateOf(checked, dayDate(from), from, last - from + 1, interval));
        }
    };
    // Weeks: the one holding today counts its days up to today.
    const std::int64_t weekday = Region::current().components(today).weekday.value_or(1);
    const std::int64_t intoWeek = ((weekday - firstWeekday) % 7 + 7) % 7;
    for (std::size_t back = weeks; back-- > 0;) {
        const DayNumber first = -intoWeek - 7 * static_cast<DayNumber>(back);
        addRate(statistics.weeks_, first, back == 0 ? 0 : first + 6);
    }
    // Months likewise, measured in days of the calendar.
    for (std::size_t back = months; back-- > 0;) {
        const auto offset = static_cast<std::int64_t>(back);
        const DayNumber first = index.dayGap(dateInMonths(today, -offset), today);
        const DayNumber next = index.dayGap(dateInMonths(today, 1 - offset), today);
        addRate(statistics.months_, first, back == 0 ? 0 : next - 1);
    }
    return statistics;
}

}  // namespace dovrel

#include "platform/notifications/NotificationTrigger.h"

#include <cstdint>
#include <utility>

#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"

namespace dovrel::notifications {

namespace {

// How many days the search below may look at before it gives up. Every trigger that can match
// at all matches within a few dozen steps (a 29 February needs one step per year up to eight
// years); the bound only stops the search for components that no day of the calendar has (a
// 14th month).
constexpr int kSearchSteps = 5000;

// Whether set time fields are in range at all; a lenient build-back would carry 25:00 into the
// next day instead of refusing it.
bool timeFieldsInRange(const DateComponents& wanted) {
    const auto within = [](const std::optional<std::int64_t>& field, std::int64_t low,
                           std::int64_t high) {
        return !field || (*field >= low && *field <= high);
    };
    return within(wanted.hour, 0, 23) && within(wanted.minute, 0, 59) &&
           within(wanted.second, 0, 59) && within(wanted.weekday, 1, 7) &&
           within(wanted.month, 1, 13) && within(wanted.day, 1, 31);
}

struct Day {
    std::int64_t era;
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};

// The first instant on `day` (already known to match the day fields) after `after` whose time of
// day matches `wanted`. Candidate times are tried in wall-clock order; a wall-clock time that the
// zone skips resolves as Region resolves it, and one that occurs twice is its first occurrence.
std::optional<Date> firstTimeOnDay(const Region& region, const Day& day,
                                   const DateComponents& wanted, Date after,
                                   const DateComponents& afterFields) {
    const bool sameDayAsAfter = afterFields.era == day.era && afterFields.year == day.year &&
                                afterFields.month == day.month && afterFields.day == day.day;
    const std::int64_t fromHour = sameDayAsAfter ? afterFields.hour.value_or(0) : 0;
    const std::int64_t second = wanted.second.value_or(0);
    for (std::int64_t hour = wanted.hour.value_or(fromHour); hour <= 23; ++hour) {
        if (hour < fromHour) {
            break;  // the wanted hour has passed on this day
        }
        const std::int64_t fromMinute =
            hour == fromHour && sameDayAsAfter ? afterFields.minute.value_or(0) : 0;
        for (std::int64_t minute = wanted.minute.value_or(fromMinute); minute <= 59; ++minute) {
            if (minute < fromMinute) {
                break;
            }
            DateComponents candidate;
            candidate.era = day.era;
            candidate.year = day.year;
            candidate.month = day.month;
            candidate.day = day.day;
            candidate.hour = hour;
            candidate.minute = minute;
            candidate.second = second;
            const auto date = region.date(candidate);
            if (date && *date > after) {
                const auto fields = region.components(*date);
                // A time that the zone skips at the end of the day could land on the next one.
                if (fields.year == day.year && fields.month == day.month && fields.day == day.day) {
                    return date;
                }
            }
            if (wanted.minute) {
                break;
            }
        }
        if (wanted.hour) {
            break;
        }
    }
    return std::nullopt;
}

}  // namespace

CalendarNotificationTrigger::CalendarNotificationTrigger(
    DateComponents dateComponents, bool repeats, std::optional<std::string> calendarIdentifier)
    : dateComponents_(std::move(dateComponents)),
      repeats_(repeats),
      calendarIdentifier_(std::move(calendarIdentifier)) {}

std::optional<Date> CalendarNotificationTrigger::nextTriggerDate(Date after) const {
    const DateComponents& wanted = dateComponents_;
    if (!timeFieldsInRange(wanted)) {
        return std::nullopt;
    }
    // The zone and locale are read now, so a move to another zone moves the trigger with it.
    const Region current = Region::current();
    const Region region(calendarIdentifier_.value_or(current.calendarIdentifier()),
                        current.timeZoneIdentifier(), current.localeIdentifier());

    const DateComponents afterFields = region.components(after);
    if (!afterFields.year || !afterFields.month || !afterFields.day) {
        return std::nullopt;  // not a finite date
    }
    Day day{afterFields.era.value_or(1), *afterFields.year, *afterFields.month, *afterFields.day};

    for (int step = 0; step < kSearchSteps; ++step) {
        // Normalise the day: fields that ran past their range (day 31 of a 30-day month, month 13
        // of a 12-month year) carry into the next month or year, as Region's build-back does.
        // Noon is on every day, whatever the zone does around midnight.
        DateComponents probe;
        probe.era = day.era;
        probe.year = day.year;
        probe.month = day.month;
        probe.day = day.day;
        probe.hour = 12;
        const auto noon = region.date(probe);
        if (!noon) {
            return std::nullopt;
        }
        const DateComponents fields = region.components(*noon);
        if (!fields.year || !fields.month || !fields.day || !fields.weekday) {
            return std::nullopt;
        }
        day = Day{fields.era.value_or(day.era), *fields.year, *fields.month, *fields.day};

        if (wanted.era && day.era != *wanted.era) {
            if (day.era > *wanted.era) {
                return std::nullopt;
            }
            day = Day{*wanted.era, 1, 1, 1};
            continue;
        }
        if (wanted.year && day.year != *wanted.year) {
            if (day.year > *wanted.year) {
                return std::nullopt;
            }
            day = Day{day.era, *wanted.year, 1, 1};
            continue;
        }
        if (wanted.month && day.month != *wanted.month) {
            if (day.month < *wanted.month) {
                day = Day{day.era, day.year, *wanted.month, 1};
            } else {
                day = Day{day.era, day.year + 1, *wanted.month, 1};
            }
            continue;
        }
        if (wanted.day && day.day != *wanted.day) {
            if (day.day < *wanted.day) {
                // A month too short for the day carries into the next month, which is tried then.
                day.day = *wanted.day;
            } else {
                day = Day{day.era, day.year, day.month + 1, 1};
            }
            continue;
        }
        if (wanted.weekday && *fields.weekday != *wanted.weekday) {
            day.day += (*wanted.weekday - *fields.weekday + 7) % 7;
            continue;
        }
        if (auto date = firstTimeOnDay(region, day, wanted, after, afterFields)) {
            return date;
        }
        day.day += 1;
    }
    return std::nullopt;
}

std::optional<Date> CalendarNotificationTrigger::nextTriggerDate() const {
    return nextTriggerDate(Clock::now());
}

TimeIntervalNotificationTrigger::TimeIntervalNotificationTrigger(TimeInterval timeInterval,
                                                                 bool repeats)
    : timeInterval_(timeInterval), repeats_(repeats) {
    if (!(timeInterval > 0)) {
        fatalError("time interval must be greater than 0");
    }
    if (repeats && timeInterval < 60) {
        fatalError("time interval must be at least 60 if repeating");
    }
}

std::optional<Date> TimeIntervalNotificationTrigger::nextTriggerDate() const {
    return Clock::now() + timeInterval_;
}

}  // namespace dovrel::notifications

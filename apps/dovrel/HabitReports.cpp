#include "apps/dovrel/HabitReports.h"

#include <algorithm>

#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Progress/DateExtensions.h"

namespace dovrel::cli {

namespace {

// Whether the day of `day` has a checkmark. The five-date cache holds the latest (at most) five
// checkmark dates, so it answers exactly for every day that starts after its oldest date when it
// is full, and for every day when it holds fewer than five (then it holds every checkmark):
// a checkmark that is not in a full cache is not later than the cache's oldest date. Today's and
// recent days are therefore answered without reading the habit's checkmarks, as its progress is;
// other days ask the habit, which reads them all. Only a habit with a repeat interval keeps its
// cache up to date, so only its cache is trusted.
// The day's bounds are found once for a whole list.

bool hasCheckmark(const Habit& habit, Date day, const DayBounds& bounds) {
    const auto lastFive = habit.lastFivePerformingDates();
    if (lastFive && habit.repeatInterval()) {
        const auto& dates = lastFive->dates();
        if (dates.size() < 5 || bounds.start > dates.front()) {
            return std::any_of(dates.begin(), dates.end(),
                               [&](Date date) { return bounds.contains(date); });
        }
    }
    return habit.hasPerformings(day);
}

HabitReport makeReport(const Habit& habit, std::size_t listNumber, Date day,
                       const DayBounds& bounds, ReportDetail detail) {
    HabitReport report;
    report.listNumber = listNumber;
    report.uri = habit.objectID().uriRepresentation();
    report.name = habit.name();
    report.question = habit.question();
    report.color = habit.color();
    if (const auto interval = habit.repeatInterval()) {
        report.times = interval->times();
        report.days = interval->days();
        report.interval = interval->name();
    }
    report.remind = habit.remind();
    report.remindTime = habit.remindTime();
    report.creationDate = habit.creationDate();
    report.day = day;
    report.progress = habit.progress(day);
    report.checked = hasCheckmark(habit, day, bounds);
    if (const auto lastFive = habit.lastFivePerformingDates()) {
        report.lastFivePerformingDates = lastFive->dates();
    }
    if (detail == ReportDetail::details) {
        auto dates = habit.performingDates();
        std::sort(dates.begin(), dates.end());
        report.checkmarks = std::move(dates);
        report.nextReminder = habit.nextReminder();
    }
    return report;
}

}  // namespace

HabitReport makeHabitReport(const Habit& habit, std::size_t listNumber, Date day,
                            ReportDetail detail) {
    return makeReport(habit, listNumber, day, DayBounds(day), detail);
}

std::vector<HabitReport> makeHabitReports(const std::vector<std::shared_ptr<Habit>>& habits,
                                          Date day, ReportDetail detail) {
    const DayBounds bounds(day);
    std::vector<HabitReport> reports;
    reports.reserve(habits.size());
    for (std::size_t i = 0; i < habits.size(); ++i) {
        reports.push_back(makeReport(*habits[i], i + 1, day, bounds, detail));
    }
    return reports;
}

}  // namespace dovrel::cli

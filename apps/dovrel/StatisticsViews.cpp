#include "apps/dovrel/StatisticsViews.h"

#include <algorithm>

#include "apps/dovrel/HabitJson.h"
#include "apps/dovrel/HabitTitle.h"
#include "apps/dovrel/LocaleFormats.h"
#include "apps/dovrel/NumberText.h"
#include "apps/dovrel/TextLayout.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

namespace {

constexpr const char* kNothing = "–";

std::string localDay(Date day, const Region& region) {
    return isoDateTime(day, region).substr(0, 10);
}

std::string streakDays(const std::optional<Streak>& streak) {
    return streak ? std::to_string(streak->days) : std::string(kNothing);
}

std::string streakText(const std::optional<Streak>& streak, const Region& display) {
    if (!streak) {
        return text("Cli.Stats.NoStreak");
    }
    return text("Cli.Stats.Streak", {{"days", std::to_string(streak->days)},
                                     {"start", formatWithSkeleton(streak->start, "yMMMd", display)},
                                     {"end", formatWithSkeleton(streak->end, "yMMMd", display)},
                                     {"checkmarks", std::to_string(streak->checkmarks)}});
}

std::string rateText(const std::vector<CompletionRate>& rates, const NumberText& numbers) {
    return rates.empty() ? std::string(kNothing) : numbers.percent(rates.back().rate);
}

void appendColumns(std::vector<std::string>& lines,
                   const std::vector<std::vector<std::string>>& rows,
                   const std::vector<bool>& rightAligned) {
    std::vector<std::size_t> widths(rightAligned.size(), 0);
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            if (column > 0) {
                line += "  ";
            }
            line += rightAligned[column] ? padLeft(row[column], widths[column])
                                         : padRight(row[column], widths[column]);
        }
        while (!line.empty() && line.back() == ' ') {
            line.pop_back();
        }
        lines.push_back(std::move(line));
    }
}

nlohmann::ordered_json streakJson(const std::optional<Streak>& streak, const Region& region) {
    if (!streak) {
        return nullptr;
    }
    nlohmann::ordered_json object;
    object["start"] = localDay(streak->start, region);
    object["end"] = localDay(streak->end, region);
    object["days"] = streak->days;
    object["checkmarks"] = streak->checkmarks;
    return object;
}

nlohmann::ordered_json ratesJson(const std::vector<CompletionRate>& rates, const Region& region) {
    auto array = nlohmann::ordered_json::array();
    for (const auto& rate : rates) {
        nlohmann::ordered_json object;
        object["start"] = localDay(rate.start, region);
        object["days"] = rate.periodDays;
        object["checkedDays"] = rate.checkedDays;
        object["expectedDays"] = rate.expectedDays;
        object["rate"] = rate.rate;
        array.push_back(std::move(object));
    }
    return array;
}

}  // namespace

std::vector<std::string> statisticsListLines(const std::vector<HabitStatisticsReport>& habits,
                                             const Terminal& terminal, const Region& region) {
    std::vector<std::string> lines;
    if (habits.empty()) {
        lines.push_back(text("Cli.List.Empty"));
        return lines;
    }
    const NumberText numbers(region.localeIdentifier(), 0);
    std::vector<std::vector<std::string>> rows;
    rows.push_back({"#", text("Cli.Stats.Header.Habit"), text("Cli.Stats.Header.Interval"),
                    text("Cli.Stats.Header.Current"), text("Cli.Stats.Header.Best"),
                    text("Cli.Stats.Header.Week"), text("Cli.Stats.Header.Month")});
    for (const auto& habit : habits) {
        const auto& statistics = habit.statistics;
        rows.push_back({std::to_string(habit.report.listNumber),
                        habitTitle(habit.report.name, habit.report.listNumber),
                        habit.report.interval.value_or(kNothing),
                        statistics ? streakDays(statistics->currentStreak()) : kNothing,
                        statistics ? streakDays(statistics->bestStreak()) : kNothing,
                        statistics ? rateText(statistics->weeks(), numbers) : kNothing,
                        statistics ? rateText(statistics->months(), numbers) : kNothing});
    }
    appendColumns(lines, rows, {true, false, false, true, true, true, true});
    lines.front() = terminal.dimmed(lines.front());
    lines.push_back(terminal.dimmed(text("Cli.Stats.Footer")));
    return lines;
}

std::vector<std::string> statisticsDetailLines(const HabitStatisticsReport& habit,
                                               const Terminal& terminal, const Region& region) {
    const Region display = displayRegion(region);
    const NumberText numbers(region.localeIdentifier(), 0);
    const NumberText expected(region.localeIdentifier(), 1);
    std::vector<std::string> lines;
    lines.push_back(terminal.emphasized(text(
        "Cli.Stats.Title", {{"habit", habitTitle(habit.report.name, habit.report.listNumber)},
                            {"day", formatWithSkeleton(habit.report.day, "yMMMEd", display)}})));
    if (!habit.statistics) {
        lines.push_back(text("Cli.Why.NoInterval"));
        return lines;
    }
    const HabitStatistics& statistics = *habit.statistics;
    std::vector<std::vector<std::string>> fields{
        {text("Cli.Show.Interval"), habit.report.interval.value_or(kNothing)},
        {text("Cli.Stats.CheckedDays"), std::to_string(statistics.checkedDays())},
        {text("Cli.Stats.Current"), streakText(statistics.currentStreak(), display)},
        {text("Cli.Stats.Best"), streakText(statistics.bestStreak(), display)},
        {text("Cli.Stats.Streaks"), std::to_string(statistics.streaks().size())}};
    appendColumns(lines, fields, {false, false});

    auto appendRates = [&](const std::string& title, const std::vector<CompletionRate>& rates,
                           const char* skeleton) {
        lines.push_back("");
        lines.push_back(title);
        std::vector<std::vector<std::string>> rows;
        for (const auto& rate : rates) {
            rows.push_back(
                {"  " + formatWithSkeleton(rate.start, skeleton, display),
                 text("Cli.Stats.OfExpected", {{"checked", std::to_string(rate.checkedDays)},
                                               {"expected", expected(rate.expectedDays)}}),
                 numbers.percent(rate.rate)});
        }
        appendColumns(lines, rows, {false, true, true});
    };
    appendRates(text("Cli.Stats.Weeks"), statistics.weeks(), "yMMMd");
    appendRates(text("Cli.Stats.Months"), statistics.months(), "yMMMM");
    return lines;
}

nlohmann::ordered_json statisticsJson(const HabitStatisticsReport& habit, const Region& region) {
    nlohmann::ordered_json object;
    object["uri"] = habit.report.uri;
    object["name"] = habit.report.name ? nlohmann::ordered_json(*habit.report.name) : nullptr;
    object["on"] = isoDateTime(habit.report.day, region);
    object["interval"] =
        habit.report.interval ? nlohmann::ordered_json(*habit.report.interval) : nullptr;
    if (!habit.statistics) {
        object["checkedDays"] = nullptr;
        object["currentStreak"] = nullptr;
        object["bestStreak"] = nullptr;
        object["streaks"] = nlohmann::ordered_json::array();
        object["weeks"] = nlohmann::ordered_json::array();
        object["months"] = nlohmann::ordered_json::array();
        return object;
    }
    const HabitStatistics& statistics = *habit.statistics;
    object["checkedDays"] = statistics.checkedDays();
    object["currentStreak"] = streakJson(statistics.currentStreak(), region);
    object["bestStreak"] = streakJson(statistics.bestStreak(), region);
    auto streaks = nlohmann::ordered_json::array();
    for (const auto& streak : statistics.streaks()) {
        streaks.push_back(streakJson(streak, region));
    }
    object["streaks"] = std::move(streaks);
    object["weeks"] = ratesJson(statistics.weeks(), region);
    object["months"] = ratesJson(statistics.months(), region);
    return object;
}

}  // namespace dovrel::cli

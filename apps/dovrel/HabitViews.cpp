#include "apps/dovrel/HabitViews.h"

#include <algorithm>
#include <set>

#include "apps/dovrel/ColorArgument.h"
#include "apps/dovrel/HabitJson.h"
#include "apps/dovrel/HabitTitle.h"
#include "apps/dovrel/LocaleFormats.h"
#include "apps/dovrel/MonthCalendar.h"
#include "apps/dovrel/ProgressBar.h"
#include "apps/dovrel/TextLayout.h"
#include "apps/dovrel/Texts.h"
#include "apps/dovrel/YearHeatMap.h"

namespace dovrel::cli {

namespace {

constexpr std::size_t kNameWidth = 28;
constexpr std::size_t kBarWidth = 10;

std::string displayName(const HabitReport& report) {
    return report.name ? *report.name : text("Cli.Habit.Unnamed");
}

std::string intervalText(const HabitReport& report) {
    if (!report.interval) {
        return text("Cli.Habit.NoInterval");
    }
    return *report.interval + " (" + std::to_string(*report.times) + "/" +
           std::to_string(*report.days) + ")";
}

std::string progressText(const HabitReport& report, const Terminal& terminal) {
    return progressBar(report.progress, kBarWidth, terminal, report.color) + " " +
           padLeft(std::to_string(report.progress), 3);
}

// Label-value lines with the values in one column.
void appendFields(std::vector<std::string>& lines,
                  const std::vector<std::pair<std::string, std::string>>& fields) {
    std::size_t width = 0;
    for (const auto& field : fields) {
        width = std::max(width, displayWidth(field.first));
    }
    for (const auto& [label, value] : fields) {
        lines.push_back(padRight(label, width + 2) + value);
    }
}

}  // namespace

std::string quotedHabitName(const HabitReport& report) {
    return habitTitle(report.name, report.listNumber);
}

std::vector<std::string> habitListLines(const std::vector<HabitReport>& reports,
                                        const Terminal& terminal, const Region& region,
                                        ListDay day) {
    if (reports.empty()) {
        return {text("Cli.List.Empty"), text("Cli.List.EmptyHint")};
    }
    const Region display = displayRegion(region);
    const std::string dayPattern = localePattern("MMMd", display.localeIdentifier());

    struct Row {
        std::string number, name, interval, progress, mark, lastDays;
        const HabitReport* report;
    };
    std::vector<Row> rows;
    std::size_t numberWidth = 1, nameWidth = 0, intervalWidth = 0;
    for (const auto& report : reports) {
        Row row;
        row.report = &report;
        row.number = std::to_string(report.listNumber);
        row.name = truncated(displayName(report), kNameWidth);
        row.interval = report.interval ? *report.interval : text("Cli.Habit.NoInterval");
        row.progress = progressText(report, terminal);
        row.mark = std::string(report.checked ? terminal.checkedMark() : terminal.uncheckedMark());
        for (const Date date : report.lastFivePerformingDates) {
            if (!row.lastDays.empty()) {
                row.lastDays += "  ";
            }
            row.lastDays += display.format(date, dayPattern);
        }
        numberWidth = std::max(numberWidth, row.number.size());
        nameWidth = std::max(nameWidth, displayWidth(row.name));
        intervalWidth = std::max(intervalWidth, displayWidth(row.interval));
        rows.push_back(std::move(row));
    }
    const std::string swatchGap = terminal.colorsEnabled() ? "   " : "";
    const std::string nameHeader = text("Cli.List.Header.Habit");
    const std::string intervalHeader = text("Cli.List.Header.Interval");
    const std::string progressHeader = text("Cli.List.Header.Progress");
    // The mark column is headed by its day when another day was asked for.
    const std::string todayHeader = day == ListDay::today
                                        ? text("Cli.List.Header.Today")
                                        : display.format(reports.front().day, dayPattern);
    nameWidth = std::max(nameWidth, displayWidth(nameHeader));
    intervalWidth = std::max(intervalWidth, displayWidth(intervalHeader));
    const std::size_t progressWidth = std::max(kBarWidth + 4, displayWidth(progressHeader));
    const std::size_t todayWidth = std::max<std::size_t>(1, displayWidth(todayHeader));

    std::vector<std::string> lines;
    std::string header =
        padLeft("#", numberWidth) + "  " + swatchGap + padRight(nameHeader, nameWidth) + "  " +
        padRight(intervalHeader, intervalWidth) + "  " + padRight(progressHeader, progressWidth) +
        "  " + padRight(todayHeader, todayWidth) + "  " + text("Cli.List.Header.LastCheckmarks");
    lines.push_back(terminal.dimmed(header));
    for (const auto& row : rows) {
        std::string line = padLeft(row.number, numberWidth) + "  ";
        if (terminal.colorsEnabled()) {
            line += (row.report->color ? terminal.swatch(*row.report->color) : "  ") + " ";
        }
        line += padRight(row.name, nameWidth) + "  " + padRight(row.interval, intervalWidth) +
                "  " + padRight(row.progress, progressWidth) + "  " +
                padRight(centered(row.mark, todayWidth), todayWidth) + "  " + row.lastDays;
        while (!line.empty() && line.back() == ' ') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> habitDetailLines(const HabitReport& report, const Terminal& terminal,
                                          const Region& region, DetailCalendar calendar) {
    const Region display = displayRegion(region);
    std::vector<std::string> lines;
    std::string title = terminal.emphasized(displayName(report));
    if (terminal.colorsEnabled() && report.color) {
        title = terminal.swatch(*report.color) + " " + title;
    }
    lines.push_back(title);
    if (report.question && !report.question->empty()) {
        lines.push_back(*report.question);
    }
    lines.push_back("");

    std::vector<std::pair<std::string, std::string>> fields;
    fields.emplace_back(text("Cli.Show.Interval"), intervalText(report));
    if (report.color) {
        std::string colour = Terminal::hexText(*report.color);
        if (const auto name = paletteName(*report.color)) {
            colour += " (" + *name + ")";
        }
        fields.emplace_back(text("Cli.Show.Color"), colour);
    }
    if (report.remind && report.remindTime) {
        fields.emplace_back(text("Cli.Show.Reminder"), timeOfDayText(*report.remindTime, region));
    } else {
        fields.emplace_back(text("Cli.Show.Reminder"), text("Cli.Show.ReminderOff"));
    }
    if (report.nextReminder) {
        fields.emplace_back(text("Cli.Show.NextReminder"),
                            formatWithSkeleton(*report.nextReminder, "yMMMEdjmm", display));
    }
    if (report.creationDate) {
        fields.emplace_back(text("Cli.Show.Created"),
                            formatWithSkeleton(*report.creationDate, "yMMMd", display));
    }
    const auto checkmarks = report.checkmarks ? *report.checkmarks : std::vector<Date>{};
    fields.emplace_back(text("Cli.Show.Checkmarks"), std::to_string(checkmarks.size()));
    appendFields(lines, fields);
    lines.push_back("");

    lines.push_back(
        text("Cli.Show.OnDay", {{"day", formatWithSkeleton(report.day, "yMMMEd", display)}}));
    fields.clear();
    fields.emplace_back(text("Cli.Show.Progress"), progressText(report, terminal));
    fields.emplace_back(text("Cli.Show.Checked"),
                        report.checked
                            ? std::string(terminal.checkedMark()) + " " + text("Cli.Show.Yes")
                            : std::string(terminal.uncheckedMark()) + " " + text("Cli.Show.No"));
    appendFields(lines, fields);
    lines.push_back("");

    if (calendar == DetailCalendar::year) {
        YearHeatMap year;
        const auto shown = display.components(report.day);
        year.year = shown.year.value_or(2001);
        year.month = shown.month.value_or(1);
        year.day = shown.day.value_or(1);
        year.firstWeekday = firstWeekday(display.localeIdentifier());
        year.weekdayNames = shortWeekdayNames(display.localeIdentifier());
        year.monthNames = shortMonthNames(display.localeIdentifier());
        for (const Date date : checkmarks) {
            const auto components = display.components(date);
            if (components.year && components.month && components.day) {
                year.checkedDays.insert(
                    daysFromCivil(*components.year, *components.month, *components.day));
            }
        }
        for (auto& line : year.lines(terminal, report.color)) {
            lines.push_back("  " + line);
        }
        return lines;
    }
    MonthCalendar month;
    const auto shown = display.components(report.day);
    month.year = shown.year.value_or(2001);
    month.month = shown.month.value_or(1);
    month.selectedDay = shown.day;
    month.firstWeekday = firstWeekday(display.localeIdentifier());
    month.weekdayNames = shortWeekdayNames(display.localeIdentifier());
    month.title = formatWithSkeleton(report.day, "yMMMM", display);
    for (const Date date : checkmarks) {
        const auto components = display.components(date);
        if (components.year == month.year && components.month == month.month && components.day) {
            month.checkedDays.insert(*components.day);
        }
    }
    for (auto& line : month.lines(terminal, report.color)) {
        lines.push_back("  " + line);
    }
    return lines;
}

}  // namespace dovrel::cli

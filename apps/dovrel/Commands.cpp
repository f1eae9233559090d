#include "apps/dovrel/Commands.h"

#include <iostream>
#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Appearance/UserInterfaceStyleDescription.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/ProgressExplanation.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/HabitJson.h"
#include "apps/dovrel/HabitReports.h"
#include "apps/dovrel/HabitSelection.h"
#include "apps/dovrel/HabitTitle.h"
#include "apps/dovrel/HabitViews.h"
#include "apps/dovrel/LocaleFormats.h"
#include "apps/dovrel/ProgressWhy.h"
#include "apps/dovrel/ReminderCommands.h"
#include "apps/dovrel/StatisticsViews.h"
#include "apps/dovrel/TextLayout.h"
#include "apps/dovrel/Texts.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"

namespace dovrel::cli {

namespace {

using MainApp = AnalyticsEvents::MainApp;

// A habit the user named, with its place in the list.
struct FoundHabit {
    std::shared_ptr<Habit> habit;
    std::size_t listNumber;
};

FoundHabit findHabit(const Application& application, const std::string& words) {
    const auto habits = application.habits();
    std::vector<HabitCandidate> candidates;
    candidates.reserve(habits.size());
    for (const auto& habit : habits) {
        candidates.push_back({habit->name(), habit->objectID().uriRepresentation()});
    }
    const auto selection = selectHabit(candidates, words);
    if (const auto* position = std::get_if<std::size_t>(&selection)) {
        return {habits[*position], *position + 1};
    }
    if (const auto* several = std::get_if<SeveralHabitsMatch>(&selection)) {
        std::string names;
        for (const std::size_t position : several->positions) {
            if (!names.empty()) {
                names += ", ";
            }
            names += std::to_string(position + 1) + " " +
                     habitTitle(candidates[position].name, position + 1);
        }
        throw CommandError(text("Cli.Error.SeveralHabits", {{"words", words}, {"habits", names}}));
    }
    throw CommandError(text("Cli.Error.NoHabit", {{"words", words}}));
}

// Applies the edits that are given; `interval` is the interval to start from.
void applyEdits(Habit& habit, const HabitEdits& edits, const RepeatInterval& interval) {
    if (edits.name) {
        habit.setName(*edits.name);
    }
    if (edits.question) {
        habit.setQuestion(edits.question->empty() ? std::nullopt : edits.question);
    }
    if (edits.color) {
        habit.setColor(*edits.color);
    }
    if (edits.times || edits.days) {
        habit.setRepeatInterval(RepeatInterval(edits.times.value_or(interval.times()),
                                               edits.days.value_or(interval.days())));
    }
    if (edits.remindAt) {
        habit.setRemind(true);
        habit.setRemindTime(todayAt(edits.remindAt->hour, edits.remindAt->minute));
    } else if (edits.remindOff) {
        habit.setRemind(false);
    }
}

void print(const std::vector<std::string>& lines) {
    for (const auto& line : lines) {
        std::cout << line << '\n';
    }
}

std::string regularity(const Habit& habit) {
    const auto interval = habit.repeatInterval();
    return interval ? interval->analyticsDescription() : "no repeatInterval";
}

std::string dayText(Date date) {
    return formatWithSkeleton(date, "yMMMEd", displayRegion(Region::current()));
}

}  // namespace

void listHabits(const Application& application, const Terminal& terminal, std::optional<Date> at,
                bool json) {
    const auto reports =
        makeHabitReports(application.habits(), at.value_or(Clock::now()), ReportDetail::list);
    if (json) {
        std::cout << habitListJson(reports, Region::current()).dump(2, ' ', false) << '\n';
    } else {
        print(habitListLines(reports, terminal, Region::current(),
                             at ? ListDay::asked : ListDay::today));
    }
    application.tracker().trackEvent(MainApp(MainApp::name_main_screen).rawValue());
}

void addHabit(const Application& application, const HabitEdits& edits) {
    std::size_t listNumber = application.habits().size() + 1;
    std::shared_ptr<Habit> added;
    const Color color =
        edits.color ? *edits.color : randomColor(habitPalette(), ExcludedColors::nothing());
    application.save([&](store::ManagedObjectContext& context) {
        added = insertObject<Habit>(context);
        added->setCreationDate(Clock::now());
        added->setColor(color);
        added->setRepeatInterval(RepeatInterval());
        applyEdits(*added, edits, RepeatInterval());
    });
    application.habitsChanged();
    std::cout << text("Cli.Add.Done", {{"habit", habitTitle(added->name(), listNumber)},
                                       {"number", std::to_string(listNumber)}})
              << '\n';
    application.tracker().trackEvent(
        MainApp::AddOrEdit(MainApp::AddOrEdit::name_save_new_habit).rawValue());
}

void checkHabit(const Application& application, const std::string& words, std::optional<Date> at,
                bool fromWidget) {
    const auto found = findHabit(application, words);
    Habit& habit = *found.habit;
    const Date day = at.value_or(Clock::now());
    application.save([&](store::ManagedObjectContext&) { habit.toggleCheckmark(day); });
    // A checkmark today can move the next reminder to a later day.
    application.rescheduleReminders();
    const bool checked = habit.hasPerformings(day);
    const std::int64_t progress = habit.progress(day);
    std::cout << text(checked ? "Cli.Check.Checked" : "Cli.Check.Unchecked",
                      {{"habit", habitTitle(habit.name(), found.listNumber)},
                       {"day", dayText(day)},
                       {"progress", std::to_string(progress)}})
              << '\n';
    const Date now = Clock::now();
    application.tracker().trackToggleCheckmark(
        fromWidget ? EventSource::todayWidget : EventSource::habitsListScreen,
        habit.name().value_or(""), habit.question().value_or(""), habit.remind(), regularity(habit),
        static_cast<double>(habit.progress(now)), checked, daysSince(now, day));
}

void showHabit(const Application& application, const Terminal& terminal, const std::string& words,
               std::optional<Date> at, bool json, bool year) {
    const auto found = findHabit(application, words);
    const auto report = makeHabitReport(*found.habit, found.listNumber, at.value_or(Clock::now()),
                                        ReportDetail::details);
    if (json) {
        std::cout << habitJson(report, Region::current()).dump(2, ' ', false) << '\n';
    } else {
        print(habitDetailLines(report, terminal, Region::current(),
                               year ? DetailCalendar::year : DetailCalendar::month));
        print(habitReminderLines(application, found.habit->objectID().uriRepresentation()));
    }
    application.tracker().trackEvent(MainApp(MainApp::name_detail_screen).rawValue());
}

void explainProgress(const Application& application, const Terminal& terminal,
                     const std::string& words, std::optional<Date> at, bool json) {
    const auto found = findHabit(application, words);
    const Date on = at.value_or(Clock::now());
    const auto report = makeHabitReport(*found.habit, found.listNumber, on, ReportDetail::list);
    const auto explanation = ProgressExplanation::explain(*found.habit, on);
    if (json) {
        std::cout << progressWhyJson(report, explanation, Region::current()).dump(2, ' ', false)
                  << '\n';
    } else {
        print(progressWhyLines(report, explanation, terminal, Region::current()));
    }
}

namespace {

HabitStatisticsReport statisticsReport(const Habit& habit, std::size_t listNumber, Date on) {
    HabitStatisticsReport report{makeHabitReport(habit, listNumber, on, ReportDetail::list),
                                 std::nullopt};
    if (const auto interval = habit.repeatInterval()) {
        report.statistics = HabitStatistics::compute(
            habit.performingDates(), *interval, on,
            firstWeekday(Region::current().localeIdentifier()), habit.creationDate());
    }
    return report;
}

}  // namespace

void showStatistics(const Application& application, const Terminal& terminal,
                    const std::optional<std::string>& words, std::optional<Date> at, bool json) {
    const Date on = at.value_or(Clock::now());
    const Region region = Region::current();
    if (words) {
        const auto found = findHabit(application, *words);
        const auto report = statisticsReport(*found.habit, found.listNumber, on);
        if (json) {
            std::cout << statisticsJson(report, region).dump(2, ' ', false) << '\n';
        } else {
            print(statisticsDetailLines(report, terminal, region));
        }
        return;
    }
    const auto habits = application.habits();
    std::vector<HabitStatisticsReport> reports;
    reports.reserve(habits.size());
    for (std::size_t index = 0; index < habits.size(); ++index) {
        reports.push_back(statisticsReport(*habits[index], index + 1, on));
    }
    if (json) {
        auto array = nlohmann::ordered_json::array();
        for (const auto& report : reports) {
            array.push_back(statisticsJson(report, region));
        }
        std::cout << array.dump(2, ' ', false) << '\n';
    } else {
        print(statisticsListLines(reports, terminal, region));
    }
}

void editHabit(const Application& application, const std::string& words, const HabitEdits& edits) {
    const auto found = findHabit(application, words);
    Habit& habit = *found.habit;
    application.save([&](store::ManagedObjectContext&) {
        applyEdits(habit, edits, habit.repeatInterval().value_or(RepeatInterval()));
    });
    application.habitsChanged();
    std::cout << text("Cli.Edit.Done", {{"habit", habitTitle(habit.name(), found.listNumber)}})
              << '\n';
    application.tracker().trackEvent(
        MainApp::AddOrEdit(MainApp::AddOrEdit::name_save_habit).rawValue());
}

void deleteHabit(const Application& application, const std::string& words) {
    const auto found = findHabit(application, words);
    const std::string name = habitTitle(found.habit->name(), found.listNumber);
    application.save(
        [&](store::ManagedObjectContext& context) { context.deleteObject(found.habit); });
    application.habitsChanged();
    std::cout << text("Cli.Delete.Done", {{"habit", name}}) << '\n';
    application.tracker().trackEvent(
        MainApp::DeleteHabit(MainApp::DeleteHabit::main_screen_habit_was_deleted).rawValue());
}

void resetHabit(const Application& application, const std::string& words) {
    const auto found = findHabit(application, words);
    Habit& habit = *found.habit;
    const Date now = Clock::now();
    const auto last = habit.lastPerformingDate();
    const std::int64_t daysSinceLastCheckmark = last ? daysSince(now, *last) : 0;
    application.save([&](store::ManagedObjectContext&) { habit.resetProgress(); });
    application.habitsChanged();
    std::cout << text("Cli.Reset.Done", {{"habit", habitTitle(habit.name(), found.listNumber)}})
              << '\n';
    application.tracker().trackHabitProgressReset(
        habit.name().value_or(""), habit.question().value_or(""), daysSinceLastCheckmark);
}

void showSettings(const Application& application) {
    auto& settings = application.settings();
    const Region display = displayRegion(Region::current());
    const auto date = [&](const std::optional<Date>& value) {
        return value ? formatWithSkeleton(*value, "yMMMdjmm", display) : text("Cli.Settings.None");
    };
    std::string style = text("Cli.Settings.StyleSystem");
    if (const auto selected = settings.selectedUserInterfaceStyle()) {
        switch (*selected) {
            case UserInterfaceStyle::light:
                style = text("Cli.Settings.StyleLight");
                break;
            case UserInterfaceStyle::dark:
                style = text("Cli.Settings.StyleDark");
                break;
            case UserInterfaceStyle::unspecified:
                break;
            default:
                style = std::string(description(*selected));
                break;
        }
    }
    const std::vector<std::pair<std::string, std::string>> fields = {
        {text("Cli.Settings.InstallDate"), date(settings.firstAppInstallDate())},
        {text("Cli.Settings.FirstLaunch"), date(settings.firstAppLaunchDate())},
        {text("Cli.Settings.Launches"), std::to_string(settings.numberOfAppLaunches())},
        {text("Cli.Settings.NewDayLaunches"), std::to_string(settings.numberOfNewDayAppLaunches())},
        {text("Cli.Settings.InterfaceStyle"), style},
        {text("Cli.Settings.Store"), application.storePath().string()},
    };
    std::size_t width = 0;
    for (const auto& field : fields) {
        width = std::max(width, displayWidth(field.first));
    }
    for (const auto& [label, value] : fields) {
        std::cout << padRight(label, width + 2) << value << '\n';
    }
}

}  // namespace dovrel::cli

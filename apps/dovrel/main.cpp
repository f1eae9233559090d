// dovrel: the command-line face of Dovrel, the application itself on its default store.
//
// Exit status: 0 on success, 1 on failure, 2 on a usage error. Errors go to standard error.
// Colours only on a terminal, never with NO_COLOR. Texts follow the user's locale (LANG).

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Version.h"
#include "apps/dovrel/Application.h"
#include "apps/dovrel/ColorArgument.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/Commands.h"
#include "apps/dovrel/Completions.h"
#include "apps/dovrel/CountArgument.h"
#include "apps/dovrel/ImportExportCommands.h"
#include "apps/dovrel/ReminderCommands.h"
#include "apps/dovrel/ReminderStatus.h"
#include "apps/dovrel/Terminal.h"
#include "apps/dovrel/Texts.h"
#include "apps/dovrel/UsageErrors.h"
#include "apps/dovrel/When.h"
#include "platform/foundation/Region.h"

namespace {

using dovrel::Color;
using dovrel::cli::Terminal;
using dovrel::cli::text;

void printPalette(const Terminal& terminal) {
    std::cout << text("Cli.Palette.Title") << "\n";
    std::size_t index = 0;
    for (const auto& [name, color] : dovrel::cli::namedPalette()) {
        const Color dark = color.resolved(dovrel::UserInterfaceStyle::dark);
        std::string line = "  " + std::to_string(index++) + "  ";
        if (terminal.colorsEnabled()) {
            line += terminal.swatch(color) + terminal.swatch(dark) + "  ";
        }
        name.size() < 12 ? line += name + std::string(12 - name.size(), ' ') : line += name + " ";
        line += Terminal::hexText(color) + "  " + Terminal::hexText(dark);
        std::cout << line << "\n";
    }
}

void printInterval(std::int64_t times, std::int64_t days) {
    const dovrel::RepeatInterval interval(times, days);
    std::cout << interval.name() << " (" << interval.analyticsDescription() << ")\n";
}

// The raw words of the options that add and edit share.
struct HabitOptions {
    std::optional<std::string> name;
    std::optional<std::string> question;
    std::optional<std::string> color;
    std::optional<std::string> times;
    std::optional<std::string> days;
    std::optional<std::string> remind;
    bool noRemind = false;
};

void addHabitOptions(CLI::App& command, HabitOptions& options) {
    command.add_option("--question", options.question, text("Cli.Help.Option.Question"));
    command.add_option("--color", options.color, text("Cli.Help.Option.Color"))
        ->type_name("#RRGGBB|NAME");
    // Numbers are read as words and checked by the program, in its own words.
    command.add_option("--times", options.times, text("Cli.Help.Option.Times"))->type_name("N");
    command.add_option("--days", options.days, text("Cli.Help.Option.Days"))->type_name("N");
    command.add_option("--remind", options.remind, text("Cli.Help.Option.Remind"))
        ->type_name("HH:MM");
}

// The edits that the options ask for; a UsageError for words that do not read.
dovrel::cli::HabitEdits readEdits(const HabitOptions& options) {
    dovrel::cli::HabitEdits edits;
    if (options.name) {
        if (options.name->empty()) {
            throw dovrel::cli::UsageError(text("Cli.Error.EmptyName"));
        }
        edits.name = options.name;
    }
    edits.question = options.question;
    if (options.color) {
        edits.color = dovrel::cli::parseColorArgument(*options.color);
        if (!edits.color) {
            throw dovrel::cli::UsageError(text("Cli.Error.BadColor", {{"color", *options.color}}));
        }
    }
    if (options.times) {
        edits.times = dovrel::cli::parseIntervalCount(*options.times,
                                                      dovrel::cli::IntervalCount::times, "--times");
    }
    if (options.days) {
        edits.days = dovrel::cli::parseIntervalCount(*options.days,
                                                     dovrel::cli::IntervalCount::days, "--days");
    }
    if (options.remind) {
        edits.remindAt = dovrel::cli::parseTimeOfDay(*options.remind);
        if (!edits.remindAt) {
            throw dovrel::cli::UsageError(text("Cli.Error.BadTime", {{"time", *options.remind}}));
        }
    }
    edits.remindOff = options.noRemind;
    return edits;
}

std::optional<dovrel::Date> readWhen(const std::optional<std::string>& words) {
    if (!words) {
        return std::nullopt;
    }
    const auto date = dovrel::cli::parseWhen(*words, dovrel::Region::current());
    if (!date) {
        throw dovrel::cli::UsageError(
            text("Cli.Error.BadWhen", {{"when", *words}, {"forms", dovrel::cli::kWhenForms}}));
    }
    return date;
}

// Prints a usage error as the program reports them: the sentence, then where to find help.
int reportUsageError(const dovrel::cli::UsageError& error) {
    std::cout.flush();
    std::cerr << "dovrel: " << error.what() << "\n" << text("Cli.Error.SeeHelp") << "\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    // Messages and character classes follow the user's locale; numbers stay in the C locale so
    // that what scripts read does not change with the language.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
    // A locale that names no language ("C", "POSIX", "C.UTF-8") gets the English texts rather
    // than bare message keys: English is the development language of the string tables.
    const std::string messages = std::setlocale(LC_MESSAGES, nullptr);
    if (messages == "C" || messages == "POSIX" || messages.starts_with("C.")) {
        std::setlocale(LC_MESSAGES, "en_US.UTF-8");
    }

    CLI::App app{text("Cli.Help.Description"), "dovrel"};
    app.require_subcommand(0, 1);
    app.fallthrough();
    // Unknown words are left over rather than failing the parse, so that the program can name
    // them in its own words (UsageErrors.h).
    app.allow_extras();
    bool showVersion = false;
    std::optional<std::string> storePath;
    bool debug = false;
    app.add_flag("--version", showVersion, text("Cli.Help.Option.Version"));
    app.add_option("--store", storePath, text("Cli.Help.Option.Store"))->type_name("PATH");
    app.add_flag("--debug", debug, text("Cli.Help.Option.Debug"));

    bool json = false;
    std::string habit;
    std::optional<std::string> at;
    bool fromWidget = false;
    HabitOptions habitOptions;
    std::string file;
    bool dryRun = false;

    auto* list = app.add_subcommand("list", text("Cli.Help.List"));
    list->add_option("--at", at, text("Cli.Help.Option.ListAt"))->type_name("WHEN");
    list->add_flag("--json", json, text("Cli.Help.Option.Json"));

    auto* add = app.add_subcommand("add", text("Cli.Help.Add"));
    add->add_option("NAME", habitOptions.name, text("Cli.Help.Option.Name"))->required();
    addHabitOptions(*add, habitOptions);

    auto* check = app.add_subcommand("check", text("Cli.Help.Check"));
    check->add_option("HABIT", habit, text("Cli.Help.Option.Habit"))->required();
    check->add_option("--at", at, text("Cli.Help.Option.At"))->type_name("WHEN");
    check->add_flag("--from-widget", fromWidget, text("Cli.Help.Option.FromWidget"));

    auto* show = app.add_subcommand("show", text("Cli.Help.Show"));
    show->add_option("HABIT", habit, text("Cli.Help.Option.Habit"))->required();
    show->add_option("--at", at, text("Cli.Help.Option.At"))->type_name("WHEN");
    show->add_flag("--json", json, text("Cli.Help.Option.Json"));
    bool showYear = false;
    show->add_flag("--year", showYear, text("Cli.Help.Option.Year"));

    auto* why = app.add_subcommand("why", text("Cli.Help.Why"));
    why->add_option("HABIT", habit, text("Cli.Help.Option.Habit"))->required();
    why->add_option("--at", at, text("Cli.Help.Option.At"))->type_name("WHEN");
    why->add_flag("--json", json, text("Cli.Help.Option.Json"));

    std::string statsHabit;
    auto* stats = app.add_subcommand("stats", text("Cli.Help.Stats"));
    stats->add_option("HABIT", statsHabit, text("Cli.Help.Option.StatsHabit"));
    stats->add_option("--at", at, text("Cli.Help.Option.At"))->type_name("WHEN");
    stats->add_flag("--json", json, text("Cli.Help.Option.Json"));

    auto* edit = app.add_subcommand("edit", text("Cli.Help.Edit"));
    edit->add_option("HABIT", habit, text("Cli.Help.Option.Habit"))->required();
    edit->add_option("--name", habitOptions.name, text("Cli.Help.Option.NewName"));
    addHabitOptions(*edit, habitOptions);
    edit->add_flag("--no-remind", habitOptions.noRemind, text("Cli.Help.Option.NoRemind"));

    auto* remove = app.add_subcommand("delete", text("Cli.Help.Delete"));
    remove->add_option("HABIT", habit, text("Cli.Help.Option.Habit"))->required();

    auto* reset = app.add_subcommand("reset", text("Cli.Help.Reset"));
    reset->add_option("HABIT", habit, text("Cli.Help.Option.Habit"))->required();

    auto* backup = app.add_subcommand("backup", text("Cli.Help.Backup"));
    backup->add_option("FILE", file, text("Cli.Help.Option.BackupFile"))->required();
    bool force = false;
    backup->add_flag("--force", force, text("Cli.Help.Option.Force"));

    auto* restore = app.add_subcommand("restore", text("Cli.Help.Restore"));
    restore->add_option("FILE", file, text("Cli.Help.Option.BackupFile"))->required();
    restore->add_flag("--dry-run", dryRun, text("Cli.Help.Option.DryRun"));

    auto* import = app.add_subcommand("import", text("Cli.Help.Import"));
    import->add_option("FILE", file, text("Cli.Help.Option.ImportFile"))->required();
    import->add_flag("--dry-run", dryRun, text("Cli.Help.Option.DryRun"));

    std::string csvFolder;
    auto* exporting = app.add_subcommand("export", text("Cli.Help.Export"));
    exporting->add_option("--csv", csvFolder, text("Cli.Help.Option.Csv"))
        ->type_name("FOLDER")
        ->required();

    auto* settings = app.add_subcommand("settings", text("Cli.Help.Settings"));
    std::optional<std::string> remindersSwitch;
    settings->add_option("--reminders", remindersSwitch, text("Cli.Help.Option.Reminders"))
        ->type_name("on|off");

    auto* reminders = app.add_subcommand("reminders", text("Cli.Help.Reminders"));
    reminders->add_flag("--json", json, text("Cli.Help.Option.Json"));
    reminders->require_subcommand(0, 1);
    auto* deliver = reminders->add_subcommand("deliver", text("Cli.Help.Reminders.Deliver"));
    deliver->add_flag("--json", json, text("Cli.Help.Option.Json"));
    auto* delivered = reminders->add_subcommand("delivered", text("Cli.Help.Reminders.Delivered"));
    delivered->add_flag("--json", json, text("Cli.Help.Option.Json"));
    auto* answer = reminders->add_subcommand("answer", text("Cli.Help.Reminders.Answer"));
    std::string reminderIdentifier, reminderAnswer;
    answer->add_option("IDENTIFIER", reminderIdentifier, text("Cli.Help.Option.ReminderIdentifier"))
        ->required();
    answer->add_option("ANSWER", reminderAnswer, text("Cli.Help.Option.ReminderAnswer"))
        ->required()
        ->type_name("complete|postpone-5m|postpone-1h|postpone-4h|dismiss");

    auto* status = reminders->add_subcommand("status", text("Cli.Help.Reminders.Status"));

    // The shell completions' questions (Completions.h); not listed in the help.
    std::string completionKind;
    auto* completion = app.add_subcommand("__complete", "");
    completion->group("");
    completion->add_option("KIND", completionKind)->required();

    auto* version = app.add_subcommand("version", text("Cli.Help.Version"));
    auto* palette = app.add_subcommand("palette", text("Cli.Help.Palette"));
    auto* interval = app.add_subcommand("interval", text("Cli.Help.Interval"));
    std::string times, days;
    interval->add_option("TIMES", times, text("Cli.Help.Option.Times"))->required()->type_name("N");
    interval->add_option("DAYS", days, text("Cli.Help.Option.Days"))->required()->type_name("N");

    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // A request for help prints the help and succeeds; every other failure is a usage error,
        // told in the program's own words.
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(error);
        }
        return reportUsageError(dovrel::cli::usageErrorFor(error, app, arguments));
    }
    if (const auto leftover = dovrel::cli::leftoverWordsError(app)) {
        return reportUsageError(*leftover);
    }

    try {
        const Terminal terminal = Terminal::forStream(stdout);
        if (showVersion || version->parsed()) {
            std::cout << "dovrel " << dovrel::libraryVersion() << "\n";
            return 0;
        }
        if (completion->parsed()) {
            return dovrel::cli::printCompletions(
                completionKind,
                storePath ? std::optional<std::filesystem::path>(*storePath) : std::nullopt);
        }
        if (palette->parsed()) {
            printPalette(terminal);
            return 0;
        }
        if (interval->parsed()) {
            printInterval(
                dovrel::cli::parseIntervalCount(times, dovrel::cli::IntervalCount::times, "TIMES"),
                dovrel::cli::parseIntervalCount(days, dovrel::cli::IntervalCount::days, "DAYS"));
            return 0;
        }

        // Everything the command needs from its words is read before the store is opened.
        const auto when = readWhen(at);
        const auto edits = readEdits(habitOptions);
        if (answer->parsed() && !dovrel::cli::reminderActionForAnswer(reminderAnswer)) {
            throw dovrel::cli::UsageError(
                text("Cli.Error.BadAnswer", {{"answer", reminderAnswer}}));
        }
        if (remindersSwitch && *remindersSwitch != "on" && *remindersSwitch != "off") {
            throw dovrel::cli::UsageError(text(
                "Cli.Error.BadOnOff", {{"option", "--reminders"}, {"word", *remindersSwitch}}));
        }

        dovrel::cli::Application::Options options;
        if (storePath) {
            options.storePath = *storePath;
        }
        options.debug = debug;
        const dovrel::cli::Application application(options);

        if (add->parsed()) {
            dovrel::cli::addHabit(application, edits);
        } else if (check->parsed()) {
            dovrel::cli::checkHabit(application, habit, when, fromWidget);
        } else if (show->parsed()) {
            dovrel::cli::showHabit(application, terminal, habit, when, json, showYear);
        } else if (why->parsed()) {
            dovrel::cli::explainProgress(application, terminal, habit, when, json);
        } else if (stats->parsed()) {
            dovrel::cli::showStatistics(
                application, terminal,
                statsHabit.empty() ? std::nullopt : std::optional<std::string>(statsHabit), when,
                json);
        } else if (edit->parsed()) {
            dovrel::cli::editHabit(application, habit, edits);
        } else if (remove->parsed()) {
            dovrel::cli::deleteHabit(application, habit);
        } else if (reset->parsed()) {
            dovrel::cli::resetHabit(application, habit);
        } else if (backup->parsed()) {
            dovrel::cli::backupHabits(application, file, force);
        } else if (restore->parsed()) {
            dovrel::cli::restoreHabits(application, file, dryRun);
        } else if (import->parsed()) {
            dovrel::cli::importHabitsFrom(application, file, dryRun);
        } else if (exporting->parsed()) {
            dovrel::cli::exportHabitsAsCsvTo(application, csvFolder);
        } else if (settings->parsed()) {
            if (remindersSwitch) {
                dovrel::cli::switchReminders(application, *remindersSwitch == "on");
            } else {
                dovrel::cli::showSettings(application);
            }
        } else if (deliver->parsed()) {
            dovrel::cli::deliverReminders(application, json);
        } else if (delivered->parsed()) {
            dovrel::cli::listDeliveredReminders(application, json);
        } else if (status->parsed()) {
            dovrel::cli::reminderStatus(application);
        } else if (answer->parsed()) {
            dovrel::cli::answerReminder(application, reminderIdentifier, reminderAnswer);
        } else if (reminders->parsed()) {
            dovrel::cli::listReminders(application, json);
        } else {
            dovrel::cli::listHabits(application, terminal, when, json);
        }
    } catch (const dovrel::cli::UsageError& error) {
        return reportUsageError(error);
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "dovrel: " << error.what() << "\n";
        return 1;
    }
    std::cout.flush();
    return std::cout.good() ? 0 : 1;
}

// dovrel: the command-line face of Dovrel.
//
// Exit status: 0 on success, 1 on failure, 2 on a usage error. Errors go to standard error.
// Colours only on a terminal, never with NO_COLOR. Texts follow the user's locale (LANG).

#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "DovrelFoundation/ColorExtensions.h"
#include "DovrelFoundation/RepeatInterval.h"
#include "DovrelFoundation/StringExtensions.h"
#include "DovrelFoundation/Version.h"
#include "apps/dovrel/Terminal.h"

namespace {

using dovrel::Color;
using dovrel::cli::Terminal;

// The habit palette in its stored order, with the asset names that people know it by.
std::vector<std::pair<std::string, Color>> namedPalette() {
    static const char* const kNames[] = {"banana",  "grape", "sky",        "barbie",   "salmon",
                                         "apricot", "pear",  "aquamarine", "blueberry"};
    const auto& palette = dovrel::habitPalette();
    std::vector<std::pair<std::string, Color>> named;
    for (std::size_t index = 0; index < palette.size(); ++index) {
        named.emplace_back(kNames[index], palette[index]);
    }
    return named;
}

void printPalette(const Terminal& terminal) {
    std::cout << dovrel::localized("Cli.Palette.Title") << "\n";
    std::size_t index = 0;
    for (const auto& [name, color] : namedPalette()) {
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

    CLI::App app{"dovrel: keep your habits"};
    app.require_subcommand(0, 1);
    bool showVersion = false;
    app.add_flag("--version", showVersion, "Print the version and exit");

    auto* version = app.add_subcommand("version", "Print the version");
    auto* palette = app.add_subcommand("palette", "Show the habit colours, light and dark");
    auto* interval = app.add_subcommand("interval", "Name a repeat interval: TIMES in DAYS days");
    std::int64_t times = 1, days = 1;
    interval->add_option("times", times, "Checkmarks wanted in one period")->required();
    interval->add_option("days", days, "Length of the period in days")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? 0 : 2;
    }

    try {
        const Terminal terminal = Terminal::forStream(stdout);
        if (showVersion || version->parsed()) {
            std::cout << "dovrel " << dovrel::libraryVersion() << "\n";
        } else if (palette->parsed()) {
            printPalette(terminal);
        } else if (interval->parsed()) {
            printInterval(times, days);
        } else {
            std::cout << "dovrel " << dovrel::libraryVersion() << "\n\n";
            printPalette(terminal);
            std::cout << "\n" << dovrel::localized("Cli.Overview.Hint") << "\n";
        }
    } catch (const std::exception& error) {
        std::cerr << "dovrel: " << error.what() << "\n";
        return 1;
    }
    return 0;
}

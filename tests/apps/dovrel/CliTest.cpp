#include <gtest/gtest.h>

#include <string>

#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

using testing::ProgramResult;
using testing::runProgram;

// Runs the built dovrel program under a pinned language, with its resources from the build, in
// a temporary data home so that no store of the user's is touched.
ProgramResult dovrel(std::vector<std::string> arguments,
                     const std::string& language = "en_US.UTF-8",
                     std::map<std::string, std::optional<std::string>> environment = {}) {
    static const testing::TemporaryDirectory home;
    arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
    environment.emplace("LANG", language);
    environment.emplace("LC_ALL", std::nullopt);
    environment.emplace("LC_MESSAGES", std::nullopt);
    environment.emplace("LANGUAGE", std::nullopt);
    environment.emplace("DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR);
    environment.emplace("XDG_DATA_HOME", home.path().string());
    environment.emplace("HOME", home.path().string());
    environment.emplace("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    return runProgram(arguments, environment);
}

TEST(DovrelCli, PrintsItsVersion) {
    const auto result = dovrel({"--version"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput, "dovrel 0.1.0\n");
    EXPECT_EQ(dovrel({"version"}).standardOutput, "dovrel 0.1.0\n");
}

TEST(DovrelCli, NamesIntervalsInEnglish) {
    EXPECT_EQ(dovrel({"interval", "3", "7"}).standardOutput, "3 times per week (3/7)\n");
    EXPECT_EQ(dovrel({"interval", "2", "3"}).standardOutput, "2 times in 3 days (2/3)\n");
    EXPECT_EQ(dovrel({"interval", "1", "1"}).standardOutput, "every day (1/1)\n");
    EXPECT_EQ(dovrel({"interval", "7", "7"}).standardOutput, "every day (1/1)\n");
    EXPECT_EQ(dovrel({"interval", "1", "5"}).standardOutput, "1 time in 5 days (1/5)\n");
}

TEST(DovrelCli, NamesIntervalsInUkrainianWithEveryPluralForm) {
    EXPECT_EQ(dovrel({"interval", "1", "5"}, "uk_UA.UTF-8").standardOutput,
              "1 раз за 5 днів (1/5)\n");
    EXPECT_EQ(dovrel({"interval", "2", "3"}, "uk_UA.UTF-8").standardOutput,
              "2 рази за 3 дні (2/3)\n");
    EXPECT_EQ(dovrel({"interval", "5", "21"}, "uk_UA.UTF-8").standardOutput,
              "5 разів за 21 днів (5/21)\n");
    EXPECT_EQ(dovrel({"interval", "3", "7"}, "uk_UA.UTF-8").standardOutput,
              "3 рази на тиждень (3/7)\n");
}

TEST(DovrelCli, SpeaksEnglishUnderTheCLocale) {
    EXPECT_EQ(dovrel({"interval", "3", "7"}, "C").standardOutput, "3 times per week (3/7)\n");
}

TEST(DovrelCli, ListsThePaletteInItsStoredOrderWithLightAndDarkValues) {
    const auto result = dovrel({"palette"});
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    const std::string& out = result.standardOutput;
    std::size_t previous = 0;
    for (const char* name : {"banana", "grape", "sky", "barbie", "salmon", "apricot", "pear",
                             "aquamarine", "blueberry"}) {
        const auto at = out.find(name);
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_GT(at, previous) << name;
        previous = at;
    }
    EXPECT_NE(out.find("Habit colours"), std::string::npos);
    EXPECT_NE(out.find('#'), std::string::npos);
}

TEST(DovrelCli, PrintsNoColourCodesWhenNotOnATerminal) {
    const auto result = dovrel({"palette"});
    EXPECT_EQ(result.standardOutput.find('\x1b'), std::string::npos);
}

TEST(DovrelCli, AnUnknownCommandIsAUsageErrorWithStatusTwo) {
    const auto result = dovrel({"no-such-command"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_TRUE(result.standardOutput.empty());
    EXPECT_FALSE(result.standardError.empty());
}

TEST(DovrelCli, AMissingArgumentIsAUsageError) {
    EXPECT_EQ(dovrel({"interval", "3"}).exitStatus, 2);
}

TEST(DovrelCli, HelpSucceedsAndNamesEveryCommand) {
    const auto result = dovrel({"--help"});
    EXPECT_EQ(result.exitStatus, 0);
    for (const char* command : {"list", "add", "check", "show", "edit", "delete", "reset", "backup",
                                "restore", "settings", "version", "palette", "interval"}) {
        EXPECT_NE(result.standardOutput.find(command), std::string::npos) << command;
    }
}

TEST(DovrelCli, EveryCommandHasItsOwnHelp) {
    for (const char* command : {"list", "add", "check", "show", "edit", "delete", "reset", "backup",
                                "restore", "settings"}) {
        const auto result = dovrel({command, "--help"});
        EXPECT_EQ(result.exitStatus, 0) << command;
        EXPECT_NE(result.standardOutput.find("--help"), std::string::npos) << command;
    }
}

}  // namespace
}  // namespace dovrel

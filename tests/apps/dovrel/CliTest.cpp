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

// ---- Usage errors in the program's own words --------------------------------------------------

constexpr const char* kSeeHelp = "Run “dovrel --help” to see how the commands are used.\n";
constexpr const char* kSeeHelpInUkrainian =
    "Запустіть «dovrel --help», щоб побачити, як користуватися командами.\n";

// A usage error: status 2, nothing on standard output, and on standard error exactly our
// sentence and the pointer to the help (so none of the parser's own wording).
void expectUsageError(const std::vector<std::string>& arguments, const std::string& sentence,
                      const std::string& language = "en_US.UTF-8") {
    const auto result = dovrel(arguments, language);
    std::string command;
    for (const auto& word : arguments) {
        command += " " + word;
    }
    EXPECT_EQ(result.exitStatus, 2) << command;
    EXPECT_EQ(result.standardOutput, "") << command;
    EXPECT_EQ(result.standardError,
              "dovrel: " + sentence + "\n" +
                  (language.starts_with("uk") ? kSeeHelpInUkrainian : kSeeHelp))
        << command;
    // Words that only the parser library uses.
    for (const char* foreign :
         {"not in range", "Could not convert", "is required", "were not expected",
          "for more information", "required", "Error", "0.000000"}) {
        EXPECT_EQ(result.standardError.find(foreign), std::string::npos) << command;
    }
}

TEST(DovrelCli, AnUnknownCommandIsNamed) {
    expectUsageError({"frob"}, "“frob” is not a dovrel command.");
    expectUsageError({"--debug", "lsit"}, "“lsit” is not a dovrel command.");
}

TEST(DovrelCli, AnUnknownOptionIsNamedWithItsCommand) {
    expectUsageError({"--frob"}, "“dovrel” has no option “--frob”.");
    expectUsageError({"-x"}, "“dovrel” has no option “-x”.");
    expectUsageError({"list", "--frob"}, "“dovrel list” has no option “--frob”.");
    expectUsageError({"add", "Read", "--times=3", "--often"},
                     "“dovrel add” has no option “--often”.");
}

TEST(DovrelCli, AMissingArgumentIsNamedWithItsCommand) {
    expectUsageError({"check"}, "“dovrel check” needs HABIT.");
    expectUsageError({"add"}, "“dovrel add” needs NAME.");
    expectUsageError({"backup"}, "“dovrel backup” needs FILE.");
    expectUsageError({"interval"}, "“dovrel interval” needs TIMES.");
    expectUsageError({"interval", "3"}, "“dovrel interval” needs DAYS.");
}

TEST(DovrelCli, AnOptionWithoutItsValueIsNamed) {
    expectUsageError({"check", "Read", "--at"}, "“--at” needs a value: WHEN.");
    expectUsageError({"show", "Read", "--at="}, "“--at” needs a value: WHEN.");
    expectUsageError({"--store"}, "“--store” needs a value: PATH.");
    expectUsageError({"add", "Read", "--days"}, "“--days” needs a value: N.");
}

TEST(DovrelCli, AnOptionGivenTwiceIsNamed) {
    expectUsageError({"check", "Read", "--at", "2026-03-01", "--at", "2026-03-02"},
                     "“--at” is given more than once.");
}

TEST(DovrelCli, AFlagGivenAValueIsNamed) {
    expectUsageError({"list", "--json=maybe"}, "“--json” takes no value.");
}

TEST(DovrelCli, ExtraArgumentsAreNamedWithTheirCommand) {
    expectUsageError({"list", "today"},
                     "“dovrel list” does not take “today”: it is one word too many.");
    expectUsageError({"check", "Read", "Run"},
                     "“dovrel check” does not take “Run”: it is one word too many.");
    expectUsageError({"interval", "3", "7", "9"},
                     "“dovrel interval” does not take “9”: it is one word too many.");
}

TEST(DovrelCli, ACountThatIsNotAWholeNumberIsRefusedWithItsRange) {
    expectUsageError({"add", "Read", "--times", "three"},
                     "“three” is not a whole number: give --times a number from 1 to 1000.");
    expectUsageError({"add", "Read", "--days", "7.5"},
                     "“7.5” is not a whole number: give --days a number from 1 to 3650.");
    expectUsageError({"interval", "x", "7"},
                     "“x” is not a whole number: give TIMES a number from 1 to 1000.");
}

TEST(DovrelCli, ACountBelowOneIsRefused) {
    expectUsageError({"add", "Read", "--times", "0"}, "--times must be at least 1, not 0.");
    expectUsageError({"add", "Read", "--days", "-7"}, "--days must be at least 1, not -7.");
    expectUsageError({"interval", "3", "0"}, "DAYS must be at least 1, not 0.");
}

TEST(DovrelCli, TimesAndDaysBeyondWhatAPersonMeansAreRefused) {
    expectUsageError({"add", "Read", "--times", "1001"},
                     "Too many times for a habit: --times 1001. Give at most 1000.");
    expectUsageError({"add", "Read", "--days", "3651"},
                     "Too long a period for a habit: --days 3651. Give at most 3650 days (ten "
                     "years).");
    expectUsageError({"add", "Read", "--days", "3000000000"},
                     "Too long a period for a habit: --days 3000000000. Give at most 3650 days "
                     "(ten years).");
    const std::string huge(320, '9');
    expectUsageError({"interval", huge, "7"},
                     "Too many times for a habit: TIMES " + huge + ". Give at most 1000.");
}

TEST(DovrelCli, TheLargestCountsAPersonMeansAreAccepted) {
    const auto result = dovrel({"interval", "1000", "3650"});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, "1000 times in 3650 days (1000/3650)\n");
}

TEST(DovrelCli, UsageErrorsSpeakUkrainian) {
    expectUsageError({"frob"}, "«frob» не є командою dovrel.", "uk_UA.UTF-8");
    expectUsageError({"list", "--frob"}, "Команда «dovrel list» не має параметра «--frob».",
                     "uk_UA.UTF-8");
    expectUsageError({"check"}, "Команді «dovrel check» потрібен аргумент HABIT.", "uk_UA.UTF-8");
    expectUsageError({"check", "1", "--at"}, "Після «--at» потрібне значення: WHEN.",
                     "uk_UA.UTF-8");
    expectUsageError({"add", "Read", "--times", "0"}, "--times має бути не менше 1, а не 0.",
                     "uk_UA.UTF-8");
    expectUsageError({"add", "Read", "--times", "5000"},
                     "Забагато разів для звички: --times 5000. Вкажіть щонайбільше 1000.",
                     "uk_UA.UTF-8");
    expectUsageError({"add", "Read", "--days", "4000"},
                     "Задовгий період для звички: --days 4000. Вкажіть щонайбільше 3650 днів "
                     "(десять років).",
                     "uk_UA.UTF-8");
    expectUsageError({"add", "Read", "--days", "тиждень"},
                     "«тиждень» не є цілим числом: вкажіть для --days число від 1 до 3650.",
                     "uk_UA.UTF-8");
    expectUsageError({"list", "x"}, "Команда «dovrel list» не приймає «x»: це зайве слово.",
                     "uk_UA.UTF-8");
}

TEST(DovrelCli, HelpStillNamesTheOptionsAndTheirRanges) {
    const auto list = dovrel({"list", "--help"});
    EXPECT_EQ(list.exitStatus, 0);
    EXPECT_NE(list.standardOutput.find("--at WHEN"), std::string::npos) << list.standardOutput;
    const auto backup = dovrel({"backup", "--help"});
    EXPECT_NE(backup.standardOutput.find("--force"), std::string::npos) << backup.standardOutput;
    const auto add = dovrel({"add", "--help"});
    EXPECT_NE(add.standardOutput.find("1 to 1000"), std::string::npos) << add.standardOutput;
    EXPECT_NE(add.standardOutput.find("1 to 3650"), std::string::npos) << add.standardOutput;
    EXPECT_EQ(dovrel({"interval", "-h"}).exitStatus, 0);
}
}  // namespace
}  // namespace dovrel

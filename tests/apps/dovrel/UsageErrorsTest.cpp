#include "apps/dovrel/UsageErrors.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/RegionOverrides.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel::cli {
namespace {

// A small command line set up as the program's is: option values as text, flags, required
// positionals, and extras allowed at the top, where every command falls through.
class UsageErrorsTest : public ::testing::Test {
  protected:
    UsageErrorsTest() {
        app_.require_subcommand(0, 1);
        app_.fallthrough();
        app_.allow_extras();
        app_.add_option("--store", store_)->type_name("PATH");
        app_.add_flag("--debug", debug_);
        auto* check = app_.add_subcommand("check");
        check->add_option("HABIT", habit_)->required();
        check->add_option("--at", at_)->type_name("WHEN");
        check->add_flag("--json", json_);
    }

    // The sentence for `words`: what the parse threw, or what it left over; "" when neither.
    std::string sentence(std::vector<std::string> words) {
        const std::vector<std::string> arguments = words;
        std::reverse(words.begin(), words.end());  // CLI11 takes its words last first
        try {
            app_.parse(words);
        } catch (const CLI::ParseError& error) {
            return usageErrorFor(error, app_, arguments).what();
        }
        const auto leftover = leftoverWordsError(app_);
        return leftover ? leftover->what() : "";
    }

    testing::ScopedEnvironment language_{"LANGUAGE", std::nullopt};
    ScopedLocale locale_{"en_US"};
    CLI::App app_{"test", "dovrel"};
    std::optional<std::string> store_, at_;
    std::string habit_;
    bool debug_ = false, json_ = false;
};

TEST_F(UsageErrorsTest, AllWordsUsedIsNoError) {
    EXPECT_EQ(sentence({"--debug", "check", "Read", "--at", "2026-03-01", "--store", "s"}), "");
    EXPECT_EQ(habit_, "Read");
    EXPECT_EQ(at_, "2026-03-01");
}

TEST_F(UsageErrorsTest, AWordBeforeAnyCommandIsAnUnknownCommand) {
    EXPECT_EQ(sentence({"chek", "Read"}), "“chek” is not a dovrel command.");
}

TEST_F(UsageErrorsTest, AnUnknownOptionIsNamedWithTheCommandItWasGivenTo) {
    EXPECT_EQ(sentence({"--frob"}), "“dovrel” has no option “--frob”.");
    EXPECT_EQ(sentence({"check", "Read", "-q"}), "“dovrel check” has no option “-q”.");
}

TEST_F(UsageErrorsTest, AWordTooManyIsNamedWithItsCommand) {
    EXPECT_EQ(sentence({"check", "Read", "Run"}),
              "“dovrel check” does not take “Run”: it is one word too many.");
}

TEST_F(UsageErrorsTest, AMissingPositionalIsNamed) {
    EXPECT_EQ(sentence({"check"}), "“dovrel check” needs HABIT.");
    EXPECT_EQ(sentence({"check", "--json"}), "“dovrel check” needs HABIT.");
}

TEST_F(UsageErrorsTest, AnOptionAtTheEndWithoutItsValueIsNamedWithTheValueItTakes) {
    EXPECT_EQ(sentence({"check", "Read", "--at"}), "“--at” needs a value: WHEN.");
    EXPECT_EQ(sentence({"check", "Read", "--store"}), "“--store” needs a value: PATH.");
}

TEST_F(UsageErrorsTest, AnOptionGivenTwiceIsNamed) {
    EXPECT_EQ(sentence({"check", "Read", "--at", "a", "--at", "b"}),
              "“--at” is given more than once.");
}

TEST_F(UsageErrorsTest, AFlagWithAValueThatIsNoTruthValueIsNamed) {
    EXPECT_EQ(sentence({"check", "Read", "--json=often"}), "“--json” takes no value.");
}

}  // namespace
}  // namespace dovrel::cli

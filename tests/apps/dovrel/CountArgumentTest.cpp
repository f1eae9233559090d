#include "apps/dovrel/CountArgument.h"

#include <gtest/gtest.h>

#include <string>

#include "apps/dovrel/CommandErrors.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel::cli {
namespace {

// The sentences are read in English; LANGUAGE would override the pinned locale in gettext.
class CountArgumentTest : public ::testing::Test {
  protected:
    // The sentence of the usage error that reading `word` throws; "" when it reads.
    static std::string refusal(const std::string& word, IntervalCount count,
                               const std::string& label) {
        try {
            parseIntervalCount(word, count, label);
        } catch (const UsageError& error) {
            return error.what();
        }
        return "";
    }

    testing::ScopedEnvironment language_{"LANGUAGE", std::nullopt};
    ScopedLocale locale_{"en_US"};
};

TEST_F(CountArgumentTest, WholeNumbersFromOneToTheMostAreRead) {
    EXPECT_EQ(parseIntervalCount("1", IntervalCount::times, "--times"), 1);
    EXPECT_EQ(parseIntervalCount("1000", IntervalCount::times, "--times"), 1000);
    EXPECT_EQ(parseIntervalCount("7", IntervalCount::days, "--days"), 7);
    EXPECT_EQ(parseIntervalCount("3650", IntervalCount::days, "--days"), 3650);
    EXPECT_EQ(parseIntervalCount("0042", IntervalCount::days, "--days"), 42);
}

TEST_F(CountArgumentTest, TheMostIsAThousandTimesAndTenYearsOfDays) {
    EXPECT_EQ(mostOf(IntervalCount::times), 1000);
    EXPECT_EQ(mostOf(IntervalCount::days), 3650);
}

TEST_F(CountArgumentTest, WordsThatAreNotWholeNumbersAreRefusedWithTheRange) {
    for (const char* word : {"", "three", "3.0", "+3", " 3", "3 ", "3x", "-", "0x10", "1e3"}) {
        EXPECT_EQ(refusal(word, IntervalCount::times, "--times"),
                  "“" + std::string(word) +
                      "” is not a whole number: give --times a number from 1 to 1000.")
            << word;
    }
    EXPECT_EQ(refusal("week", IntervalCount::days, "DAYS"),
              "“week” is not a whole number: give DAYS a number from 1 to 3650.");
}

TEST_F(CountArgumentTest, NumbersBelowOneAreRefused) {
    EXPECT_EQ(refusal("0", IntervalCount::times, "--times"), "--times must be at least 1, not 0.");
    EXPECT_EQ(refusal("-3", IntervalCount::days, "--days"), "--days must be at least 1, not -3.");
    const std::string hugeNegative = "-" + std::string(40, '9');
    EXPECT_EQ(refusal(hugeNegative, IntervalCount::days, "--days"),
              "--days must be at least 1, not " + hugeNegative + ".");
}

TEST_F(CountArgumentTest, NumbersAboveTheMostAreRefusedAsMoreThanAPersonMeans) {
    EXPECT_EQ(refusal("1001", IntervalCount::times, "--times"),
              "Too many times for a habit: --times 1001. Give at most 1000.");
    EXPECT_EQ(refusal("3651", IntervalCount::days, "--days"),
              "Too long a period for a habit: --days 3651. Give at most 3650 days (ten years).");
    // Beyond 64 bits too: still a number, only far too large.
    const std::string huge(309, '9');
    EXPECT_EQ(refusal(huge, IntervalCount::days, "DAYS"), "Too long a period for a habit: DAYS " +
                                                              huge +
                                                              ". Give at most 3650 days (ten "
                                                              "years).");
}

}  // namespace
}  // namespace dovrel::cli

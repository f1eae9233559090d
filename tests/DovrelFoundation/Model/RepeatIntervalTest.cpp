#include "DovrelFoundation/Model/RepeatInterval.h"

#include <gtest/gtest.h>

#include <any>
#include <fstream>
#include <iterator>
#include <string>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "platform/foundation/KeyedArchiver.h"
#include "platform/foundation/KeyedUnarchiver.h"
#include "platform/foundation/RegionOverrides.h"

namespace dovrel {
namespace {

Data fixture(const std::string& name) {
    std::ifstream file(std::string(DOVREL_TEST_DATA_DIR) + "/keyed-archives/" + name,
                       std::ios::binary);
    EXPECT_TRUE(file.good()) << name;
    return Data(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void expectInterval(const RepeatInterval& interval, std::int64_t times, std::int64_t days) {
    EXPECT_EQ(interval.times(), times);
    EXPECT_EQ(interval.days(), days);
}

TEST(RepeatInterval, EqualNumbersGiveEveryDay) {
    expectInterval(RepeatInterval(0, 0), 1, 1);
    expectInterval(RepeatInterval(7, 7), 1, 1);
    expectInterval(RepeatInterval(-2, -2), 1, 1);
    expectInterval(RepeatInterval(5, 5), 1, 1);
}

TEST(RepeatInterval, NumbersBelowOneAreRaisedToOne) {
    expectInterval(RepeatInterval(0, 5), 1, 5);
    expectInterval(RepeatInterval(3, -1), 3, 1);
    // Equality is checked before clamping: 0/1 becomes 1/1 only through the clamp.
    expectInterval(RepeatInterval(0, 1), 1, 1);
    expectInterval(RepeatInterval(-4, -9), 1, 1);
}

TEST(RepeatInterval, MoreTimesThanDaysIsKept) {
    expectInterval(RepeatInterval(2, 1), 2, 1);
}

TEST(RepeatInterval, DefaultIsEveryDay) {
    expectInterval(RepeatInterval(), 1, 1);
}

TEST(RepeatInterval, SettersDoNotNormalise) {
    RepeatInterval interval(3, 7);
    interval.setTimes(0);
    interval.setDays(-4);
    expectInterval(interval, 0, -4);
    interval.setTimes(5);
    interval.setDays(5);
    expectInterval(interval, 5, 5);
}

TEST(RepeatInterval, CopyIsBuiltFromTheCurrentNumbersAndNormalised) {
    RepeatInterval interval(3, 7);
    interval.setTimes(4);
    interval.setDays(4);
    expectInterval(interval.copy(), 1, 1);
    interval.setTimes(0);
    interval.setDays(9);
    expectInterval(interval.copy(), 1, 9);
    expectInterval(RepeatInterval(3, 7).copy(), 3, 7);
    // A plain C++ copy keeps the numbers as they are.
    const RepeatInterval plain = interval;
    expectInterval(plain, 0, 9);
}

TEST(RepeatInterval, AnalyticsDescriptionOfTheDefaultIntervalIs1Over1) {
    EXPECT_EQ(RepeatInterval().analyticsDescription(), "1/1");
    EXPECT_EQ(RepeatInterval(3, 7).analyticsDescription(), "3/7");
    EXPECT_EQ(RepeatInterval(12, 30).analyticsDescription(), "12/30");
    RepeatInterval set;
    set.setTimes(-3);
    set.setDays(0);
    EXPECT_EQ(set.analyticsDescription(), "-3/0");
}

TEST(RepeatInterval, IsEqualAgainstADifferentTypeOrNothingIsFalse) {
    const RepeatInterval interval(3, 7);
    EXPECT_FALSE(interval.isEqual(std::any{}));
    EXPECT_FALSE(interval.isEqual(std::any(42)));
    EXPECT_FALSE(interval.isEqual(std::any(std::string("3/7"))));
    EXPECT_FALSE(interval.isEqual(std::any(LastFivePerformingDates(std::vector<Date>{}))));
}

TEST(RepeatInterval, IsEqualComparesTimesAndDays) {
    const RepeatInterval interval(3, 7);
    EXPECT_TRUE(interval.isEqual(std::any(RepeatInterval(3, 7))));
    EXPECT_FALSE(interval.isEqual(std::any(RepeatInterval(3, 8))));
    EXPECT_FALSE(interval.isEqual(std::any(RepeatInterval(2, 7))));
    EXPECT_EQ(interval, RepeatInterval(3, 7));
    EXPECT_NE(interval, RepeatInterval(7, 3));
}

TEST(RepeatInterval, RuntimeClassNameIsRepeatInterval) {
    EXPECT_EQ(RepeatInterval().className(), "RepeatInterval");
    EXPECT_EQ(RepeatInterval::kClassName, "RepeatInterval");
}

TEST(RepeatInterval, SecureCodingRoundTripKeeps3Over7) {
    const std::optional<RepeatInterval> decoded = KeyedUnarchiver::unarchivedObject<RepeatInterval>(
        KeyedArchiver::archivedData(RepeatInterval(3, 7)));
    ASSERT_TRUE(decoded.has_value());
    expectInterval(*decoded, 3, 7);
}

TEST(RepeatInterval, SecureCodingRoundTripNormalisesNumbersSetDirectly) {
    RepeatInterval interval;
    interval.setTimes(6);
    interval.setDays(6);
    const std::optional<RepeatInterval> decoded =
        KeyedUnarchiver::unarchivedObject<RepeatInterval>(KeyedArchiver::archivedData(interval));
    ASSERT_TRUE(decoded.has_value());
    expectInterval(*decoded, 1, 1);
}

TEST(RepeatInterval, ArchiveWithOnlyTimes4DecodesAs4Over1) {
    const std::optional<RepeatInterval> decoded = KeyedUnarchiver::unarchivedObject<RepeatInterval>(
        fixture("repeat-interval-times-only-4.plist"));
    ASSERT_TRUE(decoded.has_value());
    expectInterval(*decoded, 4, 1);
}

TEST(RepeatInterval, ArchiveWithoutTheKeysDecodesAsEveryDay) {
    const std::optional<RepeatInterval> decoded =
        KeyedUnarchiver::unarchivedObject<RepeatInterval>(fixture("repeat-interval-no-keys.plist"));
    ASSERT_TRUE(decoded.has_value());
    expectInterval(*decoded, 1, 1);
}

TEST(RepeatInterval, HandWrittenArchivesDecodeNormalised) {
    const std::optional<RepeatInterval> interval =
        KeyedUnarchiver::unarchivedObject<RepeatInterval>(fixture("repeat-interval-3-7.plist"));
    ASSERT_TRUE(interval.has_value());
    expectInterval(*interval, 3, 7);
    const std::optional<RepeatInterval> negative =
        KeyedUnarchiver::unarchivedObject<RepeatInterval>(
            fixture("repeat-interval-negative.plist"));
    ASSERT_TRUE(negative.has_value());
    expectInterval(*negative, 1, 3);
}

TEST(RepeatInterval, ArchiveWithTextForTimesIsUnreadable) {
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<RepeatInterval>(
        fixture("repeat-interval-times-is-text.plist")));
}

TEST(RepeatInterval, EveryDayIsNamedWithTheEveryDayText) {
    const ScopedLocale locale("en_US");
    EXPECT_EQ(RepeatInterval().name(), "every day");
    EXPECT_EQ(RepeatInterval(4, 4).name(), "every day");
}

TEST(RepeatInterval, SevenOfSevenIsStillEveryDay) {
    const ScopedLocale locale("en_US");
    RepeatInterval interval;
    interval.setTimes(7);
    interval.setDays(7);
    EXPECT_EQ(interval.name(), "every day");
}

TEST(RepeatInterval, DaysSevenIsNamedWithTheWeekText) {
    const ScopedLocale locale("en_US");
    EXPECT_EQ(RepeatInterval(1, 7).name(), "1 time per week");
    EXPECT_EQ(RepeatInterval(3, 7).name(), "3 times per week");
    EXPECT_EQ(RepeatInterval(5, 7).name(), "5 times per week");
}

TEST(RepeatInterval, DaysFourteenIsNamedWithThePerDaysText) {
    const ScopedLocale locale("en_US");
    EXPECT_EQ(RepeatInterval(1, 14).name(), "1 time in 14 days");
    EXPECT_EQ(RepeatInterval(2, 3).name(), "2 times in 3 days");
    EXPECT_EQ(RepeatInterval(2, 1).name(), "2 times in 1 day");
}

TEST(RepeatInterval, DescriptionIsTheName) {
    const ScopedLocale locale("en_US");
    EXPECT_EQ(RepeatInterval(2, 3).description(), RepeatInterval(2, 3).name());
    EXPECT_EQ(RepeatInterval().description(), "every day");
}

}  // namespace
}  // namespace dovrel

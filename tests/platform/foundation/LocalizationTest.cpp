#include "platform/foundation/Localization.h"

#include <gtest/gtest.h>

#include "platform/foundation/RegionOverrides.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel {
namespace {

using testing::ScopedEnvironment;

// gettext lets LANGUAGE override the locale's language; the tests pin the locale alone.
class LocalizationTest : public ::testing::Test {
  protected:
    ScopedEnvironment language_{"LANGUAGE", std::nullopt};
};

TEST_F(LocalizationTest, EnglishTextsOfTheRepeatIntervalKeys) {
    ScopedLocale locale("en_US");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.EveryDay"), "every day");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerWeek"), "per week");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.Times.One"), "%d time");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.Times.Few"), "%d times");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.Times.Many"), "%d times");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerDays.One"), "in %d day");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerDays.Few"), "in %d days");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerDays.Many"), "in %d days");
}

TEST_F(LocalizationTest, UkrainianTextsOfTheRepeatIntervalKeys) {
    ScopedLocale locale("uk_UA");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.EveryDay"), "щодня");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerWeek"), "на тиждень");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.Times.One"), "%d раз");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.Times.Few"), "%d рази");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.Times.Many"), "%d разів");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerDays.One"), "за %d день");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerDays.Few"), "за %d дні");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.PerDays.Many"), "за %d днів");
}

TEST_F(LocalizationTest, UntranslatedKeyComesBackAsItself) {
    ScopedLocale locale("uk_UA");
    EXPECT_EQ(Localization::localizedString("Nothing.Translates.This"), "Nothing.Translates.This");
    EXPECT_EQ(Localization::localizedString(""), "");
}

TEST_F(LocalizationTest, KeyIsMatchedExactly) {
    ScopedLocale locale("en_US");
    EXPECT_EQ(Localization::localizedString("repeatinterval.everyday"), "repeatinterval.everyday");
    EXPECT_EQ(Localization::localizedString(std::string_view("RepeatInterval.EveryDayX", 23)),
              "every day");  // a view is read to its length, not to a NUL
}

TEST_F(LocalizationTest, LanguageFollowsEachLocaleSwitch) {
    {
        ScopedLocale ukrainian("uk_UA");
        EXPECT_EQ(Localization::localizedString("RepeatInterval.EveryDay"), "щодня");
        {
            ScopedLocale english("en_US");
            EXPECT_EQ(Localization::localizedString("RepeatInterval.EveryDay"), "every day");
        }
        EXPECT_EQ(Localization::localizedString("RepeatInterval.EveryDay"), "щодня");
    }
}

TEST_F(LocalizationTest, LanguageWithoutACatalogueGivesTheKeys) {
    ScopedLocale locale("en_US");
    // A language that has a locale on this machine but no catalogue falls back to the keys;
    // the variable is read at each lookup.
    ScopedEnvironment german("LANGUAGE", "de");
    EXPECT_EQ(Localization::localizedString("RepeatInterval.EveryDay"), "RepeatInterval.EveryDay");
}

}  // namespace
}  // namespace dovrel

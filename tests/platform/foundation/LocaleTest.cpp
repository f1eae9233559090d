#include "platform/foundation/Locale.h"

#include <gtest/gtest.h>

#include "platform/foundation/RegionOverrides.h"

namespace dovrel {
namespace {

TEST(Locale, LanguageAndRegionCodes) {
    Locale ukrainian("uk_UA");
    EXPECT_EQ(ukrainian.identifier(), "uk_UA");
    EXPECT_EQ(ukrainian.languageCode(), std::optional<std::string>("uk"));
    EXPECT_EQ(ukrainian.regionCode(), std::optional<std::string>("UA"));
    EXPECT_EQ(ukrainian.description(), "uk_UA");
}

TEST(Locale, ScriptsAndKeywordsDoNotHideTheCodes) {
    Locale serbian("sr_Latn_RS");
    EXPECT_EQ(serbian.languageCode(), std::optional<std::string>("sr"));
    EXPECT_EQ(serbian.regionCode(), std::optional<std::string>("RS"));
    Locale thai("th_TH@calendar=buddhist");
    EXPECT_EQ(thai.languageCode(), std::optional<std::string>("th"));
    EXPECT_EQ(thai.regionCode(), std::optional<std::string>("TH"));
}

TEST(Locale, MissingCodesAreAbsent) {
    EXPECT_EQ(Locale("en").regionCode(), std::nullopt);
    EXPECT_EQ(Locale("en").languageCode(), std::optional<std::string>("en"));
    EXPECT_EQ(Locale("").languageCode(), std::nullopt);
}

TEST(Locale, CurrentFollowsTheProcessLocale) {
    ScopedLocale pinned("uk_UA");
    EXPECT_EQ(Locale::current().languageCode(), std::optional<std::string>("uk"));
    EXPECT_EQ(Locale::current().regionCode(), std::optional<std::string>("UA"));
}

}  // namespace
}  // namespace dovrel

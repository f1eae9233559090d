#include "DovrelFoundation/Settings/HabitURL.h"

#include <gtest/gtest.h>

#include <unordered_set>

#include "DovrelFoundation/Settings/Constants.h"

namespace dovrel {
namespace {

TEST(HabitURL, RawValueHabitListIsTheHabitListCase) {
    EXPECT_EQ(HabitURL::fromRawValue("habit_list"), HabitURL::habitList);
    EXPECT_EQ(HabitURL(HabitURL::habitList).rawValue(), "habit_list");
}

TEST(HabitURL, AnyOtherStringIncludingOtherLetterCaseGivesNothing) {
    EXPECT_EQ(HabitURL::fromRawValue("Habit_List"), std::nullopt);
    EXPECT_EQ(HabitURL::fromRawValue("HABIT_LIST"), std::nullopt);
    EXPECT_EQ(HabitURL::fromRawValue("habitList"), std::nullopt);
    EXPECT_EQ(HabitURL::fromRawValue(""), std::nullopt);
    EXPECT_EQ(HabitURL::fromRawValue("habit_list "), std::nullopt);
}

TEST(HabitURL, AllCasesInDeclarationOrder) {
    ASSERT_EQ(HabitURL::allCases().size(), 1u);
    EXPECT_EQ(HabitURL::allCases()[0], HabitURL::habitList);
}

TEST(HabitURL, IsHashable) {
    std::unordered_set<HabitURL> links{HabitURL::habitList, HabitURL::habitList};
    EXPECT_EQ(links.size(), 1u);
}

TEST(HabitURL, HabitListURLHasTheAppSchemeTheHostAndNoPath) {
    const URL url = HabitURL(HabitURL::habitList).url();
    EXPECT_EQ(url.absoluteString(), "dovrel-app://habit_list");
    EXPECT_EQ(url.scheme(), std::optional<std::string>("dovrel-app"));
    EXPECT_EQ(url.host(), std::optional<std::string>("habit_list"));
    EXPECT_EQ(url.path(), "");
    EXPECT_EQ(url.query(), std::nullopt);
}

TEST(HabitURL, AppSchemeIsDovrelApp) {
    EXPECT_EQ(HabitURL::appScheme, "dovrel-app");
}

TEST(HabitURL, URLMadeFromALinkEqualsItsURL) {
    EXPECT_EQ(makeURL(HabitURL::habitList), HabitURL(HabitURL::habitList).url());
}

TEST(Constants, KeychainAccessGroupIsTheTeamPrefixAndTheAppGroup) {
    EXPECT_EQ(std::string(Constants::keychainAccessGroupIdentifier),
              std::string(Constants::developerTeamIdentifier) + "." +
                  std::string(Constants::appGroupIdentifier));
}

TEST(Constants, IdentifiersAreReverseDNSAndTheWidgetLivesUnderTheApp) {
    EXPECT_TRUE(Constants::appGroupIdentifier.starts_with("group."));
    EXPECT_TRUE(Constants::appTodayWidgetIdentifier.starts_with(
        std::string(Constants::appBundleIdentifier) + "."));
}

TEST(Constants, AddressesAreWellFormed) {
    for (std::string_view address : {Constants::appStoreURL, Constants::instagramURL,
                                     Constants::privacyLink, Constants::termsLink}) {
        auto url = URL::fromString(address);
        ASSERT_TRUE(url.has_value()) << address;
        EXPECT_EQ(url->scheme(), std::optional<std::string>("https")) << address;
        EXPECT_TRUE(url->host().has_value()) << address;
    }
    const std::string_view email = Constants::emailForReviews;
    const auto at = email.find('@');
    ASSERT_NE(at, std::string_view::npos);
    EXPECT_GT(at, 0u);
    EXPECT_NE(email.find('.', at), std::string_view::npos);
}

}  // namespace
}  // namespace dovrel

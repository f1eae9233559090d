#include <gtest/gtest.h>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "platform/foundation/Clock.h"
#include "tests/support/RecordingAnalyticsService.h"

namespace dovrel {
namespace {

using testing::RecordingAnalyticsService;

URL url(std::string_view text) {
    auto parsed = URL::fromString(text);
    if (!parsed) {
        ADD_FAILURE() << "does not parse: " << text;
        return *URL::fromString("invalid:");
    }
    return *parsed;
}

AnalyticsParameterValue array(std::initializer_list<const char*> values) {
    AnalyticsParameterArray elements;
    for (const char* value : values) {
        elements.emplace_back(std::string(value));
    }
    return elements;
}

TEST(AdsLink, BareCustomSchemeURLHasNoHost) {
    EXPECT_EQ(
        adsLinkParameters(url("dovrel-app:")),
        (AnalyticsParameters{{"ads_link_host", "<no_host>"}, {"ads_link_scheme", "dovrel-app"}}));
    EXPECT_EQ(adsLinkParameters(url("dovrel-app:promo?campaign=spring")),
              (AnalyticsParameters{{"campaign", "spring"},
                                   {"ads_link_host", "<no_host>"},
                                   {"ads_link_scheme", "dovrel-app"}}));
}

TEST(AdsLink, PlainItemsAndBracketItemsInOrder) {
    EXPECT_EQ(adsLinkParameters(url("dovrel-app://ads?a=1&b[]=2&b[]=3")),
              (AnalyticsParameters{{"a", "1"},
                                   {"b", array({"2", "3"})},
                                   {"ads_link_host", "ads"},
                                   {"ads_link_scheme", "dovrel-app"}}));
}

TEST(AdsLink, RepeatedPlainKeysTheLaterWins) {
    const auto parameters = adsLinkParameters(url("https://dovrel.app/?source=a&source=b"));
    EXPECT_EQ(parameters.at("source"), AnalyticsParameterValue("b"));
}

TEST(AdsLink, EveryBracketPairIsRemovedFromTheName) {
    const auto parameters = adsLinkParameters(url("dovrel-app://x?tag[][]=1&t[]ag[]=2"));
    EXPECT_EQ(parameters.at("tag"), array({"1", "2"}));
}

TEST(AdsLink, BracketItemAfterAPlainValueStartsANewArray) {
    const auto parameters = adsLinkParameters(url("dovrel-app://x?b=plain&b[]=1&b[]=2"));
    EXPECT_EQ(parameters.at("b"), array({"1", "2"}));
}

TEST(AdsLink, PlainItemAfterAnArrayReplacesIt) {
    const auto parameters = adsLinkParameters(url("dovrel-app://x?b[]=1&b=plain"));
    EXPECT_EQ(parameters.at("b"), AnalyticsParameterValue("plain"));
}

TEST(AdsLink, ItemsWithoutAValueAreSkippedButEmptyValuesAreKept) {
    EXPECT_EQ(
        adsLinkParameters(url("dovrel-app://x?flag&list[]&empty=&a=1")),
        (AnalyticsParameters{
            {"empty", ""}, {"a", "1"}, {"ads_link_host", "x"}, {"ads_link_scheme", "dovrel-app"}}));
}

TEST(AdsLink, PercentEncodedNamesAndValuesAreDecoded) {
    const auto parameters = adsLinkParameters(
        url("https://dovrel.app/"
            "go?q=hello%20world&b%5B%5D=x%26y&plus=a+b&uk=%D0%B2%D0%BE%D0%B4%D0%B0"));
    EXPECT_EQ(parameters.at("q"), AnalyticsParameterValue("hello world"));
    EXPECT_EQ(parameters.at("b"), array({"x&y"}));
    EXPECT_EQ(parameters.at("plus"), AnalyticsParameterValue("a+b"));  // "+" is not a space
    EXPECT_EQ(parameters.at("uk"), AnalyticsParameterValue("вода"));
}

TEST(AdsLink, HostAndSchemeOverwriteQueryItemsOfTheSameNames) {
    const auto parameters =
        adsLinkParameters(url("dovrel-app://real?ads_link_host=fake&ads_link_scheme=fake"));
    EXPECT_EQ(parameters.at("ads_link_host"), AnalyticsParameterValue("real"));
    EXPECT_EQ(parameters.at("ads_link_scheme"), AnalyticsParameterValue("dovrel-app"));
}

TEST(AdsLink, RelativeURLTakesItsQueryAsWrittenAndItsHostAndSchemeFromTheBase) {
    const URL base = url("https://ads.example.org/landing?fromBase=1");
    const auto relative = URL::fromString("?campaign=spring", base);
    ASSERT_TRUE(relative.has_value());
    EXPECT_EQ(adsLinkParameters(*relative),
              (AnalyticsParameters{{"campaign", "spring"},
                                   {"ads_link_host", "ads.example.org"},
                                   {"ads_link_scheme", "https"}}));
}

TEST(AdsLink, RelativeURLWithoutABaseHasNeitherHostNorScheme) {
    EXPECT_EQ(adsLinkParameters(url("?a=1")),
              (AnalyticsParameters{
                  {"a", "1"}, {"ads_link_host", "<no_host>"}, {"ads_link_scheme", "<no_scheme>"}}));
}

TEST(AdsLink, AStringThatDoesNotParseMakesNoURL) {
    // Such a link never reaches the tracker: there is no URL to pass.
    EXPECT_FALSE(URL::fromString("dovrel app://x?a=1").has_value());
    EXPECT_FALSE(URL::fromString("https://dovrel.app/?q=%zz").has_value());
    EXPECT_FALSE(URL::fromString("https://[::1/").has_value());
}

TEST(AdsLink, TrackAdsUrlSendsAdsLinkOpenedWithTheParametersAndTheTimestamp) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(5.0));
    auto service = std::make_shared<RecordingAnalyticsService>();
    AnalyticsTracker tracker({service});
    tracker.trackAdsUrl(url("dovrel-app://habit_list?a=1&b[]=2&b[]=3"));
    ASSERT_EQ(service->events.size(), 1u);
    EXPECT_EQ(service->events[0].name, "ads_link_opened");
    EXPECT_EQ(service->events[0].parameters,
              (AnalyticsParameters{{"a", "1"},
                                   {"b", array({"2", "3"})},
                                   {"ads_link_host", "habit_list"},
                                   {"ads_link_scheme", "dovrel-app"},
                                   {"timestamp", std::int64_t{5000}}}));
}

}  // namespace
}  // namespace dovrel

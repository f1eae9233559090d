#include "DovrelFoundation/Analytics/ConsoleLoggingAnalyticsService.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Logging.h"
#include "tests/support/CapturedLog.h"

namespace dovrel {
namespace {

// What the "analytics" logger writes, as "<level> <message>" lines.
class AnalyticsLog : public testing::CapturedLog {
  public:
    AnalyticsLog() : testing::CapturedLog(ConsoleLoggingAnalyticsService::kLoggerName, "%l %v") {}
};

using Lines = std::vector<std::string>;

TEST(ConsoleLoggingAnalyticsService, BuiltForAReleaseBuildDoesNotExistAndAddsNoDestination) {
    const auto before = logDestinationCount(ConsoleLoggingAnalyticsService::kLoggerName);
    EXPECT_EQ(ConsoleLoggingAnalyticsService::make(false), nullptr);
    EXPECT_EQ(logDestinationCount(ConsoleLoggingAnalyticsService::kLoggerName), before);
}

TEST(ConsoleLoggingAnalyticsService, EachDebugConstructionAddsOneConsoleDestination) {
    const auto before = logDestinationCount(ConsoleLoggingAnalyticsService::kLoggerName);
    auto first = ConsoleLoggingAnalyticsService::make(true);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(logDestinationCount(ConsoleLoggingAnalyticsService::kLoggerName), before + 1);
    auto second = ConsoleLoggingAnalyticsService::make(true);
    EXPECT_EQ(logDestinationCount(ConsoleLoggingAnalyticsService::kLoggerName), before + 2);
    // The destinations stay when the services go.
    first.reset();
    second.reset();
    EXPECT_EQ(logDestinationCount(ConsoleLoggingAnalyticsService::kLoggerName), before + 2);
}

TEST(ConsoleLoggingAnalyticsService, BuiltForDebugPrintsTheDarkStyle) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->track(UserInterfaceStyle::dark);
    EXPECT_EQ(log.lines(), (Lines{"debug User interface style: dark"}));
}

TEST(ConsoleLoggingAnalyticsService, EveryInterfaceStyle) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->track(UserInterfaceStyle::unspecified);
    service->track(UserInterfaceStyle::light);
    service->track(static_cast<UserInterfaceStyle>(7));
    EXPECT_EQ(log.lines(),
              (Lines{"debug User interface style: unspecified", "debug User interface style: light",
                     "debug User interface style: unknown"}));
}

TEST(ConsoleLoggingAnalyticsService, EventWithAndWithoutParameters) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->trackEvent("main_screen",
                        AnalyticsParameters{{"habit_name", "Read \"War\""},
                                            {"progress", 12.0},
                                            {"repeat", true},
                                            {"days", std::int64_t{3}},
                                            {"b", AnalyticsParameterArray{"2", "3"}}});
    service->trackEvent("detail_screen");
    service->trackEvent("widget_screen", AnalyticsParameters{});
    EXPECT_EQ(log.lines(),
              (Lines{"debug main_screen: [\"b\": [\"2\", \"3\"], \"days\": 3, \"habit_name\": "
                     "\"Read \\\"War\\\"\", \"progress\": 12.0, \"repeat\": true]",
                     "debug detail_screen", "debug widget_screen: [:]"}));
}

TEST(ConsoleLoggingAnalyticsService, ErrorIsOneErrorLineWithTheLocalizedDescription) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->trackError(Error("Store", 3));
    service->trackError(Error("Store", 4, {{Error::kLocalizedDescriptionKey, "The disk is full"}}));
    EXPECT_EQ(log.lines(), (Lines{"error The operation couldn’t be completed. (Store error 3.)",
                                  "error The disk is full"}));
}

TEST(ConsoleLoggingAnalyticsService, NumberOfHabitsAndNotificationsAllowed) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->trackNumberOfHabits(12);
    service->trackNotificationsAllowed(true);
    service->trackNotificationsAllowed(false);
    EXPECT_EQ(log.lines(), (Lines{"debug Number of habits: 12", "debug Notifications allowed: true",
                                  "debug Notifications allowed: false"}));
}

TEST(ConsoleLoggingAnalyticsService, LocaleAndPreferredLanguageAreTwoLines) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->track(Locale("uk_UA"), std::string("uk"));
    service->track(Locale("en_US"), std::nullopt);
    EXPECT_EQ(log.lines(),
              (Lines{"debug User locale: uk_UA", "debug Preferred language: Optional(\"uk\")",
                     "debug User locale: en_US", "debug Preferred language: nil"}));
}

TEST(ConsoleLoggingAnalyticsService, RemoteConfigIsLoggedLikeAnEvent) {
    auto service = ConsoleLoggingAnalyticsService::make(true);
    AnalyticsLog log;
    service->trackRemoteConfig({{"showRateUsAlert", "false"}, {"appLaunches", "3"}});
    EXPECT_EQ(
        log.lines(),
        (Lines{"debug Remote config: [\"appLaunches\": \"3\", \"showRateUsAlert\": \"false\"]"}));
}

TEST(ConsoleLoggingAnalyticsService, ThroughTheTrackerEventsShowTheTimestamp) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(1.5));
    AnalyticsTracker tracker({ConsoleLoggingAnalyticsService::make(true)});
    AnalyticsLog log;
    tracker.trackEvent("main_screen");
    tracker.trackCustomError("odd");
    EXPECT_EQ(log.lines(),
              (Lines{"debug main_screen: [\"timestamp\": 1500]",
                     "error The operation couldn’t be completed. (ErrorForTrack error 0.)"}));
}

}  // namespace
}  // namespace dovrel

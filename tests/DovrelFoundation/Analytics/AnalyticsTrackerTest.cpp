#include "DovrelFoundation/Analytics/AnalyticsTracker.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/foundation/Clock.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/support/RecordingAnalyticsService.h"

namespace dovrel {
namespace {

using testing::RecordingAnalyticsService;

std::set<std::string> keysOf(const AnalyticsParameters& parameters) {
    std::set<std::string> keys;
    for (const auto& [key, value] : parameters) {
        keys.insert(key);
    }
    return keys;
}

// A tracker that records what the ready-made operations hand to its two requirements, so that
// their dictionaries can be checked without the timestamp the real tracker adds.
class RecordingTracker final : public AnalyticsTrackerProtocol {
  public:
    RecordingAnalyticsService service;
    std::vector<std::string> customErrors;

    using AnalyticsTrackerProtocol::trackEvent;
    void trackEvent(std::string_view event,
                    const std::optional<AnalyticsParameters>& parameters) override {
        service.trackEvent(event, parameters);
    }
    void trackError(const Error& error) override { service.trackError(error); }
    void trackNumberOfHabits(std::int64_t numberOfHabits) override {
        service.trackNumberOfHabits(numberOfHabits);
    }
    void trackNotificationsAllowed(bool allowed) override {
        service.trackNotificationsAllowed(allowed);
    }
    void track(const Locale& locale, const std::optional<std::string>& language) override {
        service.track(locale, language);
    }
    void track(UserInterfaceStyle style) override { service.track(style); }
    void trackRemoteConfig(const std::map<std::string, std::string>& config) override {
        service.trackRemoteConfig(config);
    }
    void trackCustomError(std::string_view errorText) override {
        customErrors.emplace_back(errorText);
    }
};

struct Fixture {
    std::shared_ptr<RecordingAnalyticsService> first =
        std::make_shared<RecordingAnalyticsService>();
    std::shared_ptr<RecordingAnalyticsService> second =
        std::make_shared<RecordingAnalyticsService>();
    std::shared_ptr<RecordingAnalyticsService> third =
        std::make_shared<RecordingAnalyticsService>();
    AnalyticsTracker tracker{{first, second, third}};
};

// 2024-02-01 12:00 in Kyiv (10:00 UTC).
constexpr double kFirstFebruaryNoonKyiv = 1706781600.0;

// Pins time, zone, locale and calendar for the cohort tests.
struct PinnedRegion {
    explicit PinnedRegion(double unixTime, const std::string& locale = "en_US")
        : clock(Date::fromTimeIntervalSince1970(unixTime)), locale(locale) {}
    ScopedClockOverride clock;
    ScopedTimeZone zone{"Europe/Kyiv"};
    ScopedLocale locale;
    ScopedCalendar calendar{"gregorian"};
};

TEST(AnalyticsTracker, WithNoServicesAcceptsEveryCallAndDoesNothing) {
    AnalyticsTracker tracker({});
    EXPECT_TRUE(tracker.analyticsServices().empty());
    tracker.trackEvent("main_screen");
    tracker.trackEvent("main_screen", AnalyticsParameters{{"a", std::int64_t{1}}});
    tracker.trackError(Error("Domain", 1));
    tracker.trackCustomError("text");
    tracker.trackNumberOfHabits(3);
    tracker.trackNotificationsAllowed(true);
    tracker.track(Locale("en_US"), std::string("en"));
    tracker.track(UserInterfaceStyle::dark);
    tracker.trackRemoteConfig({{"k", "v"}});
    tracker.trackToggleCheckmark(EventSource::todayWidget, "n", "m", true, "r", 0.5, true, 1);
    tracker.trackToggleCheckmark(EventSource::editHabitScreen, "n", "m", true, "r", 0.5, true, 1);
    tracker.trackNotificationAction("Complete", "n", "m", true, "r", 0.5, 1, 2);
    tracker.trackHabitProgressReset("n", "m", 3);
    tracker.trackAdsUrl(*URL::fromString("dovrel-app://x?a=1"));
    tracker.trackAppInstalled();
    tracker.trackAppReinstalled(Date());
    EXPECT_TRUE(tracker.analyticsServices().empty());
}

TEST(AnalyticsTracker, NullServicesAreLeftOut) {
    auto service = std::make_shared<RecordingAnalyticsService>();
    AnalyticsTracker tracker({nullptr, service, nullptr});
    ASSERT_EQ(tracker.analyticsServices().size(), 1u);
    tracker.trackEvent("main_screen");
    EXPECT_EQ(service->events.size(), 1u);
}

TEST(AnalyticsTracker, EveryCallReachesEveryServiceInListOrder) {
    std::vector<std::string> order;
    class Named final : public AnalyticsServiceProtocol {
      public:
        Named(std::string name, std::vector<std::string>& order)
            : name_(std::move(name)), order_(order) {}
        using AnalyticsServiceProtocol::trackEvent;
        void trackEvent(std::string_view, const std::optional<AnalyticsParameters>&) override {
            order_.push_back(name_ + ".event");
        }
        void trackError(const Error&) override { order_.push_back(name_ + ".error"); }
        void trackNumberOfHabits(std::int64_t) override { order_.push_back(name_ + ".habits"); }
        void trackNotificationsAllowed(bool) override { order_.push_back(name_ + ".allowed"); }
        void track(const Locale&, const std::optional<std::string>&) override {
            order_.push_back(name_ + ".locale");
        }
        void track(UserInterfaceStyle) override { order_.push_back(name_ + ".style"); }
        void trackRemoteConfig(const std::map<std::string, std::string>&) override {
            order_.push_back(name_ + ".config");
        }

      private:
        std::string name_;
        std::vector<std::string>& order_;
    };
    AnalyticsTracker tracker({std::make_shared<Named>("a", order),
                              std::make_shared<Named>("b", order),
                              std::make_shared<Named>("c", order)});
    tracker.trackEvent("e");
    tracker.trackError(Error("D", 0));
    tracker.trackNumberOfHabits(1);
    tracker.trackNotificationsAllowed(false);
    tracker.track(Locale("en_US"), std::nullopt);
    tracker.track(UserInterfaceStyle::light);
    tracker.trackRemoteConfig({});
    tracker.trackCustomError("x");
    EXPECT_EQ(order, (std::vector<std::string>{
                         "a.event",  "b.event",  "c.event",  "a.error",   "b.error",   "c.error",
                         "a.habits", "b.habits", "c.habits", "a.allowed", "b.allowed", "c.allowed",
                         "a.locale", "b.locale", "c.locale", "a.style",   "b.style",   "c.style",
                         "a.config", "b.config", "c.config", "a.error",   "b.error",   "c.error"}));
}

TEST(AnalyticsTracker, EventsGainTheCurrentMillisecondTimestamp) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(kFirstFebruaryNoonKyiv + 0.5));
    Fixture fixture;
    fixture.tracker.trackEvent("main_screen", AnalyticsParameters{{"habit_name", "Read"}});
    for (const auto& service : {fixture.first, fixture.second, fixture.third}) {
        ASSERT_EQ(service->events.size(), 1u);
        const auto& event = service->events[0];
        EXPECT_EQ(event.name, "main_screen");
        ASSERT_TRUE(event.parameters.has_value());
        EXPECT_EQ(*event.parameters,
                  (AnalyticsParameters{{"habit_name", "Read"},
                                       {"timestamp", std::int64_t{1706781600500}}}));
    }
}

TEST(AnalyticsTracker, ACallersOwnTimestampIsReplacedByTheCurrentMillisecondCount) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(1000.25));
    Fixture fixture;
    fixture.tracker.trackEvent("e", AnalyticsParameters{{"timestamp", "from the caller"}});
    ASSERT_EQ(fixture.second->events.size(), 1u);
    EXPECT_EQ(fixture.second->events[0].parameters,
              (AnalyticsParameters{{"timestamp", std::int64_t{1000250}}}));
}

TEST(AnalyticsTracker, AnEventWithoutParametersReachesServicesWithOnlyTheTimestamp) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(2.0));
    Fixture fixture;
    fixture.tracker.trackEvent("main_screen");
    fixture.tracker.trackEvent("detail_screen", AnalyticsParameters{});
    ASSERT_EQ(fixture.third->events.size(), 2u);
    for (const auto& event : fixture.third->events) {
        EXPECT_EQ(event.parameters, (AnalyticsParameters{{"timestamp", std::int64_t{2000}}}));
    }
}

TEST(AnalyticsTracker, TimestampIsTruncatedTowardZero) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(-1.0015));
    Fixture fixture;
    fixture.tracker.trackEvent("e");
    EXPECT_EQ(fixture.first->events.at(0).parameters->at("timestamp"),
              AnalyticsParameterValue(std::int64_t{-1001}));
}

TEST(AnalyticsTrackerDeathTest, ATimeThatDoesNotFitSixtyFourBitsStops) {
    EXPECT_DEATH(
        {
            ScopedClockOverride clock(Date(1e300));
            AnalyticsTracker tracker({});
            tracker.trackEvent("e");
        },
        "Fatal error: The current time in milliseconds since 1970 does not fit a 64-bit integer");
}

TEST(AnalyticsTracker, AttributeOperationsArePassedOnUnchanged) {
    Fixture fixture;
    fixture.tracker.trackNumberOfHabits(12);
    fixture.tracker.trackNotificationsAllowed(true);
    fixture.tracker.track(Locale("uk_UA"), std::string("uk"));
    fixture.tracker.track(UserInterfaceStyle::dark);
    fixture.tracker.trackRemoteConfig({{"showRateUsAlert", "false"}});
    fixture.tracker.trackError(Error("Store", 134110, {{"reason", "locked"}}));
    for (const auto& service : {fixture.first, fixture.second, fixture.third}) {
        EXPECT_EQ(service->numbersOfHabits, std::vector<std::int64_t>{12});
        EXPECT_EQ(service->notificationsAllowed, std::vector<bool>{true});
        ASSERT_EQ(service->locales.size(), 1u);
        EXPECT_EQ(service->locales[0].locale, Locale("uk_UA"));
        EXPECT_EQ(service->locales[0].preferredLanguage, std::optional<std::string>("uk"));
        EXPECT_EQ(service->styles, std::vector<UserInterfaceStyle>{UserInterfaceStyle::dark});
        ASSERT_EQ(service->remoteConfigs.size(), 1u);
        EXPECT_EQ(service->remoteConfigs[0].at("showRateUsAlert"), "false");
        ASSERT_EQ(service->errors.size(), 1u);
        EXPECT_EQ(service->errors[0].domain(), "Store");
        EXPECT_EQ(service->errors[0].code(), 134110);
        EXPECT_EQ(service->errors[0].userInfo(), (Error::UserInfo{{"reason", "locked"}}));
        EXPECT_TRUE(service->events.empty());
    }
}

TEST(AnalyticsTracker, CustomErrorHasDomainErrorForTrackCodeZeroAndTheErrorText) {
    Fixture fixture;
    fixture.tracker.trackCustomError("Something odd");
    for (const auto& service : {fixture.first, fixture.second, fixture.third}) {
        ASSERT_EQ(service->errors.size(), 1u);
        const Error& error = service->errors[0];
        EXPECT_EQ(error.domain(), "ErrorForTrack");
        EXPECT_EQ(error.code(), 0);
        EXPECT_EQ(error.userInfo(), (Error::UserInfo{{"errorText", "Something odd"}}));
    }
}

TEST(AnalyticsTracker, ToggleFromEachListedSourceSendsItsEventWithSevenParameters) {
    const std::vector<std::pair<EventSource, std::string>> sources{
        {EventSource::habitsListScreen, "main_screen_habit_toggle_checkmark"},
        {EventSource::habitDetailsScreen, "detail_screen_habit_toggle_checkmark"},
        {EventSource::todayWidget, "today_widget_habit_toggle_checkmark"},
        {EventSource::richNotification, "rich_notification_habit_toggle_checkmark"},
    };
    for (const auto& [source, eventName] : sources) {
        RecordingTracker tracker;
        tracker.trackToggleCheckmark(source, "Read", "Twenty pages", true, "3 times in 7 days",
                                     42.5, false, 4);
        ASSERT_EQ(tracker.service.events.size(), 1u) << eventName;
        EXPECT_EQ(tracker.service.events[0].name, eventName);
        EXPECT_EQ(tracker.service.events[0].parameters,
                  (AnalyticsParameters{
                      {"habit_name", "Read"},
                      {"motivate_title", "Twenty pages"},
                      {"repeat", true},
                      {"regularity", "3 times in 7 days"},
                      {"progress", 42.5},
                      {"checkmark_on", false},
                      {"days_since_checkmark", std::int64_t{4}},
                  }));
        EXPECT_TRUE(tracker.customErrors.empty());
    }
}

TEST(AnalyticsTracker, ToggleThroughTheTrackerReachesServicesWithSevenParametersAndTheTimestamp) {
    ScopedClockOverride clock(Date::fromTimeIntervalSince1970(10.0));
    Fixture fixture;
    fixture.tracker.trackToggleCheckmark(EventSource::todayWidget, "Water", "", false, "Every day",
                                         100.0, true, 0);
    ASSERT_EQ(fixture.first->events.size(), 1u);
    EXPECT_EQ(
        keysOf(*fixture.first->events[0].parameters),
        (std::set<std::string>{"habit_name", "motivate_title", "repeat", "regularity", "progress",
                               "checkmark_on", "days_since_checkmark", "timestamp"}));
}

TEST(AnalyticsTracker, ToggleFromEditHabitScreenSendsNoEventAndOneCustomError) {
    Fixture fixture;
    fixture.tracker.trackToggleCheckmark(EventSource::editHabitScreen, "Read", "", true,
                                         "Every day", 1.0, true, 1);
    for (const auto& service : {fixture.first, fixture.second, fixture.third}) {
        EXPECT_TRUE(service->events.empty());
        ASSERT_EQ(service->errors.size(), 1u);
        const std::string& text = service->errors[0].userInfo().at("errorText");
        EXPECT_TRUE(text.ends_with(" is triggered with unexpected editHabitScreen.")) << text;
        EXPECT_EQ(text,
                  "trackToggleCheckmark(eventSource:habitName:habitMotivationPhrase:"
                  "habitHasReminders:habitRegularity:habitProgress:isCheckmarkOn:"
                  "daysSinceCheckmark:) is triggered with unexpected editHabitScreen.");
        EXPECT_EQ(service->errors[0].domain(), "ErrorForTrack");
    }
}

TEST(AnalyticsTracker, ToggleFromAddHabitScreenSendsNoEventAndOneCustomError) {
    RecordingTracker tracker;
    tracker.trackToggleCheckmark(EventSource::addHabitScreen, "Read", "", true, "Every day", 1.0,
                                 true, 1);
    EXPECT_TRUE(tracker.service.events.empty());
    ASSERT_EQ(tracker.customErrors.size(), 1u);
    EXPECT_TRUE(tracker.customErrors[0].ends_with(" is triggered with unexpected addHabitScreen."));
}

TEST(AnalyticsTracker, NotificationActionWithBothMinuteCountsAbsentSendsSixParameters) {
    RecordingTracker tracker;
    tracker.trackNotificationAction("HabitReminder.Complete", "Read", "Pages", true, "Every day",
                                    12.0, std::nullopt, std::nullopt);
    ASSERT_EQ(tracker.service.events.size(), 1u);
    EXPECT_EQ(tracker.service.events[0].name, "notification_action_handled");
    EXPECT_EQ(tracker.service.events[0].parameters,
              (AnalyticsParameters{
                  {"notification_action_type", "HabitReminder.Complete"},
                  {"habit_name", "Read"},
                  {"motivate_title", "Pages"},
                  {"repeat", true},
                  {"regularity", "Every day"},
                  {"progress", 12.0},
              }));
}

TEST(AnalyticsTracker, NotificationActionWithBothMinuteCountsPresentSendsEightParameters) {
    RecordingTracker tracker;
    tracker.trackNotificationAction("Postpone", "Read", "Pages", false, "2 times in 3 days", 0.0,
                                    std::int64_t{0}, std::int64_t{65});
    ASSERT_EQ(tracker.service.events.size(), 1u);
    EXPECT_EQ(tracker.service.events[0].parameters,
              (AnalyticsParameters{
                  {"notification_action_type", "Postpone"},
                  {"habit_name", "Read"},
                  {"motivate_title", "Pages"},
                  {"repeat", false},
                  {"regularity", "2 times in 3 days"},
                  {"progress", 0.0},
                  {"minutes_since_first_notification", std::int64_t{0}},
                  {"minutes_since_last_notification", std::int64_t{65}},
              }));
}

TEST(AnalyticsTracker, NotificationActionWithOneMinuteCountLeavesTheOtherKeyOut) {
    RecordingTracker tracker;
    tracker.trackNotificationAction("Complete", "n", "m", true, "r", 1.0, std::nullopt,
                                    std::int64_t{5});
    const auto& parameters = *tracker.service.events.at(0).parameters;
    EXPECT_EQ(parameters.size(), 7u);
    EXPECT_FALSE(parameters.contains("minutes_since_first_notification"));
    EXPECT_EQ(parameters.at("minutes_since_last_notification"),
              AnalyticsParameterValue(std::int64_t{5}));
}

TEST(AnalyticsTracker, ProgressResetSendsTheConfirmEventWithThreeParameters) {
    RecordingTracker tracker;
    tracker.trackHabitProgressReset("Read", "Pages", 9);
    ASSERT_EQ(tracker.service.events.size(), 1u);
    EXPECT_EQ(tracker.service.events[0].name, "detail_screen_reset_progress_confirm");
    EXPECT_EQ(tracker.service.events[0].parameters,
              (AnalyticsParameters{{"habit_name", "Read"},
                                   {"motivate_title", "Pages"},
                                   {"days_since_last_checkmark", std::int64_t{9}}}));
}

TEST(AnalyticsTracker, AppInstalledOnFirstFebruarySendsCohortDay32Month2AndLifetime0) {
    PinnedRegion pinned(kFirstFebruaryNoonKyiv);
    RecordingTracker tracker;
    tracker.trackAppInstalled();
    ASSERT_EQ(tracker.service.events.size(), 1u);
    EXPECT_EQ(tracker.service.events[0].name, "app_installed");
    EXPECT_EQ(tracker.service.events[0].parameters, (AnalyticsParameters{
                                                        {"cohort_day", std::int64_t{32}},
                                                        {"cohort_week", std::int64_t{5}},
                                                        {"cohort_month", std::int64_t{2}},
                                                        {"cohort_year", std::int64_t{2024}},
                                                        {"lifetime_day_count", std::int64_t{0}},
                                                    }));
}

TEST(AnalyticsTracker, CohortsAreReadInTheCurrentTimeZone) {
    // 23:30 UTC on 31 January is already 1 February in Kyiv.
    PinnedRegion pinned(kFirstFebruaryNoonKyiv - 10.5 * 3600);
    RecordingTracker tracker;
    tracker.trackAppInstalled();
    const auto& parameters = *tracker.service.events.at(0).parameters;
    EXPECT_EQ(parameters.at("cohort_day"), AnalyticsParameterValue(std::int64_t{32}));
    EXPECT_EQ(parameters.at("cohort_month"), AnalyticsParameterValue(std::int64_t{2}));
}

TEST(AnalyticsTracker, CohortWeekFollowsTheLocalesWeekRules) {
    // Sunday 1 January 2023: week 1 where weeks start on Sunday (en_US), but the last week of
    // 2022 under ISO rules (de_DE: weeks start on Monday and need four days of the new year).
    constexpr double kFirstJanuary2023NoonKyiv = 1672567200.0;
    {
        PinnedRegion pinned(kFirstJanuary2023NoonKyiv, "en_US");
        RecordingTracker tracker;
        tracker.trackAppInstalled();
        EXPECT_EQ(tracker.service.events.at(0).parameters->at("cohort_week"),
                  AnalyticsParameterValue(std::int64_t{1}));
        EXPECT_EQ(tracker.service.events.at(0).parameters->at("cohort_day"),
                  AnalyticsParameterValue(std::int64_t{1}));
    }
    {
        PinnedRegion pinned(kFirstJanuary2023NoonKyiv, "de_DE");
        RecordingTracker tracker;
        tracker.trackAppInstalled();
        EXPECT_EQ(tracker.service.events.at(0).parameters->at("cohort_week"),
                  AnalyticsParameterValue(std::int64_t{52}));
        EXPECT_EQ(tracker.service.events.at(0).parameters->at("cohort_year"),
                  AnalyticsParameterValue(std::int64_t{2023}));
    }
}

TEST(AnalyticsTracker, AppReinstalledSendsTheCohortOfNowAndTheDaysSinceTheFirstInstall) {
    PinnedRegion pinned(kFirstFebruaryNoonKyiv);
    RecordingTracker tracker;
    // 1 January 2024 at 23:00 in Kyiv: 31 calendar days before 1 February, though less than 31
    // times 24 hours.
    tracker.trackAppReinstalled(Date::fromTimeIntervalSince1970(1704103200.0 + 11 * 3600));
    ASSERT_EQ(tracker.service.events.size(), 1u);
    EXPECT_EQ(tracker.service.events[0].name, "app_reinstalled");
    EXPECT_EQ(tracker.service.events[0].parameters, (AnalyticsParameters{
                                                        {"cohort_day", std::int64_t{32}},
                                                        {"cohort_week", std::int64_t{5}},
                                                        {"cohort_month", std::int64_t{2}},
                                                        {"cohort_year", std::int64_t{2024}},
                                                        {"lifetime_day_count", std::int64_t{31}},
                                                    }));
}

TEST(AnalyticsTracker, AppReinstalledOnTheInstallDayCountsZeroDays) {
    PinnedRegion pinned(kFirstFebruaryNoonKyiv);
    RecordingTracker tracker;
    tracker.trackAppReinstalled(Date::fromTimeIntervalSince1970(kFirstFebruaryNoonKyiv - 3600));
    EXPECT_EQ(tracker.service.events.at(0).parameters->at("lifetime_day_count"),
              AnalyticsParameterValue(std::int64_t{0}));
}

}  // namespace
}  // namespace dovrel

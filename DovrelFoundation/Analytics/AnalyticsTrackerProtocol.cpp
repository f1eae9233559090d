#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"

#include <utility>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

using AnalyticsEvents::MainApp;

template <typename Key>
std::string key(Key name) {
    return std::string(rawValue(name));
}

// The five parameters that describe a habit in toggle and notification events.
void addHabitParameters(AnalyticsParameters& parameters, const std::string& habitName,
                        const std::string& habitMotivationPhrase, bool habitHasReminders,
                        const std::string& habitRegularity, double habitProgress) {
    parameters.emplace(key(MainApp::Habit::param_habit_name), habitName);
    parameters.emplace(key(MainApp::Habit::param_motivate_title), habitMotivationPhrase);
    parameters.emplace(key(MainApp::Habit::param_repeat), habitHasReminders);
    parameters.emplace(key(MainApp::Habit::param_regularity), habitRegularity);
    parameters.emplace(key(MainApp::Habit::progress), habitProgress);
}

// The cohort of `now` in the current region, with the given lifetime day count.
AnalyticsParameters cohortParameters(Date now, std::int64_t lifetimeDayCount) {
    const DateInRegion date(now, Region::current());
    AnalyticsParameters parameters;
    parameters.emplace(key(MainApp::Installation::cohort_day), date.dayOfYear());
    parameters.emplace(key(MainApp::Installation::cohort_week), date.weekOfYear());
    parameters.emplace(key(MainApp::Installation::cohort_month), date.month());
    parameters.emplace(key(MainApp::Installation::cohort_year), date.year());
    parameters.emplace(key(MainApp::Installation::lifetime_day_count), lifetimeDayCount);
    return parameters;
}

}  // namespace

void AnalyticsTrackerProtocol::trackToggleCheckmark(
    EventSource eventSource, const std::string& habitName, const std::string& habitMotivationPhrase,
    bool habitHasReminders, const std::string& habitRegularity, double habitProgress,
    bool isCheckmarkOn, std::int64_t daysSinceCheckmark) {
    const auto event = eventSource.toggleCheckmarkEvent();
    if (!event) {
        trackCustomError(
            "trackToggleCheckmark(eventSource:habitName:habitMotivationPhrase:habitHasReminders:"
            "habitRegularity:habitProgress:isCheckmarkOn:daysSinceCheckmark:) is triggered with "
            "unexpected " +
            std::string(eventSource.rawValue()) + ".");
        return;
    }
    AnalyticsParameters parameters;
    addHabitParameters(parameters, habitName, habitMotivationPhrase, habitHasReminders,
                       habitRegularity, habitProgress);
    parameters.emplace(key(MainApp::ToggleCheckmark::checkmark_on), isCheckmarkOn);
    parameters.emplace(key(MainApp::ToggleCheckmark::days_since_checkmark), daysSinceCheckmark);
    trackEvent(event->rawValue(), std::optional(std::move(parameters)));
}

void AnalyticsTrackerProtocol::trackNotificationAction(
    const std::string& actionIdentifier, const std::string& habitName,
    const std::string& habitMotivationPhrase, bool habitHasReminders,
    const std::string& habitRegularity, double habitProgress,
    std::optional<std::int64_t> minutesSinceFirstNotification,
    std::optional<std::int64_t> minutesSinceLastNotification) {
    AnalyticsParameters parameters;
    parameters.emplace(key(MainApp::NotificationAction::notification_action_type),
                       actionIdentifier);
    addHabitParameters(parameters, habitName, habitMotivationPhrase, habitHasReminders,
                       habitRegularity, habitProgress);
    // An absent count leaves its key out: it is never sent as zero.
    if (minutesSinceFirstNotification) {
        parameters.emplace(key(MainApp::NotificationAction::minutes_since_first_notification),
                           *minutesSinceFirstNotification);
    }
    if (minutesSinceLastNotification) {
        parameters.emplace(key(MainApp::NotificationAction::minutes_since_last_notification),
                           *minutesSinceLastNotification);
    }
    trackEvent(rawValue(MainApp::NotificationAction::notification_action_handled),
               std::optional(std::move(parameters)));
}

void AnalyticsTrackerProtocol::trackHabitProgressReset(const std::string& habitName,
                                                       const std::string& habitMotivationPhrase,
                                                       std::int64_t daysSinceLastCheckmark) {
    AnalyticsParameters parameters;
    parameters.emplace(key(MainApp::Habit::param_habit_name), habitName);
    parameters.emplace(key(MainApp::Habit::param_motivate_title), habitMotivationPhrase);
    parameters.emplace(key(MainApp::ResetProgress::days_since_last_checkmark),
                       daysSinceLastCheckmark);
    trackEvent(rawValue(MainApp::ResetProgress::detail_screen_reset_progress_confirm),
               std::optional(std::move(parameters)));
}

void AnalyticsTrackerProtocol::trackAppInstalled() {
    trackEvent(rawValue(MainApp::Installation::app_installed),
               std::optional(cohortParameters(Clock::now(), 0)));
}

void AnalyticsTrackerProtocol::trackAppReinstalled(Date firstInstallDate) {
    const Date now = Clock::now();
    trackEvent(rawValue(MainApp::Installation::app_reinstalled),
               std::optional(cohortParameters(now, daysSince(now, firstInstallDate))));
}

void AnalyticsTrackerProtocol::trackAdsUrl(const URL& url) {
    trackEvent(rawValue(MainApp::Ads::ads_link_opened), std::optional(adsLinkParameters(url)));
}

AnalyticsParameters adsLinkParameters(const URL& url) {
    AnalyticsParameters parameters;
    if (auto written = url.components(/*resolvingAgainstBaseURL=*/false)) {
        for (auto& item : written->queryItems().value_or(std::vector<URLQueryItem>{})) {
            if (!item.value) {
                continue;
            }
            std::string name = std::move(item.name);
            if (name.find("[]") == std::string::npos) {
                parameters.insert_or_assign(std::move(name), std::move(*item.value));
                continue;
            }
            for (auto position = name.find("[]"); position != std::string::npos;
                 position = name.find("[]", position)) {
                name.erase(position, 2);
            }
            auto found = parameters.find(name);
            if (found != parameters.end()) {
                if (auto* array = std::get_if<AnalyticsParameterArray>(&found->second)) {
                    array->emplace_back(std::move(*item.value));
                    continue;
                }
            }
            parameters.insert_or_assign(std::move(name),
                                        AnalyticsParameterArray{std::move(*item.value)});
        }
    }
    if (auto resolved = url.components(/*resolvingAgainstBaseURL=*/true)) {
        parameters.insert_or_assign(key(MainApp::Ads::ads_link_host),
                                    resolved->host().value_or("<no_host>"));
        parameters.insert_or_assign(key(MainApp::Ads::ads_link_scheme),
                                    resolved->scheme().value_or("<no_scheme>"));
    }
    return parameters;
}

}  // namespace dovrel

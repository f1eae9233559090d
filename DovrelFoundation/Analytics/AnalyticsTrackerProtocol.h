#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "DovrelFoundation/Analytics/AnalyticsServiceProtocol.h"
#include "DovrelFoundation/Analytics/EventSource.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/URL.h"

namespace dovrel {

// The analytics service that the library and the application talk to. Beyond the service
// operations it reports custom errors, and it offers ready-made operations for the library's
// recurring events. The ready-made operations are written once, here, only in terms of
// trackEvent(event, parameters) and trackCustomError(text); conformers implement those (and the
// service operations) and never replace the ready-made ones, which are deliberately not virtual.
class AnalyticsTrackerProtocol : public AnalyticsServiceProtocol {
  public:
    using AnalyticsServiceProtocol::trackEvent;

    // An error with domain "ErrorForTrack", code 0 and the one detail "errorText" = `errorText`,
    // sent as trackError.
    virtual void trackCustomError(std::string_view errorText) = 0;

    // A checkmark toggled from `eventSource`. The event is the source's toggle event (see
    // EventSource::toggleCheckmarkEvent) with exactly seven parameters: "habit_name",
    // "motivate_title", "repeat" (the has-reminders flag), "regularity", "progress" (double),
    // "checkmark_on" (boolean) and "days_since_checkmark" (integer). A source without a toggle
    // event (the add and edit screens) sends no event but one custom error:
    // "trackToggleCheckmark(eventSource:habitName:habitMotivationPhrase:habitHasReminders:
    // habitRegularity:habitProgress:isCheckmarkOn:daysSinceCheckmark:) is triggered with
    // unexpected <source>." (one line, no break).
    void trackToggleCheckmark(EventSource eventSource, const std::string& habitName,
                              const std::string& habitMotivationPhrase, bool habitHasReminders,
                              const std::string& habitRegularity, double habitProgress,
                              bool isCheckmarkOn, std::int64_t daysSinceCheckmark);

    // A reminder's action handled: "notification_action_handled" with
    // "notification_action_type" = `actionIdentifier`, the five habit parameters of a toggle, and
    // "minutes_since_first_notification" / "minutes_since_last_notification" only for the counts
    // that are present (so six, seven or eight parameters).
    void trackNotificationAction(const std::string& actionIdentifier, const std::string& habitName,
                                 const std::string& habitMotivationPhrase, bool habitHasReminders,
                                 const std::string& habitRegularity, double habitProgress,
                                 std::optional<std::int64_t> minutesSinceFirstNotification,
                                 std::optional<std::int64_t> minutesSinceLastNotification);

    // "detail_screen_reset_progress_confirm" with "habit_name", "motivate_title" and
    // "days_since_last_checkmark".
    void trackHabitProgressReset(const std::string& habitName,
                                 const std::string& habitMotivationPhrase,
                                 std::int64_t daysSinceLastCheckmark);

    // "app_installed" with the cohort of the current instant in the current region (calendar,
    // time zone and locale): "cohort_day" (day of the year, 1 for 1 January), "cohort_week" (week
    // of the year by the locale's week rules), "cohort_month" (1-12), "cohort_year", and
    // "lifetime_day_count" = 0.
    void trackAppInstalled();

    // "app_reinstalled" with the cohort of the current instant (not of the install date) and
    // "lifetime_day_count" = daysSince(now, firstInstallDate).
    void trackAppReinstalled(Date firstInstallDate);

    // "ads_link_opened" with the parameters that adsLinkParameters(url) gives.
    void trackAdsUrl(const URL& url);
};

// The parameters of an ads-link event. From the URL's query as written (not resolved against a
// base URL), in order, skipping items without a value: a name without "[]" maps to its value
// (a later item of the same name wins); a name containing "[]" loses every "[]" and its value is
// appended to the array under the remaining name. Then, from the URL resolved against its base,
// "ads_link_host" = the host or "<no_host>" and "ads_link_scheme" = the scheme or "<no_scheme>",
// replacing query items of those names.
AnalyticsParameters adsLinkParameters(const URL& url);

}  // namespace dovrel

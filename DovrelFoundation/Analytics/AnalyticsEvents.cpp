#include "DovrelFoundation/Analytics/AnalyticsEvents.h"

#include "DovrelFoundation/RawStringEnumerationTables.h"

namespace dovrel::AnalyticsEvents {

namespace {

using Raw = std::string_view;

// Raw texts in case order. They are the external contract with the analytics dashboards: change
// none of them.

constexpr std::array<Raw, 6> kUserAttributes{
    "habitsCount",  "allowNotification", "regionCode",
    "languageCode", "preferredLanguage", "userInterfaceStyle",
};

constexpr std::array<Raw, 3> kWidget{
    "widget_screen",
    "habits_count",
    "widget_screen_habit_tap",
};

constexpr std::array<Raw, 4> kMainApp{
    "main_screen",
    "detail_screen",
    "mainapp_screenshot_captured",
    "mainapp_screenshot_captured_view_controller",
};

constexpr std::array<Raw, 5> kHabit{
    "habit_name", "motivate_title", "regularity", "repeat", "progress",
};

constexpr std::array<Raw, 2> kDeleteHabit{
    "main_screen_habit_was_deleted",
    "detail_screen_habit_was_deleted",
};

constexpr std::array<Raw, 3> kResetProgress{
    "detail_screen_reset_progress_tap",
    "detail_screen_reset_progress_confirm",
    "days_since_last_checkmark",
};

constexpr std::array<Raw, 5> kAddOrEdit{
    "add_screen", "edit_screen", "add_edit_show_color_picker", "save_new_habit", "save_habit",
};

constexpr std::array<Raw, 6> kToggleCheckmark{
    "main_screen_habit_toggle_checkmark",
    "detail_screen_habit_toggle_checkmark",
    "today_widget_habit_toggle_checkmark",
    "rich_notification_habit_toggle_checkmark",
    "checkmark_on",
    "days_since_checkmark",
};

constexpr std::array<Raw, 4> kNotificationAction{
    "notification_action_handled",
    "notification_action_type",
    "minutes_since_first_notification",
    "minutes_since_last_notification",
};

constexpr std::array<Raw, 4> kMenu{
    "menu_screen",
    "menu_contact_us_tap",
    "name_menu_rate_us_tap",
    "name_menu_faq_tap",
};

constexpr std::array<Raw, 3> kRateUsAlert{
    "rate_us_alert_screen",
    "rate_us_alert_go_to_app_store",
    "rate_us_alert_cancel",
};

constexpr std::array<Raw, 7> kFAQ{
    "faq_screen",          "faq_contact_us_tap",         "faq_tap_on_percentage",
    "faq_tap_on_fiveDays", "faq_tap_on_habitStatistics", "faq_tap_on_habitOrder",
    "faq_tap_on_widget",
};

constexpr std::array<Raw, 4> kContactUs{
    "name_menu_instagram_tap",
    "name_menu_email_tap",
    "name_menu_contact_us_cancel_tap",
    "email_sent_ok",
};

constexpr std::array<Raw, 2> kBackup{
    "store_a_backup",
    "restore_from_the_backup",
};

constexpr std::array<Raw, 7> kInstallation{
    "app_installed", "app_reinstalled", "cohort_day",         "cohort_week",
    "cohort_month",  "cohort_year",     "lifetime_day_count",
};

constexpr std::array<Raw, 3> kAds{
    "ads_link_opened",
    "ads_link_scheme",
    "ads_link_host",
};

}  // namespace

DOVREL_DEFINE_RAW_STRING_ENUMERATION(UserAttributes, kUserAttributes)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(Widget, kWidget)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp, kMainApp)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::Habit, kHabit)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::DeleteHabit, kDeleteHabit)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::ResetProgress, kResetProgress)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::AddOrEdit, kAddOrEdit)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::ToggleCheckmark, kToggleCheckmark)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::NotificationAction, kNotificationAction)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::Menu, kMenu)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::RateUsAlert, kRateUsAlert)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::FAQ, kFAQ)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::ContactUs, kContactUs)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::Backup, kBackup)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::Installation, kInstallation)
DOVREL_DEFINE_RAW_STRING_ENUMERATION(MainApp::Ads, kAds)

}  // namespace dovrel::AnalyticsEvents

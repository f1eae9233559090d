#include "DovrelFoundation/Analytics/AnalyticsEvents.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "DovrelFoundation/Analytics/EventSource.h"
#include "DovrelFoundation/Appearance/ScreenType.h"

namespace dovrel {
namespace {

using namespace AnalyticsEvents;

// Checks one enumeration against its full table, written out by hand in declaration order: the
// number of cases, the order of allCases(), each raw text, the round trip from each raw text, and
// that no two cases share a raw text.
template <typename Enumeration>
void expectVocabulary(const std::vector<std::pair<Enumeration, std::string_view>>& table) {
    ASSERT_EQ(Enumeration::caseCount, table.size());
    ASSERT_EQ(Enumeration::allCases().size(), table.size());
    std::set<std::string_view> rawTexts;
    for (std::size_t index = 0; index < table.size(); ++index) {
        const auto& [value, raw] = table[index];
        EXPECT_EQ(Enumeration::allCases()[index], value) << "declaration order at " << index;
        EXPECT_EQ(value.rawValue(), raw);
        EXPECT_EQ(rawValue(value), raw);
        EXPECT_EQ(Enumeration::fromRawValue(raw), value) << raw;
        rawTexts.insert(raw);
    }
    EXPECT_EQ(rawTexts.size(), table.size()) << "two cases share a raw text";
}

TEST(AnalyticsVocabulary, UserAttributes) {
    expectVocabulary<UserAttributes>({
        {UserAttributes::habitsCount, "habitsCount"},
        {UserAttributes::allowNotification, "allowNotification"},
        {UserAttributes::regionCode, "regionCode"},
        {UserAttributes::languageCode, "languageCode"},
        {UserAttributes::preferredLanguage, "preferredLanguage"},
        {UserAttributes::userInterfaceStyle, "userInterfaceStyle"},
    });
}

TEST(AnalyticsVocabulary, Widget) {
    expectVocabulary<Widget>({
        {Widget::widget_screen, "widget_screen"},
        {Widget::widget_screen_param_habits_count, "habits_count"},
        {Widget::widget_screen_habit_tap, "widget_screen_habit_tap"},
    });
}

TEST(AnalyticsVocabulary, MainApp) {
    expectVocabulary<MainApp>({
        {MainApp::name_main_screen, "main_screen"},
        {MainApp::name_detail_screen, "detail_screen"},
        {MainApp::screenshot_captured, "mainapp_screenshot_captured"},
        {MainApp::screenshot_captured_view_controller,
         "mainapp_screenshot_captured_view_controller"},
    });
}

TEST(AnalyticsVocabulary, MainAppHabit) {
    expectVocabulary<MainApp::Habit>({
        {MainApp::Habit::param_habit_name, "habit_name"},
        {MainApp::Habit::param_motivate_title, "motivate_title"},
        {MainApp::Habit::param_regularity, "regularity"},
        {MainApp::Habit::param_repeat, "repeat"},
        {MainApp::Habit::progress, "progress"},
    });
}

TEST(AnalyticsVocabulary, MainAppDeleteHabit) {
    expectVocabulary<MainApp::DeleteHabit>({
        {MainApp::DeleteHabit::main_screen_habit_was_deleted, "main_screen_habit_was_deleted"},
        {MainApp::DeleteHabit::detail_screen_habit_was_deleted, "detail_screen_habit_was_deleted"},
    });
}

TEST(AnalyticsVocabulary, MainAppResetProgress) {
    expectVocabulary<MainApp::ResetProgress>({
        {MainApp::ResetProgress::detail_screen_reset_progress_tap,
         "detail_screen_reset_progress_tap"},
        {MainApp::ResetProgress::detail_screen_reset_progress_confirm,
         "detail_screen_reset_progress_confirm"},
        {MainApp::ResetProgress::days_since_last_checkmark, "days_since_last_checkmark"},
    });
}

TEST(AnalyticsVocabulary, MainAppAddOrEdit) {
    expectVocabulary<MainApp::AddOrEdit>({
        {MainApp::AddOrEdit::name_add_screen, "add_screen"},
        {MainApp::AddOrEdit::name_edit_screen, "edit_screen"},
        {MainApp::AddOrEdit::show_color_picker, "add_edit_show_color_picker"},
        {MainApp::AddOrEdit::name_save_new_habit, "save_new_habit"},
        {MainApp::AddOrEdit::name_save_habit, "save_habit"},
    });
}

TEST(AnalyticsVocabulary, MainAppToggleCheckmark) {
    expectVocabulary<MainApp::ToggleCheckmark>({
        {MainApp::ToggleCheckmark::main_screen_habit_toggle_checkmark,
         "main_screen_habit_toggle_checkmark"},
        {MainApp::ToggleCheckmark::detail_screen_habit_toggle_checkmark,
         "detail_screen_habit_toggle_checkmark"},
        {MainApp::ToggleCheckmark::today_widget_habit_toggle_checkmark,
         "today_widget_habit_toggle_checkmark"},
        {MainApp::ToggleCheckmark::rich_notification_habit_toggle_checkmark,
         "rich_notification_habit_toggle_checkmark"},
        {MainApp::ToggleCheckmark::checkmark_on, "checkmark_on"},
        {MainApp::ToggleCheckmark::days_since_checkmark, "days_since_checkmark"},
    });
}

TEST(AnalyticsVocabulary, MainAppNotificationAction) {
    expectVocabulary<MainApp::NotificationAction>({
        {MainApp::NotificationAction::notification_action_handled, "notification_action_handled"},
        {MainApp::NotificationAction::notification_action_type, "notification_action_type"},
        {MainApp::NotificationAction::minutes_since_first_notification,
         "minutes_since_first_notification"},
        {MainApp::NotificationAction::minutes_since_last_notification,
         "minutes_since_last_notification"},
    });
}

TEST(AnalyticsVocabulary, MainAppMenuKeepsItsMismatchedPrefixes) {
    expectVocabulary<MainApp::Menu>({
        {MainApp::Menu::name_menu_screen, "menu_screen"},
        {MainApp::Menu::name_menu_contact_us_tap, "menu_contact_us_tap"},
        {MainApp::Menu::name_menu_rate_us_tap, "name_menu_rate_us_tap"},
        {MainApp::Menu::name_menu_faq_tap, "name_menu_faq_tap"},
    });
}

TEST(AnalyticsVocabulary, MainAppRateUsAlert) {
    expectVocabulary<MainApp::RateUsAlert>({
        {MainApp::RateUsAlert::rate_us_alert_screen, "rate_us_alert_screen"},
        {MainApp::RateUsAlert::rate_us_alert_go_to_app_store, "rate_us_alert_go_to_app_store"},
        {MainApp::RateUsAlert::rate_us_alert_cancel, "rate_us_alert_cancel"},
    });
}

TEST(AnalyticsVocabulary, MainAppFAQ) {
    expectVocabulary<MainApp::FAQ>({
        {MainApp::FAQ::faq_screen, "faq_screen"},
        {MainApp::FAQ::faq_contact_us_tap, "faq_contact_us_tap"},
        {MainApp::FAQ::faq_tap_on_percentage, "faq_tap_on_percentage"},
        {MainApp::FAQ::faq_tap_on_fiveDays, "faq_tap_on_fiveDays"},
        {MainApp::FAQ::faq_tap_on_habitStatistics, "faq_tap_on_habitStatistics"},
        {MainApp::FAQ::faq_tap_on_habitOrder, "faq_tap_on_habitOrder"},
        {MainApp::FAQ::faq_tap_on_widget, "faq_tap_on_widget"},
    });
}

TEST(AnalyticsVocabulary, MainAppContactUs) {
    expectVocabulary<MainApp::ContactUs>({
        {MainApp::ContactUs::contact_us_instagram_tap, "name_menu_instagram_tap"},
        {MainApp::ContactUs::contact_us_email_tap, "name_menu_email_tap"},
        {MainApp::ContactUs::contact_us_cancel_tap, "name_menu_contact_us_cancel_tap"},
        {MainApp::ContactUs::contact_us_email_sent, "email_sent_ok"},
    });
}

TEST(AnalyticsVocabulary, MainAppBackup) {
    expectVocabulary<MainApp::Backup>({
        {MainApp::Backup::store_a_backup, "store_a_backup"},
        {MainApp::Backup::restore_from_the_backup, "restore_from_the_backup"},
    });
}

TEST(AnalyticsVocabulary, MainAppInstallation) {
    expectVocabulary<MainApp::Installation>({
        {MainApp::Installation::app_installed, "app_installed"},
        {MainApp::Installation::app_reinstalled, "app_reinstalled"},
        {MainApp::Installation::cohort_day, "cohort_day"},
        {MainApp::Installation::cohort_week, "cohort_week"},
        {MainApp::Installation::cohort_month, "cohort_month"},
        {MainApp::Installation::cohort_year, "cohort_year"},
        {MainApp::Installation::lifetime_day_count, "lifetime_day_count"},
    });
}

TEST(AnalyticsVocabulary, MainAppAds) {
    expectVocabulary<MainApp::Ads>({
        {MainApp::Ads::ads_link_opened, "ads_link_opened"},
        {MainApp::Ads::ads_link_scheme, "ads_link_scheme"},
        {MainApp::Ads::ads_link_host, "ads_link_host"},
    });
}

TEST(AnalyticsVocabulary, EventSource) {
    expectVocabulary<EventSource>({
        {EventSource::habitsListScreen, "habitsListScreen"},
        {EventSource::habitDetailsScreen, "habitDetailsScreen"},
        {EventSource::addHabitScreen, "addHabitScreen"},
        {EventSource::editHabitScreen, "editHabitScreen"},
        {EventSource::todayWidget, "todayWidget"},
        {EventSource::richNotification, "richNotification"},
    });
}

TEST(AnalyticsVocabulary, ScreenTypeTexts) {
    const std::vector<std::pair<ScreenType, std::string_view>> table{
        {ScreenType::iPhones_4_4S, "iPhone 4 or iPhone 4S"},
        {ScreenType::iPhones_5_5s_5c_SE, "iPhone 5, iPhone 5s, iPhone 5c or iPhone SE"},
        {ScreenType::iPhones_6_6s_7_8, "iPhone 6, iPhone 6S, iPhone 7 or iPhone 8"},
        {ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus,
         "iPhone 6 Plus, iPhone 6S Plus, iPhone 7 Plus or iPhone 8 Plus"},
        {ScreenType::iPhones_X_XS_11Pro, "iPhone X, iPhone XS or iPhone 11 Pro"},
        {ScreenType::iPhones_XR_11, "iPhone XR or iPhone 11"},
        {ScreenType::iPhones_XSMax_11ProMax, "iPhone XS Max or iPhone 11 Pro Max"},
        {ScreenType::unknown, "unknown"},
    };
    for (const auto& [type, raw] : table) {
        EXPECT_EQ(rawValue(type), raw);
        EXPECT_EQ(screenTypeFromRawValue(raw), type) << raw;
    }
}

TEST(AnalyticsVocabulary, MainScreenTextYieldsNameMainScreenButTheCaseNameYieldsNothing) {
    EXPECT_EQ(MainApp::fromRawValue("main_screen"), MainApp::name_main_screen);
    EXPECT_EQ(MainApp::fromRawValue("name_main_screen"), std::nullopt);
}

TEST(AnalyticsVocabulary, InstagramTapTextIsAContactUsCaseNotAMenuCase) {
    EXPECT_EQ(MainApp::ContactUs::fromRawValue("name_menu_instagram_tap"),
              MainApp::ContactUs::contact_us_instagram_tap);
    EXPECT_EQ(MainApp::Menu::fromRawValue("name_menu_instagram_tap"), std::nullopt);
}

TEST(AnalyticsVocabulary, RawStringsAreCaseSensitive) {
    EXPECT_EQ(screenTypeFromRawValue("Unknown"), std::nullopt);
    EXPECT_EQ(EventSource::fromRawValue("TodayWidget"), std::nullopt);
    EXPECT_EQ(MainApp::FAQ::fromRawValue("faq_tap_on_fivedays"), std::nullopt);
    EXPECT_EQ(UserAttributes::fromRawValue("HabitsCount"), std::nullopt);
}

TEST(AnalyticsVocabulary, UnknownAndEmptyTextsYieldNothing) {
    EXPECT_EQ(Widget::fromRawValue(""), std::nullopt);
    EXPECT_EQ(MainApp::Ads::fromRawValue("ads_link_opened "), std::nullopt);
    EXPECT_EQ(MainApp::Installation::fromRawValue("timestamp"), std::nullopt);
}

TEST(AnalyticsVocabulary, CasesAreEquatableAndHashable) {
    std::unordered_set<MainApp::Menu> menu{MainApp::Menu::name_menu_screen,
                                           MainApp::Menu::name_menu_screen,
                                           MainApp::Menu::name_menu_faq_tap};
    EXPECT_EQ(menu.size(), 2u);
    EXPECT_TRUE(menu.contains(MainApp::Menu::name_menu_faq_tap));
    EXPECT_NE(MainApp::Menu(MainApp::Menu::name_menu_screen),
              MainApp::Menu(MainApp::Menu::name_menu_faq_tap));
}

TEST(EventSource, ToggleEventOfEachSource) {
    using ToggleCheckmark = MainApp::ToggleCheckmark;
    EXPECT_EQ(EventSource(EventSource::habitsListScreen).toggleCheckmarkEvent(),
              ToggleCheckmark::main_screen_habit_toggle_checkmark);
    EXPECT_EQ(EventSource(EventSource::habitDetailsScreen).toggleCheckmarkEvent(),
              ToggleCheckmark::detail_screen_habit_toggle_checkmark);
    EXPECT_EQ(EventSource(EventSource::todayWidget).toggleCheckmarkEvent(),
              ToggleCheckmark::today_widget_habit_toggle_checkmark);
    EXPECT_EQ(EventSource(EventSource::richNotification).toggleCheckmarkEvent(),
              ToggleCheckmark::rich_notification_habit_toggle_checkmark);
    EXPECT_EQ(EventSource(EventSource::addHabitScreen).toggleCheckmarkEvent(), std::nullopt);
    EXPECT_EQ(EventSource(EventSource::editHabitScreen).toggleCheckmarkEvent(), std::nullopt);
}

}  // namespace
}  // namespace dovrel

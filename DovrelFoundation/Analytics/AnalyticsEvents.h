#pragma once

#include "DovrelFoundation/RawStringEnumeration.h"

namespace dovrel {

// The names of every analytics event, event parameter and user attribute. A case's raw text is
// exactly what analytics services receive; the case name is only how code refers to it. Several
// raw texts differ from their case names, and some carry a prefix that their neighbours lack
// ("name_menu_rate_us_tap" beside "menu_screen"): dashboards already key on these texts, so they
// are kept exactly as they are. See RawStringEnumeration.h for what each enumeration offers.
//
// Two further keys are added by the tracker rather than named here: "timestamp" on every event
// and "errorText" in the details of a custom error.
namespace AnalyticsEvents {

// Keys of user properties.
class UserAttributes {
  public:
    enum class Case {
        habitsCount,         // "habitsCount": number of habits
        allowNotification,   // "allowNotification": whether notifications are allowed
        regionCode,          // "regionCode": region code of the user's locale
        languageCode,        // "languageCode": language code of the user's locale
        preferredLanguage,   // "preferredLanguage": the user's preferred language
        userInterfaceStyle,  // "userInterfaceStyle": selected light/dark style
    };
    DOVREL_RAW_STRING_ENUMERATION(UserAttributes, 6)
};

// The desktop widget.
class Widget {
  public:
    enum class Case {
        widget_screen,                     // "widget_screen": event, the widget was shown
        widget_screen_param_habits_count,  // "habits_count": parameter of widget_screen
        widget_screen_habit_tap,           // "widget_screen_habit_tap": event
    };
    DOVREL_RAW_STRING_ENUMERATION(Widget, 3)
};

// The application: a few events of its own, and the groups nested in it.
class MainApp {
  public:
    enum class Case {
        name_main_screen,                     // "main_screen": event, habit list shown
        name_detail_screen,                   // "detail_screen": event, habit details shown
        screenshot_captured,                  // "mainapp_screenshot_captured": event
        screenshot_captured_view_controller,  // "mainapp_screenshot_captured_view_controller":
                                              // parameter, the screen that was on display
    };
    DOVREL_RAW_STRING_ENUMERATION(MainApp, 4)

    // Parameter keys that describe one habit. "repeat" carries the has-reminders flag and
    // "regularity" the repeat interval's text; the pairing is deliberate.
    class Habit {
      public:
        enum class Case {
            param_habit_name,      // "habit_name": text
            param_motivate_title,  // "motivate_title": text
            param_regularity,      // "regularity": text
            param_repeat,          // "repeat": boolean
            progress,              // "progress": floating point
        };
        DOVREL_RAW_STRING_ENUMERATION(Habit, 5)
    };

    class DeleteHabit {
      public:
        enum class Case {
            main_screen_habit_was_deleted,    // event
            detail_screen_habit_was_deleted,  // event
        };
        DOVREL_RAW_STRING_ENUMERATION(DeleteHabit, 2)
    };

    class ResetProgress {
      public:
        enum class Case {
            detail_screen_reset_progress_tap,      // event: reset asked for
            detail_screen_reset_progress_confirm,  // event: reset confirmed
            days_since_last_checkmark,             // parameter: integer
        };
        DOVREL_RAW_STRING_ENUMERATION(ResetProgress, 3)
    };

    class AddOrEdit {
      public:
        enum class Case {
            name_add_screen,      // "add_screen": event
            name_edit_screen,     // "edit_screen": event
            show_color_picker,    // "add_edit_show_color_picker": event
            name_save_new_habit,  // "save_new_habit": event
            name_save_habit,      // "save_habit": event
        };
        DOVREL_RAW_STRING_ENUMERATION(AddOrEdit, 5)
    };

    class ToggleCheckmark {
      public:
        enum class Case {
            main_screen_habit_toggle_checkmark,        // event: toggled in the habit list
            detail_screen_habit_toggle_checkmark,      // event: toggled in habit details
            today_widget_habit_toggle_checkmark,       // event: toggled in the widget
            rich_notification_habit_toggle_checkmark,  // event: toggled from a notification
            checkmark_on,                              // parameter: boolean
            days_since_checkmark,                      // parameter: integer
        };
        DOVREL_RAW_STRING_ENUMERATION(ToggleCheckmark, 6)
    };

    class NotificationAction {
      public:
        enum class Case {
            notification_action_handled,       // event
            notification_action_type,          // parameter: text
            minutes_since_first_notification,  // parameter: integer, optional
            minutes_since_last_notification,   // parameter: integer, optional
        };
        DOVREL_RAW_STRING_ENUMERATION(NotificationAction, 4)
    };

    // The first two raw texts drop the "name_" prefix and the last two keep it, on purpose.
    class Menu {
      public:
        enum class Case {
            name_menu_screen,          // "menu_screen"
            name_menu_contact_us_tap,  // "menu_contact_us_tap"
            name_menu_rate_us_tap,     // "name_menu_rate_us_tap"
            name_menu_faq_tap,         // "name_menu_faq_tap"
        };
        DOVREL_RAW_STRING_ENUMERATION(Menu, 4)
    };

    class RateUsAlert {
      public:
        enum class Case {
            rate_us_alert_screen,
            rate_us_alert_go_to_app_store,
            rate_us_alert_cancel,
        };
        DOVREL_RAW_STRING_ENUMERATION(RateUsAlert, 3)
    };

    // One event per question opened.
    class FAQ {
      public:
        enum class Case {
            faq_screen,
            faq_contact_us_tap,
            faq_tap_on_percentage,
            faq_tap_on_fiveDays,
            faq_tap_on_habitStatistics,
            faq_tap_on_habitOrder,
            faq_tap_on_widget,
        };
        DOVREL_RAW_STRING_ENUMERATION(FAQ, 7)
    };

    class ContactUs {
      public:
        enum class Case {
            contact_us_instagram_tap,  // "name_menu_instagram_tap"
            contact_us_email_tap,      // "name_menu_email_tap"
            contact_us_cancel_tap,     // "name_menu_contact_us_cancel_tap"
            contact_us_email_sent,     // "email_sent_ok"
        };
        DOVREL_RAW_STRING_ENUMERATION(ContactUs, 4)
    };

    class Backup {
      public:
        enum class Case {
            store_a_backup,
            restore_from_the_backup,
        };
        DOVREL_RAW_STRING_ENUMERATION(Backup, 2)
    };

    // Install and reinstall cohorts; every parameter is an integer.
    class Installation {
      public:
        enum class Case {
            app_installed,       // event: first launch after a fresh install
            app_reinstalled,     // event: first launch after a reinstall
            cohort_day,          // day of year
            cohort_week,         // week of year
            cohort_month,        // month
            cohort_year,         // year
            lifetime_day_count,  // days since the first install
        };
        DOVREL_RAW_STRING_ENUMERATION(Installation, 7)
    };

    class Ads {
      public:
        enum class Case {
            ads_link_opened,  // event: the app was opened through an advertising link
            ads_link_scheme,  // parameter: the link's scheme
            ads_link_host,    // parameter: the link's host
        };
        DOVREL_RAW_STRING_ENUMERATION(Ads, 3)
    };
};

}  // namespace AnalyticsEvents

}  // namespace dovrel

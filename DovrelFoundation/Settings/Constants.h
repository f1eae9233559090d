#pragma once

#include <string_view>

namespace dovrel {

// Fixed identifiers and addresses shared by the application, the widget and the library.
// Never instantiated.
struct Constants {
    Constants() = delete;

    // The application group shared by the application and the widget: it names the shared
    // store's container ($XDG_DATA_HOME/<identifier>/) and the shared user-defaults suite.
    static constexpr std::string_view appGroupIdentifier = "group.app.dovrel.Dovrel";

    // The developer-team prefix, ".", and appGroupIdentifier: the keychain access group of the
    // first-install date.
    static constexpr std::string_view developerTeamIdentifier = "D7VRL4HB2Q";
    static constexpr std::string_view keychainAccessGroupIdentifier =
        "D7VRL4HB2Q.group.app.dovrel.Dovrel";

    // Identifiers of the application and of its widget.
    static constexpr std::string_view appBundleIdentifier = "app.dovrel.Dovrel";
    static constexpr std::string_view appTodayWidgetIdentifier = "app.dovrel.Dovrel.TodayWidget";

    // Where reviews and feedback go.
    static constexpr std::string_view emailForReviews = "feedback@dovrel.app";

    // The application's download page, social-media page, privacy policy and terms of use.
    static constexpr std::string_view appStoreURL = "https://dovrel.app/download";
    static constexpr std::string_view instagramURL = "https://www.instagram.com/dovrel.app/";
    static constexpr std::string_view privacyLink = "https://dovrel.app/privacy";
    static constexpr std::string_view termsLink = "https://dovrel.app/terms";
};

static_assert(
    Constants::keychainAccessGroupIdentifier.size() ==
            Constants::developerTeamIdentifier.size() + 1 + Constants::appGroupIdentifier.size() &&
        Constants::keychainAccessGroupIdentifier.starts_with(Constants::developerTeamIdentifier) &&
        Constants::keychainAccessGroupIdentifier.ends_with(Constants::appGroupIdentifier) &&
        Constants::keychainAccessGroupIdentifier[Constants::developerTeamIdentifier.size()] == '.',
    "the keychain access group is the team prefix, \".\" and the application group");

}  // namespace dovrel

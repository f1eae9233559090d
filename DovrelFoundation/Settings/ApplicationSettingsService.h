#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Settings/ApplicationSettingsServiceProtocol.h"
#include "DovrelFoundation/Settings/KeychainProtocol.h"
#include "DovrelFoundation/Settings/RemoteConfigServiceProtocol.h"

namespace dovrel {

class CoreDataManager;

// The small facts the application and its widget remember between launches: the first install
// date (in the keychain, so that it survives a reinstall), the launch dates and counts, the
// rate-us answers, the chosen appearance, the onboarding flag and the number of habits.
//
// Where values live
//   Everything but the install date lives in the user-defaults suite of the application group
//   (Constants::appGroupIdentifier), shared with the widget, under these keys:
//     "firstAppLaunchDate"                 date, absent until the first launch
//     "AppRateUserDefaults_LaunchCount"    integer, 0 when absent
//     "previousAppLaunchDate"              date, may be absent
//     "currentAppLaunchDate"               date, may be absent
//     "lastNewDayAppLaunchDate"            date, may be absent
//     "numberOfNewDayAppLaunches"          integer, 0 when absent
//     "AppRateUserDefaults_ShowingCount"   integer, 0 when absent
//     "AppRateUserDefaults_UserLikeApp"    boolean, false when absent
//     "NumberOfHabits"                     integer, may be absent
//     "selectedUserInterfaceStyle"         integer raw value of UserInterfaceStyle, may be absent
//     "didUserSeeOnboarding"               boolean, false when absent
//   A missing value, or one stored with another type, reads as the default above. One suite
//   object per data home is opened on first use and shared by every service of the process;
//   when it cannot be opened the process stops.
//
//   The install date is the keychain item "first_app_install_date" of the access group
//   Constants::keychainAccessGroupIdentifier: the local time of the first read as text in the
//   format "yyyy-MM-dd hh:mm:ss" (twelve-hour hours and no AM/PM field, so 14:15 is kept as
//   "02:15:00" and read back as 02:15; that is the format the item has always had).
//
// Caches
//   Each stored value is read from the suite once per service object and then answered from
//   memory; a write updates the cache and the suite at once (writing nothing to an optional
//   value removes its key). A value that another process (the widget) changes after the first
//   read is therefore not seen until a new service object is made.
//
// Failures
//   A keychain read that fails counts as no value; a keychain write that fails is ignored. A
//   suite write that fails throws Error as UserDefaults::set does (the cache already holds the
//   new value). A launch counter that would overflow stops the process.
//
// Threads
//   For the main thread: the caches are plain fields without locks.
class ApplicationSettingsService : public ApplicationSettingsServiceProtocol {
  public:
    // The text format of the install date, and its keychain key.
    static constexpr const char* kFormat = "yyyy-MM-dd hh:mm:ss";
    static constexpr const char* kFirstAppInstallDateKey = "first_app_install_date";

    // `coreDataManager` is only kept for the application (see coreDataManager()); the service
    // never calls it. The keychain is opened on the first read of the install date.
    ApplicationSettingsService(std::shared_ptr<RemoteConfigServiceProtocol> remoteConfigService,
                               std::shared_ptr<CoreDataManager> coreDataManager);
    ~ApplicationSettingsService() override;

    ApplicationSettingsService(const ApplicationSettingsService&) = delete;
    ApplicationSettingsService& operator=(const ApplicationSettingsService&) = delete;

    // Launch bookkeeping, in this order: with now = the current moment,
    //  1. isFirstAppLaunch() becomes whether no first launch date was recorded; if none was,
    //     now is recorded as the first launch date;
    //  2. the launch count rises by one;
    //  3. the current launch date (possibly none) becomes the previous one, and now the current;
    //  4. when there is no last new-day launch date, or the start of now's day in the current
    //     region is later than the start of that date's day, now becomes the last new-day launch
    //     date and the new-day launch count rises by one.
    void handleAppLaunch() override;
    bool isFirstAppLaunch() const override { return isFirstAppLaunch_; }

    // The install date from the keychain. When the current access group has none, the legacy
    // access groups (each of legacyTeamIDs(), ".", baseAccessGroup()) are searched in order and
    // the first value found is copied into the current access group. A value that parses in the
    // current region with kFormat is returned. Otherwise (nothing found, or text that does not
    // parse) the current moment is stored in the current access group and nothing is returned.
    std::optional<Date> firstAppInstallDate() override;

    std::optional<Date> firstAppLaunchDate() override;
    std::optional<Date> previousAppLaunchDate() override;
    std::optional<Date> currentAppLaunchDate() override;
    std::optional<Date> lastNewDayAppLaunchDate() override;
    std::int64_t numberOfAppLaunches() override;
    std::int64_t numberOfNewDayAppLaunches() override;

    std::int64_t numberOfRateUsHits() override;
    void setNumberOfRateUsHits(std::int64_t value) override;
    bool didUserLikeApp() override;
    void setDidUserLikeApp(bool value) override;
    std::optional<std::int64_t> numberOfHabits() override;
    void setNumberOfHabits(std::optional<std::int64_t> value) override;
    // Any stored raw value is returned as it is, also one that names no known style.
    std::optional<UserInterfaceStyle> selectedUserInterfaceStyle() override;
    void setSelectedUserInterfaceStyle(std::optional<UserInterfaceStyle> value) override;
    bool didUserSeeOnboarding() override;
    void setDidUserSeeOnboarding(bool value) override;

    bool alwaysShowRateUsAlert() const override { return alwaysShowRateUsAlert_; }
    void setAlwaysShowRateUsAlert(bool value) override { alwaysShowRateUsAlert_ = value; }

    bool showRateUsAlert() const override;
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime() const override;
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime() const override;

    // The collaborators given to the constructor.
    const std::shared_ptr<RemoteConfigServiceProtocol>& remoteConfigService() const noexcept {
        return remoteConfigService_;
    }
    const std::shared_ptr<CoreDataManager>& coreDataManager() const noexcept {
        return coreDataManager_;
    }

    // Team prefixes of earlier keychain access groups, searched in this order.
    const std::vector<std::string>& legacyTeamIDs() const noexcept { return legacyTeamIDs_; }
    // The access group without its team prefix: the application-group identifier.
    const std::string& baseAccessGroup() const noexcept { return baseAccessGroup_; }

  protected:
    // Opens the keychain of `accessGroup`: a dovrel::Keychain, over the Secret Service when one
    // answers and over its fallback file otherwise. Called for the current access group on the
    // first read of the install date, and for a legacy access group each time it is searched.
    // Tests override it to give keychains of their own.
    virtual std::unique_ptr<KeychainProtocol> makeKeychain(const std::string& accessGroup) const;

  private:
    KeychainProtocol& keychain();

    std::vector<std::string> legacyTeamIDs_;
    std::string baseAccessGroup_;
    std::unique_ptr<KeychainProtocol> keychain_;
    bool isFirstAppLaunch_ = false;
    std::optional<std::int64_t> numberOfAppLaunches_;
    std::optional<std::int64_t> numberOfRateUsHits_;
    std::optional<bool> didUserLikeApp_;
    std::optional<std::optional<std::int64_t>> numberOfHabits_;
    std::shared_ptr<RemoteConfigServiceProtocol> remoteConfigService_;
    std::shared_ptr<CoreDataManager> coreDataManager_;
    std::optional<std::optional<Date>> firstAppLaunchDate_;
    std::optional<std::optional<Date>> previousAppLaunchDate_;
    std::optional<std::optional<Date>> currentAppLaunchDate_;
    std::optional<std::optional<Date>> lastNewDayAppLaunchDate_;
    std::optional<std::int64_t> numberOfNewDayAppLaunches_;
    std::optional<std::optional<std::int64_t>> selectedUserInterfaceStyle_;
    std::optional<bool> didUserSeeOnboarding_;
    bool alwaysShowRateUsAlert_ = false;
};

}  // namespace dovrel

#include "DovrelFoundation/Settings/ApplicationSettingsService.h"

#include "DovrelFoundation/Settings/Constants.h"
#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"
#include "DovrelFoundation/Settings/UserDefaultsKeys.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Keychain.h"
#include "platform/foundation/UserDefaults.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScopedRegion.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedEnvironment;
using testing::ScopedRegion;
using testing::TemporaryDirectory;

const std::string kCurrentGroup(Constants::keychainAccessGroupIdentifier);
constexpr double kKyivWinterOffset = 2.0;  // Europe/Kyiv before the end of March

// ---- An in-memory keychain whose reads and writes can be made to fail ----------------------

struct FakeKeyring {
    std::map<std::string, std::map<std::string, std::string>> items;  // by group, then key
    bool readsFail = false;
    bool writesFail = false;
    std::vector<std::string> readGroups;  // the access group of every read, in order

    std::optional<std::string> item(const std::string& group, const std::string& key) const {
        const auto inGroup = items.find(group);
        if (inGroup == items.end()) {
            return std::nullopt;
        }
        const auto found = inGroup->second.find(key);
        if (found == inGroup->second.end()) {
            return std::nullopt;
        }
        return found->second;
    }
};

class FakeKeychain final : public KeychainProtocol {
  public:
    FakeKeychain(std::string accessGroup, std::shared_ptr<FakeKeyring> keyring)
        : accessGroup_(std::move(accessGroup)), keyring_(std::move(keyring)) {}

    const std::string& accessGroup() const override { return accessGroup_; }
    std::optional<std::string> get(std::string_view key) const override {
        keyring_->readGroups.push_back(accessGroup_);
        if (keyring_->readsFail) {
            return std::nullopt;
        }
        return keyring_->item(accessGroup_, std::string(key));
    }
    bool set(std::string_view key, std::string_view value) override {
        if (keyring_->writesFail) {
            return false;
        }
        keyring_->items[accessGroup_][std::string(key)] = std::string(value);
        return true;
    }

  private:
    std::string accessGroup_;
    std::shared_ptr<FakeKeyring> keyring_;
};

// The service with its keychains in a FakeKeyring.
class ServiceWithFakeKeychain final : public ApplicationSettingsService {
  public:
    ServiceWithFakeKeychain(std::shared_ptr<RemoteConfigServiceProtocol> remoteConfig,
                            std::shared_ptr<FakeKeyring> keyring)
        : ApplicationSettingsService(std::move(remoteConfig), nullptr),
          keyring_(std::move(keyring)) {}

  protected:
    std::unique_ptr<KeychainProtocol> makeKeychain(const std::string& accessGroup) const override {
        return std::make_unique<FakeKeychain>(accessGroup, keyring_);
    }

  private:
    std::shared_ptr<FakeKeyring> keyring_;
};

// A remote configuration that counts how often it is asked.
class CountingRemoteConfig final : public RemoteConfigServiceProtocol {
  public:
    bool showRateUsAlert() const override {
        ++calls;
        return show;
    }
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertFirstTime() const override {
        ++calls;
        return first;
    }
    std::optional<std::int64_t> appLaunchesToShowRateUsAlertSecondTime() const override {
        ++calls;
        return second;
    }

    bool show = true;
    std::optional<std::int64_t> first = 11;
    std::optional<std::int64_t> second;
    mutable int calls = 0;
};

// Every test gets its own data home (so its own application-group suite and keychain fallback
// files), a session bus address that leads nowhere (so no test reaches a real keyring), a
// pinned region and a pinned clock.
class ApplicationSettingsServiceTest : public ::testing::Test {
  protected:
    ApplicationSettingsServiceTest()
        : dataHome_("XDG_DATA_HOME", data_.path().string()),
          noBus_("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (data_.path() / "no-bus").string()),
          region_("Europe/Kyiv"),
          clock_(civilDate(2024, 3, 5, 14, 15, 0, kKyivWinterOffset)) {}

    std::unique_ptr<ServiceWithFakeKeychain> makeService() {
        return std::make_unique<ServiceWithFakeKeychain>(
            StaticRemoteConfigService::makeServiceWithDefaultValues(), keyring_);
    }

    // The application group's suite, opened apart from the service's own.
    UserDefaults& suite() {
        if (!suite_) {
            suite_ = std::make_unique<UserDefaults>(Constants::appGroupIdentifier);
        }
        return *suite_;
    }

    void setNow(Date date) { clock_.set(date); }

    TemporaryDirectory data_;
    ScopedEnvironment dataHome_;
    ScopedEnvironment noBus_;
    ScopedRegion region_;
    ScopedClockOverride clock_;
    std::shared_ptr<FakeKeyring> keyring_ = std::make_shared<FakeKeyring>();
    std::unique_ptr<UserDefaults> suite_;
};

// ---- Install date ------------------------------------------------------------------------

TEST_F(ApplicationSettingsServiceTest,
       FreshInstallFirstReadReturnsNothingAndSecondTheRecordedDate) {
    auto service = makeService();
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    // 14:15 is kept with twelve-hour hours and no AM/PM field.
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2024-03-05 02:15:00");

    setNow(civilDate(2024, 3, 9, 8, 0, 0, kKyivWinterOffset));
    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));
    // A later service object, as after a restart, reads the same date.
    EXPECT_EQ(makeService()->firstAppInstallDate(),
              civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2024-03-05 02:15:00");
}

TEST_F(ApplicationSettingsServiceTest, InstallDateFoundOnlyUnderALegacyTeamIsCopiedAndReturned) {
    auto service = makeService();
    ASSERT_EQ(service->legacyTeamIDs().size(), 2u);
    const std::string legacyGroup =
        service->legacyTeamIDs()[1] + "." + std::string(Constants::appGroupIdentifier);
    keyring_->items[legacyGroup]["first_app_install_date"] = "2019-07-21 09:30:05";

    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2019, 7, 21, 9, 30, 5, 3.0));
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2019-07-21 09:30:05");
    EXPECT_EQ(keyring_->item(legacyGroup, "first_app_install_date"), "2019-07-21 09:30:05");

    // From now on the current group answers and no legacy group is asked.
    keyring_->readGroups.clear();
    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2019, 7, 21, 9, 30, 5, 3.0));
    EXPECT_EQ(keyring_->readGroups, std::vector<std::string>{kCurrentGroup});
}

TEST_F(ApplicationSettingsServiceTest, LegacyTeamsAreSearchedInOrderAndTheFirstHitWins) {
    auto service = makeService();
    const std::string base(Constants::appGroupIdentifier);
    const std::string first = service->legacyTeamIDs()[0] + "." + base;
    const std::string second = service->legacyTeamIDs()[1] + "." + base;
    keyring_->items[first]["first_app_install_date"] = "2020-01-02 03:04:05";
    keyring_->items[second]["first_app_install_date"] = "2021-06-07 08:09:10";

    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2020, 1, 2, 3, 4, 5, 2.0));
    EXPECT_EQ(keyring_->readGroups, (std::vector<std::string>{kCurrentGroup, first}));
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2020-01-02 03:04:05");
}

TEST_F(ApplicationSettingsServiceTest, WithNoValueAnywhereEveryLegacyGroupIsAskedThenNowIsStored) {
    auto service = makeService();
    const std::string base(Constants::appGroupIdentifier);
    EXPECT_EQ(service->baseAccessGroup(), base);
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    EXPECT_EQ(keyring_->readGroups,
              (std::vector<std::string>{kCurrentGroup, service->legacyTeamIDs()[0] + "." + base,
                                        service->legacyTeamIDs()[1] + "." + base}));
    // Only the current group is written.
    EXPECT_EQ(keyring_->items.size(), 1u);
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2024-03-05 02:15:00");
}

TEST_F(ApplicationSettingsServiceTest, UnparsableInstallDateIsReplacedByNowAndReadsAsNothing) {
    keyring_->items[kCurrentGroup]["first_app_install_date"] = "2024-03-05 14:15:00";  // hour 14
    auto service = makeService();
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2024-03-05 02:15:00");
    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));
}

TEST_F(ApplicationSettingsServiceTest, UnparsableLegacyValueIsCopiedThenReplacedByNow) {
    auto service = makeService();
    const std::string legacyGroup =
        service->legacyTeamIDs()[0] + "." + std::string(Constants::appGroupIdentifier);
    keyring_->items[legacyGroup]["first_app_install_date"] = "not a date";
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2024-03-05 02:15:00");
    EXPECT_EQ(keyring_->item(legacyGroup, "first_app_install_date"), "not a date");
}

TEST_F(ApplicationSettingsServiceTest, InstallDateIsReadInTheCurrentZone) {
    keyring_->items[kCurrentGroup]["first_app_install_date"] = "2024-03-05 02:15:00";
    auto service = makeService();
    {
        ScopedRegion tokyo("Asia/Tokyo");
        EXPECT_EQ(service->firstAppInstallDate(), civilDate(2024, 3, 5, 2, 15, 0, 9.0));
    }
    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));
}

TEST_F(ApplicationSettingsServiceTest, AKeychainReadThatFailsCountsAsAbsent) {
    keyring_->items[kCurrentGroup]["first_app_install_date"] = "2020-01-02 03:04:05";
    keyring_->readsFail = true;
    auto service = makeService();
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    // Treated as a fresh install: the current moment replaced the unreadable value.
    EXPECT_EQ(keyring_->item(kCurrentGroup, "first_app_install_date"), "2024-03-05 02:15:00");
}

TEST_F(ApplicationSettingsServiceTest, AKeychainWriteThatFailsIsIgnored) {
    keyring_->writesFail = true;
    auto service = makeService();
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    EXPECT_TRUE(keyring_->items.empty());
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);

    keyring_->writesFail = false;
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
    EXPECT_EQ(service->firstAppInstallDate(), civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));
}

TEST_F(ApplicationSettingsServiceTest, WithoutASecretServiceTheInstallDateGoesToTheFallbackFile) {
    // The service's own keychain; the session bus address of the fixture leads nowhere.
    ApplicationSettingsService service(StaticRemoteConfigService::makeServiceWithDefaultValues(),
                                       nullptr);
    EXPECT_EQ(service.firstAppInstallDate(), std::nullopt);
    const auto file = Keychain::fallbackFile(kCurrentGroup);
    ASSERT_TRUE(std::filesystem::is_regular_file(file));
    EXPECT_EQ(Keychain(kCurrentGroup, Keychain::Backend::file).get("first_app_install_date"),
              "2024-03-05 02:15:00");
    // The file lies outside the application-group container.
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    ASSERT_TRUE(container.has_value());
    EXPECT_FALSE(file.string().starts_with(container->string()));
    EXPECT_EQ(service.firstAppInstallDate(), civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));

    // Deleting the application's data keeps the install date.
    std::filesystem::remove_all(*container);
    ApplicationSettingsService afterReinstall(
        StaticRemoteConfigService::makeServiceWithDefaultValues(), nullptr);
    EXPECT_EQ(afterReinstall.firstAppInstallDate(),
              civilDate(2024, 3, 5, 2, 15, 0, kKyivWinterOffset));
}

TEST_F(ApplicationSettingsServiceTest, WithoutASecretServiceALegacyFileValueIsCopied) {
    ApplicationSettingsService service(StaticRemoteConfigService::makeServiceWithDefaultValues(),
                                       nullptr);
    const std::string legacyGroup =
        service.legacyTeamIDs()[0] + "." + std::string(Constants::appGroupIdentifier);
    ASSERT_TRUE(Keychain(legacyGroup, Keychain::Backend::file)
                    .set("first_app_install_date", "2018-11-30 11:59:59"));
    EXPECT_EQ(service.firstAppInstallDate(), civilDate(2018, 11, 30, 11, 59, 59, 2.0));
    EXPECT_EQ(Keychain(kCurrentGroup, Keychain::Backend::file).get("first_app_install_date"),
              "2018-11-30 11:59:59");
}

// ---- Launch bookkeeping ------------------------------------------------------------------

TEST_F(ApplicationSettingsServiceTest, FirstLaunchIsCountedOnceWithNowAsCurrentAndNoPrevious) {
    const Date now = civilDate(2024, 3, 5, 14, 15, 0, kKyivWinterOffset);
    auto service = makeService();
    EXPECT_FALSE(service->isFirstAppLaunch());
    service->handleAppLaunch();
    EXPECT_TRUE(service->isFirstAppLaunch());
    EXPECT_EQ(service->numberOfAppLaunches(), 1);
    EXPECT_EQ(service->previousAppLaunchDate(), std::nullopt);
    EXPECT_EQ(service->currentAppLaunchDate(), now);
    EXPECT_EQ(service->firstAppLaunchDate(), now);
    EXPECT_EQ(service->lastNewDayAppLaunchDate(), now);
    EXPECT_EQ(service->numberOfNewDayAppLaunches(), 1);

    // What the suite holds, under the exact keys.
    EXPECT_EQ(suite().object("firstAppLaunchDate"), UserDefaults::Value(now));
    EXPECT_EQ(suite().object("AppRateUserDefaults_LaunchCount"),
              UserDefaults::Value(std::int64_t{1}));
    EXPECT_EQ(suite().object("previousAppLaunchDate"), std::nullopt);
    EXPECT_EQ(suite().object("currentAppLaunchDate"), UserDefaults::Value(now));
    EXPECT_EQ(suite().object("lastNewDayAppLaunchDate"), UserDefaults::Value(now));
    EXPECT_EQ(suite().object("numberOfNewDayAppLaunches"), UserDefaults::Value(std::int64_t{1}));
}

TEST_F(ApplicationSettingsServiceTest, TwoLaunchesOnTheSameDayCountTwoLaunchesAndOneNewDay) {
    const Date morning = civilDate(2024, 3, 5, 0, 5, 0, kKyivWinterOffset);
    const Date evening = civilDate(2024, 3, 5, 23, 55, 0, kKyivWinterOffset);
    setNow(morning);
    auto first = makeService();
    first->handleAppLaunch();
    const auto firstCurrent = first->currentAppLaunchDate();

    setNow(evening);
    auto second = makeService();  // a new launch of the program
    second->handleAppLaunch();
    EXPECT_FALSE(second->isFirstAppLaunch());
    EXPECT_EQ(second->numberOfAppLaunches(), 2);
    EXPECT_EQ(second->numberOfNewDayAppLaunches(), 1);
    EXPECT_EQ(second->previousAppLaunchDate(), firstCurrent);
    EXPECT_EQ(second->previousAppLaunchDate(), morning);
    EXPECT_EQ(second->currentAppLaunchDate(), evening);
    EXPECT_EQ(second->lastNewDayAppLaunchDate(), morning);
    EXPECT_EQ(second->firstAppLaunchDate(), morning);
}

TEST_F(ApplicationSettingsServiceTest, ALaunchAfterMidnightCountsAsANewDayWithinTwentyFourHours) {
    setNow(civilDate(2024, 3, 5, 23, 50, 0, kKyivWinterOffset));
    makeService()->handleAppLaunch();
    const Date afterMidnight = civilDate(2024, 3, 6, 0, 10, 0, kKyivWinterOffset);
    setNow(afterMidnight);
    auto service = makeService();
    service->handleAppLaunch();
    EXPECT_EQ(service->numberOfAppLaunches(), 2);
    EXPECT_EQ(service->numberOfNewDayAppLaunches(), 2);
    EXPECT_EQ(service->lastNewDayAppLaunchDate(), afterMidnight);
}

TEST_F(ApplicationSettingsServiceTest, DaysAreTheCurrentZonesDaysAcrossADaylightSavingChange) {
    ScopedRegion newYork("America/New_York");
    // 2024-03-10 is 23 hours long in New York; 23:30 on the 9th (EST) and 00:30 on the 11th
    // (EDT) are two new days, and 01:59 and 03:01 on the 10th are the same day.
    const std::vector<std::pair<Date, std::int64_t>> launches = {
        {civilDate(2024, 3, 9, 23, 30, 0, -5.0), 1},
        {civilDate(2024, 3, 10, 1, 59, 0, -5.0), 2},
        {civilDate(2024, 3, 10, 3, 1, 0, -4.0), 2},
        {civilDate(2024, 3, 11, 0, 30, 0, -4.0), 3},
    };
    for (const auto& [now, expectedNewDays] : launches) {
        setNow(now);
        auto service = makeService();
        service->handleAppLaunch();
        EXPECT_EQ(service->numberOfNewDayAppLaunches(), expectedNewDays);
    }
    EXPECT_EQ(makeService()->numberOfAppLaunches(), 4);
}

TEST_F(ApplicationSettingsServiceTest, ALaunchEarlierThanTheLastNewDayIsNotANewDay) {
    // A clock set back by the user: the start of today is not later than the recorded day.
    setNow(civilDate(2024, 3, 6, 9, 0, 0, kKyivWinterOffset));
    makeService()->handleAppLaunch();
    setNow(civilDate(2024, 3, 4, 9, 0, 0, kKyivWinterOffset));
    auto service = makeService();
    service->handleAppLaunch();
    EXPECT_EQ(service->numberOfNewDayAppLaunches(), 1);
    EXPECT_EQ(service->lastNewDayAppLaunchDate(), civilDate(2024, 3, 6, 9, 0, 0, 2.0));
    EXPECT_EQ(service->numberOfAppLaunches(), 2);
}

TEST_F(ApplicationSettingsServiceTest, SeveralLaunchesOfOneServiceObjectKeepCounting) {
    auto service = makeService();
    for (int day = 1; day <= 5; ++day) {
        setNow(civilDate(2024, 3, static_cast<unsigned>(day), 12, 0, 0, kKyivWinterOffset));
        service->handleAppLaunch();
        service->handleAppLaunch();
    }
    EXPECT_FALSE(service->isFirstAppLaunch());
    EXPECT_EQ(service->numberOfAppLaunches(), 10);
    EXPECT_EQ(service->numberOfNewDayAppLaunches(), 5);
    EXPECT_EQ(service->firstAppLaunchDate(), civilDate(2024, 3, 1, 12, 0, 0, kKyivWinterOffset));
    EXPECT_EQ(suite().get(DefaultsKey<std::int64_t>("AppRateUserDefaults_LaunchCount", 0)), 10);
    EXPECT_EQ(suite().get(DefaultsKey<std::int64_t>("numberOfNewDayAppLaunches", 0)), 5);
}

TEST_F(ApplicationSettingsServiceTest, ALaunchCountThatWouldOverflowStopsTheProcess) {
    suite().set("AppRateUserDefaults_LaunchCount",
                UserDefaults::Value(std::numeric_limits<std::int64_t>::max()));
    EXPECT_DEATH(makeService()->handleAppLaunch(),
                 "Fatal error: Arithmetic overflow in numberOfAppLaunches");
}

TEST_F(ApplicationSettingsServiceTest, ANewDayCountThatWouldOverflowStopsTheProcess) {
    suite().set("numberOfNewDayAppLaunches",
                UserDefaults::Value(std::numeric_limits<std::int64_t>::max()));
    EXPECT_DEATH(makeService()->handleAppLaunch(),
                 "Fatal error: Arithmetic overflow in numberOfNewDayAppLaunches");
}

// ---- Stored values -----------------------------------------------------------------------

TEST_F(ApplicationSettingsServiceTest, SettingNumberOfHabitsToNoneRemovesItsKey) {
    auto service = makeService();
    EXPECT_EQ(service->numberOfHabits(), std::nullopt);
    service->setNumberOfHabits(7);
    EXPECT_EQ(service->numberOfHabits(), 7);
    EXPECT_EQ(suite().object("NumberOfHabits"), UserDefaults::Value(std::int64_t{7}));
    service->setNumberOfHabits(std::nullopt);
    EXPECT_EQ(service->numberOfHabits(), std::nullopt);
    EXPECT_EQ(suite().object("NumberOfHabits"), std::nullopt);
    EXPECT_EQ(makeService()->numberOfHabits(), std::nullopt);
}

TEST_F(ApplicationSettingsServiceTest, AbsentValuesReadAsTheirDefaults) {
    auto service = makeService();
    EXPECT_EQ(service->firstAppLaunchDate(), std::nullopt);
    EXPECT_EQ(service->previousAppLaunchDate(), std::nullopt);
    EXPECT_EQ(service->currentAppLaunchDate(), std::nullopt);
    EXPECT_EQ(service->lastNewDayAppLaunchDate(), std::nullopt);
    EXPECT_EQ(service->numberOfAppLaunches(), 0);
    EXPECT_EQ(service->numberOfNewDayAppLaunches(), 0);
    EXPECT_EQ(service->numberOfRateUsHits(), 0);
    EXPECT_FALSE(service->didUserLikeApp());
    EXPECT_EQ(service->numberOfHabits(), std::nullopt);
    EXPECT_EQ(service->selectedUserInterfaceStyle(), std::nullopt);
    EXPECT_FALSE(service->didUserSeeOnboarding());
    EXPECT_FALSE(service->alwaysShowRateUsAlert());
}

TEST_F(ApplicationSettingsServiceTest, WrittenValuesAreStoredUnderTheirKeys) {
    auto service = makeService();
    service->setNumberOfRateUsHits(3);
    service->setDidUserLikeApp(true);
    service->setSelectedUserInterfaceStyle(UserInterfaceStyle::dark);
    service->setDidUserSeeOnboarding(true);
    EXPECT_EQ(suite().object("AppRateUserDefaults_ShowingCount"),
              UserDefaults::Value(std::int64_t{3}));
    EXPECT_EQ(suite().object("AppRateUserDefaults_UserLikeApp"), UserDefaults::Value(true));
    EXPECT_EQ(suite().object("selectedUserInterfaceStyle"), UserDefaults::Value(std::int64_t{2}));
    EXPECT_EQ(suite().object("didUserSeeOnboarding"), UserDefaults::Value(true));

    auto later = makeService();
    EXPECT_EQ(later->numberOfRateUsHits(), 3);
    EXPECT_TRUE(later->didUserLikeApp());
    EXPECT_EQ(later->selectedUserInterfaceStyle(), UserInterfaceStyle::dark);
    EXPECT_TRUE(later->didUserSeeOnboarding());
}

TEST_F(ApplicationSettingsServiceTest, InterfaceStyleIsItsIntegerRawValueAndNoneRemovesIt) {
    auto service = makeService();
    service->setSelectedUserInterfaceStyle(UserInterfaceStyle::light);
    EXPECT_EQ(suite().object("selectedUserInterfaceStyle"), UserDefaults::Value(std::int64_t{1}));
    service->setSelectedUserInterfaceStyle(UserInterfaceStyle::unspecified);
    EXPECT_EQ(suite().object("selectedUserInterfaceStyle"), UserDefaults::Value(std::int64_t{0}));
    EXPECT_EQ(makeService()->selectedUserInterfaceStyle(), UserInterfaceStyle::unspecified);
    service->setSelectedUserInterfaceStyle(std::nullopt);
    EXPECT_EQ(suite().object("selectedUserInterfaceStyle"), std::nullopt);
    EXPECT_EQ(service->selectedUserInterfaceStyle(), std::nullopt);

    // A raw value that names no known style is passed on as it is.
    suite().set("selectedUserInterfaceStyle", UserDefaults::Value(std::int64_t{7}));
    EXPECT_EQ(makeService()->selectedUserInterfaceStyle(), static_cast<UserInterfaceStyle>(7));
}

TEST_F(ApplicationSettingsServiceTest, WronglyTypedValuesReadAsTheirDefaults) {
    suite().set("AppRateUserDefaults_LaunchCount", UserDefaults::Value(std::string("12")));
    suite().set("firstAppLaunchDate", UserDefaults::Value(std::int64_t{5}));
    suite().set("AppRateUserDefaults_UserLikeApp", UserDefaults::Value(std::int64_t{1}));
    suite().set("NumberOfHabits", UserDefaults::Value(4.0));
    suite().set("selectedUserInterfaceStyle", UserDefaults::Value(std::string("dark")));
    suite().set("didUserSeeOnboarding", UserDefaults::Value(std::string("yes")));
    auto service = makeService();
    EXPECT_EQ(service->numberOfAppLaunches(), 0);
    EXPECT_EQ(service->firstAppLaunchDate(), std::nullopt);
    EXPECT_FALSE(service->didUserLikeApp());
    EXPECT_EQ(service->numberOfHabits(), std::nullopt);
    EXPECT_EQ(service->selectedUserInterfaceStyle(), std::nullopt);
    EXPECT_FALSE(service->didUserSeeOnboarding());

    // A launch then writes values of the right type over them.
    service->handleAppLaunch();
    EXPECT_TRUE(service->isFirstAppLaunch());
    EXPECT_EQ(suite().object("AppRateUserDefaults_LaunchCount"),
              UserDefaults::Value(std::int64_t{1}));
}

TEST_F(ApplicationSettingsServiceTest, ValuesAreCachedPerServiceObject) {
    auto service = makeService();
    EXPECT_EQ(service->numberOfRateUsHits(), 0);
    EXPECT_EQ(service->numberOfHabits(), std::nullopt);
    EXPECT_EQ(service->currentAppLaunchDate(), std::nullopt);
    // The widget (another process) writes after the first reads.
    suite().set("AppRateUserDefaults_ShowingCount", UserDefaults::Value(std::int64_t{4}));
    suite().set("NumberOfHabits", UserDefaults::Value(std::int64_t{9}));
    suite().set("currentAppLaunchDate", UserDefaults::Value(Date(1000.0)));
    EXPECT_EQ(service->numberOfRateUsHits(), 0);
    EXPECT_EQ(service->numberOfHabits(), std::nullopt);
    EXPECT_EQ(service->currentAppLaunchDate(), std::nullopt);

    auto fresh = makeService();
    EXPECT_EQ(fresh->numberOfRateUsHits(), 4);
    EXPECT_EQ(fresh->numberOfHabits(), 9);
    EXPECT_EQ(fresh->currentAppLaunchDate(), Date(1000.0));
}

TEST_F(ApplicationSettingsServiceTest, AValueNeverReadIsTakenFromTheSuiteAtTheFirstRead) {
    auto service = makeService();
    suite().set("AppRateUserDefaults_LaunchCount", UserDefaults::Value(std::int64_t{41}));
    service->handleAppLaunch();
    EXPECT_EQ(service->numberOfAppLaunches(), 42);
    // The first launch date was absent, so this is still the first launch.
    EXPECT_TRUE(service->isFirstAppLaunch());
}

TEST_F(ApplicationSettingsServiceTest, TheServiceKeepsOnboardingApartFromTheApplicationsOwnKey) {
    EXPECT_EQ(UserDefaultsKeys::didSeeOnboardingKey, "didSeeOnboarding");
    auto service = makeService();
    service->setDidUserSeeOnboarding(true);
    EXPECT_EQ(suite().object("didSeeOnboarding"), std::nullopt);
    suite().set(std::string(UserDefaultsKeys::didSeeOnboardingKey), UserDefaults::Value(false));
    EXPECT_TRUE(makeService()->didUserSeeOnboarding());
}

TEST_F(ApplicationSettingsServiceTest, TheServiceUsesTheApplicationGroupSuiteAndNotTheStandardOne) {
    auto service = makeService();
    service->setNumberOfRateUsHits(2);
    service->handleAppLaunch();
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    ASSERT_TRUE(container.has_value());
    EXPECT_EQ(suite().path(), *container / "UserDefaults.sqlite");
    EXPECT_EQ(UserDefaults::standard().object("AppRateUserDefaults_ShowingCount"), std::nullopt);
    EXPECT_EQ(UserDefaults::standard().object("AppRateUserDefaults_LaunchCount"), std::nullopt);
}

TEST_F(ApplicationSettingsServiceTest, AlwaysShowRateUsAlertIsASwitchThatIsNotStored) {
    auto service = makeService();
    service->setAlwaysShowRateUsAlert(true);
    EXPECT_TRUE(service->alwaysShowRateUsAlert());
    EXPECT_FALSE(makeService()->alwaysShowRateUsAlert());
}

TEST_F(ApplicationSettingsServiceTest,
       RateUsParametersAreAskedOfTheRemoteConfigurationAtEveryRead) {
    auto remote = std::make_shared<CountingRemoteConfig>();
    ServiceWithFakeKeychain service(remote, keyring_);
    EXPECT_EQ(service.remoteConfigService(), remote);
    EXPECT_EQ(service.coreDataManager(), nullptr);
    EXPECT_TRUE(service.showRateUsAlert());
    EXPECT_EQ(service.appLaunchesToShowRateUsAlertFirstTime(), 11);
    EXPECT_EQ(service.appLaunchesToShowRateUsAlertSecondTime(), std::nullopt);
    EXPECT_EQ(remote->calls, 3);
    remote->show = false;
    remote->first = std::nullopt;
    remote->second = 20;
    EXPECT_FALSE(service.showRateUsAlert());
    EXPECT_EQ(service.appLaunchesToShowRateUsAlertFirstTime(), std::nullopt);
    EXPECT_EQ(service.appLaunchesToShowRateUsAlertSecondTime(), 20);
    EXPECT_EQ(remote->calls, 6);
}

TEST_F(ApplicationSettingsServiceTest, StaticDefaultsArePassedThrough) {
    auto service = makeService();
    EXPECT_FALSE(service->showRateUsAlert());
    EXPECT_EQ(service->appLaunchesToShowRateUsAlertFirstTime(), 3);
    EXPECT_EQ(service->appLaunchesToShowRateUsAlertSecondTime(), 7);
}

TEST_F(ApplicationSettingsServiceTest, TheServiceIsUsableThroughItsProtocol) {
    std::unique_ptr<ApplicationSettingsServiceProtocol> service = makeService();
    service->handleAppLaunch();
    service->setNumberOfHabits(3);
    EXPECT_TRUE(service->isFirstAppLaunch());
    EXPECT_EQ(service->numberOfAppLaunches(), 1);
    EXPECT_EQ(service->numberOfHabits(), 3);
    EXPECT_EQ(service->firstAppInstallDate(), std::nullopt);
}

TEST_F(ApplicationSettingsServiceTest, ASuiteThatCannotBeOpenedStopsTheProcess) {
    // A data home that is a plain file: the group container cannot be made inside it.
    const auto blocked = data_.path() / "blocked";
    std::ofstream(blocked) << "not a directory";
    ScopedEnvironment dataHome("XDG_DATA_HOME", blocked.string());
    EXPECT_DEATH(makeService()->numberOfAppLaunches(),
                 "Fatal error: Could not open the user defaults suite group.app.dovrel.Dovrel");
}

TEST(ApplicationSettingsServiceDeathTest, AMissingRemoteConfigServiceStopsTheProcess) {
    EXPECT_DEATH(ApplicationSettingsService(nullptr, nullptr),
                 "Fatal error: ApplicationSettingsService needs a remote config service");
}

}  // namespace
}  // namespace dovrel

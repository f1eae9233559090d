#include "DovrelFoundation/Settings/ApplicationSettingsService.h"

#include "DovrelFoundation/Settings/Constants.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Keychain.h"
#include "platform/foundation/Region.h"
#include "platform/foundation/UserDefaults.h"

#include <filesystem>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

namespace dovrel {

namespace {

// Team prefixes under which earlier builds kept the install date.
const std::vector<std::string>& legacyTeamIdentifiers() {
    static const std::vector<std::string> identifiers = {"5KQ2W8ZC7N", "M3HX9TR4PD"};
    return identifiers;
}

// ---- Keys of the application-group suite ------------------------------------------------

const DefaultsKey<std::optional<Date>> kFirstAppLaunchDate("firstAppLaunchDate");
const DefaultsKey<std::int64_t> kNumberOfAppLaunches("AppRateUserDefaults_LaunchCount", 0);
const DefaultsKey<std::optional<Date>> kPreviousAppLaunchDate("previousAppLaunchDate");
const DefaultsKey<std::optional<Date>> kCurrentAppLaunchDate("currentAppLaunchDate");
const DefaultsKey<std::optional<Date>> kLastNewDayAppLaunchDate("lastNewDayAppLaunchDate");
const DefaultsKey<std::int64_t> kNumberOfNewDayAppLaunches("numberOfNewDayAppLaunches", 0);
const DefaultsKey<std::int64_t> kNumberOfRateUsHits("AppRateUserDefaults_ShowingCount", 0);
const DefaultsKey<bool> kDidUserLikeApp("AppRateUserDefaults_UserLikeApp", false);
const DefaultsKey<std::optional<std::int64_t>> kNumberOfHabits("NumberOfHabits");
const DefaultsKey<std::optional<std::int64_t>> kSelectedUserInterfaceStyle(
    "selectedUserInterfaceStyle");
const DefaultsKey<bool> kDidUserSeeOnboarding("didUserSeeOnboarding", false);

// The application group's suite, opened once per data home and kept for the life of the
// process (tests move the data home between tests; a program never does).
UserDefaults& sharedSuite() {
    static std::mutex mutex;
    static std::map<std::filesystem::path, std::unique_ptr<UserDefaults>> suites;
    const std::lock_guard lock(mutex);
    auto& suite = suites[FileManager::dataHome()];
    if (!suite) {
        try {
            suite = std::make_unique<UserDefaults>(Constants::appGroupIdentifier);
        } catch (const Error& error) {
            fatalError("Could not open the user defaults suite " +
                       std::string(Constants::appGroupIdentifier) + ": " +
                       error.localizedDescription());
        }
    }
    return *suite;
}

// The cached-property pattern of every stored value: the first read fills the cache from the
// suite, later reads answer the cache; a write sets the cache and the suite.
template <typename T>
T readThroughCache(std::optional<T>& cache, const DefaultsKey<T>& key) {
    if (!cache) {
        cache = sharedSuite().get(key);
    }
    return *cache;
}

template <typename T>
void writeThroughCache(std::optional<T>& cache, const DefaultsKey<T>& key, const T& value) {
    cache = value;
    sharedSuite().set(key, value);
}

std::int64_t incremented(std::int64_t value, const char* counterName) {
    if (value == std::numeric_limits<std::int64_t>::max()) {
        fatalError(std::string("Arithmetic overflow in ") + counterName);
    }
    return value + 1;
}

// Raises the counter stored under `key` by one in a single write of the suite, whatever other
// processes do at the same time, and answers the new value.
std::int64_t incrementedInSuite(const DefaultsKey<std::int64_t>& key, const char* counterName) {
    return sharedSuite().update<std::int64_t>(
        key, [counterName](std::int64_t value) { return incremented(value, counterName); });
}

// dovrel::Keychain seen through the service's keychain interface.
class PlatformKeychain final : public KeychainProtocol {
  public:
    explicit PlatformKeychain(const std::string& accessGroup) : keychain_(accessGroup) {}

    const std::string& accessGroup() const override { return keychain_.accessGroup(); }
    std::optional<std::string> get(std::string_view key) const override {
        return keychain_.get(key);
    }
    bool set(std::string_view key, std::string_view value) override {
        return keychain_.set(key, value);
    }

  private:
    Keychain keychain_;
};

}  // namespace

ApplicationSettingsService::ApplicationSettingsService(
    std::shared_ptr<RemoteConfigServiceProtocol> remoteConfigService,
    std::shared_ptr<CoreDataManager> coreDataManager)
    : legacyTeamIDs_(legacyTeamIdentifiers()),
      baseAccessGroup_(Constants::appGroupIdentifier),
      remoteConfigService_(std::move(remoteConfigService)),
      coreDataManager_(std::move(coreDataManager)) {
    if (!remoteConfigService_) {
        fatalError("ApplicationSettingsService needs a remote config service");
    }
}

ApplicationSettingsService::~ApplicationSettingsService() = default;

std::unique_ptr<KeychainProtocol> ApplicationSettingsService::makeKeychain(
    const std::string& accessGroup) const {
    return std::make_unique<PlatformKeychain>(accessGroup);
}

KeychainProtocol& ApplicationSettingsService::keychain() {
    if (!keychain_) {
        keychain_ = makeKeychain(std::string(Constants::keychainAccessGroupIdentifier));
    }
    return *keychain_;
}

// ---- Install date --------------------------------------------------------------------------

std::optional<Date> ApplicationSettingsService::firstAppInstallDate() {
    auto stored = keychain().get(kFirstAppInstallDateKey);
    if (!stored) {
        for (const auto& teamID : legacyTeamIDs_) {
            const auto legacy = makeKeychain(teamID + "." + baseAccessGroup_);
            if (auto found = legacy->get(kFirstAppInstallDateKey)) {
                // A failed copy is ignored: the value is still used now, and the next read
                // finds it in the legacy group again.
                keychain().set(kFirstAppInstallDateKey, *found);
                stored = std::move(found);
                break;
            }
        }
    }
    const Region region = Region::current();
    if (stored) {
        if (auto date = region.parse(*stored, kFormat)) {
            return date;
        }
    }
    keychain().set(kFirstAppInstallDateKey, region.format(Clock::now(), kFormat));
    return std::nullopt;
}

// ---- Launch bookkeeping --------------------------------------------------------------------

void ApplicationSettingsService::handleAppLaunch() {
    const Date now = Clock::now();

    if (!firstAppLaunchDate()) {
        writeThroughCache(firstAppLaunchDate_, kFirstAppLaunchDate, std::optional<Date>(now));
        isFirstAppLaunch_ = true;
    } else {
        isFirstAppLaunch_ = false;
    }

    // Counters are raised in the suite itself, so that processes launched at the same moment
    // each count.
    numberOfAppLaunches_ = incrementedInSuite(kNumberOfAppLaunches, "numberOfAppLaunches");

    writeThroughCache(previousAppLaunchDate_, kPreviousAppLaunchDate, currentAppLaunchDate());
    writeThroughCache(currentAppLaunchDate_, kCurrentAppLaunchDate, std::optional<Date>(now));

    bool isNewDay = true;
    if (const auto lastNewDay = lastNewDayAppLaunchDate()) {
        const Region region = Region::current();
        isNewDay = region.startOfDay(now) > region.startOfDay(*lastNewDay);
    }
    if (isNewDay) {
        writeThroughCache(lastNewDayAppLaunchDate_, kLastNewDayAppLaunchDate,
                          std::optional<Date>(now));
        numberOfNewDayAppLaunches_ =
            incrementedInSuite(kNumberOfNewDayAppLaunches, "numberOfNewDayAppLaunches");
    }
}

// ---- Stored values -------------------------------------------------------------------------

std::optional<Date> ApplicationSettingsService::firstAppLaunchDate() {
    return readThroughCache(firstAppLaunchDate_, kFirstAppLaunchDate);
}

std::optional<Date> ApplicationSettingsService::previousAppLaunchDate() {
    return readThroughCache(previousAppLaunchDate_, kPreviousAppLaunchDate);
}

std::optional<Date> ApplicationSettingsService::currentAppLaunchDate() {
    return readThroughCache(currentAppLaunchDate_, kCurrentAppLaunchDate);
}

std::optional<Date> ApplicationSettingsService::lastNewDayAppLaunchDate() {
    return readThroughCache(lastNewDayAppLaunchDate_, kLastNewDayAppLaunchDate);
}

std::int64_t ApplicationSettingsService::numberOfAppLaunches() {
    return readThroughCache(numberOfAppLaunches_, kNumberOfAppLaunches);
}

std::int64_t ApplicationSettingsService::numberOfNewDayAppLaunches() {
    return readThroughCache(numberOfNewDayAppLaunches_, kNumberOfNewDayAppLaunches);
}

std::int64_t ApplicationSettingsService::numberOfRateUsHits() {
    return readThroughCache(numberOfRateUsHits_, kNumberOfRateUsHits);
}

void ApplicationSettingsService::setNumberOfRateUsHits(std::int64_t value) {
    writeThroughCache(numberOfRateUsHits_, kNumberOfRateUsHits, value);
}

bool ApplicationSettingsService::didUserLikeApp() {
    return readThroughCache(didUserLikeApp_, kDidUserLikeApp);
}

void ApplicationSettingsService::setDidUserLikeApp(bool value) {
    writeThroughCache(didUserLikeApp_, kDidUserLikeApp, value);
}

std::optional<std::int64_t> ApplicationSettingsService::numberOfHabits() {
    return readThroughCache(numberOfHabits_, kNumberOfHabits);
}

void ApplicationSettingsService::setNumberOfHabits(std::optional<std::int64_t> value) {
    writeThroughCache(numberOfHabits_, kNumberOfHabits, value);
}

std::optional<UserInterfaceStyle> ApplicationSettingsService::selectedUserInterfaceStyle() {
    const auto rawValue =
        readThroughCache(selectedUserInterfaceStyle_, kSelectedUserInterfaceStyle);
    if (!rawValue) {
        return std::nullopt;
    }
    return static_cast<UserInterfaceStyle>(*rawValue);
}

void ApplicationSettingsService::setSelectedUserInterfaceStyle(
    std::optional<UserInterfaceStyle> value) {
    std::optional<std::int64_t> rawValue;
    if (value) {
        rawValue = static_cast<std::int64_t>(*value);
    }
    writeThroughCache(selectedUserInterfaceStyle_, kSelectedUserInterfaceStyle, rawValue);
}

bool ApplicationSettingsService::didUserSeeOnboarding() {
    return readThroughCache(didUserSeeOnboarding_, kDidUserSeeOnboarding);
}

void ApplicationSettingsService::setDidUserSeeOnboarding(bool value) {
    writeThroughCache(didUserSeeOnboarding_, kDidUserSeeOnboarding, value);
}

// ---- Remote configuration ------------------------------------------------------------------

bool ApplicationSettingsService::showRateUsAlert() const {
    return remoteConfigService_->showRateUsAlert();
}

std::optional<std::int64_t> ApplicationSettingsService::appLaunchesToShowRateUsAlertFirstTime()
    const {
    return remoteConfigService_->appLaunchesToShowRateUsAlertFirstTime();
}

std::optional<std::int64_t> ApplicationSettingsService::appLaunchesToShowRateUsAlertSecondTime()
    const {
    return remoteConfigService_->appLaunchesToShowRateUsAlertSecondTime();
}

}  // namespace dovrel

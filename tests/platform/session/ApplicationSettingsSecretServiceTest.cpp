#include "DovrelFoundation/Settings/ApplicationSettingsService.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/Keychain.h"
#include "platform/foundation/Region.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/platform/session/SessionServices.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace dovrel {
namespace {

using testing::programOnPath;
using testing::runProgram;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

constexpr const char* kInstallDateKey = "first_app_install_date";
const std::string kCurrentGroup(Constants::keychainAccessGroupIdentifier);

// 2024-03-05 14:15:00 in Kyiv (UTC+2), as seconds since the reference date.
constexpr double kLaunchAt1415 = 731333700.0;
// 2024-03-05 02:15:00 in Kyiv: what the stored "2024-03-05 02:15:00" reads back as.
constexpr double kStoredAt0215 = 731290500.0;

// What any other program of the desktop finds in the keyring for the install date of `group`.
std::optional<std::string> secretToolLookup(const std::string& group) {
    const auto result = runProgram({programOnPath("secret-tool"), "lookup", "xdg:schema",
                                    Keychain::kSchemaName, Keychain::kAccessGroupAttribute, group,
                                    Keychain::kKeyAttribute, kInstallDateKey});
    if (result.exitStatus != 0) {
        return std::nullopt;
    }
    return result.standardOutput;
}

std::string formatSeconds(double seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f\n", seconds);
    return text;
}

// The settings service and its keychain items against the session's real Secret Service. The
// service's access groups are fixed, so every test starts by removing their items; each test has
// a data home of its own for the application-group suite and the fallback files.
class ApplicationSettingsSecretServiceTest : public ::testing::Test {
  protected:
    ApplicationSettingsSecretServiceTest()
        : dataHome_("XDG_DATA_HOME", data_.path().string()),
          zone_("Europe/Kyiv"),
          probeZone_("TZ", "Europe/Kyiv") {}

    void SetUp() override {
        ASSERT_TRUE(testing::insidePrivateSession()) << testing::kNotInsidePrivateSession;
        for (const auto& group : allGroups()) {
            ASSERT_TRUE(Keychain(group, Keychain::Backend::secretService).remove(kInstallDateKey));
        }
    }

    static ApplicationSettingsService makeService() {
        return ApplicationSettingsService(StaticRemoteConfigService::makeServiceWithDefaultValues(),
                                          nullptr);
    }

    static std::vector<std::string> legacyGroups() {
        std::vector<std::string> groups;
        const auto service = makeService();
        for (const auto& team : service.legacyTeamIDs()) {
            groups.push_back(team + "." + std::string(Constants::appGroupIdentifier));
        }
        return groups;
    }

    static std::vector<std::string> allGroups() {
        auto groups = legacyGroups();
        groups.insert(groups.begin(), kCurrentGroup);
        return groups;
    }

    // The probe in the same session, as a second launch of the application would be.
    static testing::ProgramResult probe(
        const std::vector<std::string>& arguments,
        std::map<std::string, std::optional<std::string>> environment = {}) {
        std::vector<std::string> command = {testing::kProbePath};
        command.insert(command.end(), arguments.begin(), arguments.end());
        environment.emplace("LC_ALL", "C");
        return runProgram(command, environment);
    }

    TemporaryDirectory data_;
    ScopedEnvironment dataHome_;
    ScopedTimeZone zone_;
    ScopedEnvironment probeZone_;
};

TEST_F(ApplicationSettingsSecretServiceTest, FreshInstallRecordsTheFirstReadInTheSecretService) {
    ScopedClockOverride clock{Date(kLaunchAt1415)};
    auto service = makeService();
    EXPECT_EQ(service.firstAppInstallDate(), std::nullopt);
    EXPECT_EQ(secretToolLookup(kCurrentGroup), "2024-03-05 02:15:00");
    EXPECT_FALSE(std::filesystem::exists(Keychain::fallbackFile(kCurrentGroup)));
    EXPECT_EQ(service.firstAppInstallDate(), Date(kStoredAt0215));

    // Another process of the application finds the same date.
    const auto other = probe({"settings-install-date"});
    EXPECT_EQ(other.exitStatus, 0) << other.standardError;
    EXPECT_EQ(other.standardOutput, formatSeconds(kStoredAt0215));
}

TEST_F(ApplicationSettingsSecretServiceTest, FirstReadInAnotherProcessIsNothingThenTheDate) {
    const auto first = probe({"settings-install-date"});
    EXPECT_EQ(first.exitStatus, 0) << first.standardError;
    EXPECT_EQ(first.standardOutput, "none\n");
    const auto stored = secretToolLookup(kCurrentGroup);
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->size(), std::string("yyyy-MM-dd hh:mm:ss").size());

    const auto second = probe({"settings-install-date"});
    EXPECT_EQ(second.exitStatus, 0) << second.standardError;
    EXPECT_NE(second.standardOutput, "none\n");
    auto service = makeService();
    const auto date = service.firstAppInstallDate();
    ASSERT_TRUE(date.has_value());
    EXPECT_EQ(second.standardOutput, formatSeconds(date->timeIntervalSinceReferenceDate()));
}

TEST_F(ApplicationSettingsSecretServiceTest, InstallDateOutlivesDeletingTheApplicationsData) {
    ScopedClockOverride clock{Date(kLaunchAt1415)};
    EXPECT_EQ(makeService().firstAppInstallDate(), std::nullopt);
    const auto container = FileManager::containerURL(Constants::appGroupIdentifier);
    ASSERT_TRUE(container.has_value());
    std::filesystem::remove_all(*container);
    EXPECT_EQ(makeService().firstAppInstallDate(), Date(kStoredAt0215));
}

TEST_F(ApplicationSettingsSecretServiceTest,
       LegacyTeamAccessGroupValueIsCopiedIntoTheCurrentGroup) {
    const auto legacy = legacyGroups();
    ASSERT_EQ(legacy.size(), 2u);
    ASSERT_TRUE(Keychain(legacy[1], Keychain::Backend::secretService)
                    .set(kInstallDateKey, "2024-03-05 02:15:00"));
    ASSERT_EQ(secretToolLookup(kCurrentGroup), std::nullopt);

    // An updated application reads it in another process...
    const auto read = probe({"settings-install-date"});
    EXPECT_EQ(read.exitStatus, 0) << read.standardError;
    EXPECT_EQ(read.standardOutput, formatSeconds(kStoredAt0215));
    // ...which copied it into the current group and left the legacy item alone.
    EXPECT_EQ(secretToolLookup(kCurrentGroup), "2024-03-05 02:15:00");
    EXPECT_EQ(secretToolLookup(legacy[1]), "2024-03-05 02:15:00");
    EXPECT_EQ(secretToolLookup(legacy[0]), std::nullopt);

    // The legacy item no longer matters: the current group answers alone.
    ASSERT_TRUE(Keychain(legacy[1], Keychain::Backend::secretService).remove(kInstallDateKey));
    EXPECT_EQ(makeService().firstAppInstallDate(), Date(kStoredAt0215));
}

TEST_F(ApplicationSettingsSecretServiceTest, TheFirstLegacyTeamWithAValueWins) {
    const auto legacy = legacyGroups();
    ASSERT_TRUE(Keychain(legacy[0], Keychain::Backend::secretService)
                    .set(kInstallDateKey, "2024-03-05 02:15:00"));
    ASSERT_TRUE(Keychain(legacy[1], Keychain::Backend::secretService)
                    .set(kInstallDateKey, "2020-01-01 01:00:00"));
    EXPECT_EQ(makeService().firstAppInstallDate(), Date(kStoredAt0215));
    EXPECT_EQ(secretToolLookup(kCurrentGroup), "2024-03-05 02:15:00");
}

TEST_F(ApplicationSettingsSecretServiceTest,
       WithoutASecretServiceTheInstallDateGoesToTheFallbackFile) {
    // A session bus address that leads nowhere: no Secret Service answers.
    const std::map<std::string, std::optional<std::string>> noService = {
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (data_.path() / "no-bus").string()},
    };
    const auto first = probe({"settings-install-date"}, noService);
    EXPECT_EQ(first.exitStatus, 0) << first.standardError;
    EXPECT_EQ(first.standardOutput, "none\n");

    const auto file = Keychain::fallbackFile(kCurrentGroup);
    ASSERT_TRUE(std::filesystem::is_regular_file(file));
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    const auto stored = Keychain(kCurrentGroup, Keychain::Backend::file).get(kInstallDateKey);
    ASSERT_TRUE(stored.has_value());
    // The Secret Service never saw it.
    EXPECT_EQ(secretToolLookup(kCurrentGroup), std::nullopt);

    const auto second = probe({"settings-install-date"}, noService);
    EXPECT_EQ(second.exitStatus, 0) << second.standardError;
    ASSERT_NE(second.standardOutput, "none\n");
    const auto parsed = Region::current().parse(*stored, ApplicationSettingsService::kFormat);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(second.standardOutput, formatSeconds(parsed->timeIntervalSinceReferenceDate()));
}

TEST_F(ApplicationSettingsSecretServiceTest, WithoutASecretServiceALegacyFileValueIsCopied) {
    const auto legacy = legacyGroups();
    ASSERT_TRUE(
        Keychain(legacy[0], Keychain::Backend::file).set(kInstallDateKey, "2024-03-05 02:15:00"));
    const std::map<std::string, std::optional<std::string>> noService = {
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (data_.path() / "no-bus").string()},
    };
    const auto read = probe({"settings-install-date"}, noService);
    EXPECT_EQ(read.exitStatus, 0) << read.standardError;
    EXPECT_EQ(read.standardOutput, formatSeconds(kStoredAt0215));
    EXPECT_EQ(Keychain(kCurrentGroup, Keychain::Backend::file).get(kInstallDateKey),
              "2024-03-05 02:15:00");
    EXPECT_EQ(secretToolLookup(kCurrentGroup), std::nullopt);
}

TEST_F(ApplicationSettingsSecretServiceTest, LaunchesInSeveralProcessesShareTheGroupSuite) {
    // 2024-03-05 08:00, 2024-03-05 20:00 and 2024-03-06 00:30 in Kyiv.
    const double morning = 731311200.0;
    const double evening = morning + 12 * 3600.0;
    const double afterMidnight = morning + 16.5 * 3600.0;
    auto launch = [&](double at) {
        const auto result = probe({"settings-launch", std::to_string(at)});
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        return result.standardOutput;
    };
    EXPECT_EQ(launch(morning), "first=1 launches=1 new-days=1\n");
    EXPECT_EQ(launch(evening), "first=0 launches=2 new-days=1\n");
    EXPECT_EQ(launch(afterMidnight), "first=0 launches=3 new-days=2\n");

    auto service = makeService();
    EXPECT_EQ(service.numberOfAppLaunches(), 3);
    EXPECT_EQ(service.numberOfNewDayAppLaunches(), 2);
    EXPECT_EQ(service.firstAppLaunchDate(), Date(morning));
    EXPECT_EQ(service.previousAppLaunchDate(), Date(evening));
    EXPECT_EQ(service.currentAppLaunchDate(), Date(afterMidnight));
    EXPECT_EQ(service.lastNewDayAppLaunchDate(), Date(afterMidnight));
}

}  // namespace
}  // namespace dovrel

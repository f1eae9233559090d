#include "platform/foundation/Keychain.h"

#include "platform/foundation/FileManager.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace dovrel {
namespace {

using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

constexpr const char* kAccessGroup = "TEAM1234.group.org.dovrel";
constexpr const char* kGroupIdentifier = "group.org.dovrel";

unsigned permissionsOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return 0xFFFF;
    }
    return status.st_mode & 07777;
}

std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

// Every test keeps its files in a temporary data home of its own.
class KeychainFileTest : public ::testing::Test {
  protected:
    TemporaryDirectory home_;
    ScopedEnvironment dataHome_{"XDG_DATA_HOME", (home_.path() / "data").string()};
};

TEST_F(KeychainFileTest, SetThenGetReturnsTheText) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    EXPECT_EQ(keychain.backend(), Keychain::Backend::file);
    EXPECT_EQ(keychain.accessGroup(), kAccessGroup);
    ASSERT_TRUE(keychain.set("first_app_install_date", "2024-03-05 02:15:00"));
    EXPECT_EQ(keychain.get("first_app_install_date"), "2024-03-05 02:15:00");
}

TEST_F(KeychainFileTest, GetOfAKeyNeverSetIsAbsent) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    EXPECT_EQ(keychain.get("first_app_install_date"), std::nullopt);
    ASSERT_TRUE(keychain.set("other", "x"));
    EXPECT_EQ(keychain.get("first_app_install_date"), std::nullopt);
}

TEST_F(KeychainFileTest, SetReplacesTheEarlierValue) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    ASSERT_TRUE(keychain.set("key", "first"));
    ASSERT_TRUE(keychain.set("key", "second"));
    EXPECT_EQ(keychain.get("key"), "second");
}

TEST_F(KeychainFileTest, EmptyTextIsAStoredValue) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    ASSERT_TRUE(keychain.set("key", ""));
    EXPECT_EQ(keychain.get("key"), "");
}

TEST_F(KeychainFileTest, NonAsciiTextRoundTrips) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    ASSERT_TRUE(keychain.set("ключ", "значення \"в лапках\"\n"));
    EXPECT_EQ(keychain.get("ключ"), "значення \"в лапках\"\n");
}

TEST_F(KeychainFileTest, TextThatIsNotUtf8OrHoldsNulIsNotStored) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    EXPECT_FALSE(keychain.set("key", std::string("a\0b", 3)));
    EXPECT_FALSE(keychain.set("key", "\xff\xfe"));
    EXPECT_FALSE(keychain.set(std::string("k\0y", 3), "value"));
    EXPECT_EQ(keychain.get("key"), std::nullopt);
    EXPECT_EQ(keychain.get("\xff"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(Keychain::fallbackFile(kAccessGroup)));
}

TEST_F(KeychainFileTest, RemoveDeletesTheValueAndKeepsTheOthers) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    ASSERT_TRUE(keychain.set("gone", "1"));
    ASSERT_TRUE(keychain.set("kept", "2"));
    EXPECT_TRUE(keychain.remove("gone"));
    EXPECT_EQ(keychain.get("gone"), std::nullopt);
    EXPECT_EQ(keychain.get("kept"), "2");
}

TEST_F(KeychainFileTest, RemoveOfAMissingKeySucceeds) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    EXPECT_TRUE(keychain.remove("never-set"));
    EXPECT_EQ(keychain.get("never-set"), std::nullopt);
}

TEST_F(KeychainFileTest, FileIsMode0600InADirectoryOfMode0700) {
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    ASSERT_TRUE(keychain.set("key", "value"));
    const auto file = Keychain::fallbackFile(kAccessGroup);
    ASSERT_TRUE(std::filesystem::is_regular_file(file));
    EXPECT_EQ(permissionsOf(file), 0600u);
    EXPECT_EQ(permissionsOf(file.parent_path()), 0700u);
    // Rewriting keeps the mode, and leaves no temporary file behind.
    ASSERT_TRUE(keychain.set("key", "changed"));
    EXPECT_EQ(permissionsOf(file), 0600u);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path())) {
        names.push_back(entry.path().filename().string());
    }
    EXPECT_EQ(names, std::vector<std::string>{file.filename().string()});
}

TEST_F(KeychainFileTest, FallbackFileLiesInTheDataHomeOutsideTheGroupContainer) {
    const auto file = Keychain::fallbackFile(kAccessGroup);
    EXPECT_EQ(file, home_.path() / "data" / "dovrel-keychain" / "TEAM1234.group.org.dovrel.json");
    const auto container = FileManager::containerURL(kGroupIdentifier);
    ASSERT_TRUE(container.has_value());
    const auto relative = file.lexically_relative(*container);
    EXPECT_TRUE(relative.empty() || *relative.begin() == "..") << relative;
}

TEST_F(KeychainFileTest, ValueSurvivesDeletingTheGroupContainer) {
    const auto container = FileManager::containerURL(kGroupIdentifier);
    ASSERT_TRUE(container.has_value());
    std::ofstream(*container / "Habit.sqlite") << "store";
    {
        Keychain keychain(kAccessGroup, Keychain::Backend::file);
        ASSERT_TRUE(keychain.set("first_app_install_date", "2024-03-05 02:15:00"));
    }
    std::filesystem::remove_all(*container);
    ASSERT_FALSE(std::filesystem::exists(*container));

    Keychain reopened(kAccessGroup, Keychain::Backend::file);
    EXPECT_EQ(reopened.get("first_app_install_date"), "2024-03-05 02:15:00");
}

TEST_F(KeychainFileTest, AccessGroupsDoNotSeeEachOthersKeys) {
    Keychain current(kAccessGroup, Keychain::Backend::file);
    Keychain legacy("LEGACY99.group.org.dovrel", Keychain::Backend::file);
    ASSERT_TRUE(legacy.set("first_app_install_date", "2020-01-01 01:00:00"));
    EXPECT_EQ(current.get("first_app_install_date"), std::nullopt);
    ASSERT_TRUE(current.set("first_app_install_date", "2024-03-05 02:15:00"));
    EXPECT_EQ(legacy.get("first_app_install_date"), "2020-01-01 01:00:00");
    EXPECT_TRUE(current.remove("first_app_install_date"));
    EXPECT_EQ(legacy.get("first_app_install_date"), "2020-01-01 01:00:00");
}

TEST_F(KeychainFileTest, AnotherKeychainOfTheSameGroupSeesTheValue) {
    Keychain writer(kAccessGroup, Keychain::Backend::file);
    Keychain reader(kAccessGroup, Keychain::Backend::file);
    ASSERT_TRUE(writer.set("key", "shared"));
    EXPECT_EQ(reader.get("key"), "shared");
}

TEST_F(KeychainFileTest, FileNameEscapesBytesThatAreNotPlain) {
    const auto directory = home_.path() / "data" / "dovrel-keychain";
    EXPECT_EQ(Keychain::fallbackFile("a/b c%"), directory / "a%2Fb%20c%25.json");
    EXPECT_EQ(Keychain::fallbackFile(".."), directory / "%2E%2E.json");
    EXPECT_EQ(Keychain::fallbackFile(".hidden"), directory / ".hidden.json");
    EXPECT_EQ(Keychain::fallbackFile("ґ"), directory / "%D2%91.json");

    Keychain slashed("a/b", Keychain::Backend::file);
    ASSERT_TRUE(slashed.set("key", "value"));
    EXPECT_TRUE(std::filesystem::is_regular_file(directory / "a%2Fb.json"));
    EXPECT_EQ(slashed.get("key"), "value");
}

TEST_F(KeychainFileTest, UnparsableFileReadsAsEmptyAndIsReplacedByTheNextWrite) {
    const auto file = Keychain::fallbackFile(kAccessGroup);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << "{ not json";
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    EXPECT_EQ(keychain.get("key"), std::nullopt);
    ASSERT_TRUE(keychain.set("key", "value"));
    EXPECT_EQ(keychain.get("key"), "value");
    EXPECT_NE(contentsOf(file).find("\"key\": \"value\""), std::string::npos) << contentsOf(file);
}

TEST_F(KeychainFileTest, ValueThatIsNotATextInTheFileReadsAsAbsentAndIsKept) {
    const auto file = Keychain::fallbackFile(kAccessGroup);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << R"({"number": 5})";
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    EXPECT_EQ(keychain.get("number"), std::nullopt);
    ASSERT_TRUE(keychain.set("key", "value"));
    EXPECT_NE(contentsOf(file).find("\"number\": 5"), std::string::npos) << contentsOf(file);
}

TEST_F(KeychainFileTest, WritersOnSeveralThreadsKeepEveryKey) {
    constexpr int kThreads = 4;
    constexpr int kKeysPerThread = 25;
    {
        std::vector<std::jthread> writers;
        for (int thread = 0; thread < kThreads; ++thread) {
            writers.emplace_back([thread] {
                Keychain keychain(kAccessGroup, Keychain::Backend::file);
                for (int index = 0; index < kKeysPerThread; ++index) {
                    const auto key = std::to_string(thread) + "-" + std::to_string(index);
                    EXPECT_TRUE(keychain.set(key, "v" + key));
                }
            });
        }
    }
    Keychain keychain(kAccessGroup, Keychain::Backend::file);
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int index = 0; index < kKeysPerThread; ++index) {
            const auto key = std::to_string(thread) + "-" + std::to_string(index);
            EXPECT_EQ(keychain.get(key), "v" + key);
        }
    }
}

TEST_F(KeychainFileTest, WithoutASessionBusTheKeychainFallsBackToTheFile) {
    TemporaryDirectory runtime;  // no bus socket in it
    ScopedEnvironment noBus("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    ScopedEnvironment noRuntimeBus("XDG_RUNTIME_DIR", runtime.path().string());
    ScopedEnvironment noDisplay("DISPLAY", std::nullopt);
    Keychain keychain(kAccessGroup);
    EXPECT_EQ(keychain.backend(), Keychain::Backend::file);
    ASSERT_TRUE(keychain.set("key", "value"));
    EXPECT_TRUE(std::filesystem::is_regular_file(Keychain::fallbackFile(kAccessGroup)));
    EXPECT_EQ(Keychain(kAccessGroup, Keychain::Backend::file).get("key"), "value");
}

TEST_F(KeychainFileTest, ChosenSecretServiceThatDoesNotAnswerFindsNothingAndFailsWrites) {
    TemporaryDirectory runtime;
    ScopedEnvironment noBus("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    ScopedEnvironment noRuntimeBus("XDG_RUNTIME_DIR", runtime.path().string());
    ScopedEnvironment noDisplay("DISPLAY", std::nullopt);
    Keychain keychain(kAccessGroup, Keychain::Backend::secretService);
    EXPECT_EQ(keychain.backend(), Keychain::Backend::secretService);
    EXPECT_FALSE(keychain.set("key", "value"));
    EXPECT_EQ(keychain.get("key"), std::nullopt);
    EXPECT_FALSE(keychain.remove("key"));
    // Nothing falls through to the file either.
    EXPECT_FALSE(std::filesystem::exists(Keychain::fallbackFile(kAccessGroup)));
}

TEST(KeychainDeathTest, EmptyAccessGroupStopsTheProcess) {
    EXPECT_DEATH(Keychain("", Keychain::Backend::file),
                 "Fatal error: Keychain access group is empty: file platform/foundation/Keychain, "
                 "line [0-9]+");
}

}  // namespace
}  // namespace dovrel

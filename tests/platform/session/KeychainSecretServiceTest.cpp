#include "platform/foundation/FileManager.h"
#include "platform/foundation/Keychain.h"
#include "tests/platform/session/SessionServices.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <libsecret/secret.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace dovrel {
namespace {

using testing::programOnPath;
using testing::runProgram;
using testing::TemporaryDirectory;

// ---- Reading the keyring directly through libsecret, as any other program could --------

struct FoundItem {
    std::map<std::string, std::string> attributes;
    std::string label;
    std::string secret;
};

struct GObjectDeleter {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
struct HashTableDeleter {
    void operator()(GHashTable* table) const noexcept { g_hash_table_unref(table); }
};
struct SecretValueDeleter {
    void operator()(SecretValue* value) const noexcept { secret_value_unref(value); }
};
struct ErrorDeleter {
    void operator()(GError* error) const noexcept { g_error_free(error); }
};
struct ListDeleter {
    void operator()(GList* list) const noexcept { g_list_free_full(list, g_object_unref); }
};

const SecretSchema* schema() {
    static const SecretSchema made = [] {
        SecretSchema value{};
        value.name = Keychain::kSchemaName;
        value.flags = SECRET_SCHEMA_NONE;
        value.attributes[0] = {Keychain::kAccessGroupAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
        value.attributes[1] = {Keychain::kKeyAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
        return value;
    }();
    return &made;
}

// Every item of our schema whose attributes include `match`.
std::vector<FoundItem> searchItems(const std::map<std::string, std::string>& match) {
    std::unique_ptr<GHashTable, HashTableDeleter> attributes(
        g_hash_table_new(g_str_hash, g_str_equal));
    for (const auto& [name, value] : match) {
        g_hash_table_insert(attributes.get(), const_cast<char*>(name.c_str()),
                            const_cast<char*>(value.c_str()));
    }
    GError* rawError = nullptr;
    std::unique_ptr<GList, ListDeleter> list(secret_service_search_sync(
        nullptr, schema(), attributes.get(),
        static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK |
                                       SECRET_SEARCH_LOAD_SECRETS),
        nullptr, &rawError));
    std::unique_ptr<GError, ErrorDeleter> error(rawError);
    EXPECT_EQ(error, nullptr) << (error ? error->message : "");
    std::vector<FoundItem> found;
    for (GList* node = list.get(); node != nullptr; node = node->next) {
        auto* item = static_cast<SecretItem*>(node->data);
        FoundItem result;
        std::unique_ptr<GHashTable, HashTableDeleter> itemAttributes(
            secret_item_get_attributes(item));
        GHashTableIter iterator;
        gpointer name = nullptr;
        gpointer value = nullptr;
        g_hash_table_iter_init(&iterator, itemAttributes.get());
        while (g_hash_table_iter_next(&iterator, &name, &value)) {
            result.attributes[static_cast<const char*>(name)] = static_cast<const char*>(value);
        }
        std::unique_ptr<gchar, decltype(&g_free)> label(secret_item_get_label(item), &g_free);
        result.label = label ? label.get() : "";
        // Loaded by the search (SECRET_SEARCH_LOAD_SECRETS).
        std::unique_ptr<SecretValue, SecretValueDeleter> secret(secret_item_get_secret(item));
        if (secret) {
            gsize length = 0;
            const gchar* bytes = secret_value_get(secret.get(), &length);
            result.secret.assign(bytes, length);
        }
        found.push_back(std::move(result));
    }
    return found;
}

// ---- A bus without a Secret Service ------------------------------------------------------

// A dbus-daemon of our own whose configuration names no service directories, so nothing on
// it can be started on demand: in particular no Secret Service.
class BareBus {
  public:
    BareBus() {
        const auto config = directory_.path() / "bus.conf";
        socket_ = directory_.path() / "bus";
        std::ofstream(config)
            << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
               "1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>session</type>\n"
               "  <listen>unix:path="
            << socket_.string()
            << "</listen>\n"
               "  <auth>EXTERNAL</auth>\n"
               "  <policy context=\"default\">\n"
               "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
               "    <allow eavesdrop=\"true\"/>\n"
               "    <allow own=\"*\"/>\n"
               "  </policy>\n"
               "</busconfig>\n";
        const std::string configArgument = "--config-file=" + config.string();
        std::vector<char*> arguments = {
            const_cast<char*>("dbus-daemon"), const_cast<char*>(configArgument.c_str()),
            const_cast<char*>("--nofork"), const_cast<char*>("--nopidfile"), nullptr};
        if (::posix_spawnp(&pid_, "dbus-daemon", nullptr, nullptr, arguments.data(), environ) !=
            0) {
            pid_ = -1;
            return;
        }
        for (int attempt = 0; attempt < 100 && !std::filesystem::exists(socket_); ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    ~BareBus() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            int status = 0;
            ::waitpid(pid_, &status, 0);
        }
    }
    BareBus(const BareBus&) = delete;
    BareBus& operator=(const BareBus&) = delete;

    bool running() const { return pid_ > 0 && std::filesystem::exists(socket_); }
    std::string address() const { return "unix:path=" + socket_.string(); }

  private:
    TemporaryDirectory directory_;
    std::filesystem::path socket_;
    pid_t pid_ = -1;
};

unsigned permissionsOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return 0xFFFF;
    }
    return status.st_mode & 07777;
}

// ---- Tests -------------------------------------------------------------------------------

// Each test uses access groups of its own, so that items left by another test never match.
class KeychainSecretServiceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(testing::insidePrivateSession()) << testing::kNotInsidePrivateSession;
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        group_ = std::string("TEAM1234.group.org.dovrel.") + info->name();
        otherGroup_ = std::string("LEGACY99.group.org.dovrel.") + info->name();
    }

    std::string group_;
    std::string otherGroup_;
};

TEST_F(KeychainSecretServiceTest, KeychainUsesTheSecretServiceWhenItAnswers) {
    Keychain keychain(group_);
    EXPECT_EQ(keychain.backend(), Keychain::Backend::secretService);
}

TEST_F(KeychainSecretServiceTest, SetThenGetThroughTheSecretService) {
    Keychain keychain(group_);
    ASSERT_EQ(keychain.backend(), Keychain::Backend::secretService);
    EXPECT_EQ(keychain.get("first_app_install_date"), std::nullopt);
    ASSERT_TRUE(keychain.set("first_app_install_date", "2024-03-05 02:15:00"));
    EXPECT_EQ(keychain.get("first_app_install_date"), "2024-03-05 02:15:00");
    // The value went to the service, not to the fallback file.
    EXPECT_FALSE(std::filesystem::exists(Keychain::fallbackFile(group_)));
}

TEST_F(KeychainSecretServiceTest, StoredItemCarriesTheSchemaAccessGroupAndKeyAttributes) {
    Keychain keychain(group_);
    ASSERT_TRUE(keychain.set("first_app_install_date", "2024-03-05 02:15:00"));
    const auto items = searchItems({{Keychain::kAccessGroupAttribute, group_}});
    ASSERT_EQ(items.size(), 1u);
    const std::map<std::string, std::string> expected = {
        {"xdg:schema", "org.dovrel.Keychain"},
        {"access-group", group_},
        {"key", "first_app_install_date"},
    };
    EXPECT_EQ(items[0].attributes, expected);
    EXPECT_EQ(items[0].secret, "2024-03-05 02:15:00");
    EXPECT_EQ(items[0].label, "Dovrel: first_app_install_date");
}

TEST_F(KeychainSecretServiceTest, SecretToolFindsTheItemByItsAttributes) {
    Keychain keychain(group_);
    ASSERT_TRUE(keychain.set("first_app_install_date", "2024-03-05 02:15:00"));
    const auto result =
        runProgram({programOnPath("secret-tool"), "lookup", "xdg:schema", "org.dovrel.Keychain",
                    "access-group", group_, "key", "first_app_install_date"});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, "2024-03-05 02:15:00");
}

TEST_F(KeychainSecretServiceTest, SettingAgainReplacesTheItemInsteadOfAddingOne) {
    Keychain keychain(group_);
    ASSERT_TRUE(keychain.set("key", "first"));
    ASSERT_TRUE(keychain.set("key", "second"));
    EXPECT_EQ(keychain.get("key"), "second");
    const auto items = searchItems({{Keychain::kAccessGroupAttribute, group_}});
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].secret, "second");
}

TEST_F(KeychainSecretServiceTest, AccessGroupsDoNotSeeEachOthersKeys) {
    Keychain current(group_);
    Keychain legacy(otherGroup_);
    ASSERT_TRUE(legacy.set("first_app_install_date", "2020-01-01 01:00:00"));
    EXPECT_EQ(current.get("first_app_install_date"), std::nullopt);
    ASSERT_TRUE(current.set("first_app_install_date", "2024-03-05 02:15:00"));
    EXPECT_EQ(legacy.get("first_app_install_date"), "2020-01-01 01:00:00");
    EXPECT_EQ(current.get("first_app_install_date"), "2024-03-05 02:15:00");
    ASSERT_TRUE(current.remove("first_app_install_date"));
    EXPECT_EQ(current.get("first_app_install_date"), std::nullopt);
    EXPECT_EQ(legacy.get("first_app_install_date"), "2020-01-01 01:00:00");
}

TEST_F(KeychainSecretServiceTest, RemoveDeletesTheItemAndSucceedsWhenThereIsNone) {
    Keychain keychain(group_);
    ASSERT_TRUE(keychain.set("key", "value"));
    EXPECT_TRUE(keychain.remove("key"));
    EXPECT_EQ(keychain.get("key"), std::nullopt);
    EXPECT_TRUE(searchItems({{Keychain::kAccessGroupAttribute, group_}}).empty());
    EXPECT_TRUE(keychain.remove("key"));
}

TEST_F(KeychainSecretServiceTest, EmptyAndNonAsciiTextsRoundTrip) {
    Keychain keychain(group_);
    ASSERT_TRUE(keychain.set("empty", ""));
    ASSERT_TRUE(keychain.set("ключ", "значення"));
    EXPECT_EQ(keychain.get("empty"), "");
    EXPECT_EQ(keychain.get("ключ"), "значення");
    EXPECT_FALSE(keychain.set("key", "\xff"));
    EXPECT_EQ(keychain.get("key"), std::nullopt);
}

TEST_F(KeychainSecretServiceTest, ValueSurvivesDeletingTheGroupContainer) {
    const auto container = FileManager::containerURL("group.org.dovrel");
    ASSERT_TRUE(container.has_value());
    {
        Keychain keychain(group_);
        ASSERT_TRUE(keychain.set("first_app_install_date", "2024-03-05 02:15:00"));
    }
    std::filesystem::remove_all(*container);
    EXPECT_EQ(Keychain(group_).get("first_app_install_date"), "2024-03-05 02:15:00");
}

TEST_F(KeychainSecretServiceTest, AnotherProcessReadsAndWritesTheSameItems) {
    Keychain keychain(group_);
    ASSERT_TRUE(keychain.set("from-test", "written here"));
    const auto read = runProgram({testing::kProbePath, "keychain-get", group_, "from-test"});
    EXPECT_EQ(read.exitStatus, 0) << read.standardError;
    EXPECT_EQ(read.standardOutput, "written here");

    const auto written =
        runProgram({testing::kProbePath, "keychain-set", group_, "from-probe", "written there"});
    ASSERT_EQ(written.exitStatus, 0) << written.standardError;
    EXPECT_EQ(keychain.get("from-probe"), "written there");
}

TEST_F(KeychainSecretServiceTest, WithoutASessionBusAnotherProcessFallsBackToTheFile) {
    TemporaryDirectory runtime;  // no bus socket in it
    const std::map<std::string, std::optional<std::string>> noBus = {
        {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
        {"XDG_RUNTIME_DIR", runtime.path().string()},
        {"DISPLAY", std::nullopt},
    };
    const auto backend = runProgram({testing::kProbePath, "keychain-backend", group_}, noBus);
    EXPECT_EQ(backend.standardOutput, "file\n") << backend.standardError;

    const auto written =
        runProgram({testing::kProbePath, "keychain-set", group_, "key", "in the file"}, noBus);
    ASSERT_EQ(written.exitStatus, 0) << written.standardError;
    const auto file = Keychain::fallbackFile(group_);
    ASSERT_TRUE(std::filesystem::is_regular_file(file));
    EXPECT_EQ(permissionsOf(file), 0600u);
    EXPECT_EQ(Keychain(group_, Keychain::Backend::file).get("key"), "in the file");
    // The Secret Service never saw it.
    EXPECT_EQ(Keychain(group_).get("key"), std::nullopt);
    EXPECT_TRUE(searchItems({{Keychain::kAccessGroupAttribute, group_}}).empty());

    const auto read = runProgram({testing::kProbePath, "keychain-get", group_, "key"}, noBus);
    EXPECT_EQ(read.standardOutput, "in the file");
}

TEST_F(KeychainSecretServiceTest, OnABusWithoutASecretServiceTheKeychainFallsBackToTheFile) {
    BareBus bus;
    ASSERT_TRUE(bus.running());
    const std::map<std::string, std::optional<std::string>> bareBus = {
        {"DBUS_SESSION_BUS_ADDRESS", bus.address()},
    };
    const auto backend = runProgram({testing::kProbePath, "keychain-backend", group_}, bareBus);
    EXPECT_EQ(backend.standardOutput, "file\n") << backend.standardError;
    const auto written =
        runProgram({testing::kProbePath, "keychain-set", group_, "key", "value"}, bareBus);
    ASSERT_EQ(written.exitStatus, 0) << written.standardError;
    EXPECT_EQ(Keychain(group_, Keychain::Backend::file).get("key"), "value");
}

}  // namespace
}  // namespace dovrel

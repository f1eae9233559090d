// The store where its user may not write it: a read-only folder, a file of another user. Each is
// a clear error that names the file, and nothing changes. Run as root, the program is started as
// the user "nobody" (setpriv), since root may write anything.

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

#include "tests/support/FileContents.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::ProgramResult;
using testing::runProgram;

using testing::contentsOf;

class StoreAccess : public ::testing::Test {
  protected:
    void SetUp() override {
        if (::geteuid() == 0) {
            const passwd* nobody = ::getpwnam("nobody");
            if (nobody == nullptr || testing::programOnPath("setpriv") == "setpriv") {
                GTEST_SKIP() << "running as root without the user nobody or setpriv";
            }
            user_ = nobody->pw_uid;
            group_ = nobody->pw_gid;
        } else {
            user_ = ::geteuid();
            group_ = ::getegid();
        }
        // Everyone may pass through the scratch folder; the program's own folders are its user's.
        ::chmod(scratch_.path().c_str(), 0755);
        for (const auto& folder : {home(), storeFolder()}) {
            fs::create_directories(folder);
            ASSERT_EQ(::chown(folder.c_str(), user_, group_), 0);
        }
    }

    fs::path home() const { return scratch_.path() / "home"; }
    fs::path storeFolder() const { return scratch_.path() / "store"; }
    fs::path store() const { return storeFolder() / "Habit.sqlite"; }

    // `dovrel arguments...` as the test's user.
    ProgramResult dovrel(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
        if (::geteuid() == 0) {
            arguments.insert(arguments.begin(),
                             {testing::programOnPath("setpriv"), "--reuid=" + std::to_string(user_),
                              "--regid=" + std::to_string(group_), "--clear-groups"});
        }
        return runProgram(arguments, {{"HOME", home().string()},
                                      {"XDG_DATA_HOME", (home() / "data").string()},
                                      {"XDG_RUNTIME_DIR", home().string()},
                                      {"TZ", "Europe/Kyiv"},
                                      {"LANG", "en_US.UTF-8"},
                                      {"LANGUAGE", std::nullopt},
                                      {"LC_ALL", std::nullopt},
                                      {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                                      {"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR}});
    }

    testing::TemporaryDirectory scratch_;
    uid_t user_ = 0;
    gid_t group_ = 0;
};

TEST_F(StoreAccess, AStoreInAReadOnlyFolderIsAClearErrorAndStaysAsItWas) {
    ASSERT_EQ(dovrel({"--store", store().string(), "add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"--store", store().string(), "check", "Water"}).exitStatus, 0);
    const std::string before = contentsOf(store());
    ASSERT_EQ(::chmod(storeFolder().c_str(), 0555), 0);
    const auto check = dovrel({"--store", store().string(), "check", "Water"});
    EXPECT_EQ(check.exitStatus, 1);
    EXPECT_EQ(check.standardError, "dovrel: The habit store " + store().string() +
                                       " cannot be written: Permission denied. Nothing was "
                                       "changed.\n");
    const auto list = dovrel({"--store", store().string(), "list"});
    EXPECT_EQ(list.exitStatus, 1);
    EXPECT_NE(list.standardError.find(store().string()), std::string::npos);
    EXPECT_EQ(list.standardError.find("locked"), std::string::npos) << list.standardError;
    EXPECT_EQ(contentsOf(store()), before);
    EXPECT_FALSE(fs::exists(store().string() + "-wal"));
    ::chmod(storeFolder().c_str(), 0755);
}

TEST_F(StoreAccess, AStoreFileOfAnotherUserIsAClearErrorAndStaysAsItWas) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give the test a file of another user";
    }
    ASSERT_EQ(dovrel({"--store", store().string(), "add", "Water"}).exitStatus, 0);
    // The same store, now root's and private to root.
    const fs::path foreign = storeFolder() / "Root.sqlite";
    fs::copy_file(store(), foreign);
    ::chown(foreign.c_str(), 0, 0);
    ::chmod(foreign.c_str(), 0600);
    const std::string before = contentsOf(foreign);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"list"}, {"check", "Water"}, {"add", "Read"}}) {
        std::vector<std::string> arguments{"--store", foreign.string()};
        arguments.insert(arguments.end(), command.begin(), command.end());
        const auto result = dovrel(arguments);
        EXPECT_EQ(result.exitStatus, 1) << command.front();
        EXPECT_EQ(result.standardError, "dovrel: The habit store " + foreign.string() +
                                            " cannot be read: Permission denied. Nothing was "
                                            "changed.\n")
            << command.front();
    }
    EXPECT_EQ(contentsOf(foreign), before);
    EXPECT_FALSE(fs::exists(foreign.string() + "-wal"));
}

}  // namespace
}  // namespace dovrel

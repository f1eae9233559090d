// The install rules: the build is installed into a temporary prefix with `cmake --install`, as a
// packager or `sudo cmake --install build` would, and what lands there is checked.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::testing {
namespace {

namespace fs = std::filesystem;

std::string contentsOf(const fs::path& file) {
    std::ifstream in(file);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool executable(const fs::path& file) {
    return ::access(file.c_str(), X_OK) == 0;
}

class Install : public ::testing::Test {
  protected:
    // One install for every test of the suite.
    static void SetUpTestSuite() {
        prefix_ = std::make_unique<TemporaryDirectory>();
        result_ = runProgram({DOVREL_CMAKE_COMMAND, "--install", DOVREL_BUILD_DIR, "--prefix",
                              prefix_->path().string()});
    }
    static void TearDownTestSuite() { prefix_.reset(); }

    void SetUp() override {
        ASSERT_EQ(result_.exitStatus, 0) << result_.standardOutput << result_.standardError;
    }

    static fs::path prefix() { return prefix_->path(); }
    static fs::path unit() { return prefix() / "lib/systemd/user/dovrel-notifyd.service"; }

    static inline std::unique_ptr<TemporaryDirectory> prefix_;
    static inline ProgramResult result_;
};

TEST_F(Install, InstallsTheProgramsTheirResourcesAndTheDesktopFiles) {
    for (const char* program : {"dovrel", "dovrel-notifyd", "dovrel-app", "dovrel-widget"}) {
        EXPECT_TRUE(executable(prefix() / "bin" / program)) << program;
    }
    EXPECT_TRUE(fs::is_regular_file(prefix() / "share/dovrel/colors.json"));
    EXPECT_TRUE(fs::is_regular_file(prefix() / "share/locale/en/LC_MESSAGES/dovrel.mo"));
    EXPECT_TRUE(fs::is_regular_file(prefix() / "share/locale/uk/LC_MESSAGES/dovrel.mo"));
    EXPECT_TRUE(fs::is_regular_file(prefix() / "share/dovrel/images/notify_1.png"));
    // Only resources: nothing of the build tree's bookkeeping.
    EXPECT_FALSE(fs::exists(prefix() / "share/dovrel/CMakeFiles"));
    EXPECT_FALSE(fs::exists(prefix() / "share/dovrel/cmake_install.cmake"));
    // The desktop file that the notifications' "desktop-entry" hint names starts the
    // application and takes its links; the widget has its own.
    const std::string application = contentsOf(prefix() / "share/applications/dovrel.desktop");
    EXPECT_NE(application.find("Exec=dovrel-app %u"), std::string::npos);
    EXPECT_NE(application.find("MimeType=x-scheme-handler/dovrel-app;"), std::string::npos);
    EXPECT_NE(contentsOf(prefix() / "share/applications/dovrel-widget.desktop")
                  .find("X-GNOME-Autostart-enabled=true"),
              std::string::npos);
}

TEST_F(Install, InstallsTheLibraryWithItsHeadersAndPackageFiles) {
    // The multiarch folder, or plain lib where the build has no architecture.
    fs::path libdir = prefix() / "lib";
    for (const auto& entry : fs::directory_iterator(prefix() / "lib")) {
        if (entry.is_directory() && fs::exists(entry.path() / "pkgconfig")) {
            libdir = entry.path();
        }
    }
    EXPECT_TRUE(fs::is_regular_file(libdir / "libDovrelFoundation.so.0.1.0"));
    EXPECT_TRUE(fs::is_symlink(libdir / "libDovrelFoundation.so.0"));
    EXPECT_TRUE(fs::is_regular_file(libdir / "pkgconfig/dovrel-foundation.pc"));
    EXPECT_TRUE(
        fs::is_regular_file(libdir / "cmake/DovrelFoundation/DovrelFoundationConfig.cmake"));
    EXPECT_TRUE(fs::is_regular_file(prefix() / "include/dovrel/DovrelFoundation/Model/Habit.h"));
    EXPECT_TRUE(fs::is_regular_file(prefix() / "include/dovrel/platform/foundation/Date.h"));
    // The Qt kit is not part of the library.
    EXPECT_FALSE(fs::exists(prefix() / "include/dovrel/DovrelFoundation/UI"));
}

TEST_F(Install, TheUserUnitStartsTheInstalledDaemonOnItsBusName) {
    ASSERT_TRUE(fs::is_regular_file(unit()));
    const std::string text = contentsOf(unit());
    EXPECT_NE(text.find("\nExecStart=" + (prefix() / "bin/dovrel-notifyd").string() + "\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\nType=dbus\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nBusName=org.dovrel.Notifyd\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nRestart=on-failure\n"), std::string::npos) << text;
}

TEST_F(Install, TheInstalledDaemonFindsItsTextsUnderThePrefix) {
    const auto help = runProgram({(prefix() / "bin/dovrel-notifyd").string(), "--help"},
                                 {{"DOVREL_RESOURCES", std::nullopt},
                                  {"LANG", "en_US.UTF-8"},
                                  {"LC_ALL", std::nullopt},
                                  {"LANGUAGE", std::nullopt}});
    EXPECT_EQ(help.exitStatus, 0) << help.standardError;
    EXPECT_NE(help.standardOutput.find("The reminder daemon of Dovrel"), std::string::npos)
        << help.standardOutput;
    EXPECT_EQ(help.standardOutput.find("Notifyd.Help"), std::string::npos) << help.standardOutput;
}

TEST_F(Install, TheInstalledUnitPassesSystemdAnalyzeVerify) {
    const std::string analyze = programOnPath("systemd-analyze");
    if (!executable(analyze)) {
        GTEST_SKIP() << "systemd-analyze is missing (Debian's systemd package): the unit is not "
                        "verified";
    }
    // The user manager's checks need a runtime folder of their own, nothing more.
    const fs::path runtime = prefix() / "runtime";
    fs::create_directories(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    const auto verified = runProgram({analyze, "--user", "verify", unit().string()},
                                     {{"XDG_RUNTIME_DIR", runtime.string()}});
    EXPECT_EQ(verified.exitStatus, 0) << verified.standardError;
    // Unknown keys and bad values are only warned about: none may be.
    EXPECT_EQ(verified.standardError, "");
}

}  // namespace
}  // namespace dovrel::testing

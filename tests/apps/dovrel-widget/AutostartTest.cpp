// The widget's autostart entry, written by the real program into the XDG autostart folder.

#include <gtest/gtest.h>

#include "tests/support/FileContents.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::widget::test {
namespace {

TEST(WidgetAutostart, OnWritesAValidEntryInTheAutostartFolderAndOffRemovesIt) {
    testing::TemporaryDirectory scratch;
    const std::map<std::string, std::optional<std::string>> environment = {
        {"XDG_CONFIG_HOME", (scratch.path() / "config").string()},
        {"HOME", scratch.path().string()},
        {"QT_QPA_PLATFORM", "offscreen"},
        {"LANG", "en_US.UTF-8"}};
    const auto on = testing::runProgram({DOVREL_WIDGET_PATH, "--autostart", "on"}, environment);
    ASSERT_EQ(on.exitStatus, 0) << on.standardError;
    const auto file = scratch.path() / "config" / "autostart" / "dovrel-widget.desktop";
    ASSERT_TRUE(std::filesystem::exists(file));
    const std::string entry = testing::contentsOf(file);
    EXPECT_NE(entry.find("X-GNOME-Autostart-enabled=true"), std::string::npos);
    EXPECT_NE(entry.find(std::string("Exec=\"") + DOVREL_WIDGET_PATH + "\""), std::string::npos)
        << entry;
    const auto validation =
        testing::runProgram({testing::programOnPath("desktop-file-validate"), file.string()});
    EXPECT_EQ(validation.exitStatus, 0) << validation.standardOutput << validation.standardError;
    EXPECT_NE(on.standardOutput.find(file.string()), std::string::npos) << on.standardOutput;

    const auto off = testing::runProgram({DOVREL_WIDGET_PATH, "--autostart", "off"}, environment);
    ASSERT_EQ(off.exitStatus, 0) << off.standardError;
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(
        testing::runProgram({DOVREL_WIDGET_PATH, "--autostart", "maybe"}, environment).exitStatus,
        2);
}

}  // namespace
}  // namespace dovrel::widget::test

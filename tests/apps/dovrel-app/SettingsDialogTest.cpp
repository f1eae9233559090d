// The settings as a person works them: the style applies at once and is kept, reminders switch,
// a backup is written, and a restore shows what it would add before it changes anything.

#include <QCheckBox>
#include <QComboBox>
#include <fstream>

#include "apps/dovrel-app/SettingsDialog.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "platform/ui/Appearance.h"
#include "tests/apps/dovrel-app/AppTestSupport.h"
#include "tests/support/FileContents.h"

namespace dovrel::app::test {
namespace {

class SettingsDialogTest : public AppTest {};

TEST_F(SettingsDialogTest, AChosenStyleAppliesToTheWindowAtOnceAndIsKept) {
    auto& window = open();
    window.applyStyle(UserInterfaceStyle::light);
    window.setSettingsDriver([](SettingsDialog& dialog) {
        dialog.styleMenu()->setCurrentIndex(2);
        emit dialog.styleMenu()->activated(2);
    });
    window.openSettings();
    EXPECT_EQ(ui::effectiveUserInterfaceStyle(window.tableView()), UserInterfaceStyle::dark);
    EXPECT_EQ(services_->settings().selectedUserInterfaceStyle(), UserInterfaceStyle::dark);

    window.setSettingsDriver([](SettingsDialog& dialog) {
        EXPECT_EQ(dialog.styleMenu()->currentIndex(), 2) << "the dialog starts from the kept style";
        dialog.chooseStyle(UserInterfaceStyle::unspecified);
    });
    window.openSettings();
    EXPECT_EQ(services_->settings().selectedUserInterfaceStyle(), std::nullopt);
    EXPECT_EQ(ui::effectiveUserInterfaceStyle(window.tableView()), ui::desktopUserInterfaceStyle());
}

TEST_F(SettingsDialogTest, RemindersSwitchOffAndOnInTheGroupsSettings) {
    auto& window = open();
    window.setSettingsDriver([](SettingsDialog& dialog) {
        EXPECT_TRUE(dialog.remindersSwitch()->isChecked());
        EXPECT_TRUE(dialog.switchReminders(false));
        EXPECT_FALSE(dialog.remindersSwitch()->isChecked());
    });
    window.openSettings();
    EXPECT_FALSE(services_->notificationCenter().remindersEnabled());
    // The command line reads the same switch.
    const auto status = dovrel({"reminders"});
    EXPECT_NE(status.standardOutput.find("Reminders are off"), std::string::npos)
        << status.standardOutput << status.standardError;
    window.setSettingsDriver([](SettingsDialog& dialog) { dialog.switchReminders(true); });
    window.openSettings();
    EXPECT_TRUE(services_->notificationCenter().remindersEnabled());
}

TEST_F(SettingsDialogTest, ARestoreShowsItsPreviewFirstAndAddsOnlyWhenConfirmed) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"check", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    auto& window = open();
    const auto backup = scratch_.path() / "habits.json";
    std::vector<BackupPreviewHabit> previewed;
    bool answer = false;
    window.setSettingsDriver([&](SettingsDialog& dialog) {
        ASSERT_TRUE(dialog.backUpTo(backup)) << dialog.statusText().toStdString();
        EXPECT_NE(dialog.statusText().toStdString().find(backup.string()), std::string::npos);
        dialog.setRestoreConfirmation([&](const std::vector<BackupPreviewHabit>& habits) {
            previewed = habits;
            return answer;
        });
        EXPECT_FALSE(dialog.restoreFrom(backup));
        EXPECT_EQ(dialog.statusText(), "Nothing was restored.");
    });
    window.openSettings();
    ASSERT_TRUE(std::filesystem::exists(backup));
    ASSERT_EQ(previewed.size(), 2u);
    EXPECT_EQ(previewed[0].name, "Water");
    EXPECT_EQ(previewed[0].checkmarks, 1u);
    EXPECT_EQ(previewed[1].name, "Read");
    EXPECT_EQ(previewed[1].checkmarks, 0u);
    EXPECT_EQ(storedHabits().size(), 2u) << "the preview changed nothing";

    answer = true;
    window.setSettingsDriver([&](SettingsDialog& dialog) {
        dialog.setRestoreConfirmation([&](const std::vector<BackupPreviewHabit>&) { return true; });
        EXPECT_TRUE(dialog.restoreFrom(backup)) << dialog.statusText().toStdString();
        EXPECT_EQ(dialog.statusText(), "2 habits restored.");
    });
    window.openSettings();
    // The restored habits keep their creation dates, so each sorts beside its original.
    const auto habits = storedHabits();
    ASSERT_EQ(habits.size(), 4u);
    EXPECT_EQ(habits[0]["name"], "Water");
    EXPECT_EQ(habits[1]["name"], "Water");
    EXPECT_EQ(habits[1]["checked"], true);
    EXPECT_EQ(habits[2]["name"], "Read");
    EXPECT_EQ(habits[3]["name"], "Read");
    EXPECT_TRUE(waitUntil([&] { return rows() == 4; }));
}

TEST_F(SettingsDialogTest, AMalformedBackupRestoresNothingAndNamesTheRecordThatFailed) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    const auto backup = scratch_.path() / "broken.json";
    ASSERT_EQ(dovrel({"backup", backup.string()}).exitStatus, 0);
    // The second record loses its colour, which every record must have.
    auto archive = nlohmann::json::parse(testing::contentsOf(backup));
    archive["habits"][1].erase("colorHex");
    {
        std::ofstream file(backup);
        file << archive.dump();
    }
    auto& window = open();
    bool asked = false;
    window.setSettingsDriver([&](SettingsDialog& dialog) {
        dialog.setRestoreConfirmation([&](const std::vector<BackupPreviewHabit>&) {
            asked = true;
            return true;
        });
        EXPECT_FALSE(dialog.restoreFrom(backup));
        const std::string status = dialog.statusText().toStdString();
        EXPECT_NE(status.find("Nothing was restored"), std::string::npos) << status;
        EXPECT_NE(status.find("index 1 (\"Read\")"), std::string::npos) << status;
    });
    window.openSettings();
    EXPECT_FALSE(asked) << "a backup that does not decode is not offered";
    EXPECT_EQ(storedHabits().size(), 2u) << storedHabits().dump();
}

}  // namespace
}  // namespace dovrel::app::test

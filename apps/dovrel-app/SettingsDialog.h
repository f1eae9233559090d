#pragma once

#include <QDialog>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/HabitBackupPreview.h"
#include "platform/foundation/Color.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

namespace dovrel::app {

class AppServices;

// The settings: the interface style (system, light, dark), applied at once to every window
// through the appearance override and kept by the settings service; reminders on or off; a
// backup to a file, and a restore from one that first shows what it would add (the dry run) and
// changes nothing until the person confirms; and what the program is, with its version. Laid out
// with the kit's anchors. Main thread only.
class SettingsDialog final : public QDialog {
  public:
    // `styleChanged` applies a newly chosen style to the application's windows.
    SettingsDialog(AppServices& services, std::function<void(UserInterfaceStyle)> styleChanged,
                   QWidget* parent = nullptr);

    // The actions behind the buttons, for the keys and for tests. Each reports what happened in
    // the dialog's status line (statusText()) and returns whether it succeeded.
    void chooseStyle(UserInterfaceStyle style);
    bool switchReminders(bool on);
    bool backUpTo(const std::filesystem::path& file);
    // Previews the file; when `confirm` (the preview dialog, or a test) agrees, restores it.
    bool restoreFrom(const std::filesystem::path& file);

    // Set by tests: answers the restore preview instead of showing it.
    void setRestoreConfirmation(
        std::function<bool(const std::vector<BackupPreviewHabit>&)> confirm) {
        confirmRestore_ = std::move(confirm);
    }

    QComboBox* styleMenu() const { return style_; }
    QCheckBox* remindersSwitch() const { return reminders_; }
    QString statusText() const;

  private:
    bool confirmRestore(const std::filesystem::path& file,
                        const std::vector<BackupPreviewHabit>& habits);

    AppServices& services_;
    std::function<void(UserInterfaceStyle)> styleChanged_;
    std::function<bool(const std::vector<BackupPreviewHabit>&)> confirmRestore_;
    QComboBox* style_;
    QCheckBox* reminders_;
    QLabel* status_;
};

}  // namespace dovrel::app

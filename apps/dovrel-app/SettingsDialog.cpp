#include "apps/dovrel-app/SettingsDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Appearance/StringExtensions.h"
#include "DovrelFoundation/Model/HabitBackupArchive.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "DovrelFoundation/UI/Styles.h"
#include "DovrelFoundation/Version.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/DialogStyle.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"

namespace dovrel::app {

namespace {

using AnalyticsEvents::MainApp;
using ui::LayoutRelation;

constexpr double kMargin = 20;
constexpr double kSpacing = 12;
constexpr double kLabelWidth = 120;

// The style menu's entries, in order.
constexpr UserInterfaceStyle kStyles[] = {UserInterfaceStyle::unspecified,
                                          UserInterfaceStyle::light, UserInterfaceStyle::dark};

}  // namespace

SettingsDialog::SettingsDialog(AppServices& services,
                               std::function<void(UserInterfaceStyle)> styleChanged,
                               QWidget* parent)
    : QDialog(parent), services_(services), styleChanged_(std::move(styleChanged)) {
    setWindowTitle(appText("App.Settings.Title"));

    QWidget* above = nullptr;
    auto row = [&](const char* titleKey, QWidget* field) {
        auto* label = makeAnchored<QLabel>(this, appText(titleKey));
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        AnchoredView(label).pinLeadingEqualToSuperview(kMargin);
        AnchoredView(label).pinWidth(LayoutRelation::equal, kLabelWidth);
        AnchoredView(field).pinLeading(LayoutRelation::equal, AnchoredView(label).trailingAnchor(),
                                       kSpacing);
        AnchoredView(field).pinTrailingLessThanOrEqualToSuperview(-kMargin);
        AnchoredView(label).pinCenterY(LayoutRelation::equal, AnchoredView(field));
        if (above == nullptr) {
            AnchoredView(field).pinTopEqualToSuperview(kMargin);
        } else {
            AnchoredView(field).pinTop(LayoutRelation::equal, AnchoredView(above).bottomAnchor(),
                                       kSpacing);
        }
        above = field;
    };

    style_ = makeAnchored<QComboBox>(this);
    style_->addItem(appText("App.Settings.StyleSystem"));
    style_->addItem(appText("App.Settings.StyleLight"));
    style_->addItem(appText("App.Settings.StyleDark"));
    const auto selected =
        services_.settings().selectedUserInterfaceStyle().value_or(UserInterfaceStyle::unspecified);
    for (int index = 0; index < 3; ++index) {
        if (kStyles[index] == selected) {
            style_->setCurrentIndex(index);
        }
    }
    row("App.Settings.Style", style_);

    reminders_ = makeAnchored<QCheckBox>(this, appText("App.Settings.RemindersOn"));
    reminders_->setChecked(services_.hasStore() && services_.notificationCenterReady() &&
                           services_.notificationCenter().remindersEnabled());
    reminders_->setEnabled(services_.hasStore() && services_.notificationCenterReady());
    row("App.Settings.Reminders", reminders_);

    auto* backup = makeAnchored<QPushButton>(this, appText("App.Settings.Backup"));
    backup->setEnabled(services_.hasStore());
    row("App.Settings.Data", backup);
    auto* restore = makeAnchored<QPushButton>(this, appText("App.Settings.Restore"));
    restore->setEnabled(services_.hasStore());
    AnchoredView(restore).pinLeading(LayoutRelation::equal, AnchoredView(backup).trailingAnchor(),
                                     8);
    AnchoredView(restore).pinCenterY(LayoutRelation::equal, AnchoredView(backup));

    auto* about = makeAnchored<QLabel>(
        this, appText("App.Settings.AboutText", {{"version", std::string(libraryVersion())}}));
    about->setWordWrap(true);
    row("App.Settings.About", about);
    AnchoredView(about).pinTrailingEqualToSuperview(-kMargin);

    status_ = makeAnchored<QLabel>(this);
    status_->setObjectName("status");
    status_->setWordWrap(true);
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    AnchoredView(status_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(status_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(status_).pinTop(LayoutRelation::equal, AnchoredView(about).bottomAnchor(),
                                 2 * kSpacing);

    auto* close = makeAnchored<QDialogButtonBox>(this, QDialogButtonBox::Close);
    close->button(QDialogButtonBox::Close)->setText(appText("App.Settings.Close"));
    AnchoredView(close).pinTop(LayoutRelation::greaterThanOrEqual,
                               AnchoredView(status_).bottomAnchor(), kSpacing);
    AnchoredView(close).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(close).pinBottomEqualToSuperview(-kMargin);

    connect(style_, &QComboBox::activated, this,
            [this](int index) { chooseStyle(kStyles[index]); });
    connect(reminders_, &QCheckBox::clicked, this, [this](bool on) { switchReminders(on); });
    connect(backup, &QPushButton::clicked, this, [this] {
        const QString file = QFileDialog::getSaveFileName(this, appText("App.Settings.Backup"),
                                                          QDir::homePath() + "/dovrel-backup.json",
                                                          appText("App.Settings.BackupFiles"));
        if (!file.isEmpty()) {
            backUpTo(file.toStdString());
        }
    });
    connect(restore, &QPushButton::clicked, this, [this] {
        const QString file =
            QFileDialog::getOpenFileName(this, appText("App.Settings.Restore"), QDir::homePath(),
                                         appText("App.Settings.BackupFiles"));
        if (!file.isEmpty()) {
            restoreFrom(file.toStdString());
        }
    });
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    adoptParentStyle(this);
    resize(560, 360);
}

QString SettingsDialog::statusText() const {
    return status_->text();
}

void SettingsDialog::chooseStyle(UserInterfaceStyle style) {
    services_.settings().setSelectedUserInterfaceStyle(
        style == UserInterfaceStyle::unspecified ? std::nullopt
                                                 : std::optional<UserInterfaceStyle>(style));
    for (int index = 0; index < 3; ++index) {
        if (kStyles[index] == style) {
            style_->setCurrentIndex(index);
        }
    }
    if (styleChanged_) {
        styleChanged_(style);
    }
}

bool SettingsDialog::switchReminders(bool on) {
    try {
        services_.notificationCenter().setRemindersEnabled(on);
    } catch (const Error& error) {
        reminders_->setChecked(!on);
        status_->setText(
            appText("App.Settings.RemindersFailed", {{"detail", error.localizedDescription()}}));
        return false;
    }
    reminders_->setChecked(on);
    services_.habitsChanged();
    status_->setText(
        appText(on ? "App.Settings.RemindersSwitchedOn" : "App.Settings.RemindersSwitchedOff"));
    return true;
}

bool SettingsDialog::backUpTo(const std::filesystem::path& file) {
    try {
        HabitBackupArchive::writeBackupFile(services_.coreDataManager().viewContext(), file);
    } catch (const Error& error) {
        status_->setText(
            appText("App.Settings.BackupFailed",
                    {{"file", file.string()}, {"detail", error.localizedDescription()}}));
        return false;
    }
    services_.tracker().trackEvent(MainApp::Backup(MainApp::Backup::store_a_backup).rawValue());
    status_->setText(appText("App.Settings.BackupDone", {{"file", file.string()}}));
    return true;
}

bool SettingsDialog::restoreFrom(const std::filesystem::path& file) {
    std::vector<BackupPreviewHabit> habits;
    try {
        habits = previewBackupFile(file);
    } catch (const Error& error) {
        status_->setText(
            appText("App.Settings.RestoreFailed",
                    {{"file", file.string()}, {"detail", error.localizedDescription()}}));
        return false;
    }
    if (!confirmRestore(file, habits)) {
        status_->setText(appText("App.Settings.RestoreCancelled"));
        return false;
    }
    std::size_t restored = 0;
    try {
        restored = HabitBackupArchive::restoreBackupFile(
            file, services_.coreDataManager().createNewBackgroundContext());
    } catch (const Error& error) {
        status_->setText(
            appText("App.Settings.RestoreFailed",
                    {{"file", file.string()}, {"detail", error.localizedDescription()}}));
        return false;
    }
    services_.habitsChanged();
    services_.tracker().trackEvent(
        MainApp::Backup(MainApp::Backup::restore_from_the_backup).rawValue());
    status_->setText(
        appText("App.Settings.RestoreDone",
                {{"habits", localized("Cli.Backup.Habits", static_cast<std::int64_t>(restored))}}));
    return true;
}

bool SettingsDialog::confirmRestore(const std::filesystem::path& file,
                                    const std::vector<BackupPreviewHabit>& habits) {
    if (confirmRestore_) {
        return confirmRestore_(habits);
    }
    QDialog preview(this);
    adoptParentStyle(&preview);
    preview.setWindowTitle(appText("App.Settings.Restore"));
    auto* layout = new QVBoxLayout(&preview);
    auto* title = new QLabel(
        appText(
            "App.Settings.RestorePreview",
            {{"file", file.filename().string()},
             {"habits", localized("Cli.Backup.Habits", static_cast<std::int64_t>(habits.size()))}}),
        &preview);
    title->setWordWrap(true);
    layout->addWidget(title);
    auto* list = new QListWidget(&preview);
    for (const auto& habit : habits) {
        list->addItem(appText(
            "Cli.Restore.Habit",
            {{"name", habit.name.value_or(localized("Cli.Habit.Unnamed"))},
             {"checkmarks",
              localized("Cli.Restore.Checkmarks", static_cast<std::int64_t>(habit.checkmarks))}}));
    }
    layout->addWidget(list);
    auto* buttons = new QDialogButtonBox(&preview);
    buttons->addButton(appText("App.Settings.RestoreConfirm"), QDialogButtonBox::AcceptRole);
    buttons->addButton(appText("App.Editor.Cancel"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, &preview, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &preview, &QDialog::reject);
    layout->addWidget(buttons);
    preview.resize(460, 360);
    return preview.exec() == QDialog::Accepted;
}

}  // namespace dovrel::app

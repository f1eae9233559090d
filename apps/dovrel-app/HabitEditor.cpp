#include "apps/dovrel-app/HabitEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimeEdit>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "DovrelFoundation/UI/Styles.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/DialogStyle.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"

namespace dovrel::app {

namespace {

using AnalyticsEvents::MainApp;
using ui::LayoutRelation;

constexpr double kMargin = 20;
constexpr double kRowSpacing = 12;
constexpr double kLabelWidth = 110;
constexpr int kSwatchDiameter = 30;

// The presets of the interval menu, in its order.
enum Preset { kEveryDay = 0, kPerWeek = 1, kPerDays = 2 };

}  // namespace

HabitEditor::HabitEditor(Mode mode, const HabitDraft& draft, AnalyticsTrackerProtocol& tracker,
                         QWidget* parent)
    : QDialog(parent), mode_(mode), tracker_(tracker), palette_(habitPalette()) {
    setWindowTitle(appText(mode == Mode::add ? "App.Editor.AddTitle" : "App.Editor.EditTitle"));
    setModal(true);
    const auto style = ui::effectiveUserInterfaceStyle(parentWidget() ? parentWidget() : this);

    // One row per field: a label whose trailing edge lines up with the others, and the field.
    QWidget* above = nullptr;
    auto row = [&](const char* titleKey, QWidget* field, double fieldHeight = 0) {
        auto* label = makeAnchored<QLabel>(this, appText(titleKey));
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        AnchoredView(label).pinLeadingEqualToSuperview(kMargin);
        AnchoredView(label).pinWidth(LayoutRelation::equal, kLabelWidth);
        AnchoredView(field).pinLeading(LayoutRelation::equal, AnchoredView(label).trailingAnchor(),
                                       kRowSpacing);
        AnchoredView(label).pinCenterY(LayoutRelation::equal, AnchoredView(field));
        if (above == nullptr) {
            AnchoredView(field).pinTopEqualToSuperview(kMargin);
        } else {
            AnchoredView(field).pinTop(LayoutRelation::equal, AnchoredView(above).bottomAnchor(),
                                       kRowSpacing);
        }
        if (fieldHeight > 0) {
            AnchoredView(field).pinHeight(LayoutRelation::equal, fieldHeight);
        }
        above = field;
        return label;
    };

    name_ = makeAnchored<QLineEdit>(this, QString::fromStdString(draft.name));
    name_->setPlaceholderText(appText("App.Editor.NamePlaceholder"));
    name_->setMaxLength(200);
    row("App.Editor.Name", name_);
    AnchoredView(name_).pinTrailingEqualToSuperview(-kMargin);
    question_ = makeAnchored<QLineEdit>(this, QString::fromStdString(draft.question));
    question_->setPlaceholderText(appText("App.Editor.QuestionPlaceholder"));
    row("App.Editor.Question", question_);
    AnchoredView(question_).pinTrailingEqualToSuperview(-kMargin);

    // The colours, in the palette's order; the draft's colour is chosen.
    auto* colours = makeAnchored<QWidget>(this);
    row("App.Editor.Color", colours, kSwatchDiameter);
    AnchoredView(colours).pinTrailingEqualToSuperview(-kMargin);
    QWidget* previous = nullptr;
    const auto chosen = hex(draft.color);
    for (std::size_t index = 0; index < palette_.size(); ++index) {
        auto* swatch =
            makeAnchored<ColorSwatch>(colours, ui::qColor(palette_[index], style), kSwatchDiameter);
        swatch->setAccessibleName(
            appText("App.Editor.ColorNumber", {{"number", std::to_string(index + 1)}}));
        swatch->setChecked(hex(palette_[index]) == chosen);
        AnchoredView(swatch).pinTopEqualToSuperview();
        if (previous == nullptr) {
            AnchoredView(swatch).pinLeadingEqualToSuperview();
        } else {
            AnchoredView(swatch).pinLeading(LayoutRelation::equal,
                                            AnchoredView(previous).trailingAnchor(), 4);
        }
        connect(swatch, &QAbstractButton::clicked, this, [this] {
            if (!reportedColorPicker_) {
                reportedColorPicker_ = true;
                tracker_.trackEvent(
                    MainApp::AddOrEdit(MainApp::AddOrEdit::show_color_picker).rawValue());
            }
        });
        swatches_.push_back(swatch);
        previous = swatch;
    }

    preset_ = makeAnchored<QComboBox>(this);
    preset_->addItem(appText("App.Editor.EveryDay"));
    preset_->addItem(appText("App.Editor.TimesPerWeek"));
    preset_->addItem(appText("App.Editor.TimesInDays"));
    row("App.Editor.Repeat", preset_);
    times_ = makeAnchored<QSpinBox>(this);
    times_->setRange(1, 1000);
    timesLabel_ = makeAnchored<QLabel>(this, appText("App.Editor.Times"));
    days_ = makeAnchored<QSpinBox>(this);
    days_->setRange(1, 3650);
    daysLabel_ = makeAnchored<QLabel>(this, appText("App.Editor.Days"));
    AnchoredView(times_).pinLeading(LayoutRelation::equal, AnchoredView(preset_).trailingAnchor(),
                                    kRowSpacing);
    AnchoredView(times_).pinCenterY(LayoutRelation::equal, AnchoredView(preset_));
    AnchoredView(timesLabel_)
        .pinLeading(LayoutRelation::equal, AnchoredView(times_).trailingAnchor(), 6);
    AnchoredView(timesLabel_).pinCenterY(LayoutRelation::equal, AnchoredView(preset_));
    AnchoredView(days_).pinLeading(LayoutRelation::equal,
                                   AnchoredView(timesLabel_).trailingAnchor(), kRowSpacing);
    AnchoredView(days_).pinCenterY(LayoutRelation::equal, AnchoredView(preset_));
    AnchoredView(daysLabel_)
        .pinLeading(LayoutRelation::equal, AnchoredView(days_).trailingAnchor(), 6);
    AnchoredView(daysLabel_).pinCenterY(LayoutRelation::equal, AnchoredView(preset_));
    AnchoredView(daysLabel_).pinTrailingLessThanOrEqualToSuperview(-kMargin);
    if (draft.times == draft.days) {
        preset_->setCurrentIndex(kEveryDay);
        times_->setValue(3);
        days_->setValue(7);
    } else {
        preset_->setCurrentIndex(draft.days == 7 ? kPerWeek : kPerDays);
        times_->setValue(draft.times);
        days_->setValue(draft.days);
    }

    remind_ = makeAnchored<QCheckBox>(this, appText("App.Editor.RemindMe"));
    remind_->setChecked(draft.remind);
    row("App.Editor.Reminder", remind_);
    time_ = makeAnchored<QTimeEdit>(this, QTime(draft.remindHour, draft.remindMinute));
    time_->setDisplayFormat("HH:mm");
    AnchoredView(time_).pinLeading(LayoutRelation::equal, AnchoredView(remind_).trailingAnchor(),
                                   kRowSpacing);
    AnchoredView(time_).pinCenterY(LayoutRelation::equal, AnchoredView(remind_));

    buttons_ =
        makeAnchored<QDialogButtonBox>(this, QDialogButtonBox::Save | QDialogButtonBox::Cancel);
    buttons_->button(QDialogButtonBox::Save)->setText(appText("App.Editor.Save"));
    buttons_->button(QDialogButtonBox::Cancel)->setText(appText("App.Editor.Cancel"));
    AnchoredView(buttons_).pinTop(LayoutRelation::greaterThanOrEqual,
                                  AnchoredView(above).bottomAnchor(), 2 * kMargin);
    AnchoredView(buttons_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(buttons_).pinBottomEqualToSuperview(-kMargin);
    AnchoredView(buttons_).pinLeadingGreaterThanOrEqualToSuperview(kMargin);

    connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(name_, &QLineEdit::textChanged, this, [this] { updateState(); });
    connect(preset_, &QComboBox::currentIndexChanged, this, [this] { updateState(); });
    connect(remind_, &QCheckBox::toggled, this, [this] { updateState(); });
    updateState();
    adoptParentStyle(this);
    resize(560, 330);
    name_->setFocus();
}

QAbstractButton* HabitEditor::saveButton() const {
    return buttons_->button(QDialogButtonBox::Save);
}

void HabitEditor::updateState() {
    const int preset = preset_->currentIndex();
    times_->setVisible(preset != kEveryDay);
    timesLabel_->setVisible(preset != kEveryDay);
    days_->setVisible(preset == kPerDays);
    daysLabel_->setVisible(preset == kPerDays);
    timesLabel_->setText(
        appText(preset == kPerWeek ? "App.Editor.TimesAWeek" : "App.Editor.Times"));
    time_->setEnabled(remind_->isChecked());
    saveButton()->setEnabled(!name_->text().trimmed().isEmpty());
}

HabitDraft HabitEditor::draft() const {
    HabitDraft draft;
    draft.name = name_->text().trimmed().toStdString();
    draft.question = question_->text().trimmed().toStdString();
    for (std::size_t index = 0; index < swatches_.size(); ++index) {
        if (swatches_[index]->isChecked()) {
            draft.color = palette_[index];
        }
    }
    switch (preset_->currentIndex()) {
        case kEveryDay:
            draft.times = 1;
            draft.days = 1;
            break;
        case kPerWeek:
            draft.times = std::min(times_->value(), 7);
            draft.days = 7;
            break;
        default:
            draft.times = std::min(times_->value(), days_->value());
            draft.days = days_->value();
            break;
    }
    draft.remind = remind_->isChecked();
    draft.remindHour = time_->time().hour();
    draft.remindMinute = time_->time().minute();
    return draft;
}

void HabitEditor::showEvent(QShowEvent* event) {
    tracker_.trackEvent(MainApp::AddOrEdit(mode_ == Mode::add
                                               ? MainApp::AddOrEdit::name_add_screen
                                               : MainApp::AddOrEdit::name_edit_screen)
                            .rawValue());
    QDialog::showEvent(event);
}

}  // namespace dovrel::app

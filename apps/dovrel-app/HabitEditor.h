#pragma once

#include <QDialog>
#include <functional>
#include <optional>
#include <vector>

#include "apps/dovrel-app/ColorSwatch.h"
#include "apps/dovrel-app/HabitActions.h"

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class QTimeEdit;

namespace dovrel {
class AnalyticsTrackerProtocol;
}

namespace dovrel::app {

// The form that adds a habit or edits one: name (required), question, one of the nine palette
// colours, the repeat interval as a preset (every day, N times a week, N times in M days) and
// the daily reminder with its time. Laid out with the kit's anchors. It only edits a draft:
// draft() is what the person entered, for the caller to save once the dialog is accepted.
// Reports the add or edit screen when shown and the colour picker when first used. Main thread
// only.
class HabitEditor final : public QDialog {
  public:
    enum class Mode { add, edit };

    // For Mode::add, `draft` carries the colour chosen at random.
    HabitEditor(Mode mode, const HabitDraft& draft, AnalyticsTrackerProtocol& tracker,
                QWidget* parent = nullptr);

    HabitDraft draft() const;

    // For tests: the fields.
    QLineEdit* nameField() const { return name_; }
    QLineEdit* questionField() const { return question_; }
    QComboBox* intervalPreset() const { return preset_; }
    QSpinBox* timesField() const { return times_; }
    QSpinBox* daysField() const { return days_; }
    QCheckBox* reminderSwitch() const { return remind_; }
    QTimeEdit* reminderTime() const { return time_; }
    const std::vector<ColorSwatch*>& swatches() const { return swatches_; }
    QAbstractButton* saveButton() const;

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void updateState();

    Mode mode_;
    AnalyticsTrackerProtocol& tracker_;
    bool reportedColorPicker_ = false;
    std::vector<Color> palette_;
    QLineEdit* name_;
    QLineEdit* question_;
    std::vector<ColorSwatch*> swatches_;
    QComboBox* preset_;
    QSpinBox* times_;
    QLabel* timesLabel_;
    QSpinBox* days_;
    QLabel* daysLabel_;
    QCheckBox* remind_;
    QTimeEdit* time_;
    QDialogButtonBox* buttons_;
};

}  // namespace dovrel::app

#pragma once

#include <QAbstractButton>
#include <QColor>

namespace dovrel::app {

// A round check button for one day of a habit: filled with the habit's colour when the day has a
// checkmark, an outline of it when not, with an optional short text inside (a weekday's letter)
// or a check mark when filled and without text. It does not take the keyboard focus: the list
// that holds it handles the keys. Main thread only.
class DayToggle final : public QAbstractButton {
  public:
    DayToggle(int diameter, QWidget* parent = nullptr);

    void setColor(const QColor& color);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    // A click does not flip the state: the toggle shows the stored checkmark, which whoever
    // handles the click saves and then shows.
    void nextCheckState() override {}

  private:
    int diameter_;
    QColor color_;
};

}  // namespace dovrel::app

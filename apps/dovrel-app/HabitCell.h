#pragma once

#include <QLabel>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "apps/dovrel-app/DayToggle.h"
#include "apps/dovrel-app/ProgressRing.h"
#include "platform/ui/LayoutConstraint.h"

namespace dovrel::app {

// One row of the habit list, laid out with the kit's anchors: the habit's colour, its name with
// the interval's name beside it, its question below, the days of the past week as small toggles,
// its progress as a ring with the number, and today's checkmark as a large toggle.
//
// The cell knows nothing of the store: the list fills it (display) and hears its toggles through
// the handler, which gets how many days before today the toggled day is (0 for today). A cell is
// reused for other habits as the list scrolls. Main thread only.
class HabitCell final : public QWidget {
  public:
    static constexpr int kPastDays = 7;
    static constexpr int kHeight = 64;

    struct Content {
        QString name;
        QString question;
        QString interval;
        QColor color;
        int progress = 0;
        // Today's checkmark and those of the kPastDays days before it, oldest first.
        bool today = false;
        std::array<bool, kPastDays> pastDays{};
        // The short names and the full dates of the past days, oldest first.
        std::array<QString, kPastDays> pastDayLetters;
        std::array<QString, kPastDays> pastDayTitles;
        QString todayTitle;
    };
    using ToggleHandler = std::function<void(int daysBeforeToday)>;

    explicit HabitCell(QWidget* parent = nullptr);

    void display(const Content& content);
    void setToggleHandler(ToggleHandler handler) { toggleHandler_ = std::move(handler); }

    // For tests and accessibility: the parts as they are shown.
    QLabel* nameLabel() const { return name_; }
    QLabel* questionLabel() const { return question_; }
    QLabel* intervalLabel() const { return interval_; }
    ProgressRing* progressRing() const { return ring_; }
    DayToggle* todayToggle() const { return today_; }
    DayToggle* pastDayToggle(int index) const { return past_[static_cast<std::size_t>(index)]; }

    QSize sizeHint() const override;

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void toggled(int daysBeforeToday, DayToggle* toggle);
    void elideName();

    QWidget* dot_;
    QLabel* name_;
    QLabel* interval_;
    QLabel* question_;
    std::array<DayToggle*, kPastDays> past_{};
    ProgressRing* ring_;
    DayToggle* today_;
    std::unique_ptr<ui::LayoutConstraint> nameAtTop_;
    std::unique_ptr<ui::LayoutConstraint> nameInMiddle_;
    QColor dotColor_;
    QString fullName_;
    ToggleHandler toggleHandler_;
};

}  // namespace dovrel::app

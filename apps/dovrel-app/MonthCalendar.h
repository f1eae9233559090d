#pragma once

#include <QColor>
#include <QLabel>
#include <QWidget>
#include <array>
#include <functional>
#include <set>

#include "apps/dovrel-app/DayToggle.h"
#include "platform/foundation/Date.h"

namespace dovrel::app {

// The first day of the week of the current region's locale, 1 = Sunday ... 7 = Saturday.
int firstWeekday();

// One month of a habit as a calendar: a column per weekday (starting with the locale's first
// day of the week), a round toggle per day, filled with the habit's colour on the days that have
// a checkmark. Days up to today can be toggled; later days cannot. Laid out with the kit's
// anchors. Main thread only.
class MonthCalendar final : public QWidget {
  public:
    static constexpr int kCellSize = 34;

    explicit MonthCalendar(QWidget* parent = nullptr);

    // Shows the month holding `month`, with `checkedDays` (the starts of the days with a
    // checkmark, in the current calendar) filled and days after `today` disabled.
    void display(Date month, const std::set<double>& checkedDays, Date today, const QColor& color);
    // Told the start of a day the person toggled.
    void setToggleHandler(std::function<void(Date)> handler) { handler_ = std::move(handler); }

    // For tests: the toggle of a day of the shown month (1-based), or null.
    DayToggle* toggleForDay(int dayOfMonth) const;

    QSize sizeHint() const override;

  private:
    static constexpr int kWeeks = 6;
    std::array<QLabel*, 7> weekdays_{};
    std::array<DayToggle*, 7 * kWeeks> days_{};
    std::array<double, 7 * kWeeks> dayStarts_{};
    int firstSlot_ = 0;
    int daysInMonth_ = 0;
    std::function<void(Date)> handler_;
};

}  // namespace dovrel::app

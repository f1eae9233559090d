#include "apps/dovrel-app/MonthCalendar.h"

#include <QLocale>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "platform/foundation/Region.h"
#include "platform/ui/View.h"

namespace dovrel::app {

namespace {

using ui::LayoutRelation;

constexpr int kDiameter = 28;

}  // namespace

int firstWeekday() {
    // The region's locale, as the library's dates and the command line's statistics use it.
    const QLocale locale(QString::fromStdString(Region::current().localeIdentifier()));
    const int qtDay = static_cast<int>(locale.firstDayOfWeek());  // 1 = Monday ... 7 = Sunday
    return qtDay % 7 + 1;
}

namespace {}  // namespace

MonthCalendar::MonthCalendar(QWidget* parent) : QWidget(parent) {
    const int rowHeight = kCellSize;
    for (int column = 0; column < 7; ++column) {
        weekdays_[column] = makeAnchored<QLabel>(this);
        weekdays_[column]->setAlignment(Qt::AlignCenter);
        AnchoredView(weekdays_[column]).pinSize(QSizeF(kCellSize, 18));
        AnchoredView(weekdays_[column]).pinLeadingEqualToSuperview(column * kCellSize);
        AnchoredView(weekdays_[column]).pinTopEqualToSuperview();
    }
    for (int slot = 0; slot < 7 * kWeeks; ++slot) {
        auto* toggle = makeAnchored<DayToggle>(this, kDiameter);
        const int column = slot % 7;
        const int row = slot / 7;
        const int inset = (kCellSize - kDiameter) / 2;
        AnchoredView(toggle).pinLeadingEqualToSuperview(column * kCellSize + inset);
        AnchoredView(toggle).pinTopEqualToSuperview(22 + row * rowHeight + inset);
        days_[static_cast<std::size_t>(slot)] = toggle;
        connect(toggle, &QAbstractButton::clicked, this, [this, slot] {
            if (handler_) {
                handler_(Date(dayStarts_[static_cast<std::size_t>(slot)]));
            }
        });
    }
    setMinimumSize(sizeHint());
}

QSize MonthCalendar::sizeHint() const {
    return QSize(7 * kCellSize, 22 + kWeeks * kCellSize);
}

void MonthCalendar::display(Date month, const std::set<double>& checkedDays, Date today,
                            const QColor& color) {
    const Region region = Region::current();
    const Date first = onlyMonth(month);
    const int weekStart = firstWeekday();
    // Weekday names from the first day of the week on, from a week known to start on a Sunday.
    const Date sunday =
        onlyDay(dateInDays(first, 1 - region.components(first).weekday.value_or(1)));
    for (int column = 0; column < 7; ++column) {
        const Date day = dateInDays(sunday, (weekStart - 1 + column) % 7);
        weekdays_[static_cast<std::size_t>(column)]->setText(
            QString::fromStdString(region.format(day, "EEEEEE")));
    }
    const int firstWeekdayOfMonth = static_cast<int>(region.components(first).weekday.value_or(1));
    firstSlot_ = (firstWeekdayOfMonth - weekStart + 7) % 7;
    const Date next = dateInMonths(first, 1);
    daysInMonth_ = static_cast<int>(daysSince(next, first));
    const Date todayStart = onlyDay(today);
    for (int slot = 0; slot < 7 * kWeeks; ++slot) {
        DayToggle* toggle = days_[static_cast<std::size_t>(slot)];
        const int dayOfMonth = slot - firstSlot_ + 1;
        if (dayOfMonth < 1 || dayOfMonth > daysInMonth_) {
            toggle->hide();
            continue;
        }
        const Date day = onlyDay(dateInDays(first, dayOfMonth - 1));
        dayStarts_[static_cast<std::size_t>(slot)] = day.timeIntervalSinceReferenceDate();
        toggle->show();
        toggle->setText(QString::number(dayOfMonth));
        toggle->setColor(color);
        toggle->setChecked(checkedDays.count(day.timeIntervalSinceReferenceDate()) > 0);
        toggle->setEnabled(day <= todayStart);
        toggle->setToolTip(QString::fromStdString(region.format(day, "EEEE, d MMMM y")));
        toggle->setAccessibleName(toggle->toolTip());
    }
}

DayToggle* MonthCalendar::toggleForDay(int dayOfMonth) const {
    if (dayOfMonth < 1 || dayOfMonth > daysInMonth_) {
        return nullptr;
    }
    return days_[static_cast<std::size_t>(firstSlot_ + dayOfMonth - 1)];
}

}  // namespace dovrel::app

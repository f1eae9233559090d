#pragma once

#include <QDialog>
#include <functional>
#include <memory>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/ManagedObjectObserver.h"
#include "apps/dovrel-app/CompletionBars.h"
#include "apps/dovrel-app/HabitActions.h"
#include "apps/dovrel-app/MonthCalendar.h"
#include "apps/dovrel-app/ProgressRing.h"
#include "apps/dovrel-app/ScoreChart.h"

class QLabel;
class QPushButton;

namespace dovrel::app {

class AppServices;

// A habit's page: today's progress, the score over the last year as a chart, one month of
// checkmarks as a calendar whose past days can be toggled (with the previous and next months a
// click or Page Up / Page Down away), the current and best streaks in the habit's own terms,
// the completion of the last eight weeks and twelve months, and its next reminder with the
// reminders pending for it. Everything is read again when the
// habit changes, here or in another process; the page closes itself when the habit is deleted.
// Reports the detail screen when shown. Main thread only.
class HabitPage final : public QDialog {
  public:
    HabitPage(AppServices& services, std::shared_ptr<Habit> habit, QWidget* parent = nullptr);

    // Everything shown, read again.
    void refresh();
    void showMonth(Date month);
    void showPreviousMonth();
    void showNextMonth();

    // For tests.
    MonthCalendar* calendar() const { return calendar_; }
    ProgressRing* progressRing() const { return ring_; }
    ScoreChart* chart() const { return chart_; }
    QString streaksText() const;
    QString ratesText() const;
    CompletionBars* weekBars() const { return weekBars_; }
    CompletionBars* monthBars() const { return monthBars_; }
    QString remindersText() const;
    QString monthTitle() const;

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void toggleDay(Date day);

    AppServices& services_;
    std::shared_ptr<Habit> habit_;
    HabitActions actions_;
    Date month_;
    std::shared_ptr<ManagedObjectObserver> observer_;
    QWidget* dot_;
    QLabel* name_;
    QLabel* details_;
    ProgressRing* ring_;
    QLabel* progressText_;
    QLabel* streaks_;
    QLabel* rates_;
    CompletionBars* weekBars_;
    CompletionBars* monthBars_;
    ScoreChart* chart_;
    QLabel* monthTitle_;
    MonthCalendar* calendar_;
    QLabel* reminders_;
};

}  // namespace dovrel::app

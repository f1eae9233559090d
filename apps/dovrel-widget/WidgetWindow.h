#pragma once

#include <QLabel>
#include <QPoint>
#include <QTimer>
#include <QWidget>
#include <memory>
#include <optional>
#include <string>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/ManagedObjectObserver.h"
#include "DovrelFoundation/UI/TableViewDataSource.h"
#include "apps/dovrel-app/HabitActions.h"
#include "apps/dovrel-app/ProgressRing.h"
#include "apps/dovrel-widget/WidgetCell.h"
#include "platform/foundation/Date.h"

namespace dovrel::ui {
class TableView;
}
namespace dovrel::widgets {
class WidgetReloadListener;
}
namespace dovrel::app {
class AppServices;
}

namespace dovrel::widget {

class WidgetListBinding;

// The desktop widget: a small frameless window below the others that lists every habit, oldest
// first, with its colour, name, today's progress and a checkbox for today (or, in compact mode,
// one habit large). A click toggles today's checkmark the library's way, reported with the
// widget as its source, followed by a rescheduling of reminders.
//
// It shows the store as it is: other processes' saves reach it through the view context's
// merges; a reload signal for "HabitWidget" or for every widget reads everything again; a new
// day (checked at midnight and every half minute, which also covers a change of zone and a
// resume) does too. A reload keeps the list where it was scrolled to. Without a store, or with
// a store it cannot read, it says so calmly and never touches the file.
//
// Dragging it moves it; its position and size are kept per screen (and per habit in compact
// mode). Its context menu opens the
// application (dovrel-app://habit_list). Main thread only.
class WidgetWindow final : public QWidget {
  public:
    struct Options {
        // Compact mode: the one habit with this name (or object URI).
        std::optional<std::string> habit;
        // Listen for reload signals on the session bus (off in tests that send none).
        bool listensForReloads = true;
    };

    WidgetWindow(app::AppServices& services, Options options, QWidget* parent = nullptr);
    ~WidgetWindow() override;

    // Reads everything again, keeping the scroll position.
    void reload();
    // Reloads when the day shown is over.
    void checkForNewDay();
    // Toggles today's checkmark of a habit, as a click does.
    void toggleToday(const std::shared_ptr<Habit>& habit);

    // For tests and the benchmark.
    ui::TableView* tableView() const { return table_; }
    QLabel* messageLabel() const { return message_; }
    WidgetCell* cellAt(std::size_t row) const;
    app::ProgressRing* compactRing() const { return compactRing_; }
    app::DayToggle* compactToggle() const { return compactToggle_; }
    QLabel* compactName() const { return compactName_; }
    int reloads() const noexcept { return reloads_; }
    Date shownDay() const noexcept { return shownDay_; }

  protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    friend class WidgetListBinding;
    void buildList();
    void buildCompact(const std::string& wanted);
    void refreshCompact();
    void showMessage(const QString& text);
    void updateEmptyState();
    void scheduleMidnight();
    void saveGeometry();
    void restoreGeometry();
    QString geometryKey() const;

    app::AppServices& services_;
    app::HabitActions actions_;
    Options options_;
    QLabel* title_ = nullptr;
    QLabel* message_ = nullptr;
    ui::TableView* table_ = nullptr;
    std::shared_ptr<WidgetListBinding> binding_;
    std::shared_ptr<TableViewDataSource<WidgetListBinding>> dataSource_;
    std::shared_ptr<Habit> compactHabit_;
    std::shared_ptr<ManagedObjectObserver> compactObserver_;
    app::ProgressRing* compactRing_ = nullptr;
    app::DayToggle* compactToggle_ = nullptr;
    QLabel* compactName_ = nullptr;
    std::unique_ptr<widgets::WidgetReloadListener> listener_;
    QTimer dayCheck_;
    QTimer midnight_;
    QTimer geometrySave_;
    Date shownDay_;
    QPoint dragOffset_;
    int reloads_ = 0;
    bool restoringGeometry_ = false;
};

}  // namespace dovrel::widget

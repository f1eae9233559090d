#pragma once

#include <QMainWindow>
#include <QTimer>
#include <memory>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/UI/TableViewDataSource.h"
#include "apps/dovrel-app/HabitActions.h"
#include "apps/dovrel-app/HabitCell.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/ui/LayoutConstraint.h"

class QLabel;
class QLineEdit;

namespace dovrel::ui {
class TableView;
}

namespace dovrel::app {

class AppServices;
class HabitListBinding;

// The main window: today's habits, oldest first, in a table bound to a fetched-results controller
// on the view context (so other processes' saves appear as the context merges them). A row's
// toggles check and uncheck days; the window adds, edits and deletes habits; every action has a
// key (arrows move, space toggles today, Enter opens the habit's page, Ctrl+E edits, Delete
// deletes after a confirmation, Ctrl+N adds, Ctrl+F filters by name, Escape ends the filter,
// Ctrl+, opens the settings). The list cannot be reordered:
// the habits keep the order in which they were made.
//
// Without a store (AppServices::storeProblem) the window shows the problem, naming the file, and
// offers nothing that would touch it. The window remembers its size. Main thread only.
class HabitListWindow final : public QMainWindow {
  public:
    HabitListWindow(AppServices& services, QWidget* parent = nullptr);
    ~HabitListWindow() override;

    // The actions, as the keys and the buttons reach them.
    void addHabit();
    void editSelectedHabit();
    // The selected habit's page.
    void openSelectedHabit();
    void deleteHabit(const std::shared_ptr<Habit>& habit);
    void toggleSelectedHabitToday();
    void showFilter();
    void hideFilter();
    void setFilterText(const QString& text);
    // The settings dialog; a style chosen there applies to this window at once.
    void openSettings();
    void applyStyle(UserInterfaceStyle style);

    // For tests and the benchmark.
    ui::TableView* tableView() const { return table_; }
    QLabel* messageLabel() const { return message_; }
    QLineEdit* filterField() const { return filter_; }
    std::shared_ptr<Habit> selectedHabit() const;
    HabitCell* cellForHabit(const std::shared_ptr<Habit>& habit) const;
    // Set by tests: answers the delete confirmation instead of asking.
    void setDeleteConfirmation(std::function<bool(const Habit&)> confirm) {
        confirmDelete_ = std::move(confirm);
    }
    // Set by tests: fills and accepts the add or edit form instead of showing it; returns
    // whether the form was accepted.
    void setEditorDriver(std::function<bool(class HabitEditor&)> driver) {
        editorDriver_ = std::move(driver);
    }
    // Set by tests: works the habit page instead of showing it modally.
    void setPageDriver(std::function<void(class HabitPage&)> driver) {
        pageDriver_ = std::move(driver);
    }
    // Set by tests: works the settings dialog instead of showing it.
    void setSettingsDriver(std::function<void(class SettingsDialog&)> driver) {
        settingsDriver_ = std::move(driver);
    }

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    friend class HabitListBinding;
    void buildList();
    void updateEmptyState();
    void refreshForNewDay();
    void showSaveError(const Error& error);
    bool runEditor(HabitEditor& editor);

    AppServices& services_;
    HabitActions actions_;
    ui::TableView* table_ = nullptr;
    QLabel* message_ = nullptr;
    QLineEdit* filter_ = nullptr;
    std::unique_ptr<ui::LayoutConstraint> tableBelowTitle_;
    std::unique_ptr<ui::LayoutConstraint> tableBelowFilter_;
    std::shared_ptr<HabitListBinding> binding_;
    std::shared_ptr<TableViewDataSource<HabitListBinding>> dataSource_;
    ObservationToken contextObservation_;
    QTimer dayTimer_;
    Date shownDay_;
    std::function<bool(const Habit&)> confirmDelete_;
    std::function<bool(HabitEditor&)> editorDriver_;
    std::function<void(SettingsDialog&)> settingsDriver_;
    std::function<void(HabitPage&)> pageDriver_;
};

}  // namespace dovrel::app

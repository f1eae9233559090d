// The application's window driven as a person drives it (keys and clicks on Qt's offscreen
// platform), each test reading the store afterwards through the command line, a second process.

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QTimeEdit>
#include <chrono>
#include <fstream>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "apps/dovrel-app/HabitCell.h"
#include "apps/dovrel-app/HabitEditor.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"
#include "tests/apps/dovrel-app/AppTestSupport.h"
#include "tests/support/FileContents.h"

namespace dovrel::app::test {
namespace {

class HabitListWindowTest : public AppTest {
  protected:
    HabitCell* cell(std::size_t row) const {
        return dynamic_cast<HabitCell*>(window_->tableView()->cellForRow(IndexPath{0, row}));
    }
};

TEST_F(HabitListWindowTest, CtrlNAddsAHabitFromTheFormAndTheStoreHasIt) {
    auto& window = open();
    EXPECT_EQ(rows(), 0u);
    EXPECT_TRUE(window.messageLabel()->isVisible());
    window.setEditorDriver([](HabitEditor& editor) {
        EXPECT_FALSE(editor.saveButton()->isEnabled()) << "a name is required";
        editor.nameField()->setText("  Read  ");
        editor.questionField()->setText("Twenty pages?");
        editor.intervalPreset()->setCurrentIndex(1);  // times a week
        editor.timesField()->setValue(3);
        editor.reminderSwitch()->setChecked(true);
        editor.reminderTime()->setTime(QTime(21, 30));
        editor.swatches()[2]->click();
        EXPECT_TRUE(editor.saveButton()->isEnabled());
        return true;
    });
    QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
    ASSERT_TRUE(waitUntil([&] { return rows() == 1; }));
    EXPECT_FALSE(window.messageLabel()->isVisible());
    ASSERT_NE(cell(0), nullptr);
    EXPECT_EQ(cell(0)->nameLabel()->text(), "Read");
    EXPECT_EQ(cell(0)->questionLabel()->text(), "Twenty pages?");
    EXPECT_EQ(cell(0)->intervalLabel()->text(), "3 times per week");

    const auto habits = storedHabits();
    ASSERT_EQ(habits.size(), 1u);
    EXPECT_EQ(habits[0]["name"], "Read");
    EXPECT_EQ(habits[0]["question"], "Twenty pages?");
    EXPECT_EQ(habits[0]["times"], 3);
    EXPECT_EQ(habits[0]["days"], 7);
    EXPECT_EQ(habits[0]["remind"], true);
    EXPECT_EQ(habits[0]["remindTime"], "21:30");
    EXPECT_EQ(habits[0]["color"], "#" + QString::number(hex(habitPalette()[2]), 16)
                                            .rightJustified(6, '0')
                                            .toUpper()
                                            .toStdString());
}

TEST_F(HabitListWindowTest, ACancelledFormAddsNothing) {
    auto& window = open();
    window.setEditorDriver([](HabitEditor& editor) {
        editor.nameField()->setText("Read");
        return false;
    });
    window.addHabit();
    waitUntil([] { return false; }, 200);
    EXPECT_EQ(rows(), 0u);
    EXPECT_TRUE(storedHabits().empty());
}

TEST_F(HabitListWindowTest, SpaceTogglesTodayOfTheSelectedHabitAndAClickChecksAPastDay) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    auto& window = open();
    ASSERT_EQ(rows(), 2u);
    window.tableView()->setFocus();
    QTest::keyClick(window.tableView(), Qt::Key_Down);  // from the first row to the second
    ASSERT_EQ(window.selectedHabit()->name(), "Read");
    QTest::keyClick(window.tableView(), Qt::Key_Space);
    ASSERT_TRUE(waitUntil([&] { return cell(1)->todayToggle()->isChecked(); }));
    EXPECT_FALSE(cell(0)->todayToggle()->isChecked());
    auto habits = storedHabits();
    EXPECT_EQ(habits[0]["checked"], false);
    EXPECT_EQ(habits[1]["checked"], true);
    EXPECT_GT(cell(1)->progressRing()->progress(), 0);

    // The day before yesterday, from the row's small toggles (the last one is yesterday).
    DayToggle* twoDaysAgo = cell(0)->pastDayToggle(HabitCell::kPastDays - 2);
    QTest::mouseClick(twoDaysAgo, Qt::LeftButton);
    ASSERT_TRUE(
        waitUntil([&] { return cell(0)->pastDayToggle(HabitCell::kPastDays - 2)->isChecked(); }));
    habits = storedHabits();
    ASSERT_EQ(habits[0]["lastFivePerformingDates"].size(), 1u);
    const std::string stored = habits[0]["lastFivePerformingDates"][0];
    const Date expected = onlyDay(dateInDays(Clock::now(), -2));
    EXPECT_EQ(stored.substr(0, 10), Region::current().format(expected, "yyyy-MM-dd"));

    // Space again unchecks today.
    QTest::keyClick(window.tableView(), Qt::Key_Space);
    ASSERT_TRUE(waitUntil([&] { return !cell(1)->todayToggle()->isChecked(); }));
    EXPECT_EQ(storedHabits()[1]["checked"], false);
}

TEST_F(HabitListWindowTest, CtrlEEditsTheIntervalOfTheSelectedHabit) {
    ASSERT_EQ(dovrel({"add", "Run", "--question", "Five kilometres?"}).exitStatus, 0);
    auto& window = open();
    window.setEditorDriver([](HabitEditor& editor) {
        EXPECT_EQ(editor.nameField()->text(), "Run");
        EXPECT_EQ(editor.questionField()->text(), "Five kilometres?");
        EXPECT_EQ(editor.intervalPreset()->currentIndex(), 0);
        editor.intervalPreset()->setCurrentIndex(2);  // times in days
        editor.timesField()->setValue(2);
        editor.daysField()->setValue(5);
        return true;
    });
    window.tableView()->setFocus();
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
    ASSERT_TRUE(waitUntil([&] { return cell(0)->intervalLabel()->text() == "2 times in 5 days"; }));
    const auto habits = storedHabits();
    EXPECT_EQ(habits[0]["times"], 2);
    EXPECT_EQ(habits[0]["days"], 5);
    EXPECT_EQ(habits[0]["question"], "Five kilometres?");
}

TEST_F(HabitListWindowTest, DeleteAsksFirstAndDeletesOnlyWhenConfirmed) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    auto& window = open();
    std::vector<std::string> asked;
    bool answer = false;
    window.setDeleteConfirmation([&](const Habit& habit) {
        asked.push_back(habit.name().value_or(""));
        return answer;
    });
    window.tableView()->setFocus();
    QTest::keyClick(window.tableView(), Qt::Key_Delete);
    waitUntil([] { return false; }, 200);
    EXPECT_EQ(asked, std::vector<std::string>{"Water"});
    EXPECT_EQ(rows(), 2u);
    EXPECT_EQ(storedHabits().size(), 2u);

    answer = true;
    QTest::keyClick(window.tableView(), Qt::Key_Delete);
    ASSERT_TRUE(waitUntil([&] { return rows() == 1; }));
    const auto habits = storedHabits();
    ASSERT_EQ(habits.size(), 1u);
    EXPECT_EQ(habits[0]["name"], "Read");
}

TEST_F(HabitListWindowTest, ACheckByAnotherProcessShowsInTheRowWithinASecond) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    open();
    ASSERT_FALSE(cell(0)->todayToggle()->isChecked());
    const auto start = std::chrono::steady_clock::now();
    const auto check = dovrel({"check", "Water"});
    ASSERT_EQ(check.exitStatus, 0) << check.standardError;
    ASSERT_TRUE(waitUntil([&] { return cell(0)->todayToggle()->isChecked(); }, 3000));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_LT(elapsed, std::chrono::seconds(1));
    EXPECT_GT(cell(0)->progressRing()->progress(), 0);

    // A habit added by another process gets its row too.
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    EXPECT_TRUE(waitUntil([&] { return rows() == 2; }, 3000));
}

TEST_F(HabitListWindowTest, CtrlFFiltersByNameIgnoringCaseAndEscapeShowsEveryHabitAgain) {
    for (const char* name : {"Drink water", "Read", "Water the plants", "Вода"}) {
        ASSERT_EQ(dovrel({"add", name}).exitStatus, 0);
    }
    auto& window = open();
    ASSERT_EQ(rows(), 4u);
    QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
    ASSERT_TRUE(window.filterField()->isVisible());
    QTest::keyClicks(window.filterField(), "WATER");
    ASSERT_TRUE(waitUntil([&] { return rows() == 2; }));
    EXPECT_EQ(cell(0)->nameLabel()->text(), "Drink water");
    EXPECT_EQ(cell(1)->nameLabel()->text(), "Water the plants");
    window.setFilterText("вОД");
    ASSERT_TRUE(waitUntil([&] { return rows() == 1; }));
    EXPECT_EQ(cell(0)->nameLabel()->text(), "Вода");
    window.setFilterText("nothing like it");
    ASSERT_TRUE(waitUntil([&] { return rows() == 0; }));
    EXPECT_TRUE(window.messageLabel()->isVisible());
    QTest::keyClick(window.filterField(), Qt::Key_Escape);
    ASSERT_TRUE(waitUntil([&] { return rows() == 4; }));
    EXPECT_FALSE(window.filterField()->isVisible());
    EXPECT_FALSE(window.messageLabel()->isVisible());
}

TEST_F(HabitListWindowTest, RowsCannotBeDraggedToAnotherPlace) {
    ASSERT_EQ(dovrel({"add", "First"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Second"}).exitStatus, 0);
    auto& window = open();
    QWidget* viewport = window.tableView()->viewport();
    const QRect first = window.tableView()->rectForRow(IndexPath{0, 0});
    QTest::mousePress(viewport, Qt::LeftButton, {}, first.center() - QPoint(200, 0));
    for (int step = 1; step <= 10; ++step) {
        QMouseEvent move(QEvent::MouseMove, first.center() + QPoint(-200, step * 10),
                         viewport->mapToGlobal(first.center() + QPoint(-200, step * 10)),
                         Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &move);
    }
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, first.center() + QPoint(-200, 100));
    waitUntil([] { return false; }, 100);
    EXPECT_EQ(cell(0)->nameLabel()->text(), "First");
    EXPECT_EQ(cell(1)->nameLabel()->text(), "Second");
    EXPECT_EQ(storedHabits()[0]["name"], "First");
}

TEST_F(HabitListWindowTest, AFileThatIsNotAStoreIsNamedInTheWindowAndLeftByteForByte) {
    {
        std::ofstream file(store(), std::ios::binary);
        file << "These are my notes, not a habit store.\n";
    }
    const std::string before = testing::contentsOf(store());
    auto& window = open();
    EXPECT_FALSE(services_->hasStore());
    EXPECT_EQ(window.tableView(), nullptr);
    const std::string message = window.messageLabel()->text().toStdString();
    EXPECT_NE(message.find(store().string()), std::string::npos) << message;
    EXPECT_NE(message.find("not an SQLite database"), std::string::npos) << message;
    // Nothing the keys reach touches it.
    QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
    waitUntil([] { return false; }, 100);
    EXPECT_EQ(testing::contentsOf(store()), before);
    EXPECT_FALSE(std::filesystem::exists(store().string() + "-wal"));
}

TEST_F(HabitListWindowTest, TheListShowsTheHabitsOldestFirst) {
    for (const char* name : {"One", "Two", "Three"}) {
        ASSERT_EQ(dovrel({"add", name}).exitStatus, 0);
    }
    open();
    ASSERT_EQ(rows(), 3u);
    EXPECT_EQ(cell(0)->nameLabel()->text(), "One");
    EXPECT_EQ(cell(1)->nameLabel()->text(), "Two");
    EXPECT_EQ(cell(2)->nameLabel()->text(), "Three");
}

TEST_F(HabitListWindowTest, TheScreensReportTheirEventsAndAToggleReportsItsSourceAndDetails) {
    ASSERT_EQ(dovrel({"add", "Water", "--question", "Eight glasses?"}).exitStatus, 0);
    auto& window = open();
    window.setEditorDriver([](HabitEditor& editor) {
        editor.show();
        editor.nameField()->setText("Read");
        editor.swatches()[0]->click();
        editor.swatches()[1]->click();  // the picker is reported once
        editor.accept();
        return true;
    });
    window.addHabit();
    ASSERT_TRUE(waitUntil([&] { return rows() == 2; }));
    window.tableView()->selectRow(IndexPath{0, 0});
    window.toggleSelectedHabitToday();
    ASSERT_TRUE(waitUntil([&] { return cell(0)->todayToggle()->isChecked(); }));
    EXPECT_EQ(eventNames(),
              (std::vector<std::string>{"main_screen", "add_screen", "add_edit_show_color_picker",
                                        "save_new_habit", "main_screen_habit_toggle_checkmark"}));
    const auto& toggle = analytics_->events.back();
    ASSERT_TRUE(toggle.parameters.has_value());
    EXPECT_EQ(toggle.parameters->size(), 8u);  // the seven of a toggle, and the timestamp
    EXPECT_EQ(std::get<std::string>(toggle.parameters->at("habit_name")), "Water");
    EXPECT_EQ(std::get<std::string>(toggle.parameters->at("motivate_title")), "Eight glasses?");
    EXPECT_EQ(std::get<bool>(toggle.parameters->at("checkmark_on")), true);
    EXPECT_EQ(std::get<std::string>(toggle.parameters->at("regularity")), "1/1");
}

TEST_F(HabitListWindowTest, TheWindowOpensAtTheSizeItWasClosedAt) {
    auto& window = open();
    window.resize(640, 480);
    window.close();
    window_.reset();
    window_ = std::make_unique<HabitListWindow>(*services_);
    EXPECT_EQ(window_->size(), QSize(640, 480));
}

}  // namespace
}  // namespace dovrel::app::test

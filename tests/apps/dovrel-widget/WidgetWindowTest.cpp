// The desktop widget on the application group's real store, made and changed by the command line
// as a second process.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTest>
#include <atomic>
#include <clocale>
#include <fstream>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "apps/dovrel-widget/WidgetWindow.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"
#include "platform/ui/table/TableView.h"
#include "tests/apps/dovrel-app/AppTestSupport.h"
#include "tests/platform/ui/QtTestApplication.h"
#include "tests/support/FileContents.h"
#include "tests/support/QtEvents.h"
#include "tests/support/RecordingAnalyticsService.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::widget::test {
namespace {

using app::test::waitUntil;

class WidgetWindowTest : public app::test::DesktopTest {
  protected:
    void closeWindows() override { window_.reset(); }
    // The widget's store is the application's own, where the command line looks by default.
    std::vector<std::string> storeArguments() const override { return {}; }

    std::filesystem::path store() const {
        return scratch_.path() / "data" / "group.app.dovrel.Dovrel" / "Habit.sqlite";
    }

    WidgetWindow& open(WidgetWindow::Options options = {}) {
        options.listensForReloads = false;
        services_ =
            std::make_unique<app::AppServices>(serviceOptions(app::AppServices::Mode::widget));
        window_ = std::make_unique<WidgetWindow>(*services_, options);
        window_->resize(300, 360);
        window_->show();
        waitUntil([] { return false; }, 50);
        return *window_;
    }

    std::size_t rows() const { return window_->tableView()->numberOfRows(0); }

    std::unique_ptr<WidgetWindow> window_;
};

TEST_F(WidgetWindowTest, TheWidgetListsTheHabitsOfTheStoreOldestFirst) {
    for (const char* name : {"Water", "Read", "Walk"}) {
        ASSERT_EQ(dovrel({"add", name}).exitStatus, 0);
    }
    ASSERT_EQ(dovrel({"check", "Read"}).exitStatus, 0);
    auto& window = open();
    ASSERT_EQ(rows(), 3u);
    EXPECT_EQ(window.cellAt(0)->nameLabel()->text(), "Water");
    EXPECT_EQ(window.cellAt(1)->nameLabel()->text(), "Read");
    EXPECT_EQ(window.cellAt(2)->nameLabel()->text(), "Walk");
    EXPECT_TRUE(window.cellAt(1)->todayToggle()->isChecked());
    EXPECT_FALSE(window.cellAt(0)->todayToggle()->isChecked());
    const auto stored = storedHabits();
    EXPECT_EQ(window.cellAt(1)->progressLabel()->text().toStdString(),
              std::to_string(stored[1]["progress"].get<int>()));
    EXPECT_FALSE(window.messageLabel()->isVisible());
}

TEST_F(WidgetWindowTest, AClickTogglesTodayAndSavesWithTheWidgetAsTheSource) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    auto& window = open();
    QTest::mouseClick(window.cellAt(0)->todayToggle(), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return window.cellAt(0)->todayToggle()->isChecked(); }));
    EXPECT_EQ(storedHabits()[0]["checked"], true);
    ASSERT_FALSE(analytics_->events.empty());
    EXPECT_EQ(analytics_->events.back().name, "today_widget_habit_toggle_checkmark");
    EXPECT_EQ(analytics_->events.front().name, "widget_screen");
    QTest::mouseClick(window.cellAt(0)->todayToggle(), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return !window.cellAt(0)->todayToggle()->isChecked(); }));
    EXPECT_EQ(storedHabits()[0]["checked"], false);
}

TEST_F(WidgetWindowTest, ACheckByAnotherProcessAndANewHabitAppearInTheWidget) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    auto& window = open();
    ASSERT_EQ(dovrel({"check", "Water"}).exitStatus, 0);
    ASSERT_TRUE(waitUntil([&] { return window.cellAt(0)->todayToggle()->isChecked(); }, 3000));
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    EXPECT_TRUE(waitUntil([&] { return rows() == 2; }, 3000));
}

TEST_F(WidgetWindowTest, AReloadReadsTheStoreAgainAndKeepsTheScrollPosition) {
    for (int index = 0; index < 30; ++index) {
        ASSERT_EQ(dovrel({"add", "Habit " + std::to_string(index + 1)}).exitStatus, 0);
    }
    auto& window = open();
    ASSERT_EQ(rows(), 30u);
    QScrollBar* bar = window.tableView()->verticalScrollBar();
    ASSERT_GT(bar->maximum(), 200);
    bar->setValue(200);
    const int before = window.reloads();
    window.reload();
    EXPECT_EQ(window.reloads(), before + 1);
    EXPECT_EQ(bar->value(), 200);
    EXPECT_EQ(rows(), 30u);
}

TEST_F(WidgetWindowTest, AMissingStoreIsACalmEmptyStateAndIsNotMade) {
    auto& window = open();
    EXPECT_FALSE(services_->hasStore());
    EXPECT_TRUE(services_->storeIsMissing());
    EXPECT_EQ(window.tableView(), nullptr);
    EXPECT_EQ(window.messageLabel()->text(), "No habits yet. Open Dovrel to add your first.");
    EXPECT_FALSE(std::filesystem::exists(store()));
    EXPECT_FALSE(std::filesystem::exists(store().string() + "-wal"));
}

TEST_F(WidgetWindowTest, ADamagedStoreIsShownAndLeftByteForByte) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    // The first page of the database made unreadable.
    {
        std::fstream file(store(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(0);
        file << "garbage, not a database header";
    }
    std::filesystem::remove(store().string() + "-wal");
    std::filesystem::remove(store().string() + "-shm");
    const std::string before = testing::contentsOf(store());
    auto& window = open();
    EXPECT_FALSE(services_->hasStore());
    EXPECT_NE(window.messageLabel()->text().toStdString().find(store().string()), std::string::npos)
        << window.messageLabel()->text().toStdString();
    QTest::mouseClick(&window, Qt::LeftButton);
    waitUntil([] { return false; }, 100);
    EXPECT_EQ(testing::contentsOf(store()), before);
    EXPECT_FALSE(std::filesystem::exists(store().string() + "-wal"));
}

TEST_F(WidgetWindowTest, TodayMovesOnWhenTheClockPassesMidnight) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    // Today, a minute before midnight, in this process.
    const double midnight = dateInDays(onlyDay(Clock::now()), 1).timeIntervalSinceReferenceDate();
    ScopedClockOverride clock(Date(midnight - 60));
    auto& window = open();
    QTest::mouseClick(window.cellAt(0)->todayToggle(), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return window.cellAt(0)->todayToggle()->isChecked(); }));
    const Date dayBefore = window.shownDay();
    clock.set(Date(midnight + 60));  // a minute past midnight
    window.checkForNewDay();
    EXPECT_EQ(window.shownDay(), onlyDay(Date(midnight + 60)));
    EXPECT_NE(window.shownDay(), dayBefore);
    EXPECT_FALSE(window.cellAt(0)->todayToggle()->isChecked()) << "yesterday's check stays behind";
}

TEST_F(WidgetWindowTest, CompactModeShowsTheNamedHabitLargeAndTogglesIt) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Read"}).exitStatus, 0);
    WidgetWindow::Options options;
    options.habit = "Read";
    auto& window = open(options);
    EXPECT_EQ(window.tableView(), nullptr);
    ASSERT_NE(window.compactName(), nullptr);
    EXPECT_EQ(window.compactName()->text(), "Read");
    QTest::mouseClick(window.compactToggle(), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return window.compactToggle()->isChecked(); }));
    EXPECT_GT(window.compactRing()->progress(), 0);
    const auto stored = storedHabits();
    EXPECT_EQ(stored[1]["checked"], true);
    EXPECT_EQ(stored[0]["checked"], false);
}

TEST_F(WidgetWindowTest, CompactModeForAHabitThatIsNotThereSaysSo) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    WidgetWindow::Options options;
    options.habit = "Swim";
    auto& window = open(options);
    EXPECT_EQ(window.messageLabel()->text(), "No habit is called “Swim”.");
}

TEST_F(WidgetWindowTest, ThePlaceAndSizeAreKeptPerScreenAndMode) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    auto& window = open();
    window.setGeometry(QRect(40, 50, 280, 330));
    waitUntil([] { return false; }, 600);  // the place is saved once the moves settle
    window_.reset();
    window_ = std::make_unique<WidgetWindow>(*services_, WidgetWindow::Options{});
    EXPECT_EQ(window_->geometry(), QRect(40, 50, 280, 330));
    // A compact widget keeps a place of its own.
    WidgetWindow::Options compact;
    compact.habit = "Water";
    compact.listensForReloads = false;
    WidgetWindow one(*services_, compact);
    EXPECT_NE(one.geometry(), QRect(40, 50, 280, 330));
}

}  // namespace
}  // namespace dovrel::widget::test

// A habit's page on a real store: what it shows, a past day toggled in its calendar, and its
// answer to changes made elsewhere.

#include <cmath>

#include "DovrelFoundation/Progress/DateExtensions.h"
#include "apps/dovrel-app/HabitPage.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"
#include "tests/apps/dovrel-app/AppTestSupport.h"

namespace dovrel::app::test {
namespace {

class HabitPageTest : public AppTest {
  protected:
    std::string day(int daysAgo) const {
        return Region::current().format(dateInDays(Clock::now(), -daysAgo), "yyyy-MM-dd");
    }
};

TEST_F(HabitPageTest, EnterOpensThePageOfTheSelectedHabitWithItsProgressAndStreaks) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    ASSERT_EQ(dovrel({"add", "Read", "--remind", "23:59"}).exitStatus, 0);
    for (int daysAgo : {3, 2, 1}) {
        ASSERT_EQ(dovrel({"check", "Read", "--at", day(daysAgo)}).exitStatus, 0);
    }
    auto& window = open();
    bool opened = false;
    window.setPageDriver([&](HabitPage& page) {
        opened = true;
        EXPECT_EQ(page.windowTitle(), "Read");
        // Three days in a row, the last of them yesterday: today is not over, so the streak
        // still holds.
        EXPECT_NE(page.streaksText().toStdString().find("Current streak: 3 days"),
                  std::string::npos)
            << page.streaksText().toStdString();
        EXPECT_NE(page.streaksText().toStdString().find("Best streak: 3 days"), std::string::npos);
        // Completion per month, as the statistics of the command line count it (weeks start
        // on the locale's first day, which may differ between the two processes).
        const auto stats =
            nlohmann::json::parse(dovrel({"stats", "Read", "--json"}).standardOutput);
        const auto& months = stats["months"];
        ASSERT_EQ(page.monthBars()->bars().size(), months.size());
        EXPECT_DOUBLE_EQ(page.monthBars()->bars().back().rate, months.back()["rate"].get<double>());
        EXPECT_FALSE(page.weekBars()->bars().empty());
        const int monthPercent =
            static_cast<int>(std::lround(months.back()["rate"].get<double>() * 100));
        EXPECT_NE(
            page.ratesText().toStdString().find(std::to_string(monthPercent) + "% this month"),
            std::string::npos)
            << page.ratesText().toStdString();
        const auto stored = storedHabits();
        EXPECT_EQ(page.progressRing()->progress(), stored[1]["progress"]);
        EXPECT_GT(page.chart()->pointCount(), 0);
        EXPECT_NE(page.remindersText().toStdString().find("Next reminder:"), std::string::npos)
            << page.remindersText().toStdString();
        EXPECT_NE(page.remindersText().toStdString().find("23:59"), std::string::npos);
    });
    window.tableView()->setFocus();
    QTest::keyClick(window.tableView(), Qt::Key_Down);
    QTest::keyClick(window.tableView(), Qt::Key_Return);
    EXPECT_TRUE(opened);
}

TEST_F(HabitPageTest, APastDayOfTheCalendarTogglesAndTheStoreHasIt) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    auto& window = open();
    const auto habit = window.selectedHabit();
    ASSERT_NE(habit, nullptr);
    HabitPage page(*services_, habit, &window);
    page.show();
    // A day of this month before today, or today on the first of the month.
    const auto today = Region::current().components(Clock::now());
    const int dayOfMonth = static_cast<int>(*today.day > 1 ? *today.day - 1 : 1);
    DayToggle* toggle = page.calendar()->toggleForDay(dayOfMonth);
    ASSERT_NE(toggle, nullptr);
    EXPECT_TRUE(toggle->isEnabled());
    EXPECT_FALSE(toggle->isChecked());
    QTest::mouseClick(toggle, Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return page.calendar()->toggleForDay(dayOfMonth)->isChecked(); }));
    const auto stored = storedHabits();
    ASSERT_EQ(stored[0]["lastFivePerformingDates"].size(), 1u);
    const std::string date = stored[0]["lastFivePerformingDates"][0];
    EXPECT_EQ(std::stoi(date.substr(8, 2)), dayOfMonth);
    // The list's row shows it too.
    EXPECT_GT(page.progressRing()->progress(), 0);
}

TEST_F(HabitPageTest, DaysAfterTodayCannotBeToggledAndTheMonthsMoveBackAndNotPastThisOne) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    auto& window = open();
    HabitPage page(*services_, window.selectedHabit(), &window);
    const QString thisMonth = page.monthTitle();
    const auto today = Region::current().components(Clock::now());
    if (DayToggle* tomorrow = page.calendar()->toggleForDay(static_cast<int>(*today.day) + 1)) {
        EXPECT_FALSE(tomorrow->isEnabled());
    }
    page.showNextMonth();
    EXPECT_EQ(page.monthTitle(), thisMonth) << "a month that has not begun is not shown";
    page.showPreviousMonth();
    EXPECT_NE(page.monthTitle(), thisMonth);
    EXPECT_TRUE(page.calendar()->toggleForDay(28)->isEnabled());
    page.showNextMonth();
    EXPECT_EQ(page.monthTitle(), thisMonth);
}

TEST_F(HabitPageTest, AChangeByAnotherProcessIsShownAndADeletionClosesThePage) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    auto& window = open();
    HabitPage page(*services_, window.selectedHabit(), &window);
    page.show();
    EXPECT_EQ(page.progressRing()->progress(), 0);
    ASSERT_EQ(dovrel({"check", "Water"}).exitStatus, 0);
    ASSERT_TRUE(waitUntil([&] { return page.progressRing()->progress() > 0; }, 3000));
    ASSERT_EQ(dovrel({"delete", "Water"}).exitStatus, 0);
    EXPECT_TRUE(waitUntil([&] { return !page.isVisible(); }, 3000));
}

}  // namespace
}  // namespace dovrel::app::test

// What listing habits reads from the store: the habit rows, and a day's checkmarks only where a
// habit's caches cannot say whether the day is checked.

#include "apps/dovrel/HabitReports.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "platform/foundation/Clock.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel::cli {
namespace {

using testing::civilDate;

constexpr int kHabits = 100;
constexpr int kCheckmarks = 1000;

class HabitReportsTest : public ::testing::Test {
  protected:
    // 100 habits with 1,000 daily checkmarks each, the last one yesterday. Every other habit
    // has no repeat interval, so its caches are not kept and cannot answer for a day.
    void SetUp() override {
        auto& context = store_.context();
        for (int number = 0; number < kHabits; ++number) {
            auto habit = insertObject<Habit>(context);
            habit->setName("Habit " + std::to_string(number));
            habit->setCreationDate(civilDate(2020, 1, 1) + number);
            habit->setRepeatInterval(RepeatInterval());
            for (int day = kCheckmarks; day >= 1; --day) {
                auto performing = insertObject<Performing>(context);
                performing->setDate(today_ - day * 86400.0);
                habit->addPerformingObject(performing);
            }
            // A toggle on and off refreshes both caches from every checkmark.
            habit->toggleCheckmark(today_);
            habit->toggleCheckmark(today_);
            if (number % 2 == 1) {
                habit->setRepeatInterval(std::nullopt);
            }
        }
        context.save();
        store_.reopen();
    }

    // The list's fetch: every habit with its values, in one query.
    std::vector<std::shared_ptr<Habit>> habits() {
        return store_.context().fetch(Habit::sortedFetchRequest(std::nullopt, false));
    }

    testing::ScopedRegion region_{"Europe/Kyiv"};
    Date today_ = civilDate(2026, 3, 10, 12, 0, 0, 2.0);
    ScopedClockOverride clock_{today_};
    testing::HabitStore store_;
};

TEST_F(HabitReportsTest, ListingReadsNoCheckmarkBeyondADayQueryPerHabitWhoseCacheCannotAnswer) {
    const auto before = store_.store()->rowsRead();
    const auto listed = habits();
    ASSERT_EQ(listed.size(), static_cast<std::size_t>(kHabits));
    const auto habitRows = store_.store()->rowsRead() - before;
    EXPECT_EQ(habitRows, static_cast<std::uint64_t>(kHabits));

    const auto reports = makeHabitReports(listed, today_, ReportDetail::list);
    // Half the habits keep caches that answer for today; the other half ask one day query each
    // (its single row is the count), and no habit reads its checkmarks.
    EXPECT_EQ(store_.store()->rowsRead() - before - habitRows,
              static_cast<std::uint64_t>(kHabits / 2));
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(kHabits));
    for (const auto& report : reports) {
        EXPECT_FALSE(report.checked) << *report.name;
    }
    for (const auto& habit : listed) {
        EXPECT_TRUE(habit->hasFaultForRelationship("performing")) << *habit->name();
    }
    // Yesterday is checked for every habit, answered the same way.
    const auto yesterday = store_.store()->rowsRead();
    for (const auto& report : makeHabitReports(listed, today_ - 86400.0, ReportDetail::list)) {
        EXPECT_TRUE(report.checked) << *report.name;
    }
    EXPECT_EQ(store_.store()->rowsRead() - yesterday, static_cast<std::uint64_t>(kHabits / 2));
}

TEST_F(HabitReportsTest, TheProgressOfTheListComesFromTheCaches) {
    const auto listed = habits();
    const auto before = store_.store()->rowsRead();
    const auto reports = makeHabitReports(listed, today_ + 86400.0, ReportDetail::list);
    for (std::size_t index = 0; index < reports.size(); ++index) {
        if (index % 2 == 0) {
            EXPECT_EQ(reports[index].progress, 100) << *reports[index].name;
        } else {
            EXPECT_EQ(reports[index].progress, 0) << *reports[index].name;  // no interval
        }
    }
    EXPECT_EQ(store_.store()->rowsRead() - before, static_cast<std::uint64_t>(kHabits / 2));
}

}  // namespace
}  // namespace dovrel::cli

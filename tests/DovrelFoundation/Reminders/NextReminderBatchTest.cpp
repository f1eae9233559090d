#include "DovrelFoundation/Reminders/NextReminderBatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "DovrelFoundation/Reminders/NextReminderCalculator.h"
#include "platform/foundation/Clock.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using testing::civilDate;
using testing::ScopedRegion;

constexpr double kDay = 86400.0;

// Compares the batch with the calculator on many inputs at reference instants around the zone's
// offset changes of 2025 and far from them; every answer must be the same bit for bit.
void expectSameAsCalculator(const std::string& zone, const std::string& calendar = "gregorian") {
    ScopedRegion region(zone, "en_US", calendar);
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> dayOffset(-400.0, 400.0);
    std::uniform_int_distribution<int> second(0, 86399);
    std::uniform_int_distribution<std::int64_t> skip(1, 9);
    std::vector<Date> references;
    for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= 28; day += 3) {
            for (int hour : {0, 1, 2, 3, 8, 23}) {
                references.push_back(civilDate(2025, static_cast<unsigned>(month),
                                               static_cast<unsigned>(day), hour, 30));
            }
        }
    }
    std::size_t compared = 0;
    for (const Date on : references) {
        NextReminderBatch batch(on);
        for (int sample = 0; sample < 12; ++sample) {
            // Reminder times on whole seconds and with fractions; checkmarks at day starts,
            // around midnight and at random times; sometimes none.
            const Date reminderTime = on + dayOffset(random) * kDay + second(random) * 0.37;
            std::optional<Date> last;
            switch (sample % 4) {
                case 0:
                    break;
                case 1:
                    last = on - std::floor(dayOffset(random) / 40.0) * kDay;
                    break;
                case 2:
                    last = Region::current().startOfDay(on - (sample % 5) * kDay);
                    break;
                default:
                    last = on + dayOffset(random) * kDay / 100.0;
                    break;
            }
            const std::int64_t skipInterval = sample == 11 ? (std::int64_t{1} << 40) : skip(random);
            const Date expected =
                NextReminderCalculator::nextReminder(on, reminderTime, skipInterval, last);
            const Date actual = batch.nextReminder(reminderTime, skipInterval, last);
            ASSERT_EQ(actual.timeIntervalSinceReferenceDate(),
                      expected.timeIntervalSinceReferenceDate())
                << zone << " on " << on.timeIntervalSinceReferenceDate() << " reminder "
                << reminderTime.timeIntervalSinceReferenceDate() << " skip " << skipInterval;
            ++compared;
        }
    }
    EXPECT_GT(compared, 5000u);
}

TEST(NextReminderBatchTest, AnswersExactlyAsTheCalculatorInKyiv) {
    expectSameAsCalculator("Europe/Kyiv");
}

TEST(NextReminderBatchTest, AnswersExactlyAsTheCalculatorInNewYork) {
    expectSameAsCalculator("America/New_York");
}

TEST(NextReminderBatchTest, AnswersExactlyAsTheCalculatorWhereDaysStartAt0100) {
    expectSameAsCalculator("America/Sao_Paulo");
}

TEST(NextReminderBatchTest, AnswersExactlyAsTheCalculatorWithHalfHourShifts) {
    expectSameAsCalculator("Australia/Lord_Howe");
}

TEST(NextReminderBatchTest, AnswersExactlyAsTheCalculatorInAnotherCalendar) {
    expectSameAsCalculator("Asia/Jerusalem", "hebrew");
}

TEST(NextReminderBatchTest, NonFiniteInputsAreAnsweredAsTheCalculatorAnswersThem) {
    ScopedRegion region("Europe/Kyiv");
    const Date on = civilDate(2025, 3, 10, 6);
    NextReminderBatch batch(on);
    const Date infinite(std::numeric_limits<double>::infinity());
    const Date expected =
        NextReminderCalculator::nextReminder(on, civilDate(2024, 1, 1, 7), 1, infinite);
    EXPECT_EQ(batch.nextReminder(civilDate(2024, 1, 1, 7), 1, infinite), expected);
}

// earliestPossibleReminder must never be later than a reminder it bounds, whatever the skip
// interval and the last checkmark: the scheduler skips habits on the strength of it.
void expectBoundNeverLater(const std::string& zone) {
    ScopedRegion region(zone, "en_US");
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> dayOffset(-400.0, 400.0);
    std::uniform_real_distribution<double> hour(0.0, 24.0);
    std::uniform_int_distribution<std::int64_t> skip(1, 9);
    std::size_t compared = 0;
    std::size_t bindingBounds = 0;
    for (int month = 1; month <= 12; ++month) {
        for (int day = 1; day <= 28; day += 2) {
            for (int onHour : {0, 1, 2, 3, 7, 12, 22, 23}) {
                const Date on = civilDate(2025, static_cast<unsigned>(month),
                                          static_cast<unsigned>(day), onHour, 30);
                NextReminderBatch batch(on);
                for (int sample = 0; sample < 6; ++sample) {
                    const Date reminderTime = on + dayOffset(random) * kDay;
                    std::optional<Date> last;
                    if (sample % 3 == 1) {
                        last = on - std::floor(hour(random)) * kDay + hour(random) * 3600.0;
                    } else if (sample % 3 == 2) {
                        last = on - dayOffset(random) * kDay / 50.0;
                    }
                    const Date bound = batch.earliestPossibleReminder(reminderTime);
                    const Date next = batch.nextReminder(reminderTime, skip(random), last);
                    ASSERT_LE(bound.timeIntervalSinceReferenceDate(),
                              next.timeIntervalSinceReferenceDate())
                        << zone << " on " << on.timeIntervalSinceReferenceDate() << " reminder "
                        << reminderTime.timeIntervalSinceReferenceDate();
                    bindingBounds += bound == next ? 1 : 0;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 8000u);
    // A bound that is never reached would be a useless one.
    EXPECT_GT(bindingBounds, compared / 10);
}

TEST(NextReminderBatchTest, TheEarliestPossibleReminderIsNeverLaterInKyiv) {
    expectBoundNeverLater("Europe/Kyiv");
}

TEST(NextReminderBatchTest, TheEarliestPossibleReminderIsNeverLaterInNewYork) {
    expectBoundNeverLater("America/New_York");
}

TEST(NextReminderBatchTest, TheEarliestPossibleReminderIsNeverLaterWhereDaysStartAt0100) {
    expectBoundNeverLater("America/Sao_Paulo");
}

TEST(NextReminderBatchTest, TheEarliestPossibleReminderIsNeverLaterWithHalfHourShifts) {
    expectBoundNeverLater("Australia/Lord_Howe");
}

TEST(NextReminderBatchTest, TheEarliestPossibleReminderIsTodaysTimeOrNow) {
    ScopedRegion region("Europe/Kyiv");
    const Date on = civilDate(2025, 3, 10, 12);
    NextReminderBatch batch(on);
    EXPECT_EQ(batch.earliestPossibleReminder(civilDate(2024, 12, 1, 18, 15)),
              civilDate(2025, 3, 10, 18, 15));
    EXPECT_EQ(batch.earliestPossibleReminder(civilDate(2024, 12, 1, 7, 0)), on);
}

}  // namespace
}  // namespace dovrel

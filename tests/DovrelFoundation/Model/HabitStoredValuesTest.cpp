// Values that the decoders of a store row and of a backup accept, however odd, and every query of
// the habit afterwards: the days, the progress on several days, the next reminder, a toggle, and
// a backup restored into a second store. None of them may stop the process.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupArchive.h"
#include "DovrelFoundation/Model/HabitBackupDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "DovrelFoundation/Reminders/NextReminderCalculator.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Error.h"
#include "platform/store/SQLiteDatabase.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

namespace dovrel {
namespace {

using Json = nlohmann::ordered_json;
using testing::civilDate;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Kyiv in early March 2024 is UTC+2.
Date kyiv(unsigned day, int hour = 0, int minute = 0) {
    return civilDate(2024, 3, day, hour, minute, 0, 2.0);
}

// An SQL blob literal of little-endian 64-bit words.
std::string blobLiteral(const std::vector<std::uint64_t>& words,
                        const std::vector<std::uint8_t>& tags = {}) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string literal = "X'";
    const auto byte = [&](std::uint8_t value) {
        literal += kDigits[value >> 4];
        literal += kDigits[value & 0xF];
    };
    for (std::size_t word = 0; word < words.size(); ++word) {
        for (int shift = 0; shift < 64; shift += 8) {
            byte(static_cast<std::uint8_t>(words[word] >> shift));
        }
        if (word < tags.size()) {
            // A five-date slot: its tag, then padding (none after the last slot).
            byte(tags[word]);
            for (int padding = 0; padding < (word + 1 < words.size() ? 7 : 0); ++padding) {
                byte(0);
            }
        }
    }
    return literal + "'";
}

// The 73-byte five-date blob with these five slot values; a NaN-free value with tag 1 is empty.
std::string fiveDateBlob(const std::vector<double>& slots, const std::vector<std::uint8_t>& tags) {
    std::vector<std::uint64_t> words;
    for (const double slot : slots) {
        words.push_back(std::bit_cast<std::uint64_t>(slot));
    }
    return blobLiteral(words, tags);
}

class HabitStoredValuesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto habit = insertObject<Habit>(store_.context());
        habit->setName("Read");
        habit->setColor(Color::rgb(0.2, 0.4, 0.8));
        habit->setCreationDate(kyiv(1));
        habit->setRemind(true);
        habit->setRemindTime(kyiv(1, 9));
        habit->setRepeatInterval(RepeatInterval(1, 1));
        habit->toggleCheckmark(kyiv(8, 7));
        habit->toggleCheckmark(kyiv(9, 7));
        store_.context().save();
    }

    // Writes `assignment` into the habit's row as another program would, then opens the store
    // file anew, so that the habit is read back through the decoders.
    void writeRow(const std::string& assignment) {
        {
            store::SQLiteDatabase database(store_.url(), false);
            database.execute("UPDATE Habit SET " + assignment);
        }
        store_.reopen();
    }

    static std::shared_ptr<Habit> onlyHabit(testing::HabitStore& store) {
        const auto habits = store.context().fetch(Habit::sortedFetchRequest());
        EXPECT_EQ(habits.size(), 1u);
        return habits.empty() ? nullptr : habits.front();
    }
    std::shared_ptr<Habit> habit() { return onlyHabit(store_); }

    // A backup of the store restored into a second, empty store; its only habit.
    std::shared_ptr<Habit> restoredCopy() {
        const std::string archive = HabitBackupArchive::makeBackup(store_.sharedContext());
        EXPECT_EQ(HabitBackupArchive::restoreBackup(archive, restored_.sharedContext()), 1u);
        return onlyHabit(restored_);
    }

    // Stores 1 time in `days` days as the interval blob and asks every query.
    void expectEveryQueryToAnswerForAnIntervalOf(std::int64_t days);

    testing::ScopedRegion region_{"Europe/Kyiv"};
    ScopedClockOverride clock_{kyiv(10, 8)};
    testing::HabitStore store_;
    testing::HabitStore restored_;
};

// ---- A repeat interval of billions of days ----------------------------------------------------

void HabitStoredValuesTest::expectEveryQueryToAnswerForAnIntervalOf(std::int64_t days) {
    writeRow("repeatInterval = " + blobLiteral({1, static_cast<std::uint64_t>(days)}));
    auto read = habit();
    ASSERT_TRUE(read);
    ASSERT_EQ(read->repeatInterval(), RepeatInterval(1, days));
    EXPECT_EQ(read->repeatInterval()->analyticsDescription(), "1/" + std::to_string(days));
    EXPECT_EQ(read->repeatInterval()->name(), "1 time in " + std::to_string(days) + " days");

    // Checked on 8 and 9 March: no missed day yet, then hardly any loss per missed day.
    const std::vector<Date> dates = {kyiv(8, 7), kyiv(9, 7)};
    for (const Date on : {kyiv(8, 12), kyiv(10, 8), kyiv(20), civilDate(2090, 1, 1)}) {
        EXPECT_EQ(read->progress(on),
                  HabitProgressCalculator::calculateProgress(dates, 1, days, on));
    }
    EXPECT_EQ(read->progress(kyiv(8, 12)), 5);
    EXPECT_EQ(read->progress(civilDate(2090, 1, 1)), 10);

    // The reminder pauses for the longest skip the calculator adds: tens of thousands of years
    // after the last checkmark.
    const auto reminder = read->nextReminder();
    ASSERT_TRUE(reminder);
    EXPECT_EQ(*reminder, NextReminderCalculator::nextReminder(
                             kyiv(10, 8), kyiv(1, 9), NextReminderCalculator::kLongestSkipInterval,
                             kyiv(9, 7)));
    EXPECT_GT((*reminder - kyiv(9, 7)) / 86'400, 20'000'000.0);

    read->toggleCheckmark(kyiv(10, 8));
    store_.context().save();
    EXPECT_TRUE(read->hasPerformings(kyiv(10, 23)));
    EXPECT_EQ(read->lastFivePerformingDates()->dates(),
              (std::vector<Date>{kyiv(8, 7), kyiv(9, 7), kyiv(10, 8)}));
    EXPECT_EQ(read->progress(kyiv(10, 9)), 14);  // three gains: 13.65

    auto copy = restoredCopy();
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->repeatInterval(), RepeatInterval(1, days));
    EXPECT_EQ(copy->nextReminder(), read->nextReminder());
    EXPECT_EQ(copy->progress(kyiv(10, 9)), 14);
}

TEST_F(HabitStoredValuesTest, AnIntervalOfThreeBillionDaysIsKeptAndEveryQueryAnswers) {
    expectEveryQueryToAnswerForAnIntervalOf(3'000'000'000);
}

TEST_F(HabitStoredValuesTest, AnIntervalOfTheLargestNumberOfDaysIsKeptAndEveryQueryAnswers) {
    expectEveryQueryToAnswerForAnIntervalOf(std::numeric_limits<std::int64_t>::max());
}

// ---- Five-date caches with dates the calendar cannot place ------------------------------------

TEST_F(HabitStoredValuesTest, AFiveDateBlobWithAnUnplaceableDateKeepsItsOtherDates) {
    for (const double unplaceable : {kNaN, kInfinity, -kInfinity, 1e300, -1e300}) {
        SCOPED_TRACE(unplaceable);
        writeRow("lastFivePerformingDates = " +
                 fiveDateBlob({kyiv(8, 7).timeIntervalSinceReferenceDate(), unplaceable,
                               kyiv(9, 7).timeIntervalSinceReferenceDate(), 0, 0},
                              {0, 0, 0, 1, 1}));
        auto read = habit();
        ASSERT_TRUE(read);
        ASSERT_TRUE(read->lastFivePerformingDates());
        EXPECT_EQ(read->lastFivePerformingDates()->dates(),
                  (std::vector<Date>{kyiv(8, 7), kyiv(9, 7)}));
        EXPECT_EQ(read->lastPerformingDate(), kyiv(9, 7));

        // The worked example's numbers: 9.30 after two days, 7.14 and 4.93 after missed days.
        EXPECT_EQ(read->progress(kyiv(8, 12)), 5);
        EXPECT_EQ(read->progress(kyiv(10, 8)), 10);
        EXPECT_EQ(read->progress(kyiv(11, 8)), 8);
        EXPECT_EQ(read->progress(kyiv(12, 8)), 5);
        EXPECT_EQ(read->currentProgress(), 10);
        // Resumes a day after the 07:00 checkmark, nine hours into that day.
        EXPECT_EQ(read->nextReminder(), kyiv(10, 16));

        const std::string archive = HabitBackupArchive::makeBackup(store_.sharedContext());
        EXPECT_EQ(Json::parse(archive)["habits"][0]["lastFivePerformingDates"]["dates"],
                  Json::array({iso8601Text(kyiv(8, 7)), iso8601Text(kyiv(9, 7))}));

        read->toggleCheckmark(kyiv(10, 8));
        read->toggleCheckmark(kyiv(10, 8));  // and off again: the caches are rebuilt
        store_.context().save();
        EXPECT_EQ(read->lastFivePerformingDates()->dates(),
                  (std::vector<Date>{kyiv(8, 7), kyiv(9, 7)}));
        EXPECT_EQ(read->progress(kyiv(11, 8)), 8);
    }
}

TEST_F(HabitStoredValuesTest, CheckmarkRowsWithUnplaceableDatesAreIgnoredByEveryQuery) {
    // Another program adds checkmarks whose dates are numbers no calendar places (SQLite keeps
    // infinities and huge numbers as they are; NaN it stores as NULL).
    {
        store::SQLiteDatabase database(store_.url(), false);
        database.execute(
            "INSERT INTO Performing (Z_PK, Z_OPT, date, habit) VALUES "
            "(100, 1, 9e999, (SELECT Z_PK FROM Habit)), (101, 1, -9e999, (SELECT Z_PK FROM Habit)),"
            "(102, 1, 1e300, (SELECT Z_PK FROM Habit))");
    }
    store_.reopen();
    auto read = habit();
    ASSERT_TRUE(read);
    EXPECT_EQ(read->performing().size(), 5u);
    std::vector<Date> dates = read->performingDates();
    std::sort(dates.begin(), dates.end());
    EXPECT_EQ(dates, (std::vector<Date>{kyiv(8, 7), kyiv(9, 7)}));
    EXPECT_EQ(read->performingsSortedByDate().size(), 2u);
    EXPECT_TRUE(read->hasPerformings(kyiv(9, 12)));
    EXPECT_EQ(read->numberOfPerformings(kyiv(9, 12)), 1);
    // A day earlier than the cache's last date is recomputed from the checkmarks.
    EXPECT_EQ(read->progress(kyiv(8, 12)), 5);
    EXPECT_EQ(read->progress(kyiv(10, 8)), 10);
    EXPECT_EQ(read->nextReminder(), kyiv(10, 16));

    read->toggleCheckmark(kyiv(10, 8));
    store_.context().save();
    const std::vector<Date> placeable{kyiv(8, 7), kyiv(9, 7), kyiv(10, 8)};
    EXPECT_EQ(read->lastFivePerformingDates()->dates(), placeable);
    EXPECT_EQ(read->lastPerformingDateProgress(),
              HabitProgressCalculator::calculateProgress(placeable, 1, 1));
    // The backup writes them as checkmarks without a date, and restores.
    auto copy = restoredCopy();
    ASSERT_TRUE(copy);
    std::vector<Date> copied = copy->performingDates();
    std::sort(copied.begin(), copied.end());
    EXPECT_EQ(copied, placeable);
}

TEST_F(HabitStoredValuesTest, AFiveDateBlobOfOnlyUnplaceableDatesIsAnEmptyCache) {
    writeRow("lastFivePerformingDates = " +
             fiveDateBlob({kNaN, kInfinity, -kInfinity, 1e300, 9.5e11}, {0, 0, 0, 0, 0}));
    auto read = habit();
    ASSERT_TRUE(read);
    ASSERT_TRUE(read->lastFivePerformingDates());
    EXPECT_TRUE(read->lastFivePerformingDates()->dates().empty());
    EXPECT_FALSE(read->lastPerformingDate());
    // With no last date the cached score is continued unchanged: 9.30, shown as 10.
    EXPECT_EQ(read->progress(kyiv(12, 8)), 10);
    // Never checked, as far as the reminder knows: today at nine.
    EXPECT_EQ(read->nextReminder(), kyiv(10, 9));
    EXPECT_TRUE(read->hasPerformings(kyiv(9)));
}

TEST_F(HabitStoredValuesTest, ABackupFiveDateRecordWithUnplaceableDatesRestoresTheOthers) {
    auto archive = Json::parse(HabitBackupArchive::makeBackup(store_.sharedContext()));
    archive["habits"][0]["lastFivePerformingDates"]["dates"] =
        Json::array({1e300, iso8601Text(kyiv(8, 7)), -1e300, iso8601Text(kyiv(9, 7))});
    EXPECT_EQ(HabitBackupArchive::restoreBackup(archive.dump(), restored_.sharedContext()), 1u);
    auto copy = onlyHabit(restored_);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->lastFivePerformingDates()->dates(),
              (std::vector<Date>{kyiv(8, 7), kyiv(9, 7)}));
    EXPECT_EQ(copy->progress(kyiv(11, 8)), 8);
    EXPECT_EQ(copy->nextReminder(), kyiv(10, 16));
    copy->toggleCheckmark(kyiv(10, 8));
    EXPECT_EQ(copy->progress(kyiv(10, 8)), 14);
}

TEST_F(HabitStoredValuesTest, ABackupCheckmarkTheCalendarCannotPlaceFailsNamingTheRecord) {
    auto archive = Json::parse(HabitBackupArchive::makeBackup(store_.sharedContext()));
    archive["habits"][0]["performings"].push_back(Json{{"date", 1e300}});
    try {
        HabitBackupArchive::restoreBackup(archive.dump(), restored_.sharedContext());
        ADD_FAILURE() << "restored";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(),
                  static_cast<std::int64_t>(HabitBackupArchive::ErrorCode::malformedHabitRecord));
        EXPECT_TRUE(error.localizedDescription().starts_with(
            "The habit record at index 0 (\"Read\") could not be restored: "))
            << error.localizedDescription();
        EXPECT_NE(error.localizedDescription().find("habits[0].performings[2].date"),
                  std::string::npos)
            << error.localizedDescription();
    }
    EXPECT_TRUE(restored_.context().fetch(Habit::sortedFetchRequest()).empty());
}

// ---- Cached scores outside 0 to 100 -----------------------------------------------------------

TEST_F(HabitStoredValuesTest, AStoredScoreOutsideZeroToHundredIsRecomputedByEveryQuery) {
    for (const char* stored : {"1e300", "-1e300", "9e999", "-9e999", "100.5", "-3"}) {
        SCOPED_TRACE(stored);
        writeRow(std::string("lastPerformingDateProgress = ") + stored);
        auto read = habit();
        ASSERT_TRUE(read);
        EXPECT_FALSE(HabitProgressCalculator::isScore(read->lastPerformingDateProgress()));
        EXPECT_EQ(read->progress(kyiv(8, 12)), 5);
        EXPECT_EQ(read->progress(kyiv(10, 8)), 10);
        EXPECT_EQ(read->progress(kyiv(11, 8)), 8);
        EXPECT_EQ(read->progress(kyiv(12, 8)), 5);
        EXPECT_EQ(read->currentProgress(), 10);
        EXPECT_EQ(read->nextReminder(), kyiv(10, 16));

        // A finite number is written to a backup as it is and repaired on restoring; one that
        // JSON cannot hold is refused with the habit named.
        if (std::isfinite(read->lastPerformingDateProgress())) {
            auto copy = restoredCopy();
            ASSERT_TRUE(copy);
            EXPECT_DOUBLE_EQ(copy->lastPerformingDateProgress(),
                             HabitProgressCalculator::calculateProgress(
                                 std::vector<Date>{kyiv(8, 7), kyiv(9, 7)}, 1, 1));
            EXPECT_EQ(copy->progress(kyiv(11, 8)), 8);
            restored_.context().deleteObject(copy);
            restored_.context().save();
        } else {
            EXPECT_THROW(HabitBackupArchive::makeBackup(store_.sharedContext()), Error);
        }

        // A toggle rebuilds the cache into a score.
        read->toggleCheckmark(kyiv(10, 8));
        store_.context().save();
        EXPECT_TRUE(HabitProgressCalculator::isScore(read->lastPerformingDateProgress()));
        EXPECT_EQ(read->progress(kyiv(10, 8)), 14);
        read->toggleCheckmark(kyiv(10, 8));
        store_.context().save();
    }
}

TEST_F(HabitStoredValuesTest, ABackupScoreOutsideZeroToHundredRestoresAsTheComputedOne) {
    for (const double stored : {1e300, -1e300, 1e20, 250.0}) {
        SCOPED_TRACE(stored);
        auto archive = Json::parse(HabitBackupArchive::makeBackup(store_.sharedContext()));
        archive["habits"][0]["lastPerformingDateProgress"] = stored;
        EXPECT_EQ(HabitBackupArchive::restoreBackup(archive.dump(), restored_.sharedContext()), 1u);
        auto copy = onlyHabit(restored_);
        ASSERT_TRUE(copy);
        EXPECT_DOUBLE_EQ(copy->lastPerformingDateProgress(),
                         HabitProgressCalculator::calculateProgress(
                             std::vector<Date>{kyiv(8, 7), kyiv(9, 7)}, 1, 1));
        EXPECT_EQ(copy->progress(kyiv(10, 8)), 10);
        EXPECT_EQ(copy->progress(kyiv(12, 8)), 5);
        EXPECT_EQ(copy->nextReminder(), kyiv(10, 16));
        restored_.context().deleteObject(copy);
        restored_.context().save();
    }
}

}  // namespace
}  // namespace dovrel

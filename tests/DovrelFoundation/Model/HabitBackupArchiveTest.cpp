#include "DovrelFoundation/Model/HabitBackupArchive.h"

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupDates.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/store/ManagedObjectContext.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace dovrel {
namespace {

using Json = nlohmann::ordered_json;
using testing::civilDate;
using testing::HabitStore;
using testing::ScopedRegion;
using testing::TemporaryDirectory;

using ErrorCode = HabitBackupArchive::ErrorCode;

// A habit's values as plain data, for comparing habits of two stores.
struct HabitValues {
    std::optional<Color> color;
    std::optional<Date> creationDate;
    std::optional<std::string> name;
    std::optional<std::string> question;
    bool remind = false;
    std::optional<Date> remindTime;
    std::optional<RepeatInterval> repeatInterval;
    std::vector<std::optional<Date>> checkmarks;  // sorted, undated first
    std::optional<std::vector<Date>> lastFive;
    double progress = 0;

    friend bool operator==(const HabitValues&, const HabitValues&) = default;
};

HabitValues valuesOf(const Habit& habit) {
    HabitValues values;
    values.color = habit.color();
    values.creationDate = habit.creationDate();
    values.name = habit.name();
    values.question = habit.question();
    values.remind = habit.remind();
    values.remindTime = habit.remindTime();
    values.repeatInterval = habit.repeatInterval();
    for (const auto& performing : habit.performing()) {
        values.checkmarks.push_back(performing->date());
    }
    std::sort(values.checkmarks.begin(), values.checkmarks.end());
    if (const auto lastFive = habit.lastFivePerformingDates()) {
        values.lastFive = lastFive->dates();
    }
    values.progress = habit.lastPerformingDateProgress();
    return values;
}

std::ostream& operator<<(std::ostream& out, const HabitValues& values) {
    auto date = [](const std::optional<Date>& value) {
        return value ? std::to_string(value->timeIntervalSinceReferenceDate()) : "none";
    };
    out << "habit " << values.name.value_or("<no name>") << " created " << date(values.creationDate)
        << " question " << values.question.value_or("<none>") << " remind " << values.remind
        << " at " << date(values.remindTime) << " colour "
        << (values.color ? std::to_string(hex(*values.color)) : "none") << " interval "
        << (values.repeatInterval ? values.repeatInterval->analyticsDescription() : "none")
        << " progress " << values.progress << " checkmarks";
    for (const auto& checkmark : values.checkmarks) {
        out << " " << date(checkmark);
    }
    out << " last five";
    for (const auto& lastDate : values.lastFive.value_or(std::vector<Date>{})) {
        out << " " << date(lastDate);
    }
    return out;
}

std::string readFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Habits are written from and restored into stores on disk in temporary folders; days are those
// of Kyiv.
class HabitBackupArchiveTest : public ::testing::Test {
  protected:
    // The values of every habit in the file of `store`, read through a freshly opened container,
    // oldest first (then by name).
    static std::vector<HabitValues> storedHabits(HabitStore& store) {
        store.reopen();
        auto habits = store.sharedContext()->fetch(Habit::sortedFetchRequest());
        std::vector<HabitValues> values;
        for (const auto& habit : habits) {
            values.push_back(valuesOf(*habit));
        }
        std::stable_sort(values.begin(), values.end(), [](const auto& lhs, const auto& rhs) {
            return std::tie(lhs.creationDate, lhs.name) < std::tie(rhs.creationDate, rhs.name);
        });
        return values;
    }

    static std::shared_ptr<Habit> addHabit(store::ManagedObjectContext& context,
                                           const std::string& name, Date creationDate) {
        auto habit = context.insertNewObject<Habit>("Habit");
        habit->setName(name);
        habit->setCreationDate(creationDate);
        habit->setColor(habitPalette()[0]);
        habit->setRepeatInterval(RepeatInterval(1, 1));
        return habit;
    }

    static void addCheckmark(store::ManagedObjectContext& context,
                             const std::shared_ptr<Habit>& habit, std::optional<Date> date) {
        auto performing = context.insertNewObject<Performing>("Performing");
        performing->setDate(date);
        habit->addPerformingObject(performing);
    }

    // Two saved habits, so that a failed restore has something to leave alone.
    void fillTarget() {
        auto& context = *target_.sharedContext();
        auto water = addHabit(context, "Water", civilDate(2023, 1, 1));
        addCheckmark(context, water, civilDate(2023, 1, 2, 8, 0, 0));
        addHabit(context, "Walk", civilDate(2023, 2, 1));
        context.save();
    }

    // A valid record of the current format.
    static Json goodRecord(const std::string& name, Date creationDate) {
        return Json{
            {"colorHex", 0x3366CC},
            {"creationDate", iso8601Text(creationDate)},
            {"name", name},
            {"question", nullptr},
            {"remind", false},
            {"remindTime", nullptr},
            {"repeatInterval", {{"times", 1}, {"days", 1}}},
            {"performings", Json::array({Json{{"date", iso8601Text(creationDate + 3600)}}})},
            {"lastFivePerformingDates", {{"dates", {iso8601Text(creationDate + 3600)}}}},
            {"lastPerformingDateProgress", 4.76},
        };
    }

    static std::string archiveOf(const Json& habits) {
        return Json{{"version", 1}, {"habits", habits}}.dump();
    }

    ScopedRegion region_{"Europe/Kyiv"};
    HabitStore source_;
    HabitStore target_;
};

// ---- The file ------------------------------------------------------------------------------

TEST_F(HabitBackupArchiveTest, TheArchiveIsAVersionOneObjectWithTheHabitRecords) {
    auto& context = *source_.sharedContext();
    auto habit = addHabit(context, "Read", civilDate(2024, 3, 5, 12, 15, 0) + 0.5);
    addCheckmark(context, habit, civilDate(2024, 3, 6, 7, 0, 0));
    context.save();

    const Json archive = Json::parse(HabitBackupArchive::makeBackup(source_.sharedContext()));
    std::vector<std::string> keys;
    for (const auto& [key, value] : archive.items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"version", "habits"}));
    EXPECT_EQ(archive["version"], 1);
    ASSERT_EQ(archive["habits"].size(), 1u);
    const Json& record = archive["habits"][0];
    EXPECT_EQ(record["name"], "Read");
    EXPECT_EQ(record["creationDate"], "2024-03-05T12:15:00.500Z");
    EXPECT_EQ(record["colorHex"], hex(habitPalette()[0]));
    EXPECT_TRUE(record["question"].is_null());
    EXPECT_TRUE(record["remindTime"].is_null());
    EXPECT_EQ(record["performings"].dump(), "[{\"date\":\"2024-03-06T07:00:00.000Z\"}]");
}

TEST_F(HabitBackupArchiveTest, HabitsAreWrittenOldestFirst) {
    auto& context = *source_.sharedContext();
    addHabit(context, "Second", civilDate(2024, 2, 1));
    addHabit(context, "Third", civilDate(2024, 3, 1));
    addHabit(context, "First", civilDate(2024, 1, 1));
    context.save();
    const Json archive = Json::parse(HabitBackupArchive::makeBackup(source_.sharedContext()));
    std::vector<std::string> names;
    for (const auto& record : archive["habits"]) {
        names.push_back(record["name"]);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"First", "Second", "Third"}));
}

TEST_F(HabitBackupArchiveTest, AHundredHabitsRoundTripThroughAFile) {
    auto& context = *source_.sharedContext();
    // Archives keep milliseconds: every date here is a whole number of them.
    auto milliseconds = [](std::int64_t count) {
        return Date(static_cast<double>(count) / 1000.0);
    };
    const std::int64_t start = 599'616'000'000;  // 2020-01-01 in milliseconds since 2001
    for (int number = 0; number < 100; ++number) {
        auto habit = context.insertNewObject<Habit>("Habit");
        const std::int64_t createdMs = start + number * 86'400'000LL * 3 + number;
        const Date created = milliseconds(createdMs);
        habit->setCreationDate(created);
        // Every fifth habit leaves its optional texts out; colours alternate between the palette
        // and plain RGB numbers.
        if (number % 5 != 0) {
            habit->setName("Habit " + std::to_string(number) + (number % 7 == 0 ? " — ранок" : ""));
            habit->setQuestion("Question " + std::to_string(number) + "?");
        }
        habit->setColor(number % 2 == 0 ? habitPalette()[number % habitPalette().size()]
                                        : colorFromHex(number * 0x010203 + 0x102030));
        habit->setRemind(number % 3 == 0);
        if (number % 3 == 0) {
            habit->setRemindTime(milliseconds(createdMs + 9 * 3'600'000 + 125));
        }
        const RepeatInterval interval(1 + number % 3, 1 + number % 7);
        habit->setRepeatInterval(interval);
        std::vector<Date> dates;
        for (int index = 0; index < number % 13; ++index) {
            dates.push_back(milliseconds(createdMs + index * 86'400'000LL * (1 + number % 4) +
                                         3'600'000 + index * 7));
            addCheckmark(context, habit, dates.back());
        }
        if (number % 11 == 0) {
            addCheckmark(context, habit, std::nullopt);
        }
        // The caches as toggling leaves them (an archive has no "absent" cache to restore: a
        // null one is rebuilt from the checkmarks).
        habit->setLastFivePerformingDates(LastFivePerformingDates(dates));
        habit->setLastPerformingDateProgress(
            HabitProgressCalculator::calculateProgress(dates, interval.times(), interval.days()));
    }
    context.save();
    const auto original = storedHabits(source_);
    ASSERT_EQ(original.size(), 100u);

    TemporaryDirectory folder;
    const auto file = folder.path() / "backup.json";
    HabitBackupArchive::writeBackupFile(source_.sharedContext(), file);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "backup.json.partial"));

    EXPECT_EQ(HabitBackupArchive::restoreBackupFile(file, target_.sharedContext()), 100u);
    const auto restored = storedHabits(target_);
    ASSERT_EQ(restored.size(), 100u);
    for (std::size_t index = 0; index < restored.size(); ++index) {
        EXPECT_EQ(restored[index], original[index]) << "habit at " << index;
    }
    // Writing the restored store gives the same archive.
    EXPECT_EQ(Json::parse(HabitBackupArchive::makeBackup(target_.sharedContext()))["habits"].size(),
              100u);
    EXPECT_EQ(HabitBackupArchive::makeBackup(target_.sharedContext()),
              HabitBackupArchive::makeBackup(source_.sharedContext()));
}

TEST_F(HabitBackupArchiveTest, RestoringAddsToTheHabitsAlreadyThere) {
    fillTarget();
    const std::string text = archiveOf(Json::array({goodRecord("Stretch", civilDate(2024, 1, 1)),
                                                    goodRecord("Sleep", civilDate(2024, 1, 2))}));
    EXPECT_EQ(HabitBackupArchive::restoreBackup(text, target_.sharedContext()), 2u);
    EXPECT_FALSE(target_.sharedContext()->hasChanges());
    const auto habits = storedHabits(target_);
    std::vector<std::string> names;
    for (const auto& habit : habits) {
        names.push_back(habit.name.value_or(""));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Water", "Walk", "Stretch", "Sleep"}));
}

TEST_F(HabitBackupArchiveTest, OldRecordsRestoreTolerantly) {
    // As an early version wrote them: no interval, no caches, dates as numbers.
    const Date first = civilDate(2019, 5, 1, 7, 0, 0);
    Json old = {
        {"colorHex", hex(habitPalette()[4])},
        {"creationDate", first.timeIntervalSinceReferenceDate()},
        {"name", "Old"},
        {"question", nullptr},
        {"remind", false},
        {"remindTime", nullptr},
        {"performings", Json::array()},
    };
    std::vector<Date> dates;
    for (int day = 0; day < 8; ++day) {
        dates.push_back(first + day * 86400.0);
        old["performings"].push_back(Json{{"date", dates.back().timeIntervalSinceReferenceDate()}});
    }
    Json damaged = goodRecord("Damaged", civilDate(2020, 1, 1));
    damaged["repeatInterval"] = "daily";
    damaged["lastFivePerformingDates"] = nullptr;
    damaged["lastPerformingDateProgress"] = nullptr;

    EXPECT_EQ(HabitBackupArchive::restoreBackup(archiveOf(Json::array({old, damaged})),
                                                target_.sharedContext()),
              2u);
    const auto habits = storedHabits(target_);
    ASSERT_EQ(habits.size(), 2u);
    const HabitValues& restoredOld = habits[0];
    EXPECT_EQ(restoredOld.name, "Old");
    EXPECT_EQ(restoredOld.color, habitPalette()[4]);
    EXPECT_EQ(restoredOld.creationDate, first);
    EXPECT_EQ(restoredOld.repeatInterval, RepeatInterval(1, 1));
    EXPECT_EQ(restoredOld.checkmarks.size(), 8u);
    EXPECT_EQ(restoredOld.lastFive, std::vector<Date>(dates.begin() + 3, dates.end()));
    EXPECT_DOUBLE_EQ(restoredOld.progress, HabitProgressCalculator::calculateProgress(dates, 1, 1));
    EXPECT_GT(restoredOld.progress, 0.0);

    const HabitValues& restoredDamaged = habits[1];
    EXPECT_EQ(restoredDamaged.repeatInterval, RepeatInterval(1, 1));
    EXPECT_EQ(restoredDamaged.lastFive, std::vector<Date>{civilDate(2020, 1, 1) + 3600});
    EXPECT_DOUBLE_EQ(restoredDamaged.progress, 100.0 / 21.0);
}

// ---- Failures leave the store untouched ----------------------------------------------------

TEST_F(HabitBackupArchiveTest, EveryMalformedRecordIsNamedInTheErrorAndTheStoreIsUnchanged) {
    fillTarget();
    const auto before = storedHabits(target_);
    const auto beforeBytes = readFile(target_.url());

    struct Case {
        std::string label;
        Json record;
        std::optional<std::string> name;
        std::string codingPath;
    };
    auto without = [](Json record, const char* key) {
        record.erase(key);
        return record;
    };
    auto with = [](Json record, const char* key, Json value) {
        record[key] = std::move(value);
        return record;
    };
    const Json base = goodRecord("Broken", civilDate(2024, 1, 3));
    const std::vector<Case> cases = {
        {"no colour", without(base, "colorHex"), "Broken", "habits[2].colorHex"},
        {"null colour", with(base, "colorHex", nullptr), "Broken", "habits[2].colorHex"},
        {"text colour", with(base, "colorHex", "blue"), "Broken", "habits[2].colorHex"},
        {"no remind", without(base, "remind"), "Broken", "habits[2].remind"},
        {"text remind", with(base, "remind", "yes"), "Broken", "habits[2].remind"},
        {"no creation date key", without(base, "creationDate"), "Broken", "habits[2].creationDate"},
        {"unreadable creation date", with(base, "creationDate", "2024-13-01T00:00:00Z"), "Broken",
         "habits[2].creationDate"},
        {"no name key", without(base, "name"), std::nullopt, "habits[2].name"},
        {"number name", with(base, "name", 12), std::nullopt, "habits[2].name"},
        {"no question key", without(base, "question"), "Broken", "habits[2].question"},
        {"no remind time key", without(base, "remindTime"), "Broken", "habits[2].remindTime"},
        {"null performings", with(base, "performings", nullptr), "Broken", "habits[2].performings"},
        {"no performings", without(base, "performings"), "Broken", "habits[2].performings"},
        {"checkmark that is not a record",
         with(base, "performings", Json::array({Json{{"date", nullptr}}, "2024-01-04"})), "Broken",
         "habits[2].performings[1]"},
        {"checkmark without date key", with(base, "performings", Json::array({Json::object()})),
         "Broken", "habits[2].performings[0].date"},
        {"checkmark with unreadable date",
         with(base, "performings", Json::array({Json{{"date", "tomorrow"}}})), "Broken",
         "habits[2].performings[0].date"},
        {"checkmark dated beyond the calendar",
         with(base, "performings", Json::array({Json{{"date", 1e300}}})), "Broken",
         "habits[2].performings[0].date"},
        {"checkmark dated 40,000 years ahead",
         with(base, "performings",
              Json::array({Json{{"date", "2024-01-05T00:00:00.000Z"}}, Json{{"date", 1.26e12}}})),
         "Broken", "habits[2].performings[1].date"},
        {"creation date beyond the calendar", with(base, "creationDate", -1e300), "Broken",
         "habits[2].creationDate"},
        {"remind time beyond the calendar", with(base, "remindTime", 1e300), "Broken",
         "habits[2].remindTime"},
        {"record that is not an object", Json("Broken"), std::nullopt, "habits[2]"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.label);
        // Two good records first: they decode, and must not be saved either.
        const Json habits =
            Json::array({goodRecord("Stretch", civilDate(2024, 1, 1)),
                         goodRecord("Sleep", civilDate(2024, 1, 2)), testCase.record,
                         goodRecord("Later", civilDate(2024, 1, 4))});
        try {
            HabitBackupArchive::restoreBackup(archiveOf(habits), target_.sharedContext());
            ADD_FAILURE() << "restored";
        } catch (const Error& error) {
            EXPECT_EQ(error.domain(), "HabitBackupArchive");
            EXPECT_EQ(error.code(), static_cast<std::int64_t>(ErrorCode::malformedHabitRecord));
            EXPECT_EQ(error.userInfo().at("recordIndex"), "2");
            EXPECT_EQ(error.userInfo().at("codingPath"), testCase.codingPath);
            const std::string title =
                testCase.name ? "The habit record at index 2 (\"" + *testCase.name + "\")"
                              : "The habit record at index 2";
            EXPECT_TRUE(
                error.localizedDescription().starts_with(title + " could not be restored: "))
                << error.localizedDescription();
            EXPECT_NE(error.localizedDescription().find(testCase.codingPath), std::string::npos)
                << error.localizedDescription();
            if (testCase.name) {
                EXPECT_EQ(error.userInfo().at("recordName"), *testCase.name);
            } else {
                EXPECT_EQ(error.userInfo().count("recordName"), 0u);
            }
        }
        EXPECT_FALSE(target_.sharedContext()->hasChanges());
        EXPECT_TRUE(target_.sharedContext()->insertedObjects().empty());
        EXPECT_EQ(readFile(target_.url()), beforeBytes);
        EXPECT_EQ(storedHabits(target_), before);
    }
}

TEST_F(HabitBackupArchiveTest, AnArchiveThatIsNotVersionOneJSONIsRefusedWithoutTouchingTheStore) {
    fillTarget();
    const auto before = storedHabits(target_);
    const std::vector<std::pair<std::string, ErrorCode>> cases = {
        {"", ErrorCode::malformedArchive},
        {"{\"version\": 1, \"habits\": [", ErrorCode::malformedArchive},
        {"[]", ErrorCode::malformedArchive},
        {"{\"version\": 1}", ErrorCode::malformedArchive},
        {"{\"version\": 1, \"habits\": {}}", ErrorCode::malformedArchive},
        {"{\"habits\": []}", ErrorCode::unsupportedVersion},
        {"{\"version\": 2, \"habits\": []}", ErrorCode::unsupportedVersion},
        {"{\"version\": \"1\", \"habits\": []}", ErrorCode::unsupportedVersion},
    };
    for (const auto& [text, code] : cases) {
        try {
            HabitBackupArchive::restoreBackup(text, target_.sharedContext());
            ADD_FAILURE() << "restored: " << text;
        } catch (const Error& error) {
            EXPECT_EQ(error.domain(), "HabitBackupArchive") << text;
            EXPECT_EQ(error.code(), static_cast<std::int64_t>(code)) << text;
        }
    }
    EXPECT_EQ(storedHabits(target_), before);
    EXPECT_EQ(HabitBackupArchive::restoreBackup("{\"version\": 1, \"habits\": []}",
                                                target_.sharedContext()),
              0u);
}

TEST_F(HabitBackupArchiveTest, AContextWithUnsavedChangesIsRefused) {
    fillTarget();
    auto& context = *target_.sharedContext();
    addHabit(context, "Unsaved", civilDate(2024, 6, 1));
    const std::string text = archiveOf(Json::array({goodRecord("Stretch", civilDate(2024, 1, 1))}));
    try {
        HabitBackupArchive::restoreBackup(text, target_.sharedContext());
        FAIL() << "restored";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), static_cast<std::int64_t>(ErrorCode::contextHasChanges));
    }
    // The caller's change is still there, and nothing was added.
    EXPECT_TRUE(context.hasChanges());
    EXPECT_EQ(context.insertedObjects().size(), 1u);
}

TEST_F(HabitBackupArchiveTest, AFileThatCannotBeReadIsReported) {
    TemporaryDirectory folder;
    for (const auto& file : {folder.path() / "missing.json", folder.path()}) {
        try {
            HabitBackupArchive::restoreBackupFile(file, target_.sharedContext());
            ADD_FAILURE() << "restored " << file;
        } catch (const Error& error) {
            EXPECT_EQ(error.code(), static_cast<std::int64_t>(ErrorCode::fileUnreadable));
        }
    }
    std::ofstream(folder.path() / "empty.json").close();
    try {
        HabitBackupArchive::restoreBackupFile(folder.path() / "empty.json",
                                              target_.sharedContext());
        FAIL() << "restored an empty file";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), static_cast<std::int64_t>(ErrorCode::malformedArchive));
    }
}

TEST_F(HabitBackupArchiveTest, ABackupThatCannotBeWrittenIsReported) {
    TemporaryDirectory folder;
    try {
        HabitBackupArchive::writeBackupFile(source_.sharedContext(),
                                            folder.path() / "no-such-folder" / "backup.json");
        FAIL() << "written";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), static_cast<std::int64_t>(ErrorCode::fileUnwritable));
    }
}

TEST_F(HabitBackupArchiveTest, AHabitThatJSONCannotHoldIsNamedWhenWriting) {
    auto& context = *source_.sharedContext();
    addHabit(context, "Fine", civilDate(2024, 1, 1));
    auto broken = addHabit(context, "Infinite", civilDate(2024, 1, 2));
    broken->setLastPerformingDateProgress(std::numeric_limits<double>::infinity());
    try {
        HabitBackupArchive::makeBackup(source_.sharedContext());
        FAIL() << "written";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), static_cast<std::int64_t>(ErrorCode::unencodableHabit));
        EXPECT_EQ(error.userInfo().at("recordIndex"), "1");
        EXPECT_TRUE(error.localizedDescription().starts_with(
            "The habit record at index 1 (\"Infinite\") could not be written"))
            << error.localizedDescription();
    }
}

}  // namespace
}  // namespace dovrel

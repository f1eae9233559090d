#include "DovrelFoundation/Model/HabitBackupCoding.h"

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/DecodingError.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupDates.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Model/RepresentableDate.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/store/ManagedObjectContext.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/support/CivilDate.h"
#include "tests/support/ScopedRegion.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace dovrel {
namespace {

using Json = nlohmann::ordered_json;
using testing::civilDate;
using testing::HabitStore;
using testing::ScopedRegion;

// Records are decoded into the view context of a store file in a temporary folder; days are
// those of Kyiv.
class HabitBackupCodingTest : public ::testing::Test {
  protected:
    std::shared_ptr<Habit> newHabit() { return context()->insertNewObject<Habit>("Habit"); }

    std::shared_ptr<Performing> addCheckmark(const std::shared_ptr<Habit>& habit, Date date) {
        auto performing = context()->insertNewObject<Performing>("Performing");
        performing->setDate(date);
        habit->addPerformingObject(performing);
        return performing;
    }

    std::shared_ptr<store::ManagedObjectContext> context() { return store_.sharedContext(); }
    CodingUserInfo userInfo() { return {{"context", context()}}; }

    std::shared_ptr<Habit> decode(const Json& record) { return decodeHabit(record, userInfo()); }

    // A complete record as the current version writes it, with `count` daily checkmarks.
    static Json record(int count = 3) {
        Json performings = Json::array();
        std::vector<Date> dates;
        for (int day = 0; day < count; ++day) {
            dates.push_back(civilDate(2024, 3, 1 + static_cast<unsigned>(day), 9, 30, 0));
            performings.push_back(Json{{"date", iso8601Text(dates.back())}});
        }
        Json lastFive = Json::array();
        for (std::size_t index = dates.size() > 5 ? dates.size() - 5 : 0; index < dates.size();
             ++index) {
            lastFive.push_back(iso8601Text(dates[index]));
        }
        return Json{
            {"colorHex", 0x3366CC},
            {"creationDate", "2024-02-28T08:00:00.000Z"},
            {"name", "Read"},
            {"question", "Twenty pages?"},
            {"remind", true},
            {"remindTime", "2024-02-28T18:30:00.000Z"},
            {"repeatInterval", {{"times", 3}, {"days", 7}}},
            {"performings", performings},
            {"lastFivePerformingDates", {{"dates", lastFive}}},
            {"lastPerformingDateProgress", 12.5},
        };
    }

    static std::vector<Date> sortedDates(const Habit& habit) {
        auto dates = habit.performingDates();
        std::sort(dates.begin(), dates.end());
        return dates;
    }

    ScopedRegion region_{"Europe/Kyiv"};
    HabitStore store_;
};

// ---- Writing -------------------------------------------------------------------------------

TEST_F(HabitBackupCodingTest, AnEmptyHabitIsWrittenWithTheTenKeysInOrderAndExplicitNulls) {
    auto habit = newHabit();
    EXPECT_EQ(encodeHabit(*habit).dump(),
              "{\"colorHex\":null,\"creationDate\":null,\"name\":null,\"question\":null,"
              "\"remind\":false,\"remindTime\":null,\"repeatInterval\":null,\"performings\":[],"
              "\"lastFivePerformingDates\":null,\"lastPerformingDateProgress\":0.0}");
}

TEST_F(HabitBackupCodingTest, AFullHabitIsWrittenWithItsValues) {
    auto habit = newHabit();
    habit->setColor(habitPalette()[2]);
    habit->setCreationDate(civilDate(2024, 2, 28, 8, 0, 0) + 0.25);
    habit->setName("Read");
    habit->setQuestion("Twenty pages?");
    habit->setRemind(true);
    habit->setRemindTime(civilDate(2024, 2, 28, 18, 30, 0));
    habit->setRepeatInterval(RepeatInterval(3, 7));
    addCheckmark(habit, civilDate(2024, 3, 1, 9, 30, 0));
    habit->setLastFivePerformingDates(LastFivePerformingDates({civilDate(2024, 3, 1, 9, 30, 0)}));
    habit->setLastPerformingDateProgress(4.5);

    const Json written = encodeHabit(*habit);
    std::vector<std::string> keys;
    for (const auto& [key, value] : written.items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys,
              (std::vector<std::string>{"colorHex", "creationDate", "name", "question", "remind",
                                        "remindTime", "repeatInterval", "performings",
                                        "lastFivePerformingDates", "lastPerformingDateProgress"}));
    EXPECT_EQ(written["colorHex"], hex(habitPalette()[2]));
    EXPECT_EQ(written["creationDate"], "2024-02-28T08:00:00.250Z");
    EXPECT_EQ(written["name"], "Read");
    EXPECT_EQ(written["question"], "Twenty pages?");
    EXPECT_EQ(written["remind"], true);
    EXPECT_EQ(written["remindTime"], "2024-02-28T18:30:00.000Z");
    EXPECT_EQ(written["repeatInterval"].dump(), "{\"times\":3,\"days\":7}");
    EXPECT_EQ(written["performings"].dump(), "[{\"date\":\"2024-03-01T09:30:00.000Z\"}]");
    EXPECT_EQ(written["lastFivePerformingDates"].dump(),
              "{\"dates\":[\"2024-03-01T09:30:00.000Z\"]}");
    EXPECT_EQ(written["lastPerformingDateProgress"], 4.5);
}

TEST_F(HabitBackupCodingTest, ACheckmarkWithoutADateIsWrittenWithANullDate) {
    auto performing = context()->insertNewObject<Performing>("Performing");
    EXPECT_EQ(encodePerforming(*performing).dump(), "{\"date\":null}");
}

TEST_F(HabitBackupCodingTest, AProgressThatJSONCannotHoldIsRefused) {
    auto habit = newHabit();
    habit->setLastPerformingDateProgress(std::numeric_limits<double>::infinity());
    EXPECT_THROW(encodeHabit(*habit), std::domain_error);
}

// ---- Reading: the cases of the format ------------------------------------------------------

TEST_F(HabitBackupCodingTest,
       ABackupWithoutIntervalAndCachesRestoresWithEveryDayAndComputedCaches) {
    Json old = record(7);
    old.erase("repeatInterval");
    old.erase("lastFivePerformingDates");
    old.erase("lastPerformingDateProgress");
    auto habit = decode(old);
    EXPECT_EQ(habit->repeatInterval(), RepeatInterval(1, 1));
    const auto dates = sortedDates(*habit);
    ASSERT_EQ(dates.size(), 7u);
    ASSERT_TRUE(habit->lastFivePerformingDates().has_value());
    EXPECT_EQ(habit->lastFivePerformingDates()->dates(),
              std::vector<Date>(dates.begin() + 2, dates.end()));
    // Seven daily checkmarks of an every-day habit: seven gains, no decay.
    double expected = 0;
    for (int gain = 0; gain < 7; ++gain) {
        expected += std::max((100 - expected) / 21, 0.1);
    }
    EXPECT_DOUBLE_EQ(habit->lastPerformingDateProgress(), expected);
    EXPECT_DOUBLE_EQ(habit->lastPerformingDateProgress(),
                     HabitProgressCalculator::calculateProgress(dates, 1, 1));
}

TEST_F(HabitBackupCodingTest, AHabitWithoutColourIsWrittenWithNullAndSuchARecordFailsToRestore) {
    auto habit = newHabit();
    habit->setName("Colourless");
    const Json written = encodeHabit(*habit);
    ASSERT_TRUE(written.contains("colorHex"));
    EXPECT_TRUE(written["colorHex"].is_null());
    try {
        decode(written);
        FAIL() << "a null colorHex restored";
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.kind(), DecodingError::Kind::valueNotFound);
        EXPECT_EQ(error.codingPath(), std::vector<std::string>{"colorHex"});
    }
}

TEST_F(HabitBackupCodingTest, AColourWhoseIntegerIsAPaletteEntryRestoresAsThatPaletteColour) {
    for (const Color& paletteColor : habitPalette()) {
        Json written = record();
        written["colorHex"] = hex(paletteColor);
        auto habit = decode(written);
        ASSERT_TRUE(habit->color().has_value());
        EXPECT_EQ(*habit->color(), paletteColor);
        // The palette colour brings its dark appearance.
        EXPECT_TRUE(habit->color()->darkComponents().has_value());
    }
    Json other = record();
    other["colorHex"] = 0x3366CC;
    EXPECT_EQ(decode(other)->color(), colorFromHex(0x3366CC));
}

TEST_F(HabitBackupCodingTest, SevenCheckmarksWithAValidFiveDateRecordKeepTheStoredRecord) {
    Json written = record(7);
    // A record that differs from the checkmarks' own latest five, so a recomputation shows.
    const std::vector<Date> stored = {civilDate(2023, 1, 1), civilDate(2023, 1, 3)};
    written["lastFivePerformingDates"] =
        Json{{"dates", {iso8601Text(stored[1]), iso8601Text(stored[0])}}};
    written["lastPerformingDateProgress"] = 42.0;
    auto habit = decode(written);
    EXPECT_EQ(habit->performingDates().size(), 7u);
    ASSERT_TRUE(habit->lastFivePerformingDates().has_value());
    EXPECT_EQ(habit->lastFivePerformingDates()->dates(), stored);
    EXPECT_EQ(habit->lastPerformingDateProgress(), 42.0);
}

TEST_F(HabitBackupCodingTest, DecodingWithoutAContextEntryStopsWithTheFirstFatalMessage) {
    const Json written = record();
    EXPECT_DEATH(decodeHabit(written, {}),
                 "Fatal error: There is no managed object context to init a Habit with "
                 "decoder\\.: file DovrelFoundation/Habit, line");
    // Another value under the key is no context either.
    EXPECT_DEATH(decodeHabit(written, {{"context", std::string("context")}}),
                 "There is no managed object context to init a Habit with decoder\\.");
    EXPECT_DEATH(decodePerforming(Json{{"date", nullptr}}, {}),
                 "Fatal error: There is no managed object context to init a Performing with "
                 "decoder\\.: file DovrelFoundation/Performing, line");
}

TEST_F(HabitBackupCodingTest, AContextWithoutTheEntitiesStopsWithTheEntityMessages) {
    // A context on no store has no model, so no entity at all.
    auto bare = std::make_shared<store::ManagedObjectContext>(
        store::ManagedObjectContext::ConcurrencyType::mainQueueConcurrencyType);
    const CodingUserInfo info = {{"context", bare}};
    EXPECT_DEATH(decodeHabit(record(), info),
                 "Fatal error: Habit entity is not initialized\\.: file DovrelFoundation/Habit");
    EXPECT_DEATH(decodePerforming(Json{{"date", nullptr}}, info),
                 "Fatal error: Performing entity is not initialized\\.: file "
                 "DovrelFoundation/Performing");
}

TEST_F(HabitBackupCodingTest, ARepeatIntervalRecordWithZeroTimesAndZeroDaysRestoresAsEveryDay) {
    Json written = record();
    written["repeatInterval"] = Json{{"times", 0}, {"days", 0}};
    EXPECT_EQ(decode(written)->repeatInterval(), RepeatInterval(1, 1));
    EXPECT_EQ(decodeRepeatInterval(Json{{"times", 0}, {"days", 0}}), RepeatInterval(1, 1));
}

TEST_F(HabitBackupCodingTest,
       AHabitRecordWhosePerformingsIsNullOrMissingFailsWithTheDecodersError) {
    Json nullList = record();
    nullList["performings"] = nullptr;
    try {
        decode(nullList);
        FAIL() << "a null performings restored";
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.kind(), DecodingError::Kind::valueNotFound);
        EXPECT_EQ(error.codingPath(), std::vector<std::string>{"performings"});
    }
    Json missing = record();
    missing.erase("performings");
    try {
        decode(missing);
        FAIL() << "a record without performings restored";
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.kind(), DecodingError::Kind::keyNotFound);
        EXPECT_EQ(error.codingPath(), std::vector<std::string>{"performings"});
        EXPECT_EQ(error.debugDescription(), "No value associated with key \"performings\".");
    }
    // What the encoder writes for a habit without checkmarks is an empty list, which restores.
    Json empty = record();
    empty["performings"] = Json::array();
    EXPECT_TRUE(decode(empty)->performingDates().empty());
}

// ---- Reading: values ------------------------------------------------------------------------

TEST_F(HabitBackupCodingTest, ACompleteRecordRestoresEveryValue) {
    auto habit = decode(record(3));
    EXPECT_EQ(habit->color(), colorFromHex(0x3366CC));
    EXPECT_EQ(habit->creationDate(), civilDate(2024, 2, 28, 8, 0, 0));
    EXPECT_EQ(habit->name(), "Read");
    EXPECT_EQ(habit->question(), "Twenty pages?");
    EXPECT_TRUE(habit->remind());
    EXPECT_EQ(habit->remindTime(), civilDate(2024, 2, 28, 18, 30, 0));
    EXPECT_EQ(habit->repeatInterval(), RepeatInterval(3, 7));
    EXPECT_EQ(sortedDates(*habit),
              (std::vector<Date>{civilDate(2024, 3, 1, 9, 30, 0), civilDate(2024, 3, 2, 9, 30, 0),
                                 civilDate(2024, 3, 3, 9, 30, 0)}));
    EXPECT_EQ(habit->lastPerformingDateProgress(), 12.5);
    // Created in the context, inserted and with their habit set.
    EXPECT_EQ(habit->managedObjectContext(), context().get());
    for (const auto& performing : habit->performing()) {
        EXPECT_EQ(performing->habit(), habit);
    }
    EXPECT_EQ(context()->insertedObjects().size(), 4u);
}

TEST_F(HabitBackupCodingTest, NumbersAreReadAsSecondsSinceTheReferenceDate) {
    Json written = record(0);
    written["creationDate"] = 731333700.5;
    written["remindTime"] = 0;
    written["performings"] = Json::array({Json{{"date", -86400}}});
    written["lastFivePerformingDates"] = Json{{"dates", {86400.25}}};
    auto habit = decode(written);
    EXPECT_EQ(habit->creationDate(), Date(731333700.5));
    EXPECT_EQ(habit->remindTime(), Date(0));
    EXPECT_EQ(habit->performingDates(), std::vector<Date>{Date(-86400)});
    EXPECT_EQ(habit->lastFivePerformingDates()->dates(), std::vector<Date>{Date(86400.25)});
}

TEST_F(HabitBackupCodingTest, NullOptionalValuesRestoreAsAbsent) {
    Json written = record(1);
    written["creationDate"] = nullptr;
    written["name"] = nullptr;
    written["question"] = nullptr;
    written["remindTime"] = nullptr;
    written["performings"] = Json::array({Json{{"date", nullptr}}});
    auto habit = decode(written);
    EXPECT_EQ(habit->creationDate(), std::nullopt);
    EXPECT_EQ(habit->name(), std::nullopt);
    EXPECT_EQ(habit->question(), std::nullopt);
    EXPECT_EQ(habit->remindTime(), std::nullopt);
    ASSERT_EQ(habit->performing().size(), 1u);
    EXPECT_EQ(habit->performing()[0]->date(), std::nullopt);
}

TEST_F(HabitBackupCodingTest, MalformedIntervalAndCachesAreRepairedFromTheCheckmarks) {
    for (const Json& badInterval :
         {Json(nullptr), Json("3/7"), Json{{"times", "3"}, {"days", 7}}, Json{{"times", 3}}}) {
        Json written = record(6);
        written["repeatInterval"] = badInterval;
        written["lastFivePerformingDates"] = Json{{"dates", {"not a date"}}};
        written["lastPerformingDateProgress"] = "high";
        auto habit = decode(written);
        EXPECT_EQ(habit->repeatInterval(), RepeatInterval(1, 1)) << badInterval.dump();
        const auto dates = sortedDates(*habit);
        EXPECT_EQ(habit->lastFivePerformingDates()->dates(),
                  std::vector<Date>(dates.begin() + 1, dates.end()));
        EXPECT_DOUBLE_EQ(habit->lastPerformingDateProgress(),
                         HabitProgressCalculator::calculateProgress(dates, 1, 1));
    }
}

TEST_F(HabitBackupCodingTest, ANullFiveDateRecordIsRebuiltEvenWithoutCheckmarks) {
    Json written = record(0);
    written["lastFivePerformingDates"] = nullptr;
    auto habit = decode(written);
    ASSERT_TRUE(habit->lastFivePerformingDates().has_value());
    EXPECT_TRUE(habit->lastFivePerformingDates()->dates().empty());
}

TEST_F(HabitBackupCodingTest, TheComputedProgressUsesTheRestoredInterval) {
    Json written = record(0);
    // One checkmark a week for four weeks of a 1-in-7 habit.
    std::vector<Date> dates;
    for (unsigned week = 0; week < 4; ++week) {
        dates.push_back(civilDate(2024, 1, 1 + 7 * week, 12, 0, 0));
        written["performings"].push_back(Json{{"date", iso8601Text(dates.back())}});
    }
    written["repeatInterval"] = Json{{"times", 1}, {"days", 7}};
    written.erase("lastPerformingDateProgress");
    auto habit = decode(written);
    const double expected = HabitProgressCalculator::calculateProgress(dates, 1, 7);
    EXPECT_DOUBLE_EQ(habit->lastPerformingDateProgress(), expected);
    EXPECT_NE(expected, HabitProgressCalculator::calculateProgress(dates, 1, 1));
}

TEST_F(HabitBackupCodingTest, RequiredValuesThatAreMissingOrMalformedFailWithTheirPlace) {
    struct Case {
        const char* key;
        Json value;  // null Json with `erase` means the key is removed
        bool erase;
        DecodingError::Kind kind;
        std::vector<std::string> path;
    };
    using Kind = DecodingError::Kind;
    const std::vector<Case> cases = {
        {"colorHex", nullptr, true, Kind::keyNotFound, {"colorHex"}},
        {"colorHex", "#3366CC", false, Kind::typeMismatch, {"colorHex"}},
        {"colorHex", 1.5, false, Kind::dataCorrupted, {"colorHex"}},
        {"remind", nullptr, true, Kind::keyNotFound, {"remind"}},
        {"remind", nullptr, false, Kind::valueNotFound, {"remind"}},
        {"remind", 1, false, Kind::typeMismatch, {"remind"}},
        {"creationDate", nullptr, true, Kind::keyNotFound, {"creationDate"}},
        {"creationDate", "yesterday", false, Kind::dataCorrupted, {"creationDate"}},
        {"creationDate", true, false, Kind::typeMismatch, {"creationDate"}},
        {"name", nullptr, true, Kind::keyNotFound, {"name"}},
        {"name", 7, false, Kind::typeMismatch, {"name"}},
        {"question", nullptr, true, Kind::keyNotFound, {"question"}},
        {"remindTime", nullptr, true, Kind::keyNotFound, {"remindTime"}},
        {"performings", Json::object(), false, Kind::typeMismatch, {"performings"}},
        {"performings", Json::array({5}), false, Kind::typeMismatch, {"performings", "0"}},
        {"performings",
         Json::array({Json::object()}),
         false,
         Kind::keyNotFound,
         {"performings", "0", "date"}},
        {"performings",
         Json::array({Json{{"date", nullptr}}, Json{{"date", "soon"}}}),
         false,
         Kind::dataCorrupted,
         {"performings", "1", "date"}},
    };
    for (const auto& testCase : cases) {
        Json written = record();
        if (testCase.erase) {
            written.erase(testCase.key);
        } else {
            written[testCase.key] = testCase.value;
        }
        try {
            decodeHabit(written, userInfo(), {"habits", "4"});
            ADD_FAILURE() << "restored: " << written.dump();
        } catch (const DecodingError& error) {
            std::vector<std::string> expectedPath = {"habits", "4"};
            expectedPath.insert(expectedPath.end(), testCase.path.begin(), testCase.path.end());
            EXPECT_EQ(error.kind(), testCase.kind) << written.dump();
            EXPECT_EQ(error.codingPath(), expectedPath) << written.dump();
        }
    }
    Json notARecord = "habit";
    EXPECT_THROW(decode(notARecord), DecodingError);
}

TEST_F(HabitBackupCodingTest, DatesBeyondTheRepresentableRangeFailWithTheirPlace) {
    struct Case {
        const char* key;
        Json value;
        std::vector<std::string> path;
    };
    const std::vector<Case> cases = {
        {"creationDate", 1e300, {"creationDate"}},
        {"remindTime", -1e300, {"remindTime"}},
        {"remindTime", "+32000-01-01T00:00:00.000Z", {"remindTime"}},
        {"performings",
         Json::array({Json{{"date", 100.0}}, Json{{"date", 1e300}}}),
         {"performings", "1", "date"}},
        {"performings",
         Json::array({Json{{"date", 9.000000001e11}}}),
         {"performings", "0", "date"}},
        {"performings",
         Json::array({Json{{"date", "-30000-06-01T00:00:00Z"}}}),
         {"performings", "0", "date"}},
    };
    for (const auto& testCase : cases) {
        Json written = record();
        written[testCase.key] = testCase.value;
        try {
            decodeHabit(written, userInfo(), {"habits", "2"});
            ADD_FAILURE() << "restored: " << written.dump();
        } catch (const DecodingError& error) {
            std::vector<std::string> expectedPath = {"habits", "2"};
            expectedPath.insert(expectedPath.end(), testCase.path.begin(), testCase.path.end());
            EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted) << written.dump();
            EXPECT_EQ(error.codingPath(), expectedPath) << written.dump();
            EXPECT_NE(error.debugDescription().find("is not one a habit can hold"),
                      std::string::npos)
                << error.debugDescription();
        }
    }
}

TEST_F(HabitBackupCodingTest, DatesAtTheEndsOfTheRepresentableRangeRestore) {
    Json written = record(0);
    written["creationDate"] = -kRepresentableDateLimit;
    written["remindTime"] = kRepresentableDateLimit;
    written["performings"] = Json::array({Json{{"date", kRepresentableDateLimit}}});
    auto habit = decode(written);
    EXPECT_EQ(habit->creationDate(), Date(-kRepresentableDateLimit));
    EXPECT_EQ(habit->remindTime(), Date(kRepresentableDateLimit));
    EXPECT_EQ(habit->performingDates(), std::vector<Date>{Date(kRepresentableDateLimit)});
    // And they can be written again.
    EXPECT_NO_THROW(encodeHabit(*habit));
}

TEST_F(HabitBackupCodingTest, FiveDateRecordEntriesBeyondTheRepresentableRangeAreSkipped) {
    const Date first = civilDate(2024, 3, 1, 9, 30, 0);
    Json written = record(3);
    written["lastFivePerformingDates"]["dates"] = Json::array(
        {1e300, iso8601Text(first), -1e300, "+32000-01-01T00:00:00.000Z", 9.000000001e11});
    auto habit = decode(written);
    ASSERT_TRUE(habit->lastFivePerformingDates().has_value());
    // The readable date is kept as it was written, not rebuilt from the three checkmarks.
    EXPECT_EQ(habit->lastFivePerformingDates()->dates(), std::vector<Date>{first});

    const auto onlyUnreadable =
        decodeLastFivePerformingDates(Json{{"dates", Json::array({1e300, -1e300})}});
    EXPECT_TRUE(onlyUnreadable.dates().empty());
}

TEST_F(HabitBackupCodingTest, AProgressOutsideZeroToHundredIsComputedFromTheCheckmarks) {
    for (const Json& stored : {Json(1e300), Json(-1e300), Json(100.5), Json(-0.25)}) {
        Json written = record(4);
        written["lastPerformingDateProgress"] = stored;
        auto habit = decode(written);
        const double expected =
            HabitProgressCalculator::calculateProgress(sortedDates(*habit), 3, 7);
        EXPECT_DOUBLE_EQ(habit->lastPerformingDateProgress(), expected) << stored.dump();
        EXPECT_TRUE(HabitProgressCalculator::isScore(habit->lastPerformingDateProgress()));
    }
    // The bounds themselves are scores and are taken as they are.
    for (const double stored : {0.0, 100.0}) {
        Json written = record(4);
        written["lastPerformingDateProgress"] = stored;
        EXPECT_EQ(decode(written)->lastPerformingDateProgress(), stored);
    }
}

TEST_F(HabitBackupCodingTest, AWholeNumberWrittenWithAFractionIsAnInteger) {
    Json written = record();
    written["colorHex"] = 3355596.0;  // 0x3333CC
    written["repeatInterval"] = Json{{"times", 2.0}, {"days", 3}};
    auto habit = decode(written);
    EXPECT_EQ(habit->color(), colorFromHex(0x3333CC));
    EXPECT_EQ(habit->repeatInterval(), RepeatInterval(2, 3));
}

TEST_F(HabitBackupCodingTest, AFiveDateRecordIsSortedAndKeepsTheLatestFive) {
    std::vector<std::string> texts;
    for (unsigned day = 7; day >= 1; --day) {
        texts.push_back(iso8601Text(civilDate(2024, 5, day)));
    }
    const auto dates = decodeLastFivePerformingDates(Json{{"dates", texts}});
    std::vector<Date> expected;
    for (unsigned day = 3; day <= 7; ++day) {
        expected.push_back(civilDate(2024, 5, day));
    }
    EXPECT_EQ(dates.dates(), expected);
    EXPECT_EQ(encodeLastFivePerformingDates(dates)["dates"].size(), 5u);
}

}  // namespace
}  // namespace dovrel

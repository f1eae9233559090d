#include "apps/dovrel/HabitJson.h"

#include <gtest/gtest.h>

#include "tests/support/CivilDate.h"

namespace dovrel::cli {
namespace {

using testing::civilDate;

const Region kKyiv("gregorian", "Europe/Kyiv", "uk_UA");

HabitReport report() {
    HabitReport report;
    report.uri = "x-dovrel://6F9619FF-8B86-D011-B42D-00C04FC964FF/Habit/p3";
    report.name = "Read";
    report.question = "Twenty pages?";
    report.color = Color::rgb(1.0, 0.5, 0.0);
    report.times = 3;
    report.days = 7;
    report.interval = "3 times per week";
    report.remind = true;
    report.remindTime = civilDate(2001, 1, 1, 7, 30, 0, 0.0);  // 09:30 in Kyiv
    report.progress = 12;
    report.checked = true;
    report.lastFivePerformingDates = {civilDate(2026, 3, 9, 8, 0, 0, 2.0),
                                      civilDate(2026, 7, 10, 21, 15, 5, 3.0)};
    return report;
}

TEST(HabitJson, HasExactlyTheDocumentedKeysInOrder) {
    const auto json = habitJson(report(), kKyiv);
    std::vector<std::string> keys;
    for (const auto& item : json.items()) {
        keys.push_back(item.key());
    }
    const std::vector<std::string> expected = {
        "uri",      "name",   "question",   "color",    "times",   "days",
        "interval", "remind", "remindTime", "progress", "checked", "lastFivePerformingDates"};
    EXPECT_EQ(keys, expected);
}

TEST(HabitJson, WritesTheValuesScriptsReadWithLocalTimesAndOffsets) {
    const auto json = habitJson(report(), kKyiv);
    EXPECT_EQ(json.dump(),
              R"({"uri":"x-dovrel://6F9619FF-8B86-D011-B42D-00C04FC964FF/Habit/p3",)"
              R"("name":"Read","question":"Twenty pages?","color":"#FF7F00","times":3,"days":7,)"
              R"("interval":"3 times per week","remind":true,"remindTime":"09:30",)"
              R"("progress":12,"checked":true,"lastFivePerformingDates":)"
              R"(["2026-03-09T08:00:00+02:00","2026-07-10T21:15:05+03:00"]})");
}

TEST(HabitJson, WritesNullForWhatTheHabitLacks) {
    HabitReport bare;
    bare.uri = "x-dovrel://A/Habit/p1";
    const auto json = habitJson(bare, kKyiv);
    for (const char* key :
         {"name", "question", "color", "times", "days", "interval", "remindTime"}) {
        EXPECT_TRUE(json.at(key).is_null()) << key;
    }
    EXPECT_EQ(json.at("remind"), false);
    EXPECT_EQ(json.at("progress"), 0);
    EXPECT_EQ(json.at("checked"), false);
    EXPECT_TRUE(json.at("lastFivePerformingDates").empty());
    EXPECT_FALSE(json.contains("checkmarks"));
}

TEST(HabitJson, AddsEveryCheckmarkWhenTheReportCarriesThem) {
    auto withCheckmarks = report();
    withCheckmarks.checkmarks = std::vector<Date>{civilDate(2026, 1, 1, 0, 0, 0, 2.0)};
    const auto json = habitJson(withCheckmarks, kKyiv);
    EXPECT_EQ(json.at("checkmarks").dump(), R"(["2026-01-01T00:00:00+02:00"])");
    EXPECT_EQ(std::prev(json.end()).key(), "checkmarks");
}

TEST(HabitJson, WritesAZeroOffsetAsDigits) {
    const Region utc("gregorian", "UTC", "en_US");
    EXPECT_EQ(isoDateTime(civilDate(2026, 3, 10, 9, 0, 0), utc), "2026-03-10T09:00:00+00:00");
}

TEST(HabitJson, ListsHabitsInTheGivenOrder) {
    auto first = report();
    auto second = report();
    second.name = "Run";
    const auto json = habitListJson({first, second}, kKyiv);
    ASSERT_TRUE(json.is_array());
    ASSERT_EQ(json.size(), 2u);
    EXPECT_EQ(json[0].at("name"), "Read");
    EXPECT_EQ(json[1].at("name"), "Run");
    EXPECT_EQ(habitListJson({}, kKyiv).dump(), "[]");
}

}  // namespace
}  // namespace dovrel::cli

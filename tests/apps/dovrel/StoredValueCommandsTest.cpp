// Black-box tests of values that another program wrote into the store or a backup, however odd:
// every command still answers.

#include "tests/apps/dovrel/HabitCommands.h"
#include "tests/support/CivilDate.h"

#include <bit>
#include <cstdint>

namespace dovrel {
namespace {

using testing::contentsOf;
using testing::HabitCommands;
using testing::ProgramResult;
using testing::withoutURIs;
namespace fs = std::filesystem;

// ---- Stored values that the decoders accept ---------------------------------------------------

// The SQL blob literal of little-endian 64-bit words, each followed by the bytes in `after`.
std::string blobLiteral(const std::vector<std::uint64_t>& words,
                        const std::vector<std::string>& after = {}) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string literal = "X'";
    for (std::size_t index = 0; index < words.size(); ++index) {
        for (int shift = 0; shift < 64; shift += 8) {
            const auto byte = static_cast<std::uint8_t>(words[index] >> shift);
            literal += kDigits[byte >> 4];
            literal += kDigits[byte & 0xF];
        }
        if (index < after.size()) {
            literal += after[index];
        }
    }
    return literal + "'";
}

// The five-date blob: slots 0 to 2 hold these dates (tag 0), slots 3 and 4 are empty.
std::string fiveDateBlob(double first, double second, double third) {
    const std::string present = "00" + std::string(14, '0');
    const std::string empty = "01" + std::string(14, '0');
    return blobLiteral({std::bit_cast<std::uint64_t>(first), std::bit_cast<std::uint64_t>(second),
                        std::bit_cast<std::uint64_t>(third), 0, 0},
                       {present, present, present, empty, "01"});
}

// Seconds since 2001 of a Kyiv wall-clock time in early March 2026 (UTC+2).
double kyivSeconds(unsigned day, int hour = 0) {
    return testing::civilDate(2026, 3, day, hour, 0, 0, 2.0).timeIntervalSinceReferenceDate();
}

TEST_F(HabitCommands, AnIntervalOfBillionsOfDaysInTheStoreIsShownAndRemindsFarAhead) {
    succeed({"add", "Read", "--remind", "09:00"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-08"});
    succeed({"check", "Read", "--at", "2026-03-09"});
    writeStore("UPDATE Habit SET repeatInterval = " + blobLiteral({1, 3'000'000'000}));
    expectEveryQueryToAnswer("Read");

    auto read = json({"list"});
    EXPECT_EQ(read[0]["times"], 1);
    EXPECT_EQ(read[0]["days"], 3'000'000'000);
    EXPECT_EQ(read[0]["interval"], "1 time in 3000000000 days");
    EXPECT_EQ(read[0]["progress"], 10);
    EXPECT_NE(succeed({"list"}).find("1 time in 3000000000 days"), std::string::npos);
    // A missed day costs a three-billionth of a day's loss.
    EXPECT_EQ(json({"show", "Read", "--at", "2030-01-01"})["progress"], 10);
    // The reminder pauses for the longest skip: about 57,000 years.
    const auto shown = succeed({"show", "Read"});
    const auto reminder = shown.find("Next reminder  ");
    ASSERT_NE(reminder, std::string::npos) << shown;
    EXPECT_NE(shown.substr(reminder, shown.find('\n', reminder) - reminder).find("59"),
              std::string::npos)
        << shown;

    EXPECT_EQ(succeed({"check", "Read"}), "“Read” is checked on Tue, Mar 10, 2026. Progress: 14\n");
    const auto file = (home_.path() / "habits.backup").string();
    succeed({"backup", file});
    EXPECT_EQ(
        nlohmann::ordered_json::parse(contentsOf(file))["habits"][0]["repeatInterval"]["days"],
        3'000'000'000);
    const auto other = (home_.path() / "other.sqlite").string();
    succeed({"--store", other, "restore", file});
    EXPECT_EQ(withoutURIs(json({"--store", other, "list"})), withoutURIs(json({"list"})));
}

TEST_F(HabitCommands, AFiveDateCacheWithAnUnplaceableDateInTheStoreSkipsIt) {
    succeed({"add", "Read", "--remind", "09:00"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-08"});
    succeed({"check", "Read", "--at", "2026-03-09"});
    for (const double unplaceable :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), 1e300, -1e300}) {
        SCOPED_TRACE(unplaceable);
        writeStore("UPDATE Habit SET lastFivePerformingDates = " +
                   fiveDateBlob(kyivSeconds(8), unplaceable, kyivSeconds(9)));
        expectEveryQueryToAnswer("Read");
        const auto read = json({"list"})[0];
        EXPECT_EQ(read["lastFivePerformingDates"],
                  nlohmann::ordered_json::array(
                      {"2026-03-08T00:00:00+02:00", "2026-03-09T00:00:00+02:00"}));
        EXPECT_EQ(read["progress"], 10);
        EXPECT_EQ(json({"show", "Read", "--at", "2026-03-11"})["progress"], 8);
        EXPECT_EQ(json({"show", "Read", "--at", "2026-03-12"})["progress"], 5);
        EXPECT_NE(succeed({"show", "Read"}, "2026-03-10 08:00:00")
                      .find("Next reminder  Tue, Mar 10, 2026, 9:00"),
                  std::string::npos);
        const auto file = (home_.path() / "habits.backup").string();
        succeed({"backup", file});
        // A toggle on and off rebuilds the cache from the checkmarks.
        succeed({"check", "Read"});
        succeed({"check", "Read"}, "2026-03-10 09:00:10");
        EXPECT_EQ(json({"list"})[0]["lastFivePerformingDates"].size(), 2u);
    }
}

TEST_F(HabitCommands, AStoredProgressOutsideZeroToHundredIsRecomputed) {
    succeed({"add", "Read", "--remind", "09:00"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-08"});
    succeed({"check", "Read", "--at", "2026-03-09"});
    for (const char* stored : {"1e300", "-1e300", "250", "-5", "9e999", "-9e999"}) {
        SCOPED_TRACE(stored);
        writeStore(std::string("UPDATE Habit SET lastPerformingDateProgress = ") + stored);
        expectEveryQueryToAnswer("Read");
        EXPECT_EQ(json({"list"})[0]["progress"], 10);
        EXPECT_EQ(json({"list", "--at", "2026-03-11"})[0]["progress"], 8);
        EXPECT_EQ(json({"show", "Read", "--at", "2026-03-12"})["progress"], 5);

        const auto file = (home_.path() / "habits.backup").string();
        const auto backup = run({"backup", file});
        if (std::string(stored).find("999") == std::string::npos) {
            EXPECT_EQ(backup.exitStatus, 0) << backup.standardError;
            const auto other = (home_.path() / (std::string(stored) + ".sqlite")).string();
            succeed({"--store", other, "restore", file});
            EXPECT_EQ(json({"--store", other, "show", "Read", "--at", "2026-03-11"})["progress"],
                      8);
        } else {
            // JSON holds no infinity: the habit is named, nothing stops.
            EXPECT_EQ(backup.exitStatus, 1);
            EXPECT_NE(backup.standardError.find("\"Read\""), std::string::npos)
                << backup.standardError;
        }
        // A toggle on and off stores a score again, after which the backup is written.
        succeed({"check", "Read"});
        EXPECT_EQ(succeed({"check", "Read"}, "2026-03-10 09:00:10"),
                  "“Read” is no longer checked on Tue, Mar 10, 2026. Progress: 10\n");
        EXPECT_EQ(run({"backup", file}).exitStatus, 0);
    }
}

TEST_F(HabitCommands, ARestoredBackupWithOddValuesAnswersEveryQuery) {
    succeed({"add", "Read", "--remind", "09:00"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-08"});
    succeed({"check", "Read", "--at", "2026-03-09"});
    const auto file = home_.path() / "habits.backup";
    succeed({"backup", file.string()});
    auto archive = nlohmann::ordered_json::parse(contentsOf(file));
    auto& record = archive["habits"][0];
    record["repeatInterval"]["days"] = 3'000'000'000;
    record["lastFivePerformingDates"]["dates"].push_back(1e300);
    record["lastFivePerformingDates"]["dates"].push_back(-1e300);
    record["lastPerformingDateProgress"] = 1e300;
    std::ofstream(file) << archive.dump();

    const auto other = (home_.path() / "other.sqlite").string();
    succeed({"--store", other, "restore", file.string()});
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"list"},
                                               {"list", "--json"},
                                               {"show", "Read"},
                                               {"show", "Read", "--at", "2026-03-08", "--json"},
                                               {"check", "Read"},
                                               {"backup", (home_.path() / "again").string()}}) {
        std::vector<std::string> withStore = {"--store", other};
        withStore.insert(withStore.end(), arguments.begin(), arguments.end());
        const auto result = run(withStore, "2026-03-10 09:00:00");
        EXPECT_EQ(result.exitStatus, 0) << arguments[0] << ": " << result.standardError;
    }
    const auto restored = json({"--store", other, "show", "Read", "--at", "2026-03-09"});
    EXPECT_EQ(restored["days"], 3'000'000'000);
    EXPECT_EQ(restored["progress"], 10);
    EXPECT_EQ(restored["checkmarks"].size(), 3u);
}

TEST_F(HabitCommands, ABackupCheckmarkTheCalendarCannotPlaceIsRefusedNamingTheHabit) {
    succeed({"add", "Read"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-08"});
    const auto file = home_.path() / "habits.backup";
    succeed({"backup", file.string()});
    auto archive = nlohmann::ordered_json::parse(contentsOf(file));
    archive["habits"][0]["performings"].push_back({{"date", 1e300}});
    std::ofstream(file) << archive.dump();

    const auto other = (home_.path() / "other.sqlite").string();
    const auto result = run({"--store", other, "restore", file.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.standardError.starts_with(
        "dovrel: Nothing was restored from " + file.string() +
        ": The habit record at index 0 (\"Read\") could not be restored: "))
        << result.standardError;
    EXPECT_NE(result.standardError.find("habits[0].performings[1].date"), std::string::npos)
        << result.standardError;
    EXPECT_EQ(json({"--store", other, "list"}), nlohmann::ordered_json::array());
}

}  // namespace
}  // namespace dovrel

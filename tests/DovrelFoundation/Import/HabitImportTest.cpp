#include "DovrelFoundation/Import/HabitImport.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "DovrelFoundation/Export/CsvExport.h"
#include "DovrelFoundation/Import/CsvReader.h"
#include "DovrelFoundation/Import/HabitctlImport.h"
#include "DovrelFoundation/Import/LoopBackupImport.h"
#include "DovrelFoundation/Import/LoopCsvImport.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStoreDescription.h"
#include "tests/support/CivilDate.h"
#include "tests/support/FileContents.h"
#include "tests/support/ScopedRegion.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::civilDate;

// Midnight in Kyiv (UTC+2 in winter) of a January 2024 day.
Date kyivDay(unsigned day, unsigned month = 1, int year = 2024) {
    return civilDate(year, month, day, 0, 0, 0, 2.0);
}

void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

using testing::contentsOf;

std::string hexOf(const std::optional<Color>& color) {
    if (!color) {
        return "none";
    }
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X",
                  static_cast<int>(std::lround(color->components()[0] * 255)),
                  static_cast<int>(std::lround(color->components()[1] * 255)),
                  static_cast<int>(std::lround(color->components()[2] * 255)));
    return text;
}

// The message of the ImportError that `read` throws.
template <typename Read>
std::string importError(Read read) {
    try {
        read();
    } catch (const ImportError& error) {
        return error.what();
    }
    return "no error";
}

class HabitImportTest : public ::testing::Test {
  protected:
    static constexpr const char* kLoopHeader =
        "Position,Name,Type,Question,Description,FrequencyNumerator,FrequencyDenominator,Color,"
        "Unit,Target Type,Target Value,Archived?\n";

    fs::path loopBackup(const std::string& script) const {
        const fs::path file = folder_.path() / (script + ".db");
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
        const std::string sql =
            contentsOf(fs::path(DOVREL_TEST_DATA_DIR) / "import" / (script + ".sql"));
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
        return file;
    }

    std::unique_ptr<store::PersistentContainer> openStore() const {
        registerValueTransformers();
        auto container = std::make_unique<store::PersistentContainer>("Habit", currentHabitModel());
        container->setPersistentStoreDescriptions(
            {store::PersistentStoreDescription(folder_.path() / "Habit.sqlite")});
        container->loadPersistentStores(
            [](const store::PersistentStoreDescription&, std::optional<Error> error) {
                EXPECT_FALSE(error.has_value());
            });
        return container;
    }

    testing::ScopedRegion region_{"Europe/Kyiv", "en_US"};
    testing::TemporaryDirectory folder_;
};

TEST_F(HabitImportTest, CsvFieldsWithCommasQuotesAndLineBreaksReadAndWriteBack) {
    const auto records =
        readCsv("a,\"b, c\",\"say \"\"hi\"\"\"\r\n\"two\nlines\",,x\n\n", "test.csv");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].fields, (std::vector<std::string>{"a", "b, c", "say \"hi\""}));
    EXPECT_EQ(records[1].line, 2u);
    EXPECT_EQ(records[1].fields, (std::vector<std::string>{"two\nlines", "", "x"}));
    EXPECT_EQ(csvField("plain"), "plain");
    EXPECT_EQ(csvField("a, \"b\""), "\"a, \"\"b\"\"\"");
    EXPECT_EQ(importError([] { readCsv("a\n\"open", "x.csv"); }),
              "x.csv, line 2: a quoted field is never closed");
}

TEST_F(HabitImportTest, HabitctlHabitsAndTheirYesDaysAreRead) {
    write(folder_.path() / "hc" / "habits",
          "# comment\n1 Meditate\n\n7 Call mum # weekly\n0 Tea\n");
    write(folder_.path() / "hc" / "log",
          "2024-01-01\tMeditate\ty\n2024-01-02\tMeditate\tn\n2024-01-03\tCall mum\ty\n"
          "2024-01-04\tTea\ts\n");
    for (const auto& path : {folder_.path() / "hc", folder_.path() / "hc" / "log"}) {
        const auto read = readHabitsToImport(path);
        EXPECT_EQ(read.format, "habitctl");
        ASSERT_EQ(read.habits.size(), 3u);
        EXPECT_EQ(read.habits[0].name, "Meditate");
        EXPECT_EQ(read.habits[0].interval, RepeatInterval(1, 1));
        EXPECT_EQ(read.habits[0].checkmarks, std::vector<Date>{kyivDay(1)});
        EXPECT_EQ(read.habits[1].name, "Call mum");
        EXPECT_EQ(read.habits[1].interval, RepeatInterval(1, 7));
        EXPECT_EQ(read.habits[1].checkmarks, std::vector<Date>{kyivDay(3)});
        EXPECT_TRUE(read.habits[2].checkmarks.empty());
        ASSERT_EQ(read.notes.size(), 1u);
    }
}

TEST_F(HabitImportTest, HabitctlLinesThatDoNotReadAreNamed) {
    write(folder_.path() / "hc" / "habits", "1 Meditate\n");
    write(folder_.path() / "hc" / "log", "2024-01-01\tMeditate\ty\n2024-02-30\tMeditate\ty\n");
    EXPECT_EQ(importError([&] { readHabitctl(folder_.path() / "hc"); }),
              "log, line 2: the date \"2024-02-30\" is not a day");
    write(folder_.path() / "hc" / "log", "2024-01-01\tRun\ty\n");
    EXPECT_EQ(importError([&] { readHabitctl(folder_.path() / "hc"); }),
              "log, line 1: \"Run\" is not in the habits file");
    write(folder_.path() / "hc" / "habits", "1 Meditate\n3 Read\n");
    EXPECT_EQ(importError([&] { readHabitctl(folder_.path() / "hc"); }),
              "habits, line 2: the frequency \"3\" is not 1 (daily), 7 (weekly) or 0 (only "
              "tracked)");
}

TEST_F(HabitImportTest, LoopCsvKeepsColoursIntervalsAndOnlyManualYesDays) {
    const fs::path loop = folder_.path() / "Loop Habits CSV 2024-01-10";
    write(loop / "Habits.csv", std::string(kLoopHeader) +
                                   "1,Read,YES_NO,\"Read, really?\",,3,7,#E64A19,,,0,false\n"
                                   "2,Run,NUMERICAL,,Outside,1,1,#388E3C,km,AT_LEAST,5,false\n");
    write(loop / "001 Read" / "Checkmarks.csv",
          "Date,Value,Notes\n2024-01-01,YES_MANUAL,\n2024-01-02,YES_AUTO,\n2024-01-03,NO,\n"
          "2024-01-04,SKIP,\n2024-01-05,UNKNOWN,\n2024-01-06,YES_MANUAL,\"good, long\"\n");
    write(loop / "002 Run" / "Checkmarks.csv",
          "Date,Value,Notes\n2024-01-01,5.5,\n2024-01-02,2,\n");
    const auto read = readHabitsToImport(loop);
    EXPECT_EQ(read.format, "Loop Habit Tracker CSV");
    ASSERT_EQ(read.habits.size(), 2u);
    EXPECT_EQ(read.habits[0].question, "Read, really?");
    EXPECT_EQ(hexOf(read.habits[0].color), "#E64A19");
    EXPECT_EQ(read.habits[0].interval, RepeatInterval(3, 7));
    EXPECT_EQ(read.habits[0].checkmarks, (std::vector<Date>{kyivDay(1), kyivDay(6)}));
    // The description stands in for a missing question; the numerical habit is checked where it
    // reaches its target, and the import says so.
    EXPECT_EQ(read.habits[1].question, "Outside");
    EXPECT_EQ(read.habits[1].checkmarks, std::vector<Date>{kyivDay(1)});
    ASSERT_EQ(read.notes.size(), 1u);
    EXPECT_NE(read.notes[0].find("Numerical habits"), std::string::npos);
}

TEST_F(HabitImportTest, LoopCsvThatDoesNotReadNamesItsFileAndLine) {
    const fs::path loop = folder_.path() / "loop";
    write(loop / "Habits.csv",
          "Position,Name,Type,Question,Description,FrequencyNumerator,FrequencyDenominator,"
          "Unit,Target Type,Target Value,Archived?\n");
    EXPECT_EQ(importError([&] { readLoopCsvFolder(loop); }),
              "Habits.csv, line 1: the header is not Loop Habit Tracker's (missing: Color)");
    write(loop / "Habits.csv",
          std::string(kLoopHeader) + "1,Read,YES_NO,,,1,1,#E64A19,,,0,false\n");
    write(loop / "001 Read" / "Checkmarks.csv",
          "Date,Value,Notes\n2024-01-01,YES_MANUAL,\n24-1-2,NO,\n");
    EXPECT_EQ(importError([&] { readLoopCsvFolder(loop); }),
              "001 Read/Checkmarks.csv, line 3: the date \"24-1-2\" is not a day");
    write(loop / "Habits.csv",
          std::string(kLoopHeader) + "1,Read,YES_NO,,,0,7,#E64A19,,,0,false\n");
    EXPECT_EQ(importError([&] { readLoopCsvFolder(loop); }),
              "Habits.csv, line 2: the repeat interval 0 in 7 days is outside 1 to 1000 times in "
              "1 to 3650 days");
    write(loop / "Habits.csv", std::string(kLoopHeader) + "1,Read,YES_NO,,,1,1,red,,,0,false\n");
    EXPECT_EQ(importError([&] { readLoopCsvFolder(loop); }),
              "Habits.csv, line 2: the colour \"red\" is not #RRGGBB");
}

TEST_F(HabitImportTest, LoopBackupReadsPaletteColoursQuestionsRemindersAndUserDoneDays) {
    const auto read = readHabitsToImport(loopBackup("loop-backup-v23"));
    EXPECT_EQ(read.format, "Loop Habit Tracker backup");
    ASSERT_EQ(read.habits.size(), 4u);
    // In the order of their positions.
    EXPECT_EQ(read.habits[0].name, "Gym");
    EXPECT_EQ(hexOf(read.habits[0].color), "#E64A19");
    EXPECT_EQ(read.habits[0].interval, RepeatInterval(3, 7));
    EXPECT_EQ(read.habits[0].checkmarks, (std::vector<Date>{kyivDay(1), kyivDay(3)}));
    EXPECT_FALSE(read.habits[0].question.has_value());
    const auto& meditate = read.habits[1];
    EXPECT_EQ(meditate.question, "Sat down?");
    EXPECT_EQ(hexOf(meditate.color), "#388E3C");
    EXPECT_EQ(meditate.reminder, std::make_pair(7, 30));
    EXPECT_EQ(meditate.checkmarks, (std::vector<Date>{kyivDay(1), kyivDay(2), kyivDay(4)}));
    EXPECT_EQ(read.habits[2].checkmarks, (std::vector<Date>{kyivDay(1), kyivDay(3)}));
    EXPECT_EQ(hexOf(read.habits[3].color), "#AAAAAA");
    EXPECT_EQ(read.notes.size(), 1u);
}

TEST_F(HabitImportTest, AnOlderLoopBackupKeepsTheArgbColourAndTakesEveryRowAsACheckmark) {
    const auto read = readLoopBackup(loopBackup("loop-backup-v13"));
    ASSERT_EQ(read.habits.size(), 1u);
    EXPECT_EQ(hexOf(read.habits[0].color), "#123456");
    EXPECT_EQ(read.habits[0].question, "Twenty pages?");
    EXPECT_EQ(read.habits[0].checkmarks, (std::vector<Date>{kyivDay(1), kyivDay(2)}));
}

TEST_F(HabitImportTest, AnUnknownPaletteIndexOrAStrayRepetitionIsNamed) {
    const auto file = loopBackup("loop-backup-v23");
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_exec(database, "UPDATE Habits SET color = 20 WHERE id = 2", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    EXPECT_EQ(importError([&] { readLoopBackup(file); }),
              "Habits, id 2: the colour 20 is not an index of Loop's palette (0 to 19)");
    sqlite3_open(file.c_str(), &database);
    sqlite3_exec(database,
                 "UPDATE Habits SET color = 1 WHERE id = 2; "
                 "INSERT INTO Repetitions (id, habit, timestamp, value) VALUES (99, 9, 0, 2)",
                 nullptr, nullptr, nullptr);
    sqlite3_close(database);
    EXPECT_EQ(importError([&] { readLoopBackup(file); }),
              "Repetitions, row 99: the habit 9 is not in Habits");
}

TEST_F(HabitImportTest, AFileOfNoKnownFormatIsSaidToBeNone) {
    write(folder_.path() / "notes.txt", "hello");
    EXPECT_NE(importError([&] {
                  readHabitsToImport(folder_.path() / "notes.txt");
              }).find("not a file Dovrel can import"),
              std::string::npos);
    EXPECT_NE(importError([&] {
                  readHabitsToImport(folder_.path() / "missing");
              }).find("there is no such file or folder"),
              std::string::npos);
}

TEST_F(HabitImportTest, ImportingAddsHabitsWithTheirCachesOnceAndADryRunAddsNothing) {
    const auto read = readHabitsToImport(loopBackup("loop-backup-v23"));
    auto container = openStore();
    auto& context = *container->viewContext();
    const auto dry = importHabits(read, context, true);
    EXPECT_EQ(dry.added.size(), 4u);
    EXPECT_EQ(dry.checkmarks, 7u);
    EXPECT_TRUE(context.fetch(Habit::fetchRequest(std::nullopt, false)).empty());

    const auto first = importHabits(read, context, false);
    EXPECT_EQ(first.added, (std::vector<std::string>{"Gym", "Meditate", "Water", "Old"}));
    const auto habits = context.fetch(Habit::sortedFetchRequest(std::nullopt, false));
    ASSERT_EQ(habits.size(), 4u);
    for (const auto& habit : habits) {
        const auto dates = habit->performingDates();
        const auto interval = *habit->repeatInterval();
        EXPECT_EQ(
            habit->lastPerformingDateProgress(),
            HabitProgressCalculator::calculateProgress(dates, interval.times(), interval.days()))
            << *habit->name();
        EXPECT_EQ(habit->lastPerformingDate(),
                  dates.empty()
                      ? std::nullopt
                      : std::optional<Date>(*std::max_element(dates.begin(), dates.end())));
        EXPECT_TRUE(habit->color().has_value());
    }
    EXPECT_TRUE(habits[1]->remind());

    // The same file again: every habit is recognised.
    const auto second = importHabits(read, context, false);
    EXPECT_TRUE(second.added.empty());
    EXPECT_EQ(second.alreadyThere.size(), 4u);
    EXPECT_EQ(context.fetch(Habit::fetchRequest(std::nullopt, false)).size(), 4u);
}

TEST_F(HabitImportTest, TheCsvExportQuotesAsSpreadsheetsReadAndListsEveryCheckmark) {
    ImportedHabits habits;
    ImportedHabit habit;
    habit.name = "Read, \"really\"";
    habit.color = Color::rgb(1, 0, 0);
    habit.interval = RepeatInterval(3, 7);
    habit.checkmarks = {kyivDay(2), kyivDay(1)};
    habits.habits.push_back(habit);
    auto container = openStore();
    importHabits(habits, *container->viewContext(), false);
    const auto outcome = exportHabitsAsCsv(*container->viewContext(), folder_.path() / "out");
    EXPECT_EQ(outcome.habits, 1u);
    EXPECT_EQ(outcome.checkmarks, 2u);
    const auto rows = readCsv(contentsOf(folder_.path() / "out" / "habits.csv"), "habits.csv");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].fields[1], "name");
    EXPECT_EQ(rows[1].fields[1], "Read, \"really\"");
    EXPECT_EQ(rows[1].fields[3], "#FF0000");
    EXPECT_EQ(rows[1].fields[4], "3");
    EXPECT_EQ(rows[1].fields[9], "2");
    const std::string checkmarks = contentsOf(folder_.path() / "out" / "checkmarks.csv");
    EXPECT_EQ(checkmarks.substr(0, 22), "habit,uri,date,day\r\n\"R");
    const auto marks = readCsv(checkmarks, "checkmarks.csv");
    ASSERT_EQ(marks.size(), 3u);
    EXPECT_EQ(marks[1].fields[2], "2024-01-01T00:00:00+02:00");
    EXPECT_EQ(marks[1].fields[3], "2024-01-01");
    EXPECT_EQ(marks[2].fields[3], "2024-01-02");
}

}  // namespace
}  // namespace dovrel

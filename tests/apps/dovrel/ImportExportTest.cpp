// Black-box tests of `dovrel import` and `dovrel export --csv`.

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel {
namespace {

using testing::contentsOf;
using testing::HabitCommands;
namespace fs = std::filesystem;

class ImportExport : public HabitCommands {
  protected:
    void write(const fs::path& file, const std::string& text) const {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }

    // Loop Habit Tracker's backup made from the committed script with the sqlite3 shell.
    fs::path loopBackup() const {
        const fs::path file = home_.path() / "Loop.db";
        const std::string command = "sqlite3 '" + file.string() +
                                    "' < '" DOVREL_TEST_DATA_DIR "/import/loop-backup-v23.sql'";
        EXPECT_EQ(std::system(command.c_str()), 0);
        return file;
    }

    fs::path habitctl() const {
        const fs::path folder = home_.path() / ".habitctl";
        write(folder / "habits", "1 Meditate\n7 Call mum\n");
        write(folder / "log",
              "2026-03-08\tMeditate\ty\n2026-03-09\tMeditate\ty\n"
              "2026-03-09\tCall mum\tn\n");
        return folder;
    }
};

TEST_F(ImportExport, ADryRunSaysWhatWouldComeAndChangesNothing) {
    const auto folder = habitctl();
    const std::string output = succeed({"import", folder.string(), "--dry-run"});
    EXPECT_EQ(output, "Habits that would be imported from " + folder.string() +
                          " (habitctl): 2, with 2 checkmarks. Nothing was changed.\n"
                          "  + Meditate\n  + Call mum\n");
    EXPECT_EQ(json({"list"}), nlohmann::ordered_json::array());
}

TEST_F(ImportExport, ImportingTwiceAddsNothingTheSecondTime) {
    const auto folder = habitctl();
    const std::string first = succeed({"import", folder.string()});
    EXPECT_NE(first.find("(habitctl): 2, with 2 checkmarks."), std::string::npos) << first;
    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]["name"], "Meditate");
    EXPECT_EQ(list[0]["lastFivePerformingDates"],
              (nlohmann::ordered_json{"2026-03-08T00:00:00+02:00", "2026-03-09T00:00:00+02:00"}));
    EXPECT_EQ(list[1]["days"], 7);
    const std::string second = succeed({"import", folder.string()});
    EXPECT_EQ(second, "Habits imported from " + folder.string() +
                          " (habitctl): 0, with 0 checkmarks.\n"
                          "  = Meditate (already there, left as it is)\n"
                          "  = Call mum (already there, left as it is)\n");
    EXPECT_EQ(json({"list"}).size(), 2u);
}

TEST_F(ImportExport, ALoopBackupComesInWithItsColoursQuestionsAndReminders) {
    const std::string output = succeed({"import", loopBackup().string()});
    EXPECT_NE(output.find("(Loop Habit Tracker backup): 4, with 7 checkmarks."), std::string::npos)
        << output;
    EXPECT_NE(output.find("Numerical habits are imported as yes/no habits"), std::string::npos);
    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[0]["name"], "Gym");
    EXPECT_EQ(list[0]["color"], "#E64A19");
    EXPECT_EQ(list[1]["question"], "Sat down?");
    EXPECT_EQ(list[1]["remind"], true);
    EXPECT_EQ(list[1]["remindTime"], "07:30");
}

TEST_F(ImportExport, AFileThatDoesNotReadImportsNothingAndNamesTheRecord) {
    succeed({"add", "Water"});
    const auto folder = habitctl();
    write(folder / "log", "2026-03-08\tMeditate\ty\n2026-03-08\tRun\ty\n");
    const auto result = run({"import", folder.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardError, "dovrel: Nothing was imported from " + folder.string() +
                                        ": log, line 2: \"Run\" is not in the habits file\n");
    EXPECT_EQ(json({"list"}).size(), 1u);
    // A truncated backup is no store to read either.
    const auto backup = loopBackup();
    const std::string whole = contentsOf(backup);
    write(backup, whole.substr(0, whole.size() / 2));
    const auto truncated = run({"import", backup.string()});
    EXPECT_EQ(truncated.exitStatus, 1);
    EXPECT_NE(truncated.standardError.find("Nothing was imported"), std::string::npos)
        << truncated.standardError;
    EXPECT_EQ(json({"list"}).size(), 1u);
}

TEST_F(ImportExport, TheCsvExportHasEveryHabitAndCheckmark) {
    succeed({"add", "Read, daily", "--color", "#112233"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-08"});
    succeed({"check", "Read", "--at", "2026-03-09"});
    const fs::path folder = home_.path() / "export";
    const std::string output = succeed({"export", "--csv", folder.string()});
    EXPECT_EQ(output, "Wrote habits.csv and checkmarks.csv to " + folder.string() +
                          ": 1 habits, 2 checkmarks.\n");
    const std::string habits = contentsOf(folder / "habits.csv");
    EXPECT_EQ(habits.substr(0, habits.find("\r\n")),
              "uri,name,question,color,times,days,remind,remindTime,creationDate,checkmarks");
    EXPECT_NE(habits.find(",\"Read, daily\",,#112233,1,1,false,,2026-03-01T08:00:00+02:00,2\r\n"),
              std::string::npos)
        << habits;
    const std::string checkmarks = contentsOf(folder / "checkmarks.csv");
    EXPECT_NE(checkmarks.find(",2026-03-08T00:00:00+02:00,2026-03-08\r\n"), std::string::npos)
        << checkmarks;
    // Dovrel's own CSV is not one of the formats that import reads: it says so.
    const auto again = run({"import", (folder / "habits.csv").string()});
    EXPECT_EQ(again.exitStatus, 1);
}

TEST_F(ImportExport, LoopsZippedCsvExportComesInAsItIsAndATruncatedOneIsRefused) {
    const fs::path loop = home_.path() / "unpacked";
    write(loop / "Habits.csv",
          "Position,Name,Type,Question,Description,FrequencyNumerator,FrequencyDenominator,Color,"
          "Unit,Target Type,Target Value,Archived?\n1,Read,YES_NO,,,3,7,#E64A19,,,0,false\n");
    write(loop / "001 Read" / "Checkmarks.csv",
          "Date,Value,Notes\n2026-03-08,YES_MANUAL,\n2026-03-09,YES_AUTO,\n");
    write(loop / "Checkmarks.csv", "Date,Read\n2026-03-08,2\n");
    const fs::path archive = home_.path() / "Loop Habits CSV 2026-03-10.zip";
    ASSERT_EQ(
        std::system(("cd '" + loop.string() + "' && zip -qr '" + archive.string() + "' .").c_str()),
        0);
    const std::string whole = contentsOf(archive);
    const std::string output = succeed({"import", archive.string()});
    EXPECT_NE(output.find("(Loop Habit Tracker CSV): 1, with 1 checkmarks."), std::string::npos)
        << output;
    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["color"], "#E64A19");
    EXPECT_EQ(list[0]["times"], 3);

    const fs::path truncated = home_.path() / "truncated.zip";
    write(truncated, whole.substr(0, whole.size() - 40));
    const auto result = run({"import", truncated.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.standardError.find("the zip archive cannot be read"), std::string::npos)
        << result.standardError;
    EXPECT_EQ(json({"list"}).size(), 1u);
}

TEST_F(ImportExport, AZipEntryThatLeavesItsFolderIsRefused) {
    const fs::path archive = home_.path() / "evil.zip";
    const std::string script = "import zipfile; z = zipfile.ZipFile('" + archive.string() +
                               "', 'w'); z.writestr('../outside.txt', 'x'); z.close()";
    ASSERT_EQ(std::system(("python3 -c \"" + script + "\"").c_str()), 0);
    const auto result = run({"import", archive.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_NE(result.standardError.find("../outside.txt: the name leaves the archive's folder"),
              std::string::npos)
        << result.standardError;
    EXPECT_FALSE(fs::exists(fs::temp_directory_path() / "outside.txt"));
}

}  // namespace
}  // namespace dovrel

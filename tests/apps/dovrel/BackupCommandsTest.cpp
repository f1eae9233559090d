// Black-box tests of backup and restore: round trips, dry runs, malformed files, and habits without
// a colour.

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel {
namespace {

using testing::contentsOf;
using testing::HabitCommands;
using testing::ProgramResult;
using testing::withoutURIs;
namespace fs = std::filesystem;

TEST_F(HabitCommands, BackupThenRestoreIntoAnEmptyStoreGivesEqualJson) {
    succeed({"add", "Read", "--question", "Twenty pages?", "--times", "3", "--days", "7",
             "--remind", "21:15", "--color", "grape"},
            "2026-03-01 08:00:00");
    succeed({"add", "Run", "--color", "#102030"}, "2026-03-01 08:01:00");
    succeed({"add", "Пити воду"}, "2026-03-01 08:02:00");
    for (const char* day : {"2026-03-02", "2026-03-03T07:30", "2026-03-05", "2026-03-06",
                            "2026-03-08", "2026-03-09T23:59:59"}) {
        succeed({"check", "Read", "--at", day});
    }
    succeed({"check", "Run", "--at", "2026-03-04T12:00"});
    const auto file = (home_.path() / "habits.backup").string();
    EXPECT_EQ(succeed({"backup", file}), "Backed up 3 habits to " + file + ".\n");

    const auto other = (home_.path() / "empty.sqlite").string();
    EXPECT_EQ(succeed({"--store", other, "restore", file}),
              "Restored 3 habits from " + file + ".\n");
    const auto original = json({"list"});
    const auto restored = json({"--store", other, "list"});
    EXPECT_EQ(withoutURIs(restored), withoutURIs(original));
    for (const char* habit : {"1", "2", "3"}) {
        for (const char* day : {"2026-03-03", "2026-03-10"}) {
            auto before = json({"show", habit, "--at", day});
            auto after = json({"--store", other, "show", habit, "--at", day});
            before.erase("uri");
            after.erase("uri");
            EXPECT_EQ(after, before) << habit << " " << day;
        }
    }
    EXPECT_EQ(json({"--store", other, "show", "Read"})["checkmarks"].size(), 6u);
}

TEST_F(HabitCommands, ADryRunRestoreSaysWhatItWouldAddAndAddsNothing) {
    succeed({"add", "Read"}, "2026-03-01 08:00:00");
    succeed({"add", "Run"}, "2026-03-01 08:01:00");
    succeed({"check", "Read", "--at", "2026-03-02"});
    succeed({"check", "Read", "--at", "2026-03-03"});
    succeed({"check", "Run", "--at", "2026-03-03"});
    const auto file = (home_.path() / "habits.backup").string();
    succeed({"backup", file});
    const auto other = (home_.path() / "other.sqlite").string();
    succeed({"--store", other, "add", "Swim"});
    EXPECT_EQ(
        succeed({"--store", other, "restore", file, "--dry-run"}),
        "Restoring " + file + " would add 2 habits:\n  Read, 2 checkmarks\n  Run, 1 checkmark\n");
    const auto list = json({"--store", other, "list"});
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["name"], "Swim");
}

TEST_F(HabitCommands, ARestoreOfAMalformedFileLeavesTheStoreUnchanged) {
    succeed({"add", "Read"}, "2026-03-01 08:00:00");
    succeed({"check", "Read", "--at", "2026-03-02"});
    const auto file = home_.path() / "habits.backup";
    succeed({"backup", file.string()});
    // The second record lacks its checkmarks: the whole archive is refused.
    auto archive = nlohmann::ordered_json::parse(contentsOf(file));
    auto broken = archive["habits"][0];
    broken["name"] = "Broken";
    broken.erase("performings");
    archive["habits"].push_back(broken);
    std::ofstream(file) << archive.dump();
    const auto before = json({"list"});
    const std::string bytes = contentsOf(storePath());

    const auto result = run({"restore", file.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_TRUE(result.standardError.starts_with("dovrel: Nothing was restored from " +
                                                 file.string() + ": "))
        << result.standardError;
    EXPECT_NE(result.standardError.find("Broken"), std::string::npos) << result.standardError;
    EXPECT_EQ(contentsOf(storePath()), bytes);
    EXPECT_EQ(json({"list"}), before);

    std::ofstream(file) << "{ not json";
    EXPECT_EQ(run({"restore", file.string()}).exitStatus, 1);
    EXPECT_EQ(run({"restore", (home_.path() / "missing.backup").string()}).exitStatus, 1);
    EXPECT_EQ(run({"restore", file.string(), "--dry-run"}).exitStatus, 1);
    EXPECT_EQ(json({"list"}), before);
}

// ---- Backups of habits without a colour -----------------------------------------------------

TEST_F(HabitCommands, ABackupWithAColourlessHabitIsNotWrittenAndTheHabitsAreNamed) {
    succeed({"add", "Read"}, "2026-03-01 08:00:00");
    succeed({"add", "Run"}, "2026-03-01 08:01:00");
    succeed({"add", "Swim"}, "2026-03-01 08:02:00");
    writeStore("UPDATE Habit SET color = NULL WHERE name IN ('Run', 'Swim')");
    EXPECT_TRUE(json({"show", "Run"})["color"].is_null());

    const auto file = home_.path() / "habits.backup";
    const auto refused = run({"backup", file.string()});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_EQ(refused.standardOutput, "");
    EXPECT_EQ(refused.standardError,
              "dovrel: Nothing was written to " + file.string() +
                  ": 2 habits have no colour (2 “Run”, 3 “Swim”), and a backup that holds a "
                  "habit without a colour cannot be restored. Give each a colour with “dovrel "
                  "edit HABIT --color NAME” (the names are in “dovrel palette”), or write the "
                  "backup anyway with --force.\n");
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(fs::exists(file.string() + ".partial"));

    // Following the advice makes the backup possible.
    succeed({"edit", "Run", "--color", "sky"});
    const auto stillOne = run({"backup", file.string()});
    EXPECT_EQ(stillOne.exitStatus, 1);
    EXPECT_NE(stillOne.standardError.find("1 habit has no colour (3 “Swim”)"), std::string::npos)
        << stillOne.standardError;
    succeed({"edit", "3", "--color", "grape"});
    EXPECT_EQ(succeed({"backup", file.string()}), "Backed up 3 habits to " + file.string() + ".\n");
    const auto other = (home_.path() / "other.sqlite").string();
    EXPECT_EQ(succeed({"--store", other, "restore", file.string()}),
              "Restored 3 habits from " + file.string() + ".\n");
}

TEST_F(HabitCommands, ABackupWithAColourlessHabitIsWrittenWithForceAndWarns) {
    succeed({"add", "Read"});
    writeStore("UPDATE Habit SET color = NULL");
    const auto file = home_.path() / "habits.backup";
    const auto forced = run({"backup", file.string(), "--force"});
    EXPECT_EQ(forced.exitStatus, 0) << forced.standardError;
    EXPECT_EQ(forced.standardOutput, "Backed up 1 habit to " + file.string() + ".\n");
    EXPECT_EQ(forced.standardError,
              "dovrel: warning: 1 habit has no colour (1 “Read”), so " + file.string() +
                  " cannot be restored while it holds them. Give each a colour with “dovrel edit "
                  "HABIT --color NAME” and back up again.\n");
    const auto archive = nlohmann::ordered_json::parse(contentsOf(file));
    EXPECT_TRUE(archive["habits"][0]["colorHex"].is_null());
    // Such a file does not restore, as the warning said.
    const auto other = (home_.path() / "other.sqlite").string();
    EXPECT_EQ(run({"--store", other, "restore", file.string()}).exitStatus, 1);
}

TEST_F(HabitCommands, TheColourlessBackupMessagesSpeakUkrainian) {
    succeed({"add", "Читати"});
    succeed({"add", "Бігати"}, "2026-03-10 09:01:00");
    writeStore("UPDATE Habit SET color = NULL");
    const auto file = home_.path() / "habits.backup";
    const auto refused = run({"backup", file.string()}, "2026-03-10 09:02:00", "uk_UA.UTF-8");
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_EQ(refused.standardError,
              "dovrel: До " + file.string() +
                  " нічого не записано: 2 звички не мають кольору (1 «Читати», 2 «Бігати»), а "
                  "резервну копію зі звичкою без кольору неможливо відновити. Призначте кожній "
                  "колір командою «dovrel edit HABIT --color NAME» (назви кольорів є в «dovrel "
                  "palette») або все одно запишіть копію з --force.\n");
    const auto forced =
        run({"backup", file.string(), "--force"}, "2026-03-10 09:02:00", "uk_UA.UTF-8");
    EXPECT_EQ(forced.exitStatus, 0);
    EXPECT_TRUE(
        forced.standardError.starts_with("dovrel: попередження: 2 звички не мають "
                                         "кольору (1 «Читати», 2 «Бігати»), тож " +
                                         file.string()))
        << forced.standardError;
}

}  // namespace
}  // namespace dovrel

#include "DovrelFoundation/Persistence/StorePreflight.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/FileContents.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

using Kind = StoreFileProblem::Kind;
namespace fs = std::filesystem;

struct Closer {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Connection = std::unique_ptr<sqlite3, Closer>;

Connection openDatabase(const fs::path& path) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    return Connection(db);
}

void execute(sqlite3* db, const std::string& sql) {
    char* error = nullptr;
    ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << (error != nullptr ? error : "");
    sqlite3_free(error);
}

// The tables and metadata rows that a store has.
const char* const kStoreSchema =
    "CREATE TABLE Z_METADATA (Z_KEY TEXT PRIMARY KEY, Z_TYPE INTEGER NOT NULL, Z_VALUE);"
    "CREATE TABLE Z_PRIMARYKEY (Z_NAME TEXT PRIMARY KEY, Z_MAX INTEGER NOT NULL);"
    "CREATE TABLE Habit (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL, name TEXT);"
    "CREATE TABLE Performing (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL, date REAL);"
    "INSERT INTO Z_METADATA VALUES ('NSStoreUUID', 4, '6F9619FF-8B86-D011-B42D-00C04FC964FF');"
    "INSERT INTO Z_METADATA VALUES ('NSStoreModelVersionIdentifier', 4, 'HabitV2');";

std::optional<StoreFileProblem> check(const fs::path& path) {
    return checkStoreFile(path, {"HabitV1", "HabitV2"});
}

using testing::contentsOf;

void writeFile(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// Every file in `directory`, by name.
std::vector<std::string> filesIn(const fs::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(StorePreflight, AMissingFileIsFineBecauseTheStoreWillBeMadeThere) {
    testing::TemporaryDirectory directory;
    EXPECT_FALSE(check(directory.path() / "Habit.sqlite").has_value());
    EXPECT_TRUE(filesIn(directory.path()).empty());
}

TEST(StorePreflight, AnEmptyFileIsFine) {
    testing::TemporaryDirectory directory;
    writeFile(directory.path() / "Habit.sqlite", "");
    EXPECT_FALSE(check(directory.path() / "Habit.sqlite").has_value());
}

TEST(StorePreflight, ADatabaseWithTheStoreTablesAndMetadataIsFine) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    execute(openDatabase(path).get(), kStoreSchema);
    EXPECT_FALSE(check(path).has_value());
}

TEST(StorePreflight, TextIsNotAnSQLiteDatabaseAndIsLeftByteForByte) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    const std::string bytes = "these are my notes, not a database\n";
    writeFile(path, bytes);
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::notSQLite);
    EXPECT_EQ(contentsOf(path), bytes);
    EXPECT_EQ(filesIn(directory.path()), std::vector<std::string>{"Habit.sqlite"});
}

TEST(StorePreflight, AnSQLiteHeaderFollowedByGarbageIsCorruptOrNotSQLite) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    std::string bytes("SQLite format 3\0", 16);
    bytes += std::string(4096, '\x5a');
    writeFile(path, bytes);
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_TRUE(problem->kind == Kind::corrupt || problem->kind == Kind::notSQLite);
    EXPECT_EQ(contentsOf(path), bytes);
    EXPECT_EQ(filesIn(directory.path()), std::vector<std::string>{"Habit.sqlite"});
}

TEST(StorePreflight, AStoreThatLostItsEndIsCorrupt) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(), kStoreSchema);
        execute(db.get(),
                "CREATE TABLE filler (x BLOB); INSERT INTO filler VALUES "
                "(zeroblob(100000));");
    }
    const std::string whole = contentsOf(path);
    const std::string half = whole.substr(0, whole.size() / 2);
    writeFile(path, half);
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::corrupt);
    EXPECT_EQ(contentsOf(path), half);
}

TEST(StorePreflight, ADatabaseOfAnotherProgramIsForeignAndGetsNoSideFiles) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(),
                "PRAGMA journal_mode=WAL; CREATE TABLE recipes (name TEXT);"
                "INSERT INTO recipes VALUES ('borscht');");
    }
    const std::string bytes = contentsOf(path);
    ASSERT_EQ(filesIn(directory.path()), std::vector<std::string>{"Habit.sqlite"});
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::foreign);
    EXPECT_EQ(problem->detail, "no table Z_METADATA");
    EXPECT_EQ(contentsOf(path), bytes);
    EXPECT_EQ(filesIn(directory.path()), std::vector<std::string>{"Habit.sqlite"});
}

TEST(StorePreflight, ADatabaseWithoutTablesIsForeign) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    execute(openDatabase(path).get(), "PRAGMA user_version = 7;");
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::foreign);
}

TEST(StorePreflight, StoreTablesWithoutTheStoreMetadataAreForeign) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(), kStoreSchema);
        execute(db.get(), "DELETE FROM Z_METADATA WHERE Z_KEY = 'NSStoreUUID';");
    }
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::foreign);
    EXPECT_EQ(problem->detail, "no metadata NSStoreUUID");
}

TEST(StorePreflight, TablesStillInTheWriteAheadLogAreSeen) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    // A store left open by another process: its tables are only in the -wal file yet.
    auto db = openDatabase(path);
    execute(db.get(), "PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;");
    execute(db.get(), kStoreSchema);
    ASSERT_TRUE(fs::exists(path.string() + "-wal"));
    EXPECT_FALSE(check(path).has_value());
}

TEST(StorePreflight, ADirectoryIsNotAStoreFile) {
    testing::TemporaryDirectory directory;
    fs::create_directory(directory.path() / "Habit.sqlite");
    const auto problem = check(directory.path() / "Habit.sqlite");
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::notAFile);
}

TEST(StorePreflight, AFileThatCannotBeReadIsUnreadable) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads every file";
    }
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    execute(openDatabase(path).get(), kStoreSchema);
    ::chmod(path.c_str(), 0);
    const auto problem = check(path);
    ::chmod(path.c_str(), 0600);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::unreadable);
    EXPECT_FALSE(problem->detail.empty());
}

TEST(StorePreflight, AFolderThatIsAPlainFileCannotHoldTheStore) {
    testing::TemporaryDirectory directory;
    writeFile(directory.path() / "notes", "text");
    const auto problem = check(directory.path() / "notes" / "Habit.sqlite");
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::notWritable);
    EXPECT_EQ(problem->detail, std::strerror(ENOTDIR));
}

TEST(StorePreflight, AMissingFolderCannotHoldTheStore) {
    testing::TemporaryDirectory directory;
    const auto problem = check(directory.path() / "nowhere" / "Habit.sqlite");
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::notWritable);
    EXPECT_EQ(problem->detail, std::strerror(ENOENT));
}

TEST(StorePreflight, AStoreOfAnUnknownModelVersionIsNamedWithThatVersion) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(), kStoreSchema);
        execute(db.get(),
                "UPDATE Z_METADATA SET Z_VALUE = 'HabitV9' WHERE Z_KEY = "
                "'NSStoreModelVersionIdentifier';");
    }
    const auto problem = check(path);
    ASSERT_TRUE(problem.has_value());
    EXPECT_EQ(problem->kind, Kind::unknownModelVersion);
    EXPECT_EQ(problem->detail, "HabitV9");
}

TEST(StorePreflight, AStoreOfAnOlderKnownModelVersionIsFine) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(), kStoreSchema);
        execute(db.get(),
                "UPDATE Z_METADATA SET Z_VALUE = 'HabitV1' WHERE Z_KEY = "
                "'NSStoreModelVersionIdentifier';");
    }
    EXPECT_FALSE(check(path).has_value());
}

TEST(StorePreflight, AStoreThatAnotherProcessHoldsForAMomentIsWaitedFor) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(), std::string("PRAGMA journal_mode=WAL;") + kStoreSchema);
    }
    // A connection in exclusive locking mode keeps every reader out until it closes.
    auto holder = openDatabase(path);
    execute(holder.get(),
            "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; INSERT INTO Habit VALUES (1, 1, "
            "'Read'); COMMIT");
    std::thread releaser([&holder] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        holder.reset();
    });
    const auto started = std::chrono::steady_clock::now();
    const auto problem = check(path);
    const auto waited = std::chrono::steady_clock::now() - started;
    releaser.join();
    EXPECT_FALSE(problem) << problem->detail;
    EXPECT_GE(waited, std::chrono::milliseconds(250));
}

TEST(StorePreflight, AStoreBeingWrittenByAnotherProcessIsFineEveryTime) {
    testing::TemporaryDirectory directory;
    const auto path = directory.path() / "Habit.sqlite";
    {
        auto db = openDatabase(path);
        execute(db.get(), std::string("PRAGMA journal_mode=WAL;") + kStoreSchema);
    }
    // Another connection writes and checkpoints as fast as it can while the file is checked.
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        auto db = openDatabase(path);
        sqlite3_busy_timeout(db.get(), 10000);
        for (int i = 0; !stop; ++i) {
            const std::string insert = "INSERT INTO Performing VALUES (" + std::to_string(i + 1) +
                                       ", 1, " + std::to_string(i) + ".0)";
            sqlite3_exec(db.get(), insert.c_str(), nullptr, nullptr, nullptr);
            if (i % 50 == 0) {
                sqlite3_exec(db.get(), "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr,
                             nullptr);
            }
        }
    });
    int problems = 0;
    for (int i = 0; i < 300; ++i) {
        if (const auto problem = check(path)) {
            ++problems;
            ADD_FAILURE() << "run " << i << ": " << problem->detail;
            if (problems > 3) {
                break;
            }
        }
    }
    stop = true;
    writer.join();
}

}  // namespace
}  // namespace dovrel

#include "platform/foundation/UserDefaults.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/foundation/FileManager.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

constexpr const char* kSuite = "group.dovrel.tests";

class UserDefaultsTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder_;
    ScopedEnvironment dataHome_{"XDG_DATA_HOME", folder_.path().string()};
};

// Runs `body` in a child process and returns its exit status (0 when it returned true).
template <typename Body>
int inChildProcess(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        bool ok = false;
        try {
            ok = body();
        } catch (...) {
            ok = false;
        }
        ::_exit(ok ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST_F(UserDefaultsTest, EveryValueTypeRoundTrips) {
    UserDefaults defaults(kSuite);
    defaults.set("bool", true);
    defaults.set("integer", std::int64_t{-9007199254740993});
    defaults.set("double", 0.1);
    defaults.set("string", std::string("Привіт, світ"));
    defaults.set("date", Date(726'000'000.25));
    defaults.set("data", Data{0x00, 0xFF, 0x10});
    defaults.set("emptyData", Data{});
    defaults.set("emptyString", std::string());

    EXPECT_EQ(defaults.object("bool"), UserDefaults::Value(true));
    EXPECT_EQ(defaults.object("integer"), UserDefaults::Value(std::int64_t{-9007199254740993}));
    EXPECT_EQ(defaults.object("double"), UserDefaults::Value(0.1));
    EXPECT_EQ(defaults.object("string"), UserDefaults::Value(std::string("Привіт, світ")));
    EXPECT_EQ(defaults.object("date"), UserDefaults::Value(Date(726'000'000.25)));
    EXPECT_EQ(defaults.object("data"), UserDefaults::Value(Data{0x00, 0xFF, 0x10}));
    EXPECT_EQ(defaults.object("emptyData"), UserDefaults::Value(Data{}));
    EXPECT_EQ(defaults.object("emptyString"), UserDefaults::Value(std::string()));
}

TEST_F(UserDefaultsTest, TextWithEmbeddedNulKeepsEveryByte) {
    UserDefaults defaults(kSuite);
    const std::string text("a\0b", 3);
    defaults.set("text", text);
    EXPECT_EQ(defaults.object("text"), UserDefaults::Value(text));
}

TEST_F(UserDefaultsTest, LiteralsKeepTheirNaturalType) {
    UserDefaults defaults(kSuite);
    defaults.set("text", "literal");
    defaults.set("number", 5);
    defaults.set("flag", false);
    EXPECT_TRUE(std::holds_alternative<std::string>(*defaults.object("text")));
    EXPECT_TRUE(std::holds_alternative<std::int64_t>(*defaults.object("number")));
    EXPECT_TRUE(std::holds_alternative<bool>(*defaults.object("flag")));
}

TEST_F(UserDefaultsTest, AbsentKeyHasNoValue) {
    UserDefaults defaults(kSuite);
    EXPECT_EQ(defaults.object("missing"), std::nullopt);
    EXPECT_EQ(defaults.object(""), std::nullopt);
}

TEST_F(UserDefaultsTest, EmptyKeyIsAKeyLikeAnyOther) {
    UserDefaults defaults(kSuite);
    defaults.set("", std::int64_t{1});
    EXPECT_EQ(defaults.object(""), UserDefaults::Value(std::int64_t{1}));
}

TEST_F(UserDefaultsTest, RemovalMakesTheValueAbsent) {
    UserDefaults defaults(kSuite);
    defaults.set("key", std::string("value"));
    defaults.removeObject("key");
    EXPECT_EQ(defaults.object("key"), std::nullopt);
    defaults.removeObject("never-set");  // removing nothing is fine
}

TEST_F(UserDefaultsTest, WritingAnotherTypeReplacesValueAndType) {
    UserDefaults defaults(kSuite);
    defaults.set("key", std::int64_t{1});
    defaults.set("key", true);
    EXPECT_EQ(defaults.object("key"), UserDefaults::Value(true));
    defaults.set("key", Date(1));
    EXPECT_EQ(defaults.object("key"), UserDefaults::Value(Date(1)));
}

TEST_F(UserDefaultsTest, TypedKeyGivesItsDefaultUntilSet) {
    UserDefaults defaults(kSuite);
    const DefaultsKey<std::int64_t> launches("numberOfLaunches", 7);
    const DefaultsKey<std::string> name("name", "nobody");
    EXPECT_EQ(defaults.get(launches), 7);
    EXPECT_EQ(defaults.get(name), "nobody");
    defaults.set(launches, std::int64_t{0});
    defaults.set(name, std::string("Ада"));
    EXPECT_EQ(defaults.get(launches), 0);
    EXPECT_EQ(defaults.get(name), "Ада");
}

TEST_F(UserDefaultsTest, RemovingATypedKeyBringsBackItsDefault) {
    UserDefaults defaults(kSuite);
    const DefaultsKey<bool> onboarded("isOnboardingCompleted", false);
    defaults.set(onboarded, true);
    EXPECT_TRUE(defaults.get(onboarded));
    defaults.remove(onboarded);
    EXPECT_FALSE(defaults.get(onboarded));
    EXPECT_EQ(defaults.object("isOnboardingCompleted"), std::nullopt);
}

TEST_F(UserDefaultsTest, OptionalTypedKeyIsAbsentByDefault) {
    UserDefaults defaults(kSuite);
    const DefaultsKey<std::optional<Date>> mergeDate("lastCoreDataMergeTimestamp");
    EXPECT_EQ(defaults.get(mergeDate), std::nullopt);
    defaults.set(mergeDate, std::optional<Date>(Date(42)));
    EXPECT_EQ(defaults.get(mergeDate), Date(42));
}

TEST_F(UserDefaultsTest, SettingNothingThroughAnOptionalKeyRemovesTheValue) {
    UserDefaults defaults(kSuite);
    const DefaultsKey<std::optional<std::int64_t>> index("index");
    defaults.set(index, std::optional<std::int64_t>(3));
    defaults.set(index, std::optional<std::int64_t>());
    EXPECT_EQ(defaults.get(index), std::nullopt);
    EXPECT_EQ(defaults.object("index"), std::nullopt);
}

TEST_F(UserDefaultsTest, OptionalKeyMayHaveADefault) {
    UserDefaults defaults(kSuite);
    const DefaultsKey<std::optional<double>> ratio("ratio", 0.5);
    EXPECT_EQ(defaults.get(ratio), 0.5);
}

TEST_F(UserDefaultsTest, ValueOfAnotherTypeReadsAsTheDefault) {
    UserDefaults defaults(kSuite);
    defaults.set("launches", std::string("many"));
    const DefaultsKey<std::int64_t> launches("launches", 1);
    EXPECT_EQ(defaults.get(launches), 1);
    defaults.set("flag", std::int64_t{1});
    EXPECT_FALSE(defaults.get(DefaultsKey<bool>("flag", false)));
}

TEST_F(UserDefaultsTest, GroupSuiteLivesInItsContainerAsAPrivateFile) {
    UserDefaults defaults(kSuite);
    EXPECT_EQ(defaults.suiteName(), std::optional<std::string>(kSuite));
    EXPECT_EQ(defaults.path(), folder_.path() / kSuite / "UserDefaults.sqlite");
    defaults.set("key", true);
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const auto file = defaults.path().string() + suffix;
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0) << file;
        EXPECT_EQ(status.st_mode & 0777, 0600u) << file;
    }
}

TEST_F(UserDefaultsTest, SuiteFileUsesWriteAheadLogging) {
    UserDefaults defaults(kSuite);
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open_v2(defaults.path().c_str(), &raw, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(raw, &sqlite3_close);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(raw, "PRAGMA journal_mode", -1, &statement, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "wal");
    sqlite3_finalize(statement);
}

TEST_F(UserDefaultsTest, ValuesPersistAcrossInstances) {
    {
        UserDefaults defaults(kSuite);
        defaults.set("kept", std::int64_t{11});
    }
    UserDefaults reopened(kSuite);
    EXPECT_EQ(reopened.object("kept"), UserDefaults::Value(std::int64_t{11}));
}

TEST_F(UserDefaultsTest, TwoInstancesSeeEachOthersWritesAndRemovals) {
    UserDefaults first(kSuite);
    UserDefaults second(kSuite);
    EXPECT_EQ(second.object("shared"), std::nullopt);
    first.set("shared", std::string("one"));
    EXPECT_EQ(second.object("shared"), UserDefaults::Value(std::string("one")));
    second.set("shared", std::string("two"));
    EXPECT_EQ(first.object("shared"), UserDefaults::Value(std::string("two")));
    first.removeObject("shared");
    EXPECT_EQ(second.object("shared"), std::nullopt);
}

TEST_F(UserDefaultsTest, DifferentSuitesAreSeparate) {
    UserDefaults first("group.dovrel.first");
    UserDefaults second("group.dovrel.second");
    first.set("key", true);
    EXPECT_EQ(second.object("key"), std::nullopt);
}

TEST_F(UserDefaultsTest, AnotherProcessSeesWritesAndItsWritesAreSeen) {
    UserDefaults defaults(kSuite);
    defaults.set("fromParent", std::int64_t{1});
    const int status = inChildProcess([] {
        // The child opens its own connection: SQLite handles do not survive fork().
        UserDefaults child(kSuite);
        if (child.object("fromParent") != UserDefaults::Value(std::int64_t{1})) {
            return false;
        }
        child.set("fromChild", std::string("hello"));
        child.removeObject("fromParent");
        return true;
    });
    ASSERT_EQ(status, 0);
    EXPECT_EQ(defaults.object("fromChild"), UserDefaults::Value(std::string("hello")));
    EXPECT_EQ(defaults.object("fromParent"), std::nullopt);
}

TEST_F(UserDefaultsTest, TwoProcessesWritingAtOnceLoseNothing) {
    constexpr int kWrites = 200;
    UserDefaults defaults(kSuite);
    const pid_t child = ::fork();
    if (child == 0) {
        bool ok = true;
        try {
            UserDefaults writer(kSuite);
            for (int i = 0; i < kWrites; ++i) {
                writer.set("child." + std::to_string(i), std::int64_t{i});
            }
        } catch (...) {
            ok = false;
        }
        ::_exit(ok ? 0 : 1);
    }
    for (int i = 0; i < kWrites; ++i) {
        defaults.set("parent." + std::to_string(i), std::int64_t{i});
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    for (int i = 0; i < kWrites; ++i) {
        EXPECT_EQ(defaults.object("child." + std::to_string(i)),
                  UserDefaults::Value(std::int64_t{i}));
        EXPECT_EQ(defaults.object("parent." + std::to_string(i)),
                  UserDefaults::Value(std::int64_t{i}));
    }
}

TEST_F(UserDefaultsTest, CountersRaisedByTwoProcessesAtOnceCountEveryIncrement) {
    constexpr int kIncrements = 300;
    const DefaultsKey<std::int64_t> counter("counter", 0);
    UserDefaults defaults(kSuite);
    const pid_t child = ::fork();
    if (child == 0) {
        bool ok = true;
        try {
            UserDefaults writer(kSuite);
            for (int i = 0; i < kIncrements; ++i) {
                writer.update<std::int64_t>(counter, [](std::int64_t value) { return value + 1; });
            }
        } catch (...) {
            ok = false;
        }
        ::_exit(ok ? 0 : 1);
    }
    for (int i = 0; i < kIncrements; ++i) {
        defaults.update<std::int64_t>(counter, [](std::int64_t value) { return value + 1; });
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(defaults.get(counter), 2 * kIncrements);
}

TEST_F(UserDefaultsTest, UpdateStoresWhatTheChangeReturnsAndNothingRemoves) {
    UserDefaults defaults(kSuite);
    const DefaultsKey<std::optional<std::string>> word("word");
    EXPECT_EQ(
        defaults.update<std::optional<std::string>>(word,
                                                    [](std::optional<std::string> value) {
                                                        EXPECT_FALSE(value);
                                                        return std::optional<std::string>("first");
                                                    }),
        std::optional<std::string>("first"));
    EXPECT_EQ(defaults.get(word), std::optional<std::string>("first"));
    defaults.update<std::optional<std::string>>(word, [](std::optional<std::string> value) {
        EXPECT_EQ(value, std::optional<std::string>("first"));
        return std::optional<std::string>();
    });
    EXPECT_FALSE(defaults.object("word"));
}

TEST_F(UserDefaultsTest, UpdateWhoseChangeThrowsLeavesTheValueAsItWas) {
    UserDefaults defaults(kSuite);
    defaults.set("count", std::int64_t{7});
    EXPECT_THROW(defaults.update(
                     "count",
                     [](std::optional<UserDefaults::Value>) -> std::optional<UserDefaults::Value> {
                         throw std::runtime_error("no");
                     }),
                 std::runtime_error);
    EXPECT_EQ(defaults.object("count"), UserDefaults::Value(std::int64_t{7}));
    // The transaction is over: another write goes through.
    defaults.set("count", std::int64_t{8});
    EXPECT_EQ(defaults.object("count"), UserDefaults::Value(std::int64_t{8}));
}

TEST_F(UserDefaultsTest, WritesWaitForAnotherConnectionInTheMiddleOfAWrite) {
    UserDefaults defaults(kSuite);
    defaults.set("key", std::int64_t{1});
    // Another connection (another process, as far as SQLite knows) is in the middle of a
    // write for a moment.
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(defaults.path().c_str(), &raw), SQLITE_OK);
    std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)> other(raw, &sqlite3_close_v2);
    ASSERT_EQ(sqlite3_exec(raw, "BEGIN IMMEDIATE; UPDATE defaults SET value = 2 WHERE key = 'key'",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    std::thread releaser([raw] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr);
    });
    const auto started = std::chrono::steady_clock::now();
    defaults.set("other", std::int64_t{3});
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(250));
    releaser.join();
    EXPECT_EQ(defaults.object("key"), UserDefaults::Value(std::int64_t{2}));
    EXPECT_EQ(defaults.object("other"), UserDefaults::Value(std::int64_t{3}));
}

TEST_F(UserDefaultsTest, OneInstanceIsSafeForSeveralThreads) {
    UserDefaults defaults(kSuite);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&defaults, t] {
            for (int i = 0; i < 50; ++i) {
                const std::string key = std::to_string(t) + "." + std::to_string(i);
                defaults.set(key, std::int64_t{i});
                (void)defaults.object(key);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < 4; ++t) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(defaults.object(std::to_string(t) + "." + std::to_string(i)),
                      UserDefaults::Value(std::int64_t{i}));
        }
    }
}

TEST_F(UserDefaultsTest, StandardSuiteLivesInTheApplicationDataDirectory) {
    UserDefaults& standard = UserDefaults::standard();
    EXPECT_EQ(standard.suiteName(), std::nullopt);
    EXPECT_EQ(standard.path(), folder_.path() / "dovrel" / "UserDefaults.sqlite");
    EXPECT_EQ(&UserDefaults::standard(), &standard);
    standard.set("standardKey", true);
    auto sameFile = UserDefaults::atPath(standard.path());
    EXPECT_EQ(sameFile.object("standardKey"), UserDefaults::Value(true));
}

TEST_F(UserDefaultsTest, StandardSuiteFollowsTheDataHome) {
    UserDefaults::standard().set("where", std::string("first"));
    TemporaryDirectory other;
    ScopedEnvironment otherHome("XDG_DATA_HOME", other.path().string());
    EXPECT_EQ(UserDefaults::standard().path(), other.path() / "dovrel" / "UserDefaults.sqlite");
    EXPECT_EQ(UserDefaults::standard().object("where"), std::nullopt);
}

TEST_F(UserDefaultsTest, SuiteWithoutAContainerCannotBeOpened) {
    try {
        UserDefaults defaults("not/a/name");
        FAIL() << "opened a suite without a container";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), UserDefaults::kErrorDomain);
        EXPECT_NE(error.localizedDescription().find("not/a/name"), std::string::npos);
    }
}

TEST_F(UserDefaultsTest, FileThatIsNotADatabaseCannotBeOpened) {
    const auto file = folder_.path() / "garbage.sqlite";
    {
        std::FILE* out = std::fopen(file.c_str(), "w");
        ASSERT_NE(out, nullptr);
        std::fputs("this is not an SQLite database, not even a little bit of one", out);
        std::fclose(out);
    }
    EXPECT_THROW(UserDefaults::atPath(file), Error);
}

TEST_F(UserDefaultsTest, MovedSuiteKeepsWorking) {
    UserDefaults original(kSuite);
    original.set("key", std::int64_t{5});
    UserDefaults moved(std::move(original));
    EXPECT_EQ(moved.object("key"), UserDefaults::Value(std::int64_t{5}));
}

TEST_F(UserDefaultsTest, ProcessesThatOpenTheSuiteTwiceWhileCountingLoseNoIncrement) {
    // Each process counts through one suite, opens the same file a second time (as a program
    // does when several services share the group's suite) and counts again. Opening the file
    // must keep the locks that the first connection holds: a process whose locks were dropped
    // lets the others take the file for unused, checkpoint it and remove its log, and counts
    // were lost.
    const fs::path file = folder_.path() / "Counted.sqlite";
    UserDefaults::atPath(file).set("count", UserDefaults::Value(std::int64_t{0}));
    constexpr int kProcesses = 8;
    constexpr int kRounds = 30;
    const DefaultsKey<std::int64_t> count("count", 0);
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t child = ::fork();
        if (child == 0) {
            bool ok = true;
            try {
                for (int round = 0; round < kRounds; ++round) {
                    auto first = UserDefaults::atPath(file);
                    first.update<std::int64_t>(count, [](std::int64_t value) { return value + 1; });
                    auto second = UserDefaults::atPath(file);
                    second.update<std::int64_t>(count,
                                                [](std::int64_t value) { return value + 1; });
                }
            } catch (...) {
                ok = false;
            }
            ::_exit(ok ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(UserDefaults::atPath(file).get(count), kProcesses * kRounds * 2);
}

}  // namespace
}  // namespace dovrel

// Black-box tests of the commands that work on habits: add, list, check, show, edit, delete and
// reset, the store file check, languages and colours.

#include "tests/apps/dovrel/HabitCommands.h"

#include <pty.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace dovrel {
namespace {

using testing::contentsOf;
using testing::HabitCommands;
using testing::kFaketime;
using testing::ProgramResult;
using testing::withoutURIs;
namespace fs = std::filesystem;

TEST_F(HabitCommands, AFreshMachineListsNoHabitsAndSaysHowToAddOne) {
    const auto result = run({});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput,
              "No habits yet.\nAdd your first one: dovrel add \"Drink water\" --remind 09:00\n");
    EXPECT_TRUE(fs::exists(storePath()));
    EXPECT_EQ(run({"list"}).standardOutput, result.standardOutput);
    EXPECT_EQ(json({"list"}), nlohmann::ordered_json::array());
}

// A session bus address that nobody serves: a socket that counts the connections made to it and
// closes each at once, so that a client gives up instead of waiting for an answer.
class CountingSocket {
  public:
    explicit CountingSocket(const fs::path& path) : path_(path) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
        EXPECT_EQ(::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(fd_, 16), 0);
        acceptor_ = std::thread([this] {
            for (int accepted; (accepted = ::accept(fd_, nullptr, nullptr)) >= 0;) {
                ++connections_;
                ::close(accepted);
            }
        });
    }
    ~CountingSocket() {
        ::shutdown(fd_, SHUT_RDWR);
        acceptor_.join();
        ::close(fd_);
    }
    CountingSocket(const CountingSocket&) = delete;
    CountingSocket& operator=(const CountingSocket&) = delete;

    std::string address() const { return "unix:path=" + path_.string(); }
    int connections() const { return connections_.load(); }

  private:
    fs::path path_;
    int fd_ = -1;
    std::atomic<int> connections_{0};
    std::thread acceptor_;
};

TEST_F(HabitCommands, VersionAndAFirstListConnectToNoSessionServiceAndReadNoKeychain) {
    CountingSocket bus(home_.path() / "bus");
    const std::map<std::string, std::optional<std::string>> session = {
        {"DBUS_SESSION_BUS_ADDRESS", bus.address()}};
    const auto version = run({"--version"}, "2026-03-10 09:00:00", "en_US.UTF-8", session);
    EXPECT_EQ(version.exitStatus, 0) << version.standardError;
    const auto list = run({"list"}, "2026-03-10 09:00:00", "en_US.UTF-8", session);
    EXPECT_EQ(list.exitStatus, 0) << list.standardError;
    EXPECT_EQ(bus.connections(), 0);
    // Neither the Secret Service nor the file that stands in for it was asked.
    EXPECT_FALSE(fs::exists(home_.path() / "data" / "dovrel-keychain"));
    // A change asks the desktop's widgets to reload: that one does connect.
    const auto added = run({"add", "Read"}, "2026-03-10 09:00:00", "en_US.UTF-8", session);
    EXPECT_EQ(added.exitStatus, 0) << added.standardError;
    EXPECT_GT(bus.connections(), 0);
}

TEST_F(HabitCommands, AddedHabitsAreListedOldestFirstWithExactlyTheDocumentedKeys) {
    EXPECT_EQ(succeed({"add", "Drink water", "--remind", "09:30", "--color", "#3366CC"},
                      "2026-03-10 08:00:00"),
              "Added “Drink water” as number 1.\n");
    succeed({"add", "Read", "--question", "Twenty pages?", "--times", "3", "--days", "7", "--color",
             "sky"},
            "2026-03-10 09:05:00");
    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 2u);
    const auto& water = list[0];
    std::vector<std::string> keys;
    for (const auto& item : water.items()) {
        keys.push_back(item.key());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"uri", "name", "question", "color", "times", "days",
                                              "interval", "remind", "remindTime", "progress",
                                              "checked", "lastFivePerformingDates"}));
    EXPECT_TRUE(water["uri"].get<std::string>().starts_with("x-dovrel://"));
    EXPECT_EQ(water["name"], "Drink water");
    EXPECT_TRUE(water["question"].is_null());
    EXPECT_EQ(water["color"], "#3366CC");
    EXPECT_EQ(water["times"], 1);
    EXPECT_EQ(water["days"], 1);
    EXPECT_EQ(water["interval"], "every day");
    EXPECT_EQ(water["remind"], true);
    EXPECT_EQ(water["remindTime"], "09:30");
    EXPECT_EQ(water["progress"], 0);
    EXPECT_EQ(water["checked"], false);
    EXPECT_EQ(water["lastFivePerformingDates"], nlohmann::ordered_json::array());

    const auto& read = list[1];
    EXPECT_EQ(read["name"], "Read");
    EXPECT_EQ(read["question"], "Twenty pages?");
    EXPECT_EQ(read["times"], 3);
    EXPECT_EQ(read["days"], 7);
    EXPECT_EQ(read["interval"], "3 times per week");
    EXPECT_EQ(read["remind"], false);
    EXPECT_TRUE(read["remindTime"].is_null());
}

TEST_F(HabitCommands, AHabitAddedWithoutAColourTakesAPaletteColourOtherThanThePreviousOne) {
    const std::set<std::string> palette = [&] {
        std::set<std::string> colours;
        const auto out = succeed({"palette"});
        for (std::size_t at = out.find('#'); at != std::string::npos; at = out.find('#', at + 7)) {
            colours.insert(out.substr(at, 7));
        }
        return colours;
    }();
    for (int i = 0; i < 4; ++i) {
        succeed({"add", "Habit " + std::to_string(i)},
                "2026-03-10 08:0" + std::to_string(i) + ":00");
    }
    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 4u);
    for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_TRUE(palette.contains(list[i]["color"].get<std::string>())) << list[i]["color"];
        if (i > 0) {
            EXPECT_NE(list[i]["color"], list[i - 1]["color"]);
        }
    }
}

TEST_F(HabitCommands, CheckMarksTheDayAndCheckingAgainUnchecksIt) {
    succeed({"add", "Read"});
    EXPECT_EQ(succeed({"check", "Read"}), "“Read” is checked on Tue, Mar 10, 2026. Progress: 5\n");
    auto read = json({"list"})[0];
    EXPECT_EQ(read["checked"], true);
    EXPECT_EQ(read["progress"], 5);
    EXPECT_EQ(read["lastFivePerformingDates"],
              nlohmann::ordered_json::array({"2026-03-10T09:00:00+02:00"}));

    EXPECT_EQ(succeed({"check", "Read"}, "2026-03-10 21:00:00"),
              "“Read” is no longer checked on Tue, Mar 10, 2026. Progress: 0\n");
    read = json({"list"}, "2026-03-10 21:00:01")[0];
    EXPECT_EQ(read["checked"], false);
    EXPECT_EQ(read["progress"], 0);
    EXPECT_EQ(read["lastFivePerformingDates"], nlohmann::ordered_json::array());
}

TEST_F(HabitCommands, ShowOnPastAndFutureDaysGivesThatDaysProgressAndCheckmark) {
    succeed({"add", "Read"});
    succeed({"check", "Read", "--at", "2026-03-08T18:30"});
    const auto before = json({"show", "Read", "--at", "2026-03-08T09:00"});
    EXPECT_EQ(before["checked"], true);  // the same day, although earlier than the checkmark
    EXPECT_EQ(before["progress"], 0);    // the checkmark at 18:30 does not count at 09:00
    const auto earlier = json({"show", "Read", "--at", "2026-03-07"});
    EXPECT_EQ(earlier["checked"], false);
    EXPECT_EQ(earlier["progress"], 0);
    const auto thatDay = json({"show", "Read", "--at", "2026-03-08T23:59:59"});
    EXPECT_EQ(thatDay["checked"], true);
    EXPECT_EQ(thatDay["progress"], 5);
    EXPECT_EQ(thatDay["checkmarks"], nlohmann::ordered_json::array({"2026-03-08T18:30:00+02:00"}));
    // The day after still shows 5; from the second day without a checkmark the score decays:
    // 4.76 - 2.27 = 2.49, shown as 3.
    EXPECT_EQ(json({"show", "Read", "--at", "2026-03-09"})["progress"], 5);
    const auto future = json({"show", "Read", "--at", "2026-03-10"});
    EXPECT_EQ(future["progress"], 3);
    EXPECT_EQ(future["checked"], false);
}

TEST_F(HabitCommands, TheWorkedExampleOfTheProgressScoreComesOutAsTen) {
    // Interval 1/1, checkmarks on days 1, 2 and 4, asked on day 6: 9.45, shown as 10.
    succeed({"add", "Water"});
    for (const char* day : {"2026-03-01", "2026-03-02", "2026-03-04"}) {
        succeed({"check", "Water", "--at", day}, "2026-03-06 12:00:00");
    }
    EXPECT_EQ(json({"show", "Water", "--at", "2026-03-02"}, "2026-03-06 12:00:00")["progress"],
              10);  // 9.30 after day 2
    EXPECT_EQ(json({"show", "Water", "--at", "2026-03-04"}, "2026-03-06 12:00:00")["progress"],
              12);  // 11.56 after day 4
    EXPECT_EQ(json({"show", "Water", "--at", "2026-03-06"}, "2026-03-06 12:00:00")["progress"], 10);
    EXPECT_EQ(json({"list"}, "2026-03-06 12:00:00")[0]["progress"], 10);
}

TEST_F(HabitCommands, ShowDrawsTheMonthWithTheCheckedDaysMarked) {
    succeed({"add", "Read", "--remind", "07:15"});
    succeed({"check", "Read", "--at", "2026-03-02"});
    succeed({"check", "Read", "--at", "2026-03-03"});
    const auto out = succeed({"show", "Read", "--at", "2026-03-03"});
    EXPECT_NE(out.find("Read\n"), std::string::npos);
    EXPECT_NE(out.find("Reminder       07:15"), std::string::npos) << out;
    EXPECT_NE(out.find("Checkmarks     2"), std::string::npos) << out;
    EXPECT_NE(out.find("     March 2026"), std::string::npos) << out;
    EXPECT_NE(out.find("  Su Mo Tu We Th Fr Sa\n   1  2* 3* 4  5  6  7\n"), std::string::npos)
        << out;
}

TEST_F(HabitCommands, ShowGivesTheNextReminderCountedFromNow) {
    succeed({"add", "Stretch", "--remind", "07:15"}, "2026-03-09 20:00:00");
    // Not checked yet, asked at 06:00: today at the reminder time.
    EXPECT_NE(succeed({"show", "Stretch"}, "2026-03-10 06:00:00")
                  .find("Next reminder  Tue, Mar 10, 2026, 7:15"),
              std::string::npos);
    // Checked at the start of today, an every-day habit is reminded tomorrow.
    succeed({"check", "Stretch", "--at", "2026-03-10"}, "2026-03-10 06:00:00");
    EXPECT_NE(succeed({"show", "Stretch"}, "2026-03-10 06:00:00")
                  .find("Next reminder  Wed, Mar 11, 2026, 7:15"),
              std::string::npos);
    // A habit without a reminder has no such line.
    succeed({"add", "Read"});
    EXPECT_EQ(succeed({"show", "Read"}).find("Next reminder"), std::string::npos);
}

TEST_F(HabitCommands, CheckFromTheWidgetIsReportedWithTheWidgetSource) {
    succeed({"add", "Read"});
    const auto widget = run({"check", "Read", "--from-widget", "--debug"});
    ASSERT_EQ(widget.exitStatus, 0) << widget.standardError;
    EXPECT_NE(widget.standardError.find("today_widget_habit_toggle_checkmark"), std::string::npos)
        << widget.standardError;
    const auto list = run({"check", "Read", "--debug"});
    EXPECT_NE(list.standardError.find("main_screen_habit_toggle_checkmark"), std::string::npos)
        << list.standardError;
    EXPECT_EQ(list.standardError.find("today_widget"), std::string::npos);
    // Without --debug nothing is logged.
    EXPECT_EQ(run({"check", "Read"}).standardError, "");
}

TEST_F(HabitCommands, AHabitIsFoundByNumberNamePrefixOrURI) {
    succeed({"add", "Read"}, "2026-03-10 08:00:00");
    succeed({"add", "Run"}, "2026-03-10 08:01:00");
    const std::string uri = json({"list"})[1]["uri"];
    EXPECT_EQ(json({"show", "2"})["name"], "Run");
    EXPECT_EQ(json({"show", "Read"})["name"], "Read");
    EXPECT_EQ(json({"show", "ru"})["name"], "Run");
    EXPECT_EQ(json({"show", uri})["name"], "Run");
}

TEST_F(HabitCommands, AHabitThatMatchesNothingFailsWithStatusOne) {
    succeed({"add", "Read"});
    const auto result = run({"check", "Swim"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError,
              "dovrel: No habit answers to “Swim”. See the list with “dovrel list”.\n");
    EXPECT_EQ(json({"list"})[0]["checked"], false);
}

TEST_F(HabitCommands, AHabitThatMatchesTwoFailsNamingBoth) {
    succeed({"add", "Read"}, "2026-03-10 08:00:00");
    succeed({"add", "Reading club"}, "2026-03-10 08:01:00");
    const auto result = run({"check", "Rea"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardError,
              "dovrel: Several habits answer to “Rea”: 1 “Read”, 2 “Reading club”. Give the list "
              "number or the whole name.\n");
    const auto list = json({"list"});
    EXPECT_EQ(list[0]["checked"], false);
    EXPECT_EQ(list[1]["checked"], false);
}

TEST_F(HabitCommands, EditChangesOnlyWhatItIsGiven) {
    succeed(
        {"add", "Read", "--color", "grape", "--times", "3", "--days", "7", "--remind", "08:00"});
    EXPECT_EQ(succeed({"edit", "Read", "--name", "Read more", "--days", "14"}),
              "Changed “Read more”.\n");
    auto habit = json({"show", "1"});
    EXPECT_EQ(habit["name"], "Read more");
    EXPECT_EQ(habit["times"], 3);
    EXPECT_EQ(habit["days"], 14);
    EXPECT_EQ(habit["remindTime"], "08:00");
    succeed({"edit", "1", "--no-remind", "--question", "Why not?"});
    habit = json({"show", "1"});
    EXPECT_EQ(habit["remind"], false);
    EXPECT_EQ(habit["question"], "Why not?");
    succeed({"edit", "1", "--question", ""});
    EXPECT_TRUE(json({"show", "1"})["question"].is_null());
}

TEST_F(HabitCommands, DeleteRemovesTheHabitAndResetRemovesItsCheckmarks) {
    succeed({"add", "Read"}, "2026-03-10 08:00:00");
    succeed({"add", "Run"}, "2026-03-10 08:01:00");
    succeed({"check", "Run"});
    succeed({"check", "Run", "--at", "2026-03-09"});
    EXPECT_EQ(succeed({"reset", "Run"}),
              "Removed every checkmark of “Run”; its progress starts anew.\n");
    const auto run = json({"show", "Run"});
    EXPECT_EQ(run["checkmarks"], nlohmann::ordered_json::array());
    EXPECT_EQ(run["progress"], 0);
    EXPECT_EQ(succeed({"delete", "Read"}), "Deleted “Read” with its checkmarks.\n");
    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["name"], "Run");
}

TEST_F(HabitCommands, UnreadableWordsAreUsageErrorsThatLeaveEverythingAlone) {
    succeed({"add", "Read"});
    const std::string before = contentsOf(storePath());
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"check", "Read", "--at", "10.03.2026"},
                                               {"show", "Read", "--at", "2026-02-30"},
                                               {"add", "Swim", "--color", "mauve"},
                                               {"add", "Swim", "--remind", "9am"},
                                               {"add", ""},
                                               {"add", "Swim", "--times", "0"},
                                               {"edit", "Read", "--name", ""}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitStatus, 2) << arguments[1];
        EXPECT_EQ(result.standardOutput, "") << arguments[1];
        EXPECT_FALSE(result.standardError.empty()) << arguments[1];
    }
    EXPECT_EQ(contentsOf(storePath()), before);
    EXPECT_EQ(json({"list"}).size(), 1u);
}

TEST_F(HabitCommands, ACorruptStoreFileIsLeftByteForByte) {
    fs::create_directories(storePath().parent_path());
    std::string bytes("SQLite format 3\0", 16);
    for (int i = 0; i < 5000; ++i) {
        bytes += static_cast<char>((i * 7919) % 251);
    }
    std::ofstream(storePath(), std::ios::binary) << bytes;
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {}, {"list", "--json"}, {"add", "Read"}, {"check", "1"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_NE(result.standardError.find(storePath().string()), std::string::npos)
            << result.standardError;
    }
    EXPECT_EQ(contentsOf(storePath()), bytes);
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(storePath().parent_path())) {
        files.push_back(entry.path().filename().string());
    }
    EXPECT_EQ(std::count(files.begin(), files.end(), "Habit.sqlite"), 1);
    for (const auto& file : files) {
        EXPECT_FALSE(file.starts_with("Habit.sqlite-")) << file;
    }
}

TEST_F(HabitCommands, AnotherProgramsDatabaseGivenAsTheStoreIsNamedAndLeftAlone) {
    const auto path = home_.path() / "recipes.sqlite";
    ASSERT_EQ(std::system(("sqlite3 '" + path.string() +
                           "' 'CREATE TABLE recipes (name TEXT); INSERT INTO recipes VALUES "
                           "(\"borscht\");'")
                              .c_str()),
              0);
    const std::string bytes = contentsOf(path);
    const auto result = run({"list", "--store", path.string()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.standardError,
              "dovrel: " + path.string() +
                  " is not a habit store: it is an SQLite database of another program (no table "
                  "Z_METADATA). The file was left as it is.\n");
    EXPECT_EQ(contentsOf(path), bytes);
    EXPECT_FALSE(fs::exists(path.string() + "-wal"));
    EXPECT_FALSE(fs::exists(path.string() + "-shm"));
}

TEST_F(HabitCommands, AnotherStoreFileCanBeNamedWithStore) {
    const auto other = (home_.path() / "other.sqlite").string();
    succeed({"--store", other, "add", "Elsewhere"});
    EXPECT_EQ(json({"list", "--store", other})[0]["name"], "Elsewhere");
    EXPECT_EQ(json({"list"}), nlohmann::ordered_json::array());
}

TEST_F(HabitCommands, EveryRunIsOneLaunch) {
    succeed({"list"}, "2026-03-09 22:00:00");
    succeed({"add", "Read"}, "2026-03-09 23:00:00");
    const auto out = succeed({"settings"}, "2026-03-10 08:00:00");
    EXPECT_NE(out.find("Launches              3\n"), std::string::npos) << out;
    EXPECT_NE(out.find("Launches on new days  2\n"), std::string::npos) << out;
    EXPECT_NE(out.find("First launch          Mar 9, 2026, 10:00"), std::string::npos) << out;
    EXPECT_NE(out.find("Interface style       as the system\n"), std::string::npos) << out;
}

TEST_F(HabitCommands, UkrainianSpeakersReadUkrainian) {
    succeed({"add", "Читати"});
    const auto checked = run({"check", "читати"}, "2026-03-10 09:00:00", "uk_UA.UTF-8");
    EXPECT_EQ(checked.exitStatus, 0) << checked.standardError;
    EXPECT_EQ(checked.standardOutput,
              "Звичку «Читати» позначено за вт, 10 бер. 2026\u202fр. — прогрес: 5\n");
    const auto list = run({}, "2026-03-10 09:00:00", "uk_UA.UTF-8");
    EXPECT_NE(list.standardOutput.find("Звичка"), std::string::npos) << list.standardOutput;
    EXPECT_NE(list.standardOutput.find("щодня"), std::string::npos) << list.standardOutput;
    const auto json = run({"list", "--json"}, "2026-03-10 09:00:00", "uk_UA.UTF-8");
    EXPECT_NE(json.standardOutput.find("\"interval\": \"щодня\""), std::string::npos);
    const auto missing = run({"show", "Плавати"}, "2026-03-10 09:00:00", "uk_UA.UTF-8");
    EXPECT_EQ(missing.exitStatus, 1);
    EXPECT_EQ(missing.standardError,
              "dovrel: Жодна звичка не відповідає «Плавати». Перегляньте список командою «dovrel "
              "list».\n");
}

// ---- list --at ---------------------------------------------------------------------------------

TEST_F(HabitCommands, ListAtGivesThatDaysProgressAndCheckmark) {
    succeed({"add", "Read"}, "2026-03-01 08:00:00");
    succeed({"add", "Run"}, "2026-03-01 08:01:00");
    succeed({"check", "Read", "--at", "2026-03-08T18:30"});
    succeed({"check", "Run", "--at", "2026-03-09"});

    auto onTheDay = json({"list", "--at", "2026-03-08T23:00"});
    EXPECT_EQ(onTheDay[0]["checked"], true);
    EXPECT_EQ(onTheDay[0]["progress"], 5);
    EXPECT_EQ(onTheDay[1]["checked"], false);
    EXPECT_EQ(onTheDay[1]["progress"], 0);
    // Earlier the same day: checked, but the 18:30 checkmark does not count yet.
    auto morning = json({"list", "--at", "2026-03-08T09:00"});
    EXPECT_EQ(morning[0]["checked"], true);
    EXPECT_EQ(morning[0]["progress"], 0);
    auto dayBefore = json({"list", "--at", "2026-03-07"});
    EXPECT_EQ(dayBefore[0]["checked"], false);
    EXPECT_EQ(dayBefore[1]["checked"], false);
    // Later days decay from the second day without a checkmark; the list without --at is today.
    auto later = json({"list", "--at", "2026-03-10"});
    EXPECT_EQ(later[0]["progress"], 3);
    EXPECT_EQ(later[1]["checked"], false);
    EXPECT_EQ(later[1]["progress"], 5);
    EXPECT_EQ(json({"list"}, "2026-03-10 12:00:00"), later);
    EXPECT_EQ(json({"list", "--at", "2026-03-09"})[1]["checked"], true);
    // The same answers as show gives for that day.
    for (const char* habit : {"Read", "Run"}) {
        auto shown = json({"show", habit, "--at", "2026-03-08T23:00"});
        shown.erase("checkmarks");
        EXPECT_EQ(shown, onTheDay[std::string(habit) == "Read" ? 0 : 1]) << habit;
    }
}

TEST_F(HabitCommands, ThePlainListAtADayHeadsTheMarkColumnWithThatDay) {
    succeed({"add", "Read"});
    succeed({"check", "Read", "--at", "2026-03-08"});
    const auto today = succeed({"list"});
    EXPECT_NE(today.find("Today"), std::string::npos) << today;
    const auto asked = succeed({"list", "--at", "2026-03-08"});
    EXPECT_EQ(asked.find("Today"), std::string::npos) << asked;
    const auto header = asked.substr(0, asked.find('\n'));
    EXPECT_NE(header.find("Mar 8"), std::string::npos) << asked;
    const auto row = asked.substr(asked.find('\n') + 1);
    EXPECT_NE(row.find("✓"), std::string::npos) << asked;
    EXPECT_EQ(succeed({"list", "--at", "2026-03-07"}).find("✓"), std::string::npos);
}

TEST_F(HabitCommands, ListAtAnUnreadableDayIsAUsageError) {
    succeed({"add", "Read"});
    const auto result = run({"list", "--at", "yesterday"});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError,
              "dovrel: “yesterday” is not a day: give YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS].\n"
              "Run “dovrel --help” to see how the commands are used.\n");
}

// Runs the program on a pseudo-terminal and answers what it wrote there.
std::string runOnATerminal(const std::vector<std::string>& arguments,
                           const std::map<std::string, std::optional<std::string>>& variables) {
    int master = -1;
    const pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
    if (pid == 0) {
        for (const auto& [name, value] : variables) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
        std::vector<char*> argv;
        for (const auto& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    std::string output;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(master, buffer, sizeof buffer)) > 0) {
        output.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(master);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return output;
}

TEST_F(HabitCommands, ColoursAppearOnATerminalOnlyWithoutNoColor) {
    succeed({"add", "Read", "--color", "#FF8000"});
    succeed({"check", "Read"});
    const std::vector<std::string> arguments = {kFaketime, "-f", "@2026-03-10 09:00:00",
                                                DOVREL_CLI_PATH, "list"};
    auto variables = environment("en_US.UTF-8");
    const auto coloured = runOnATerminal(arguments, variables);
    EXPECT_NE(coloured.find("\x1b[48;2;255;128;0m"), std::string::npos) << coloured;
    variables["NO_COLOR"] = "1";
    const auto plain = runOnATerminal(arguments, variables);
    EXPECT_NE(plain.find("Read"), std::string::npos) << plain;
    EXPECT_EQ(plain.find('\x1b'), std::string::npos) << plain;
    // Not a terminal: no colours either.
    EXPECT_EQ(succeed({"list"}).find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace dovrel

// The shell completions, run in the real shells: commands, options, colours, and the habits of
// the store named on the command line, names with spaces included. Asking for them makes no
// store and counts no launch.

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel {
namespace {

using testing::HabitCommands;
namespace fs = std::filesystem;

class ShellCompletion : public HabitCommands {
  protected:
    static fs::path script(const std::string& name) {
        return fs::path(DOVREL_SOURCE_ROOT) / "resources" / "completions" / name;
    }

    // The environment of HabitCommands with the built program first on PATH, as the scripts
    // call "dovrel".
    std::map<std::string, std::optional<std::string>> shellEnvironment() const {
        auto variables = environment("en_US.UTF-8");
        variables["PATH"] = fs::path(DOVREL_CLI_PATH).parent_path().string() + ":/usr/bin:/bin";
        return variables;
    }

    // What bash offers for `words`, the last being completed, one entry a line.
    std::string bash(const std::vector<std::string>& words) const {
        std::string array;
        for (const auto& word : words) {
            array += " '" + word + "'";
        }
        const std::string program = "source '" + script("dovrel.bash").string() +
                                    "'; COMP_WORDS=(" + array +
                                    "); COMP_CWORD=" + std::to_string(words.size() - 1) +
                                    "; _dovrel; printf '%s\\n' \"${COMPREPLY[@]}\"";
        const auto result = testing::runProgram({"/bin/bash", "-c", program}, shellEnvironment());
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        return result.standardOutput;
    }

    // What fish offers for the command line `line`, candidates without their descriptions.
    std::string fish(const std::string& line) const {
        const std::string program =
            "source '" + script("dovrel.fish").string() + "'; complete -C '" + line + "'";
        const auto result = testing::runProgram({testing::programOnPath("fish"), "-c", program},
                                                shellEnvironment());
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        std::string candidates;
        std::istringstream lines(result.standardOutput);
        std::string entry;
        while (std::getline(lines, entry)) {
            candidates += entry.substr(0, entry.find('\t')) + "\n";
        }
        return candidates;
    }
};

TEST_F(ShellCompletion, BashCompletesCommandsOptionsAndColours) {
    EXPECT_EQ(bash({"dovrel", "st"}), "stats\n");
    EXPECT_EQ(bash({"dovrel", "show", "--"}), "--help\n--at\n--json\n--year\n");
    EXPECT_EQ(bash({"dovrel", "add", "Read", "--color", "b"}), "banana\nbarbie\nblueberry\n");
    EXPECT_EQ(bash({"dovrel", "settings", "--reminders", ""}), "on\noff\n");
    EXPECT_EQ(bash({"dovrel", "reminders", "answer", "ID", "post"}),
              "postpone-5m\npostpone-1h\npostpone-4h\n");
}

TEST_F(ShellCompletion, BashCompletesTheHabitsOfTheStoreInUseQuotingSpaces) {
    succeed({"add", "Drink water"}, "2026-03-10 08:00:00");
    succeed({"add", "Read"}, "2026-03-10 09:00:00");
    EXPECT_EQ(bash({"dovrel", "check", ""}), "Drink\\ water\nRead\n");
    EXPECT_EQ(bash({"dovrel", "why", "Dr"}), "Drink\\ water\n");
    // Another store named on the command line is the one asked.
    const fs::path other = home_.path() / "other.sqlite";
    succeed({"--store", other.string(), "add", "Walk"});
    EXPECT_EQ(bash({"dovrel", "--store", other.string(), "show", ""}), "Walk\n");
}

TEST_F(ShellCompletion, AskingForHabitsMakesNoStoreAndCountsNoLaunch) {
    EXPECT_EQ(bash({"dovrel", "check", ""}), "\n");
    EXPECT_FALSE(fs::exists(storePath()));
    EXPECT_FALSE(fs::exists(storePath().parent_path()));
    succeed({"add", "Read"});
    // `settings` counts itself each run: with a completion between two of them, the count
    // still goes up by one.
    const auto launches = [](const std::string& text) {
        const auto at = text.find("Launches");
        const std::string line = text.substr(at, text.find('\n', at) - at);
        return std::stoi(line.substr(line.find_last_of(' ') + 1));
    };
    const auto before = succeed({"settings"});
    ASSERT_NE(before.find("Launches"), std::string::npos) << before;
    EXPECT_EQ(bash({"dovrel", "check", ""}), "Read\n");
    const auto after = succeed({"settings"});
    EXPECT_EQ(launches(after) - launches(before), 1);
}

TEST_F(ShellCompletion, FishCompletesCommandsColoursAndHabits) {
    if (testing::programOnPath("fish") == "fish") {
        GTEST_SKIP() << "fish is missing (run scripts/install-deps)";
    }
    succeed({"add", "Drink water"});
    EXPECT_EQ(fish("dovrel sh"), "show\n");
    EXPECT_EQ(fish("dovrel add X --color s"), "salmon\nsky\n");
    EXPECT_EQ(fish("dovrel why "), "Drink water\n");
}

TEST_F(ShellCompletion, TheZshScriptIsValidZsh) {
    if (testing::programOnPath("zsh") == "zsh") {
        GTEST_SKIP() << "zsh is missing (run scripts/install-deps)";
    }
    const auto result =
        testing::runProgram({testing::programOnPath("zsh"), "-n", script("_dovrel").string()});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
}

}  // namespace
}  // namespace dovrel

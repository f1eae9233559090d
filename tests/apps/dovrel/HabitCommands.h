#pragma once

// The fixture of the black-box tests of the commands that work on habits: the built program runs
// in a temporary data home, with the clock set from outside by faketime and the zone pinned by TZ.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/FileContents.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::testing {

namespace fs = std::filesystem;

inline constexpr const char* kFaketime = "/usr/bin/faketime";

class HabitCommands : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists(kFaketime)) << "faketime is missing: run scripts/install-deps";
    }

    // The program's environment: this test's data home, the Kyiv zone, no session bus (the
    // widget reload then only logs), no colours unless a test asks.
    std::map<std::string, std::optional<std::string>> environment(
        const std::string& language) const {
        return {
            {"LANG", language},
            {"LC_ALL", std::nullopt},
            {"LC_MESSAGES", std::nullopt},
            {"LANGUAGE", std::nullopt},
            {"TZ", "Europe/Kyiv"},
            {"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR},
            {"XDG_DATA_HOME", (home_.path() / "data").string()},
            {"HOME", home_.path().string()},
            {"XDG_RUNTIME_DIR", home_.path().string()},
            {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
            {"DISPLAY", std::nullopt},
            {"NO_COLOR", std::nullopt},
            {"FAKETIME_DONT_FAKE_MONOTONIC", "1"},
        };
    }

    // Runs `dovrel arguments...` at the local time `now` ("2026-03-10 09:00:00", Kyiv).
    ProgramResult run(std::vector<std::string> arguments,
                      const std::string& now = "2026-03-10 09:00:00",
                      const std::string& language = "en_US.UTF-8",
                      std::map<std::string, std::optional<std::string>> extra = {}) const {
        arguments.insert(arguments.begin(), {kFaketime, "-f", "@" + now, DOVREL_CLI_PATH});
        auto variables = environment(language);
        for (auto& [name, value] : extra) {
            variables[name] = value;
        }
        return testing::runProgram(arguments, variables);
    }

    // Runs a command that must succeed and answers its standard output.
    std::string succeed(std::vector<std::string> arguments,
                        const std::string& now = "2026-03-10 09:00:00") const {
        const auto result = run(arguments, now);
        EXPECT_EQ(result.exitStatus, 0) << arguments.front() << ": " << result.standardError;
        return result.standardOutput;
    }

    // The JSON a command prints, with its keys in the printed order. By default at 09:00:30,
    // later than what the commands before it did at 09:00: each run starts its clock anew at the
    // time it is given.
    nlohmann::ordered_json json(std::vector<std::string> arguments,
                                const std::string& now = "2026-03-10 09:00:30") const {
        arguments.push_back("--json");
        return nlohmann::ordered_json::parse(succeed(arguments, now));
    }

    fs::path storePath() const {
        return home_.path() / "data" / "group.app.dovrel.Dovrel" / "Habit.sqlite";
    }

    // Every command that only reads `habit` answers, with nothing on standard error: the list
    // and the details, as text and JSON, on several days.
    void expectEveryQueryToAnswer(const std::string& habit) const {
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"list"},
                                                   {"list", "--json"},
                                                   {"list", "--at", "2026-03-20", "--json"},
                                                   {"show", habit},
                                                   {"show", habit, "--json"},
                                                   {"show", habit, "--at", "2026-03-08"},
                                                   {"show", habit, "--at", "2030-01-01", "--json"},
                                                   {"why", habit},
                                                   {"why", habit, "--at", "2026-03-08", "--json"},
                                                   {"show", habit, "--year"},
                                                   {"stats"},
                                                   {"stats", habit, "--json"}}) {
            const auto result = run(arguments);
            EXPECT_EQ(result.exitStatus, 0) << arguments[0] << ": " << result.standardError;
            EXPECT_EQ(result.standardError, "") << arguments[0];
        }
    }

    // Runs one SQL statement on the program's store with the sqlite3 shell, as another program
    // that writes the file would.
    void writeStore(const std::string& statement) const {
        ASSERT_EQ(
            std::system(("sqlite3 '" + storePath().string() + "' \"" + statement + "\"").c_str()),
            0)
            << statement;
    }

    testing::TemporaryDirectory home_;
};

// The list without the store-specific URIs, for comparing two stores.
inline nlohmann::ordered_json withoutURIs(nlohmann::ordered_json list) {
    for (auto& habit : list) {
        habit.erase("uri");
    }
    return list;
}

}  // namespace dovrel::testing

// The manual pages and the programs' --help say the same: every command and every option that
// --help lists is in the page, and every command the page describes is one that --help lists.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/RunProgram.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;

std::string manualSource(const std::string& page) {
    std::ifstream in(fs::path(DOVREL_SOURCE_ROOT) / "docs" / "man" / (page + ".1.scd"));
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string help(const std::vector<std::string>& words) {
    std::vector<std::string> arguments{DOVREL_CLI_PATH};
    arguments.insert(arguments.end(), words.begin(), words.end());
    arguments.push_back("--help");
    const auto result =
        testing::runProgram(arguments, {{"LANG", "en_US.UTF-8"},
                                        {"LANGUAGE", std::nullopt},
                                        {"LC_ALL", std::nullopt},
                                        {"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR}});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    return result.standardOutput;
}

// The names under a heading of --help ("Subcommands:", "Options:"): the first word of each
// entry line.
std::vector<std::string> entries(const std::string& text, const std::string& heading) {
    std::vector<std::string> names;
    std::istringstream lines(text);
    std::string line;
    bool inside = false;
    while (std::getline(lines, line)) {
        if (line == heading) {
            inside = true;
            continue;
        }
        if (inside && (line.empty() || line[0] != ' ')) {
            inside = false;
        }
        if (inside && line.size() > 2 && line[2] != ' ') {
            names.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return names;
}

// "--at" of "--at" and of "-h,--help".
std::vector<std::string> optionNames(const std::string& entry) {
    std::vector<std::string> names;
    std::istringstream parts(entry);
    std::string part;
    while (std::getline(parts, part, ',')) {
        names.push_back(part);
    }
    return names;
}

void expectCommandDocumented(const std::string& page, const std::vector<std::string>& command) {
    const std::string text = help(command);
    for (const auto& entry : entries(text, "Options:")) {
        for (const auto& option : optionNames(entry)) {
            EXPECT_NE(page.find("*" + option + "*"), std::string::npos)
                << option << " of \"" << ::testing::PrintToString(command) << "\"";
        }
    }
    for (const auto& sub : entries(text, "Subcommands:")) {
        std::string words;
        for (const auto& word : command) {
            words += word + " ";
        }
        EXPECT_NE(page.find("\n*" + words + sub + "*"), std::string::npos)
            << "command \"" << words << sub << "\" is not described";
        auto deeper = command;
        deeper.push_back(sub);
        expectCommandDocumented(page, deeper);
    }
}

TEST(ManualPage, DovrelsPageDescribesEveryCommandAndOptionOfItsHelp) {
    const std::string page = manualSource("dovrel");
    ASSERT_FALSE(page.empty());
    expectCommandDocumented(page, {});
}

TEST(ManualPage, DovrelsPageDescribesNoCommandThatIsNotThere) {
    const std::string page = manualSource("dovrel");
    const auto commands = entries(help({}), "Subcommands:");
    const std::set<std::string> known(commands.begin(), commands.end());
    // Command entries are the lines of the COMMANDS section that start with a bold word.
    const auto start = page.find("# COMMANDS");
    const auto end = page.find("\n# ", start + 1);
    ASSERT_NE(start, std::string::npos);
    const std::string section = page.substr(start, end - start);
    const std::regex entry("\n\\*([a-z-]+)\\*");
    for (auto match = std::sregex_iterator(section.begin(), section.end(), entry);
         match != std::sregex_iterator(); ++match) {
        EXPECT_TRUE(known.contains((*match)[1].str())) << (*match)[1].str();
    }
}

TEST(ManualPage, TheDaemonsPageDescribesEveryOptionOfItsHelp) {
    const std::string page = manualSource("dovrel-notifyd");
    ASSERT_FALSE(page.empty());
    const auto result = testing::runProgram(
        {DOVREL_NOTIFYD_PATH, "--help"},
        {{"LANG", "en_US.UTF-8"}, {"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR}});
    ASSERT_EQ(result.exitStatus, 0);
    for (const auto& entry : entries(result.standardOutput, "Options:")) {
        for (const auto& option : optionNames(entry)) {
            EXPECT_NE(page.find("*" + option + "*"), std::string::npos) << option;
        }
    }
}

}  // namespace
}  // namespace dovrel

// The desktop programs' manual pages and --help say the same: every option that --help lists
// (Qt's parser writes "  -h, --help   ..." and "  --store <FILE>   ...") is in the page.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/RunProgram.h"

namespace dovrel::app::test {
namespace {

std::string manualSource(const std::string& page) {
    std::ifstream in(std::filesystem::path(DOVREL_SOURCE_ROOT) / "docs" / "man" /
                     (page + ".1.scd"));
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Every option that the program's --help lists.
std::vector<std::string> helpOptions(const std::string& program) {
    const auto result = testing::runProgram({program, "--help"},
                                            {{"QT_QPA_PLATFORM", "offscreen"},
                                             {"LANG", "en_US.UTF-8"},
                                             {"LC_ALL", std::nullopt},
                                             {"LANGUAGE", std::nullopt},
                                             {"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR}});
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    std::vector<std::string> options;
    const std::regex option(R"((?:^|[ ,])(--?[a-z][a-z-]*))");
    std::istringstream lines(result.standardOutput);
    std::string line;
    bool inside = false;
    while (std::getline(lines, line)) {
        if (line == "Options:") {
            inside = true;
            continue;
        }
        if (inside && line.empty()) {
            break;
        }
        // An entry starts two spaces in; its continuation lines start further in.
        if (inside && line.size() > 2 && line[2] == '-') {
            const std::string names = line.substr(2, line.find("  ", 2) - 2);
            for (std::sregex_iterator it(names.begin(), names.end(), option), end; it != end;
                 ++it) {
                options.push_back((*it)[1]);
            }
        }
    }
    return options;
}

void expectEveryOptionDocumented(const std::string& program, const std::string& page) {
    const auto options = helpOptions(program);
    ASSERT_GE(options.size(), 4u) << "the help lists its options";
    const std::string text = manualSource(page);
    for (const auto& name : options) {
        if (name == "--help-all") {
            continue;  // Qt's own options, not the program's
        }
        EXPECT_NE(text.find("*" + name + "*"), std::string::npos) << name << " of " << page;
    }
}

TEST(ManualPage, TheApplicationsPageDescribesEveryOptionOfItsHelp) {
    expectEveryOptionDocumented(DOVREL_APP_PATH, "dovrel-app");
}

TEST(ManualPage, TheWidgetsPageDescribesEveryOptionOfItsHelp) {
    expectEveryOptionDocumented(DOVREL_WIDGET_PATH, "dovrel-widget");
}

}  // namespace
}  // namespace dovrel::app::test

// The reminder daemon with a real notification server: dunst, drawing on a virtual X screen
// (Xvfb) and owning org.freedesktop.Notifications on the private session bus. The reminders are
// answered the way a dunst user does: `dunstctl action` (the default action of the notification
// at the top), and `dunstctl context`, whose menu program (dmenu normally; here a script that
// picks a line by its text) chooses a button.
//
// A screenshot of the screen with the reminder on it is left in DOVREL_TEST_OUTPUT_DIR.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tests/apps/dovrel-notifyd/session/NotifydSession.h"

namespace dovrel::testing {
namespace {

bool onPath(const std::string& program) {
    return programOnPath(program) != program;
}

class NotifydDunst : public NotifydSession {
  protected:
    void SetUp() override {
        NotifydSession::SetUp();
        if (IsSkipped()) {
            return;
        }
        for (const char* program : {"Xvfb", "dunst", "dunstctl"}) {
            if (!onPath(program)) {
                GTEST_SKIP() << program << " is missing (scripts/install-deps installs it)";
            }
        }
        // Xvfb picks a free display itself and writes its number on the descriptor given.
        screen_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{programOnPath("Xvfb"), "-displayfd", "1", "-screen", "0",
                                     "800x600x24", "-nolisten", "tcp"});
        const auto display = screen_->readLine(std::chrono::seconds(15));
        if (!display || display->empty()) {
            GTEST_SKIP() << "Xvfb could not start a virtual screen here: no display server, "
                            "the test with dunst is skipped";
        }
        display_ = ":" + *display;

        const auto folder = home_.path() / "dunst";
        fs::create_directories(folder);
        // The menu program: dunst writes one line per action ("#Complete (Water) [id,key]") and
        // reads back the chosen one.
        picker_ = folder / "pick";
        std::ofstream(picker_) << "#!/bin/sh\nexec grep -m1 -F \"$(cat '"
                               << (folder / "choice").string() << "')\"\n";
        fs::permissions(picker_, fs::perms::owner_all);
        const auto config = folder / "dunstrc";
        // Notifications stay until answered; one font that install-deps brings.
        std::ofstream(config) << "[global]\n"
                                 "    font = DejaVu Sans 11\n"
                                 "    width = 420\n"
                                 "    origin = top-right\n"
                                 "    offset = 16x16\n"
                                 "    frame_width = 2\n"
                                 "    dmenu = "
                              << picker_.string()
                              << "\n"
                                 "[urgency_low]\n    timeout = 0\n"
                                 "[urgency_normal]\n    timeout = 0\n"
                                 "[urgency_critical]\n    timeout = 0\n";
        {
            ScopedEnvironment displayVariable("DISPLAY", display_);
            server_ = std::make_unique<ChildProcess>(
                std::vector<std::string>{programOnPath("dunst"), "-config", config.string()});
        }
        ASSERT_TRUE(eventually([&] { return hasOwner(kServerName); })) << "dunst on " << display_;
    }

    void TearDown() override {
        NotifydSession::TearDown();
        // Stopped, not killed: Xvfb removes its lock file and socket on the way out.
        if (screen_ && screen_->pid() > 0) {
            ::kill(screen_->pid(), SIGTERM);
            screen_->wait();
        }
    }

    // dunstctl ARGUMENTS, on the private bus.
    ProgramResult dunstctl(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), programOnPath("dunstctl"));
        return runProgram(arguments);
    }

    int displayed() {
        const auto count = dunstctl({"count", "displayed"});
        return count.exitStatus == 0 ? std::stoi(count.standardOutput) : -1;
    }

    // The menu line that `dunstctl context` will choose: the first one containing `text`.
    void choose(const std::string& text) {
        std::ofstream(picker_.parent_path() / "choice") << text;
    }

    ProgramResult grabScreen(const fs::path& file) {
        return runProgram({DOVREL_SCREEN_GRAB_PATH, file.string()}, {{"DISPLAY", display_}});
    }

    std::unique_ptr<ChildProcess> screen_;
    std::string display_;
    fs::path picker_;
};

TEST_F(NotifydDunst, AReminderAppearsOnTheScreenAndDunstctlAnswersIt) {
    const auto water = addHabit("Water", {"--question", "A glass?"});
    const auto read = addHabit("Read");
    startDaemon();
    setPending({reminder("W1", water, "Water", 1, 2, Clock::now())});
    ASSERT_TRUE(eventually([&] { return displayed() == 1; })) << "dunst shows the reminder";
    EXPECT_FALSE(isPending("W1"));

    // The screen as the user sees it, kept for a look.
    const std::string grab = DOVREL_SCREEN_GRAB_PATH;
    if (!grab.empty()) {
        fs::create_directories(DOVREL_TEST_OUTPUT_DIR);
        const fs::path shot = fs::path(DOVREL_TEST_OUTPUT_DIR) / "dunst-reminder.png";
        fs::remove(shot);
        const auto grabbed = grabScreen(shot);
        EXPECT_EQ(grabbed.exitStatus, 0) << grabbed.standardError;
        ASSERT_TRUE(fs::exists(shot));
        // A blank 800x600 screen compresses to a few hundred bytes; text does not.
        EXPECT_GT(fs::file_size(shot), 2000u) << "the screenshot looks empty";
        std::cout << "screenshot: " << shot.string() << '\n';
    }

    // The default action ("Open"): answered, closed by the daemon, nothing else changes.
    const auto action = dunstctl({"action", "0"});
    EXPECT_EQ(action.exitStatus, 0) << action.standardError;
    ASSERT_TRUE(eventually([&] { return displayed() == 0; })) << "the daemon closes it";
    EXPECT_TRUE(eventually([&] { return center_->deliveredNotifications().empty(); }));
    EXPECT_TRUE(habitJson("Water").at("checkmarks").empty());

    // Complete, from the context menu.
    setPending({reminder("R1", read, "Read", 1, 1, Clock::now())});
    ASSERT_TRUE(eventually([&] { return displayed() == 1; }));
    choose("#Complete (Read)");
    const auto context = dunstctl({"context"});
    EXPECT_EQ(context.exitStatus, 0) << context.standardError;
    ASSERT_TRUE(eventually([&] { return !habitJson("Read").at("checkmarks").empty(); }))
        << "Complete did not reach the daemon";
    EXPECT_TRUE(eventually([&] { return displayed() == 0; }));
    EXPECT_TRUE(habitJson("Water").at("checkmarks").empty());
}

}  // namespace
}  // namespace dovrel::testing

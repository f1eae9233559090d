// Every file the program creates is private to its user: after a full session of commands, each
// file under the data home and each backup written is 0600 and each folder 0700.

#include <sys/stat.h>

#include "tests/apps/dovrel/HabitCommands.h"

namespace dovrel {
namespace {

using testing::HabitCommands;
namespace fs = std::filesystem;

unsigned permissionsOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST_F(HabitCommands, EveryFileAFullSessionCreatesIs0600AndEveryFolder0700) {
    // A process umask that would leave files readable by everyone, as many desktops have.
    const mode_t previousMask = ::umask(022);
    const fs::path backup = home_.path() / "habits.json";
    const std::vector<std::vector<std::string>> session{
        {"add", "Water", "--remind", "09:00"},
        {"add", "Read", "--times", "3", "--days", "7"},
        {"check", "Water"},
        {"check", "Read", "--at", "2026-03-08"},
        {"list"},
        {"show", "Water"},
        {"why", "Read"},
        {"stats"},
        {"edit", "Read", "--name", "Read more"},
        {"delete", "Read more"},
        {"settings"},
        {"settings", "--reminders", "off"},
        {"settings", "--reminders", "on"},
        {"reminders"},
        {"reminders", "deliver"},
        {"backup", backup.string()},
        {"reset", "Water"},
        {"restore", backup.string()},
    };
    for (const auto& command : session) {
        const auto result = run(command, "2026-03-10 09:05:00");
        EXPECT_EQ(result.exitStatus, 0) << command.front() << ": " << result.standardError;
    }
    ::umask(previousMask);

    std::size_t files = 0;
    const fs::path data = home_.path() / "data";
    ASSERT_TRUE(fs::exists(data));
    EXPECT_EQ(permissionsOf(data / "group.app.dovrel.Dovrel"), 0700u);
    for (const auto& entry : fs::recursive_directory_iterator(data)) {
        const fs::path& path = entry.path();
        if (entry.is_symlink()) {
            continue;
        }
        if (entry.is_directory()) {
            // The data home itself belongs to the desktop; everything in it is ours.
            EXPECT_EQ(permissionsOf(path), 0700u) << path;
        } else {
            EXPECT_EQ(permissionsOf(path), 0600u) << path;
            ++files;
        }
    }
    // The store, its log and shared memory, the user defaults and the notification center at
    // least.
    EXPECT_GE(files, 4u);
    EXPECT_EQ(permissionsOf(backup), 0600u);
}

}  // namespace
}  // namespace dovrel

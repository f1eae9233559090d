// The program on a full disk: its whole data home (store, user defaults, notification center)
// on a tiny tmpfs, mounted in a private mount namespace. A restore that does not fit fails with a
// clear error, the store keeps what it had, and once space is freed the program works again.
// Skipped where the test may not mount (it needs CAP_SYS_ADMIN, as root has).

#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tests/support/FileContents.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;

using testing::contentsOf;

// A backup of `habits` habits of `days` daily checkmarks each: far more than a megabyte in a
// store.
void writeBigBackup(const fs::path& file, int habits, int days) {
    std::ostringstream out;
    out << "{\"version\": 1, \"habits\": [";
    for (int habit = 0; habit < habits; ++habit) {
        out << (habit > 0 ? "," : "") << "{\"colorHex\": 5089000, "
            << "\"creationDate\": \"2020-01-01T12:00:00.000Z\", \"name\": \"Big " << habit
            << "\", \"question\": null, \"remind\": false, \"remindTime\": null, "
            << "\"repeatInterval\": {\"times\": 1, \"days\": 1}, \"performings\": [";
        for (int day = 0; day < days; ++day) {
            // Whole days from 2020-01-02 09:00 UTC.
            const long long seconds = 1577955600LL + day * 86400LL;
            const std::time_t time = static_cast<std::time_t>(seconds);
            char text[32];
            std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.000Z", std::gmtime(&time));
            out << (day > 0 ? "," : "") << "{\"date\": \"" << text << "\"}";
        }
        out << "], \"lastFivePerformingDates\": null, \"lastPerformingDateProgress\": 0}";
    }
    out << "]}";
    std::ofstream(file) << out.str();
}

TEST(FullDisk, ARestoreThatDoesNotFitFailsClearlyKeepsTheStoreAndSpaceFreedBringsItBack) {
    if (::geteuid() != 0 || testing::programOnPath("unshare") == "unshare") {
        GTEST_SKIP() << "mounting a small tmpfs needs root and unshare";
    }
    testing::TemporaryDirectory scratch;
    const fs::path tiny = scratch.path() / "tiny";
    const fs::path out = scratch.path() / "out";
    fs::create_directories(tiny);
    fs::create_directories(out);
    const fs::path backup = scratch.path() / "big.json";
    writeBigBackup(backup, 40, 400);
    const fs::path script = scratch.path() / "full-disk.sh";
    std::ofstream(script) << R"(set -u
tiny="$1"; out="$2"; backup="$3"; dovrel="$4"
mount -t tmpfs -o size=1m,mode=0755 tmpfs "$tiny" || exit 77
export HOME="$tiny/home" XDG_DATA_HOME="$tiny/data" XDG_RUNTIME_DIR="$tiny"
mkdir -p "$HOME"
"$dovrel" add Water > "$out/add.out" 2>&1; echo $? > "$out/add.status"
"$dovrel" check Water > /dev/null 2>&1
# Most of what is left goes to a file that the test frees later.
head -c 400000 /dev/zero > "$tiny/filler"
"$dovrel" restore "$backup" > "$out/restore.out" 2> "$out/restore.err"; echo $? > "$out/restore.status"
"$dovrel" list --json > "$out/full-list.json" 2> "$out/full-list.err"; echo $? > "$out/full-list.status"
rm "$tiny/filler"
"$dovrel" add Read > "$out/read.out" 2> "$out/read.err"; echo $? > "$out/read.status"
"$dovrel" list --json > "$out/freed-list.json" 2>&1
"$dovrel" settings > "$out/settings.out" 2>&1; echo $? > "$out/settings.status"
)";
    const auto result = testing::runProgram(
        {testing::programOnPath("unshare"), "--mount", "--propagation", "private", "bash",
         script.string(), tiny.string(), out.string(), backup.string(), DOVREL_CLI_PATH},
        {{"TZ", "Europe/Kyiv"},
         {"LANG", "en_US.UTF-8"},
         {"LANGUAGE", std::nullopt},
         {"LC_ALL", std::nullopt},
         {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
         {"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR}});
    if (result.exitStatus == 77 || result.exitStatus == 1) {
        GTEST_SKIP() << "no private tmpfs here: " << result.standardError;
    }
    ASSERT_EQ(result.exitStatus, 0) << result.standardError;
    ASSERT_EQ(contentsOf(out / "add.status"), "0\n") << contentsOf(out / "add.out");

    // The restore does not fit: a clear error, and the store has what it had.
    EXPECT_EQ(contentsOf(out / "restore.status"), "1\n") << contentsOf(out / "restore.out");
    const std::string error = contentsOf(out / "restore.err");
    EXPECT_NE(error.find("full"), std::string::npos) << error;
    EXPECT_EQ(error.find("Fatal"), std::string::npos) << error;
    EXPECT_EQ(contentsOf(out / "full-list.status"), "0\n") << contentsOf(out / "full-list.err");
    const auto full = nlohmann::json::parse(contentsOf(out / "full-list.json"));
    ASSERT_EQ(full.size(), 1u);
    EXPECT_EQ(full[0]["name"], "Water");
    EXPECT_EQ(full[0]["checked"], true);

    // Space again: the program works as before.
    EXPECT_EQ(contentsOf(out / "read.status"), "0\n") << contentsOf(out / "read.err");
    const auto freed = nlohmann::json::parse(contentsOf(out / "freed-list.json"));
    ASSERT_EQ(freed.size(), 2u);
    EXPECT_EQ(freed[1]["name"], "Read");
    EXPECT_EQ(contentsOf(out / "settings.status"), "0\n") << contentsOf(out / "settings.out");
}

}  // namespace
}  // namespace dovrel

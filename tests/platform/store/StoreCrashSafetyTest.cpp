#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "tests/platform/store/StoreTestModel.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel::store {
namespace {

using dovrel::testing::ChildProcess;
using dovrel::testing::ScopedEnvironment;
using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::TemporaryDirectory;

constexpr int kRows = 200000;
constexpr const char* kChildStoreVariable = "DOVREL_STORE_CRASH_CHILD_STORE";

// The child's part: run by this same program in a child process (see below). It inserts many
// objects, says "saving" on standard output, and saves them in one go.
TEST(StoreCrashSafetyIntegration, ChildWritesALargeSave) {
    const char* file = std::getenv(kChildStoreVariable);
    if (file == nullptr) {
        GTEST_SKIP() << "runs only as the child of SIGKILLDuringALargeSaveLeavesAllOrNothing";
    }
    auto container = makeLoadedContainer(file, makeTestModel());
    auto& context = *container->viewContext();
    for (int i = 0; i < kRows; ++i) {
        auto person = context.insertNewObject("Person");
        person->setValue("Person number " + std::to_string(i), "name");
        person->setValue(i, "age");
        person->setValue(Date(i * 60.0), "birthday");
    }
    std::fputs("saving\n", stdout);
    std::fflush(stdout);
    context.save();
    std::fputs("saved\n", stdout);
    std::fflush(stdout);
}

std::int64_t countAndCheck(const std::filesystem::path& file, std::string& integrity) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr);
    if (sqlite3_step(statement) == SQLITE_ROW) {
        integrity = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    }
    sqlite3_finalize(statement);
    sqlite3_prepare_v2(db, "SELECT count(*) FROM Person", -1, &statement, nullptr);
    std::int64_t count = -1;
    if (sqlite3_step(statement) == SQLITE_ROW) {
        count = sqlite3_column_int64(statement, 0);
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return count;
}

TEST(StoreCrashSafetyIntegration, SIGKILLDuringALargeSaveLeavesAllOrNothing) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Crash.sqlite";
    // Kill at several moments into the save; each run must leave all of it or none of it. The
    // last run kills only after the child reported the save done, so all of it must be there.
    for (int delayMilliseconds : {0, 40, 150, -1}) {
        std::filesystem::remove(file);
        std::filesystem::remove(file.string() + "-wal");
        std::filesystem::remove(file.string() + "-shm");
        {
            ScopedEnvironment storeForChild(kChildStoreVariable, file.string());
            ChildProcess child(
                {"/proc/self/exe",
                 "--gtest_filter=StoreCrashSafetyIntegration.ChildWritesALargeSave"});
            std::optional<std::string> line;
            while ((line = child.readLine(std::chrono::seconds(60))) && *line != "saving") {
            }
            ASSERT_EQ(line, "saving");
            if (delayMilliseconds >= 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(delayMilliseconds));
            } else {
                while ((line = child.readLine(std::chrono::seconds(60))) && *line != "saved") {
                }
            }
            EXPECT_EQ(child.kill(), 128 + SIGKILL);
        }

        // The store opens through the container as well as directly.
        std::optional<Error> error;
        auto container = makeLoadedContainer(file, makeTestModel(), &error);
        EXPECT_FALSE(error.has_value());
        const auto objects = container->viewContext()->count(FetchRequestBase("Person"));
        container.reset();
        std::string integrity;
        const auto rows = countAndCheck(file, integrity);
        EXPECT_EQ(integrity, "ok");
        EXPECT_TRUE(rows == 0 || rows == kRows)
            << rows << " rows after a kill at " << delayMilliseconds << " ms";
        EXPECT_EQ(objects, rows);
        if (delayMilliseconds < 0) {
            EXPECT_EQ(rows, kRows);
        }
        std::cout << "kill at " << delayMilliseconds << " ms into the save: " << rows << " rows\n";
    }
}

}  // namespace
}  // namespace dovrel::store

#include "platform/foundation/SQLiteBusyWait.h"

#include <sqlite3.h>

#include <gtest/gtest.h>

#include <chrono>

namespace dovrel {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(SQLiteBusyWait, BusyAndLockedCodesAndTheirExtendedFormsAreBusy) {
    EXPECT_TRUE(isSQLiteBusy(SQLITE_BUSY));
    EXPECT_TRUE(isSQLiteBusy(SQLITE_LOCKED));
    EXPECT_TRUE(isSQLiteBusy(SQLITE_BUSY_RECOVERY));
    EXPECT_TRUE(isSQLiteBusy(SQLITE_BUSY_SNAPSHOT));
    EXPECT_TRUE(isSQLiteBusy(SQLITE_LOCKED_SHAREDCACHE));
    EXPECT_FALSE(isSQLiteBusy(SQLITE_OK));
    EXPECT_FALSE(isSQLiteBusy(SQLITE_DONE));
    EXPECT_FALSE(isSQLiteBusy(SQLITE_CORRUPT));
    EXPECT_FALSE(isSQLiteBusy(SQLITE_IOERR_LOCK));
}

TEST(SQLiteBusyWait, AnAttemptThatSucceedsRunsOnce) {
    int attempts = 0;
    EXPECT_EQ(retryWhileSQLiteBusy(milliseconds(1000),
                                   [&] {
                                       ++attempts;
                                       return SQLITE_DONE;
                                   }),
              SQLITE_DONE);
    EXPECT_EQ(attempts, 1);
}

TEST(SQLiteBusyWait, AnotherFailureIsNotTriedAgain) {
    int attempts = 0;
    EXPECT_EQ(retryWhileSQLiteBusy(milliseconds(1000),
                                   [&] {
                                       ++attempts;
                                       return SQLITE_CORRUPT;
                                   }),
              SQLITE_CORRUPT);
    EXPECT_EQ(attempts, 1);
}

TEST(SQLiteBusyWait, ABusyAttemptRunsAgainUntilItSucceeds) {
    int attempts = 0;
    EXPECT_EQ(retryWhileSQLiteBusy(milliseconds(5000),
                                   [&] { return ++attempts < 4 ? SQLITE_BUSY : SQLITE_OK; }),
              SQLITE_OK);
    EXPECT_EQ(attempts, 4);
}

TEST(SQLiteBusyWait, ABusyAttemptGivesUpOnceTheTimeoutHasPassed) {
    int attempts = 0;
    const auto started = steady_clock::now();
    EXPECT_EQ(retryWhileSQLiteBusy(milliseconds(100),
                                   [&] {
                                       ++attempts;
                                       return SQLITE_LOCKED;
                                   }),
              SQLITE_LOCKED);
    const auto waited = steady_clock::now() - started;
    EXPECT_GE(waited, milliseconds(100));
    EXPECT_LT(waited, milliseconds(1000));
    EXPECT_GT(attempts, 2);
}

TEST(SQLiteBusyWait, AZeroTimeoutTriesOnce) {
    int attempts = 0;
    EXPECT_EQ(retryWhileSQLiteBusy(milliseconds(0),
                                   [&] {
                                       ++attempts;
                                       return SQLITE_BUSY;
                                   }),
              SQLITE_BUSY);
    EXPECT_EQ(attempts, 1);
}

}  // namespace
}  // namespace dovrel

// The application's start on real store files: the one-time merge of an older store, and a store
// that cannot be opened.

#include <set>

#include "tests/apps/dovrel-app/AppTestSupport.h"
#include "tests/support/FileContents.h"

namespace dovrel::app::test {
namespace {

class AppServicesTest : public AppTest {};

TEST_F(AppServicesTest, AnOlderStoreIsMergedOnceAndRemoved) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    const auto older = scratch_.path() / "Older.sqlite";
    ASSERT_EQ(testing::runProgram({DOVREL_CLI_PATH, "--store", older.string(), "add", "Read"},
                                  {{"XDG_DATA_HOME", (scratch_.path() / "data").string()},
                                   {"HOME", scratch_.path().string()}})
                  .exitStatus,
              0);
    AppServices::Options options;
    options.storePath = store();
    options.mergeFrom = older;
    options.countsLaunch = false;
    services_ = std::make_unique<AppServices>(options);
    ASSERT_TRUE(services_->hasStore()) << services_->storeProblem().value_or("");
    ASSERT_TRUE(waitUntil([&] { return !std::filesystem::exists(older); }));
    const auto habits = storedHabits();
    ASSERT_EQ(habits.size(), 2u);
    std::set<std::string> names{habits[0]["name"], habits[1]["name"]};
    EXPECT_EQ(names, (std::set<std::string>{"Water", "Read"}));
}

TEST_F(AppServicesTest, AFolderWhereTheStoreShouldBeIsAProblemAndStaysAsItWas) {
    std::filesystem::create_directories(store() / "notes");
    AppServices::Options options;
    options.storePath = store();
    options.countsLaunch = false;
    services_ = std::make_unique<AppServices>(options);
    ASSERT_FALSE(services_->hasStore());
    EXPECT_NE(services_->storeProblem()->find(store().string()), std::string::npos);
    EXPECT_NE(services_->storeProblem()->find("not a regular file"), std::string::npos)
        << *services_->storeProblem();
    EXPECT_TRUE(std::filesystem::is_directory(store() / "notes"));
    EXPECT_FALSE(std::filesystem::exists(store().string() + "-wal"));
}

TEST_F(AppServicesTest, AStoreOfANewerModelIsAProblemAndStaysAsItWas) {
    ASSERT_EQ(dovrel({"add", "Water"}).exitStatus, 0);
    // The model version is the store's metadata; a newer program wrote this one.
    ASSERT_EQ(testing::runProgram({testing::programOnPath("sqlite3"), store().string(),
                                   "UPDATE Z_METADATA SET Z_VALUE = 'HabitV9' WHERE Z_KEY = "
                                   "'NSStoreModelVersionIdentifier';"})
                  .exitStatus,
              0);
    const std::string before = testing::contentsOf(store());
    AppServices::Options options;
    options.storePath = store();
    options.countsLaunch = false;
    services_ = std::make_unique<AppServices>(options);
    ASSERT_FALSE(services_->hasStore());
    EXPECT_NE(services_->storeProblem()->find("newer Dovrel"), std::string::npos)
        << *services_->storeProblem();
    EXPECT_EQ(testing::contentsOf(store()), before);
}

}  // namespace
}  // namespace dovrel::app::test

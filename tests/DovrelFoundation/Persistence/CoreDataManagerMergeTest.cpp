// The merge of an older secondary store into the primary one.

#include "DovrelFoundation/Persistence/CoreDataManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/DovrelFoundation/Persistence/CoreDataManagerTestSupport.h"

namespace dovrel {
namespace {

using namespace coredatamanagertest;  // the fixture and its helpers, in this test file only

// ---- Merging ----

TEST_F(CoreDataManagerTest, MergeOnAContainerWithASingleDescriptionDoesNothing) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::nullopt, &completions);

    EXPECT_EQ(merge(manager), std::nullopt);
    EXPECT_THAT(console_.lines(), IsEmpty());
    EXPECT_EQ(mergeTimestamp(), std::nullopt);
    const auto stores =
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores();
    EXPECT_FALSE(stores[0]->metadata().contains(CoreDataManager::kMergeDateMetadataKey));
}

TEST_F(CoreDataManagerTest, MergeCompletionRunsOnTheMainQueueNotInTheCall) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::nullopt, &completions);
    bool called = false;
    manager.mergeStoreContents([&](std::optional<Error>) { called = true; });
    EXPECT_FALSE(called);
    EXPECT_TRUE(MainRunLoop::runUntil([&] { return called; }, std::chrono::seconds(10)));
}

TEST_F(CoreDataManagerTest, MergeCopiesOldSqliteIntoThePrimaryStoreAndDeletesItsFiles) {
    PrivateSessionBus bus;
    {
        StoreWriter primary(storeURL("Habit.sqlite"));
        primary.addFullHabit("Already here", 1);
        primary.save();
        StoreWriter old(storeURL("Old.sqlite"));
        old.addFullHabit("Water", 3);
        old.addBareHabit(2);
        old.save();
    }
    std::ofstream(groupContainer() / "Notes.txt") << "not a store";

    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
    ASSERT_THAT(completions, ElementsAre(true));
    const auto coordinator = manager.persistentContainer()->persistentStoreCoordinator();
    const auto primary = coordinator->persistentStores()[0];
    const auto expected = habitsOfStore(manager, coordinator->persistentStores()[1]);
    ASSERT_EQ(expected.size(), 2u);
    // The open secondary store has its write-ahead log and shared-memory files beside it.
    ASSERT_TRUE(fs::exists(storeURL("Old.sqlite-wal")));
    ASSERT_TRUE(fs::exists(storeURL("Old.sqlite-shm")));

    EXPECT_EQ(merge(manager), std::nullopt);

    EXPECT_THAT(
        console_.lines(),
        ElementsAre("Found 2 habits in secondary store to merge",
                    "Secondary store removed from container and deleted from disk after successful "
                    "merge",
                    "Notified widget of Core Data merge completion"));
    EXPECT_FALSE(fs::exists(storeURL("Old.sqlite")));
    EXPECT_FALSE(fs::exists(storeURL("Old.sqlite-wal")));
    EXPECT_FALSE(fs::exists(storeURL("Old.sqlite-shm")));
    EXPECT_TRUE(fs::exists(storeURL("Habit.sqlite")));
    EXPECT_TRUE(fs::exists(groupContainer() / "Notes.txt"));

    ASSERT_EQ(coordinator->persistentStores().size(), 1u);
    EXPECT_EQ(coordinator->persistentStores()[0], primary);
    ASSERT_EQ(manager.persistentContainer()->persistentStoreDescriptions().size(), 1u);
    EXPECT_EQ(manager.persistentContainer()->persistentStoreDescriptions()[0].url(),
              storeURL("Habit.sqlite"));

    const auto metadata = coordinator->metadataForPersistentStore(*primary);
    ASSERT_TRUE(metadata.contains(CoreDataManager::kMergeDateMetadataKey));
    EXPECT_EQ(metadata.at(CoreDataManager::kMergeDateMetadataKey), Value(kNow));
    EXPECT_EQ(mergeTimestamp(), kNow.timeIntervalSince1970());

    const auto reloads = bus.waitForRequests(1);
    ASSERT_EQ(reloads.size(), 1u);
    EXPECT_EQ(reloads[0].kind, std::nullopt);

    // The view context sees the copies (merged from the background context's save).
    const auto merged = habitsOfStore(manager, primary);
    ASSERT_EQ(merged.size(), 3u);
    EXPECT_EQ(checkmarksOfStore(manager, primary), 1);
}

TEST_F(CoreDataManagerTest, AHabitCopiedByTheMergeKeepsEveryAttributeAndHasNoCheckmarks) {
    {
        StoreWriter old(storeURL("Old.sqlite"));
        old.addFullHabit("Water", 3);
        old.addBareHabit(2);
        old.save();
    }
    std::vector<HabitValues> expected;
    {
        CoreDataManager manager;
        std::vector<bool> completions;
        startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
        expected = habitsOfStore(
            manager,
            manager.persistentContainer()->persistentStoreCoordinator()->persistentStores()[1]);
        ASSERT_EQ(merge(manager), std::nullopt);
    }
    ASSERT_EQ(expected.size(), 2u);
    EXPECT_EQ(expected[0].checkmarks, 3u);
    EXPECT_EQ(expected[1].checkmarks, 2u);
    EXPECT_EQ(expected[1].colorHex, std::nullopt);
    EXPECT_TRUE(expected[1].name.isNull());

    // Read the primary store afresh, as the next launch does.
    CoreDataManager relaunch;
    std::vector<bool> completions;
    startApplication(relaunch, "Habit.sqlite", std::nullopt, &completions);
    const auto primary =
        relaunch.persistentContainer()->persistentStoreCoordinator()->persistentStores()[0];
    auto copies = habitsOfStore(relaunch, primary);
    ASSERT_EQ(copies.size(), 2u);
    EXPECT_EQ(checkmarksOfStore(relaunch, primary), 0);
    for (std::size_t i = 0; i < copies.size(); ++i) {
        EXPECT_EQ(copies[i].checkmarks, 0u);
        auto withoutCheckmarks = expected[i];
        withoutCheckmarks.checkmarks = 0;
        EXPECT_EQ(copies[i], withoutCheckmarks) << "habit " << i;
    }
    EXPECT_EQ(copies[0].colorHex, std::optional<std::int64_t>(0x2A7F3C));
    EXPECT_EQ(copies[0].repeatInterval, RepeatInterval(3, 7));
    EXPECT_EQ(copies[0].lastPerformingDateProgress, Value(42.5));
    EXPECT_TRUE(copies[1].question.isNull());
    EXPECT_TRUE(copies[1].remindTime.isNull());
    EXPECT_EQ(copies[1].repeatInterval, std::nullopt);
    EXPECT_EQ(copies[1].lastFivePerformingDates, std::nullopt);
}

TEST_F(CoreDataManagerTest, ASecondaryStoreWithZeroHabitsIsStillRemovedAndDeletedAndMarked) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Empty.sqlite"), &completions);
    ASSERT_TRUE(fs::exists(storeURL("Empty.sqlite")));

    EXPECT_EQ(merge(manager), std::nullopt);

    EXPECT_THAT(
        console_.lines(),
        ElementsAre("No habits found in secondary store",
                    "Secondary store removed from container and deleted from disk after successful "
                    "merge",
                    "Notified widget of Core Data merge completion"));
    EXPECT_FALSE(fs::exists(storeURL("Empty.sqlite")));
    EXPECT_FALSE(fs::exists(storeURL("Empty.sqlite-wal")));
    EXPECT_FALSE(fs::exists(storeURL("Empty.sqlite-shm")));
    const auto coordinator = manager.persistentContainer()->persistentStoreCoordinator();
    ASSERT_EQ(coordinator->persistentStores().size(), 1u);
    EXPECT_TRUE(coordinator->metadataForPersistentStore(*coordinator->persistentStores()[0])
                    .contains(CoreDataManager::kMergeDateMetadataKey));
    EXPECT_EQ(mergeTimestamp(), kNow.timeIntervalSince1970());
}

TEST_F(CoreDataManagerTest, TheMergeMarkSurvivesARelaunch) {
    {
        CoreDataManager manager;
        std::vector<bool> completions;
        startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
        ASSERT_EQ(merge(manager), std::nullopt);
    }
    CoreDataManager relaunch;
    std::vector<bool> completions;
    startApplication(relaunch, "Habit.sqlite", std::nullopt, &completions);
    const auto coordinator = relaunch.persistentContainer()->persistentStoreCoordinator();
    const auto metadata =
        coordinator->metadataForPersistentStore(*coordinator->persistentStores()[0]);
    ASSERT_TRUE(metadata.contains(CoreDataManager::kMergeDateMetadataKey));
    EXPECT_EQ(metadata.at(CoreDataManager::kMergeDateMetadataKey), Value(kNow));
}

TEST_F(CoreDataManagerTest, ASecondCallOnTheSameManagerFindsOneDescriptionAndDoesNothing) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
    ASSERT_EQ(merge(manager), std::nullopt);
    const auto linesAfterFirst = console_.lines().size();
    clock_.set(kNow + 3600);

    EXPECT_EQ(merge(manager), std::nullopt);

    EXPECT_EQ(console_.lines().size(), linesAfterFirst);
    EXPECT_EQ(mergeTimestamp(), kNow.timeIntervalSince1970());
}

TEST_F(CoreDataManagerTest, SecondCallAfterASuccessfulMergeSkipsRestampsAndReloadsWidgets) {
    {
        StoreWriter old(storeURL("Old.sqlite"));
        old.addFullHabit("Water", 1);
        old.save();
    }
    {
        CoreDataManager manager;
        std::vector<bool> completions;
        startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
        ASSERT_EQ(merge(manager), std::nullopt);
    }
    ASSERT_FALSE(fs::exists(storeURL("Old.sqlite")));

    // The next launch passes the secondary configuration again: its file is opened (as a new,
    // empty store) and the mark makes the merge a no-op.
    PrivateSessionBus bus;
    clock_.set(kNow + 86400);
    CoreDataManager relaunch;
    std::vector<bool> completions;
    startApplication(relaunch, "Habit.sqlite", std::string("Old.sqlite"), &completions);
    ASSERT_THAT(completions, ElementsAre(true));
    const auto linesBefore = console_.lines().size();

    EXPECT_EQ(merge(relaunch), std::nullopt);

    const auto lines = console_.lines();
    ASSERT_EQ(lines.size(), linesBefore + 2);
    EXPECT_EQ(lines[linesBefore], "Merge already performed previously - skipping");
    EXPECT_EQ(lines[linesBefore + 1], "Notified widget of Core Data merge completion");
    EXPECT_EQ(mergeTimestamp(), (kNow + 86400).timeIntervalSince1970());
    const auto reloads = bus.waitForRequests(1);
    ASSERT_EQ(reloads.size(), 1u);
    EXPECT_EQ(reloads[0].kind, std::nullopt);

    // Nothing was merged or removed: both stores stay, the primary keeps its one habit.
    const auto coordinator = relaunch.persistentContainer()->persistentStoreCoordinator();
    ASSERT_EQ(coordinator->persistentStores().size(), 2u);
    EXPECT_EQ(relaunch.persistentContainer()->persistentStoreDescriptions().size(), 2u);
    EXPECT_TRUE(fs::exists(storeURL("Old.sqlite")));
    EXPECT_EQ(habitsOfStore(relaunch, coordinator->persistentStores()[0]).size(), 1u);
    // The mark keeps the first merge's date.
    EXPECT_EQ(coordinator->metadataForPersistentStore(*coordinator->persistentStores()[0])
                  .at(CoreDataManager::kMergeDateMetadataKey),
              Value(kNow));
}

TEST_F(CoreDataManagerTest, MergeWithFewerThanTwoStoresReportsCoreDataManagerError1) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
    const auto coordinator = manager.persistentContainer()->persistentStoreCoordinator();
    coordinator->removePersistentStore(coordinator->persistentStores()[1]);

    const auto error = merge(manager);

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain(), "CoreDataManager");
    EXPECT_EQ(error->code(), 1);
    EXPECT_EQ(error->localizedDescription(), "Expected at least 2 stores but found 1");
    EXPECT_THAT(console_.lines(), IsEmpty());
    EXPECT_EQ(mergeTimestamp(), std::nullopt);
    EXPECT_TRUE(fs::exists(storeURL("Old.sqlite")));
}

TEST_F(CoreDataManagerTest, AFailedSaveDuringTheMergeIsReportedAndLeavesNoMark) {
    {
        StoreWriter old(storeURL("Old.sqlite"));
        old.addFullHabit("Water", 1);
        old.save();
    }
    // A row that the model would never write: a required attribute without a value. Its copy
    // cannot be saved.
    testing::runStoreStatement(storeURL("Old.sqlite"),
                               "UPDATE \"Habit\" SET \"lastPerformingDateProgress\" = NULL");

    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);

    const auto error = merge(manager);

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
    EXPECT_EQ(error->code(), store::StoreError::kValidationMissingMandatoryPropertyError);
    const auto lines = console_.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "Found 1 habits in secondary store to merge");
    EXPECT_EQ(lines[1], "Error during store merge: " + CoreDataManager::describeError(*error));
    const auto coordinator = manager.persistentContainer()->persistentStoreCoordinator();
    ASSERT_EQ(coordinator->persistentStores().size(), 2u);
    EXPECT_FALSE(coordinator->metadataForPersistentStore(*coordinator->persistentStores()[0])
                     .contains(CoreDataManager::kMergeDateMetadataKey));
    EXPECT_TRUE(fs::exists(storeURL("Old.sqlite")));
    EXPECT_EQ(mergeTimestamp(), std::nullopt);
    EXPECT_TRUE(habitsOfStore(manager, coordinator->persistentStores()[0]).empty());
}

TEST_F(CoreDataManagerTest, MergeDeletesFilesThatShareTheBaseNameButNotHiddenOrOtherFiles) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.store.sqlite"), &completions);
    std::ofstream(storeURL("Old-journal")) << "x";
    std::ofstream(storeURL(".Old.sqlite-hidden")) << "x";
    std::ofstream(storeURL("Older notes.txt")) << "x";
    std::ofstream(storeURL("Habit.sqlite.bak")) << "x";

    EXPECT_EQ(merge(manager), std::nullopt);

    EXPECT_FALSE(fs::exists(storeURL("Old.store.sqlite")));
    EXPECT_FALSE(fs::exists(storeURL("Old-journal")));
    // A file whose name starts with the base name "Old" goes too, as the rule says.
    EXPECT_FALSE(fs::exists(storeURL("Older notes.txt")));
    EXPECT_TRUE(fs::exists(storeURL(".Old.sqlite-hidden")));
    EXPECT_TRUE(fs::exists(storeURL("Habit.sqlite")));
    EXPECT_TRUE(fs::exists(storeURL("Habit.sqlite.bak")));
}

TEST_F(CoreDataManagerTest, MergeWithoutASharedDefaultsSuiteStillReloadsWidgets) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);
    // The suite's file cannot be made: a directory stands where it would be.
    fs::create_directories(groupContainer() / UserDefaults::kFileName / "blocked");
    CapturedLog widgetLines(widgets::kWidgetsLoggerName);

    EXPECT_EQ(merge(manager), std::nullopt);

    EXPECT_EQ(console_.lines().back(), "Notified widget of Core Data merge completion");
    // Without a session bus the reload request is logged by the widget center.
    EXPECT_THAT(widgetLines.lines(),
                ElementsAre(HasSubstr("Widget timelines not reloaded (all kinds)")));
}

}  // namespace
}  // namespace dovrel

#include "DovrelFoundation/Persistence/CoreDataManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/DovrelFoundation/Persistence/CoreDataManagerTestSupport.h"

namespace dovrel {
namespace {

using namespace coredatamanagertest;  // the fixture and its helpers, in this test file only

// ---- Created ----

TEST_F(CoreDataManagerTest, ANewManagerHasOpenedNothing) {
    CoreDataManager manager;
    EXPECT_FALSE(manager.isReadyToUse());
    EXPECT_EQ(manager.persistentContainer(), nullptr);
    EXPECT_EQ(manager.defaultAppGroupID(), kGroup);
    EXPECT_FALSE(fs::exists(groupContainer()));
}

TEST_F(CoreDataManagerTest, IsReadyToUseCanBeSetFromOutside) {
    CoreDataManager manager;
    manager.setIsReadyToUse(true);
    EXPECT_TRUE(manager.isReadyToUse());
}

using CoreDataManagerDeathTest = CoreDataManagerTest;

TEST_F(CoreDataManagerDeathTest, ViewContextBeforeAnInitialiserStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CoreDataManager manager;
    EXPECT_DEATH(manager.viewContext(), "Fatal error: .*DovrelFoundation/CoreDataManager");
}

TEST_F(CoreDataManagerDeathTest, ABackgroundContextBeforeAnInitialiserStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CoreDataManager manager;
    EXPECT_DEATH(manager.createNewBackgroundContext(),
                 "Fatal error: .*DovrelFoundation/CoreDataManager");
}

// ---- The application's start ----

TEST_F(CoreDataManagerTest, ApplicationStartWithNoSecondaryConfigurationLoadsOneStore) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::nullopt, &completions);

    EXPECT_THAT(completions, ElementsAre(false));
    EXPECT_TRUE(manager.isReadyToUse());
    ASSERT_NE(manager.persistentContainer(), nullptr);
    EXPECT_EQ(manager.persistentContainer()->name(), "Habit");
    const auto stores =
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores();
    ASSERT_EQ(stores.size(), 1u);
    EXPECT_EQ(stores[0]->url(), storeURL("Habit.sqlite"));
    EXPECT_TRUE(fs::exists(storeURL("Habit.sqlite")));
    EXPECT_THAT(console_.lines(), IsEmpty());
    EXPECT_THAT(recorder_->errors, IsEmpty());
}

TEST_F(CoreDataManagerTest, ApplicationStartOpensStoresWithHistoryAndRemoteChangeOptions) {
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::string("Old.sqlite"), &completions);

    const auto& descriptions = manager.persistentContainer()->persistentStoreDescriptions();
    ASSERT_EQ(descriptions.size(), 2u);
    for (const auto& description : descriptions) {
        EXPECT_TRUE(description.boolOption(
            store::PersistentStoreDescription::kPersistentHistoryTrackingKey));
        EXPECT_TRUE(
            description.boolOption("NSPersistentStoreRemoteChangeNotificationPostOptionKey"));
    }
    const auto& view = manager.viewContext();
    EXPECT_TRUE(view->automaticallyMergesChangesFromParent());
    EXPECT_EQ(view->mergePolicy(), store::MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
    EXPECT_EQ(view->concurrencyType(),
              store::ManagedObjectContext::ConcurrencyType::mainQueueConcurrencyType);
    EXPECT_EQ(manager.createNewBackgroundContext()->concurrencyType(),
              store::ManagedObjectContext::ConcurrencyType::privateQueueConcurrencyType);
}

TEST_F(CoreDataManagerTest, ApplicationStartWithASecondaryConfigurationCompletesOnceAfterBothLoad) {
    CoreDataManager manager;
    std::vector<bool> completions;
    std::vector<std::size_t> storesAtCompletion;
    std::vector<bool> readyAtCompletion;
    manager.initializePersistentContainer(
        FileManager(), *tracker_, CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"},
        CoreDataManager::StoreConfiguration{kGroup, "Old.sqlite"}, [&](bool hasSecondary) {
            completions.push_back(hasSecondary);
            storesAtCompletion.push_back(manager.persistentContainer()
                                             ->persistentStoreCoordinator()
                                             ->persistentStores()
                                             .size());
            readyAtCompletion.push_back(manager.isReadyToUse());
        });

    EXPECT_THAT(completions, ElementsAre(true));
    EXPECT_THAT(storesAtCompletion, ElementsAre(2u));
    EXPECT_THAT(readyAtCompletion, ElementsAre(true));
    EXPECT_TRUE(manager.isReadyToUse());
    const auto stores =
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores();
    ASSERT_EQ(stores.size(), 2u);
    // The primary store is the coordinator's first.
    EXPECT_EQ(stores[0]->url(), storeURL("Habit.sqlite"));
    EXPECT_EQ(stores[1]->url(), storeURL("Old.sqlite"));
}

TEST_F(CoreDataManagerTest, ApplicationStartReadsHabitsAlreadyInTheStore) {
    {
        StoreWriter writer(storeURL("Habit.sqlite"));
        writer.addFullHabit("Water", 2);
        writer.save();
    }
    CoreDataManager manager;
    std::vector<bool> completions;
    startApplication(manager, "Habit.sqlite", std::nullopt, &completions);
    const auto stores =
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores();
    const auto habits = habitsOfStore(manager, stores[0]);
    ASSERT_EQ(habits.size(), 1u);
    EXPECT_EQ(habits[0].name, Value("Water"));
    EXPECT_EQ(habits[0].checkmarks, 2u);
}

// A tracker service that writes each tracked error to standard error, so that a death test can
// see that the error was tracked before the process stopped.
class StandardErrorAnalyticsService final : public AnalyticsServiceProtocol {
  public:
    using AnalyticsServiceProtocol::trackEvent;
    void trackEvent(std::string_view, const std::optional<AnalyticsParameters>&) override {}
    void trackError(const Error& error) override {
        std::cerr << "tracked error " << error.domain() << " " << error.code() << std::endl;
    }
    void trackNumberOfHabits(std::int64_t) override {}
    void trackNotificationsAllowed(bool) override {}
    void track(const Locale&, const std::optional<std::string>&) override {}
    void track(UserInterfaceStyle) override {}
    void trackRemoteConfig(const std::map<std::string, std::string>&) override {}
};

TEST_F(CoreDataManagerDeathTest, AStoreThatFailsToLoadOnTheApplicationPathIsTrackedThenStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    fs::create_directories(groupContainer());
    std::ofstream(storeURL("Habit.sqlite"), std::ios::binary) << "this is not a store at all";
    AnalyticsTracker tracker({std::make_shared<StandardErrorAnalyticsService>()});
    EXPECT_DEATH(
        {
            CoreDataManager manager;
            manager.initializePersistentContainer(
                FileManager(), tracker, CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"},
                std::nullopt, [](bool) {});
        },
        "tracked error NSCocoaErrorDomain 259\n(.|\n)*Fatal error: Failed to load store: Error "
        "Domain=NSCocoaErrorDomain Code=259 \"");
}

TEST_F(CoreDataManagerTest, WithALoadFailureHandlerAStoreThatFailsToLoadIsReportedNotFatal) {
    fs::create_directories(groupContainer());
    const std::string garbage = "this is not a store at all";
    std::ofstream(storeURL("Habit.sqlite"), std::ios::binary) << garbage;
    AnalyticsTracker tracker({std::make_shared<StandardErrorAnalyticsService>()});
    CoreDataManager manager;
    int completions = 0;
    std::vector<std::int64_t> failures;
    manager.initializePersistentContainer(
        FileManager(), tracker, CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"},
        std::nullopt, [&](bool) { ++completions; },
        [&](const Error& error) { failures.push_back(error.code()); });
    EXPECT_EQ(completions, 0);
    EXPECT_EQ(failures, std::vector<std::int64_t>{259});
    EXPECT_FALSE(manager.isReadyToUse());
    std::ifstream in(storeURL("Habit.sqlite"), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), garbage);
}

TEST_F(CoreDataManagerDeathTest, AGroupWithoutASharedContainerStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            CoreDataManager manager;
            manager.initializePersistentContainer(
                FileManager(), *tracker_,
                CoreDataManager::StoreConfiguration{"not/a/group", "Habit.sqlite"}, std::nullopt,
                [](bool) {});
        },
        "Fatal error: Could not create URL for not/a/group: file DovrelFoundation/CoreDataManager");
}

TEST_F(CoreDataManagerDeathTest, ASecondaryGroupWithoutASharedContainerStopsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            CoreDataManager manager;
            manager.initializePersistentContainer(
                FileManager(), *tracker_,
                CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"},
                CoreDataManager::StoreConfiguration{"..", "Old.sqlite"}, [](bool) {});
        },
        "Fatal error: Could not create URL for \\.\\.: file DovrelFoundation/CoreDataManager");
}

// ---- The widget's start ----

TEST_F(CoreDataManagerTest, WidgetStartLoadsTheDefaultStoreAndCountsItsHabits) {
    {
        StoreWriter writer(storeURL("Habit.sqlite"));
        writer.addFullHabit("Water", 1);
        writer.addFullHabit("Read", 0);
        writer.addBareHabit(0);
        writer.save();
    }
    CoreDataManager manager;
    int completions = 0;
    manager.initializePersistentContainer(FileManager(), *tracker_, [&] { ++completions; });

    EXPECT_EQ(completions, 1);
    EXPECT_TRUE(manager.isReadyToUse());
    EXPECT_THAT(console_.lines(),
                ElementsAre("CoreDataManager: initializing for widget with group ID: " + kGroup,
                            "CoreDataManager Widget: Successfully loaded persistent store",
                            "CoreDataManager Widget: Found 3 habits in database"));
    const auto stores =
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores();
    ASSERT_EQ(stores.size(), 1u);
    EXPECT_EQ(stores[0]->url(), storeURL("Habit.sqlite"));
    EXPECT_THAT(recorder_->errors, IsEmpty());
}

TEST_F(CoreDataManagerTest, WidgetStartUsesTheManagersGroup) {
    const std::string group = "group.test.Other";
    {
        StoreWriter writer(data_.path() / group / "Habit.sqlite");
        writer.addBareHabit(0);
        writer.save();
    }
    CoreDataManager manager(group);
    int completions = 0;
    manager.initializePersistentContainer(FileManager(), *tracker_, [&] { ++completions; });
    EXPECT_EQ(completions, 1);
    EXPECT_TRUE(manager.isReadyToUse());
    EXPECT_THAT(console_.lines(),
                ElementsAre("CoreDataManager: initializing for widget with group ID: " + group,
                            "CoreDataManager Widget: Successfully loaded persistent store",
                            "CoreDataManager Widget: Found 1 habits in database"));
}

TEST_F(CoreDataManagerTest, WidgetStartAgainstAMissingStoreCompletesNotReadyAndCreatesNoFile) {
    fs::create_directories(groupContainer());
    CoreDataManager manager;
    manager.setIsReadyToUse(true);
    int completions = 0;
    manager.initializePersistentContainer(FileManager(), *tracker_, [&] { ++completions; });

    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(manager.isReadyToUse());
    EXPECT_FALSE(fs::exists(storeURL("Habit.sqlite")));
    EXPECT_FALSE(fs::exists(storeURL("Habit.sqlite-wal")));
    const auto lines = console_.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "CoreDataManager: initializing for widget with group ID: " + kGroup);
    EXPECT_EQ(lines[1],
              "CoreDataManager Widget: Failed to load store: Error "
              "Domain=NSCocoaErrorDomain Code=260 \"The store file " +
                  storeURL("Habit.sqlite").string() + " does not exist\"");
    ASSERT_EQ(recorder_->errors.size(), 1u);
    EXPECT_EQ(recorder_->errors[0].code(), 260);
    EXPECT_TRUE(
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores().empty());
}

TEST_F(CoreDataManagerTest, WidgetStartAgainstACorruptStoreCompletesNotReadyAndLeavesTheFile) {
    fs::create_directories(groupContainer());
    std::string garbage = "SQLite format 3";
    garbage.push_back('\0');
    for (int i = 0; i < 4000; ++i) {
        garbage.push_back(static_cast<char>((i * 37 + 11) % 251));
    }
    std::ofstream(storeURL("Habit.sqlite"), std::ios::binary) << garbage;
    ::chmod(storeURL("Habit.sqlite").c_str(), 0600);

    CoreDataManager manager;
    int completions = 0;
    manager.initializePersistentContainer(FileManager(), *tracker_, [&] { ++completions; });

    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(manager.isReadyToUse());
    EXPECT_EQ(fileContents(storeURL("Habit.sqlite")), garbage);
    const auto lines = console_.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[1], HasSubstr("CoreDataManager Widget: Failed to load store: Error "
                                    "Domain=NSCocoaErrorDomain Code="));
    ASSERT_EQ(recorder_->errors.size(), 1u);
    EXPECT_EQ(recorder_->errors[0].domain(), "NSCocoaErrorDomain");
}

TEST_F(CoreDataManagerTest, WidgetStartAgainstATextFileCompletesNotReadyAndLeavesTheFile) {
    fs::create_directories(groupContainer());
    const std::string text = "habits: water, reading\n";
    std::ofstream(storeURL("Habit.sqlite"), std::ios::binary) << text;

    CoreDataManager manager;
    int completions = 0;
    manager.initializePersistentContainer(FileManager(), *tracker_, [&] { ++completions; });

    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(manager.isReadyToUse());
    EXPECT_EQ(fileContents(storeURL("Habit.sqlite")), text);
    EXPECT_EQ(recorder_->errors.size(), 1u);
}

TEST_F(CoreDataManagerTest, DescribeErrorGivesDomainCodeAndDescription) {
    EXPECT_EQ(CoreDataManager::describeError(
                  Error("Domain", 7, {{Error::kLocalizedDescriptionKey, "It broke"}})),
              "Error Domain=Domain Code=7 \"It broke\"");
}

}  // namespace
}  // namespace dovrel

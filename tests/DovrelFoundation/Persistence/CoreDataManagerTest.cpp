#include "DovrelFoundation/Persistence/CoreDataManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStore.h"
#include "platform/store/StoreError.h"
#include "platform/widgets/WidgetCenter.h"
#include "tests/DovrelFoundation/SharedStoreTestSupport.h"
#include "tests/support/RecordingAnalyticsService.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using store::ManagedObject;
using store::Value;
using testing::CapturedLog;
using ::testing::ElementsAre;
using testing::fileContents;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::PrivateSessionBus;
using testing::RecordingAnalyticsService;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

const std::string kGroup(Constants::appGroupIdentifier);
// 2025-03-01 12:00:00 UTC.
constexpr Date kNow(762523200.0);

// One habit of a store, read back by key.
struct HabitValues {
    std::optional<std::int64_t> colorHex;
    Value creationDate;
    Value name;
    Value question;
    Value remind;
    Value remindTime;
    std::optional<RepeatInterval> repeatInterval;
    std::optional<LastFivePerformingDates> lastFivePerformingDates;
    Value lastPerformingDateProgress;
    std::size_t checkmarks = 0;

    static HabitValues of(const ManagedObject& habit) {
        HabitValues values;
        if (auto color = habit.value("color").objectAs<Color>()) {
            values.colorHex = hex(*color);
        }
        values.creationDate = habit.value("creationDate");
        values.name = habit.value("name");
        values.question = habit.value("question");
        values.remind = habit.value("remind");
        values.remindTime = habit.value("remindTime");
        values.repeatInterval = habit.value("repeatInterval").objectAs<RepeatInterval>();
        values.lastFivePerformingDates =
            habit.value("lastFivePerformingDates").objectAs<LastFivePerformingDates>();
        values.lastPerformingDateProgress = habit.value("lastPerformingDateProgress");
        values.checkmarks = habit.objects("performing").size();
        return values;
    }

    friend bool operator==(const HabitValues&, const HabitValues&) = default;
};

std::ostream& operator<<(std::ostream& out, const HabitValues& values) {
    return out << "{name " << values.name.description() << ", question "
               << values.question.description() << ", checkmarks " << values.checkmarks << "}";
}

// Writes habits into a store file of the current model through a container of its own, closed
// again before returning. Each habit gets `checkmarks` checkmarks.
class StoreWriter {
  public:
    explicit StoreWriter(const fs::path& url)
        : container_(std::make_unique<store::PersistentContainer>("Habit", habitModelVersion2())) {
        registerValueTransformers();
        fs::create_directories(url.parent_path());
        container_->setPersistentStoreDescriptions({store::PersistentStoreDescription(url)});
        container_->loadPersistentStores(
            [](const store::PersistentStoreDescription&, std::optional<Error> error) {
                if (error) {
                    throw *error;
                }
            });
    }

    // A habit with every attribute set.
    void addFullHabit(const std::string& name, int checkmarks) {
        auto& context = *container_->viewContext();
        auto habit = context.insertNewObject("Habit");
        habit->setValue(Value::object(colorFromHex(0x2A7F3C)), "color");
        habit->setValue(Value(Date(700000000.0)), "creationDate");
        habit->setValue(Value(name), "name");
        habit->setValue(Value("Why " + name + "?"), "question");
        habit->setValue(Value(true), "remind");
        habit->setValue(Value(Date(700030000.0)), "remindTime");
        habit->setValue(Value::object(RepeatInterval(3, 7)), "repeatInterval");
        habit->setValue(
            Value::object(LastFivePerformingDates({Date(700100000.0), Date(700200000.0)})),
            "lastFivePerformingDates");
        habit->setValue(Value(42.5), "lastPerformingDateProgress");
        addCheckmarks(*habit, checkmarks);
    }

    // A habit whose optional attributes are all absent.
    void addBareHabit(int checkmarks) {
        auto& context = *container_->viewContext();
        auto habit = context.insertNewObject("Habit");
        addCheckmarks(*habit, checkmarks);
    }

    void save() { container_->viewContext()->save(); }

  private:
    void addCheckmarks(ManagedObject& habit, int count) {
        auto& context = *container_->viewContext();
        for (int i = 0; i < count; ++i) {
            auto performing = context.insertNewObject("Performing");
            performing->setValue(Value(Date(700000000.0 + 86400.0 * i)), "date");
            habit.addObject(performing, "performing");
        }
    }

    std::unique_ptr<store::PersistentContainer> container_;
};

// Every test has its own data home (so its own group container and defaults), no session bus
// unless it starts one, a pinned clock, and the manager's console lines captured.
class CoreDataManagerTest : public ::testing::Test {
  protected:
    CoreDataManagerTest() {
        tracker_ = std::make_shared<AnalyticsTracker>(
            std::vector<std::shared_ptr<AnalyticsServiceProtocol>>{recorder_});
    }

    fs::path groupContainer() const { return data_.path() / kGroup; }
    fs::path storeURL(const std::string& fileName) const { return groupContainer() / fileName; }

    void startApplication(CoreDataManager& manager, const std::string& primary,
                          const std::optional<std::string>& secondary,
                          std::vector<bool>* completions) {
        std::optional<CoreDataManager::StoreConfiguration> secondaryConfig;
        if (secondary) {
            secondaryConfig = CoreDataManager::StoreConfiguration{kGroup, *secondary};
        }
        manager.initializePersistentContainer(
            FileManager(), *tracker_, CoreDataManager::StoreConfiguration{kGroup, primary},
            secondaryConfig,
            [completions](bool hasSecondary) { completions->push_back(hasSecondary); });
    }

    // Calls mergeStoreContents and runs the main queue until its completion has run.
    std::optional<Error> merge(CoreDataManager& manager) {
        bool called = false;
        std::optional<Error> result;
        manager.mergeStoreContents([&](std::optional<Error> error) {
            called = true;
            result = std::move(error);
        });
        EXPECT_TRUE(MainRunLoop::runUntil([&] { return called; }, std::chrono::seconds(10)))
            << "the merge's completion did not run on the main queue";
        return result;
    }

    std::optional<double> mergeTimestamp() const {
        UserDefaults suite(kGroup);
        auto value = suite.object(CoreDataManager::kLastMergeTimestampKey);
        if (value) {
            if (const double* seconds = std::get_if<double>(&*value)) {
                return *seconds;
            }
        }
        return std::nullopt;
    }

    std::vector<HabitValues> habitsOfStore(CoreDataManager& manager,
                                           const std::shared_ptr<store::PersistentStore>& store) {
        store::FetchRequestBase request("Habit");
        request.setAffectedStores({store});
        std::vector<HabitValues> habits;
        for (const auto& habit : manager.viewContext()->fetch(request)) {
            habits.push_back(HabitValues::of(*habit));
        }
        return habits;
    }

    std::int64_t checkmarksOfStore(CoreDataManager& manager,
                                   const std::shared_ptr<store::PersistentStore>& store) {
        store::FetchRequestBase request("Performing");
        request.setAffectedStores({store});
        return manager.viewContext()->count(request);
    }

    TemporaryDirectory data_;
    ScopedEnvironment dataHome_{"XDG_DATA_HOME", data_.path().string()};
    TemporaryDirectory runtime_;
    ScopedEnvironment runtimeDirectory_{"XDG_RUNTIME_DIR", runtime_.path().string()};
    ScopedEnvironment busAddress_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedClockOverride clock_{kNow};
    std::shared_ptr<RecordingAnalyticsService> recorder_ =
        std::make_shared<RecordingAnalyticsService>();
    std::shared_ptr<AnalyticsTracker> tracker_;
    CapturedLog console_{CoreDataManager::kLoggerName};
};

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

TEST_F(CoreDataManagerTest, DescribeErrorGivesDomainCodeAndDescription) {
    EXPECT_EQ(CoreDataManager::describeError(
                  Error("Domain", 7, {{Error::kLocalizedDescriptionKey, "It broke"}})),
              "Error Domain=Domain Code=7 \"It broke\"");
}

}  // namespace
}  // namespace dovrel

#include "DovrelFoundation/Model/HabitToHabitV2MigrationPolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTracker.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/HabitMigrationPlan.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "DovrelFoundation/Settings/Constants.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/store/EntityDescription.h"
#include "platform/store/EntityMapping.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/MappingModel.h"
#include "platform/store/MigrationManager.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStore.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/SortDescriptor.h"
#include "tests/DovrelFoundation/SharedStoreTestSupport.h"
#include "tests/support/RecordingAnalyticsService.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

namespace fs = std::filesystem;
using store::ManagedObject;
using store::Value;
using testing::fileContents;
using testing::RecordingAnalyticsService;
using testing::runStoreScripts;
using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

const std::string kGroup(Constants::appGroupIdentifier);
// The first checkmark of the script's habit "Water": 2024-01-01 09:00 UTC.
constexpr double kFirstCheckmark = 725792400.0;
constexpr double kDay = 86400.0;

std::int64_t paletteIndex(const std::optional<Color>& color) {
    const auto& palette = habitPalette();
    for (std::size_t i = 0; i < palette.size(); ++i) {
        if (color && palette[i] == *color) {
            return static_cast<std::int64_t>(i);
        }
    }
    return -1;
}

std::vector<Date> checkmarkDates(const ManagedObject& habit) {
    std::vector<Date> dates;
    for (const auto& performing : habit.objects("performing")) {
        if (auto date = performing->value("date").date()) {
            dates.push_back(*date);
        }
    }
    std::sort(dates.begin(), dates.end());
    return dates;
}

// A version-1 store file made by the committed script, in the group container of a private data
// home, opened the application's way.
class HabitMigrationTest : public ::testing::Test {
  protected:
    HabitMigrationTest() { fs::create_directories(storeURL().parent_path()); }

    fs::path storeURL() const { return data_.path() / kGroup / "Habit.sqlite"; }

    void makeVersion1Store(bool withCheckmarkWithoutDate = false) {
        std::vector<std::string> scripts{"make-v1-store.sql"};
        if (withCheckmarkWithoutDate) {
            scripts.push_back("add-checkmark-without-date.sql");
        }
        runStoreScripts(storeURL(), scripts);
    }

    void open(CoreDataManager& manager) {
        manager.initializePersistentContainer(
            FileManager(), tracker_, CoreDataManager::StoreConfiguration{kGroup, "Habit.sqlite"},
            std::nullopt, [](bool) {});
    }

    // The habits by creation date (the script's order: Water, Read, Walk).
    std::vector<std::shared_ptr<ManagedObject>> habits(CoreDataManager& manager) {
        store::FetchRequestBase request("Habit");
        request.setSortDescriptors({store::SortDescriptor("creationDate", true)});
        return manager.viewContext()->fetch(request);
    }

    TemporaryDirectory data_;
    ScopedEnvironment dataHome_{"XDG_DATA_HOME", data_.path().string()};
    TemporaryDirectory runtime_;
    ScopedEnvironment runtimeDirectory_{"XDG_RUNTIME_DIR", runtime_.path().string()};
    ScopedEnvironment busAddress_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    AnalyticsTracker tracker_{{std::make_shared<RecordingAnalyticsService>()}};
};

TEST_F(HabitMigrationTest, TheScriptMakesAStoreOfModelVersion1) {
    makeVersion1Store();
    const auto metadata = store::PersistentStoreCoordinator::metadataForPersistentStore(storeURL());
    EXPECT_EQ(metadata.at(store::PersistentStore::kModelVersionIdentifierKey),
              Value(std::string(kHabitModelVersion1Identifier)));
    // The version-1 model opens it as it is.
    registerValueTransformers();
    store::PersistentContainer container("Habit", habitModelVersion1());
    container.setPersistentStoreDescriptions({store::PersistentStoreDescription(storeURL())});
    std::optional<Error> failure;
    container.loadPersistentStores([&](const store::PersistentStoreDescription&,
                                       std::optional<Error> error) { failure = error; });
    ASSERT_EQ(failure, std::nullopt);
    EXPECT_EQ(container.viewContext()->count(store::FetchRequestBase("Habit")), 3);
    EXPECT_EQ(container.viewContext()->count(store::FetchRequestBase("Performing")), 10);
}

TEST_F(HabitMigrationTest, OpeningAVersion1StoreMigratesItToVersion2) {
    makeVersion1Store();
    CoreDataManager manager;
    open(manager);
    EXPECT_TRUE(manager.isReadyToUse());

    const auto stores =
        manager.persistentContainer()->persistentStoreCoordinator()->persistentStores();
    ASSERT_EQ(stores.size(), 1u);
    EXPECT_EQ(stores[0]->url(), storeURL());
    EXPECT_EQ(stores[0]->metadata().at(store::PersistentStore::kModelVersionIdentifierKey),
              Value(std::string(kHabitModelVersion2Identifier)));
    EXPECT_EQ(manager.viewContext()->count(store::FetchRequestBase("Habit")), 3);
    EXPECT_EQ(manager.viewContext()->count(store::FetchRequestBase("Performing")), 10);
    EXPECT_FALSE(fs::exists(storeURL().string() + ".migration"));
}

TEST_F(HabitMigrationTest, AVersion1HabitWithAColourKeepsItAndItsOtherValues) {
    makeVersion1Store();
    CoreDataManager manager;
    open(manager);
    const auto water = habits(manager).at(0);

    EXPECT_EQ(water->value("name"), Value("Water"));
    EXPECT_EQ(water->value("question"), Value("Why drink?"));
    EXPECT_EQ(water->value("remind"), Value(true));
    EXPECT_EQ(water->value("remindTime"), Value(Date(725706000.0)));
    EXPECT_EQ(water->value("creationDate"), Value(Date(725700000.0)));
    const auto color = water->value("color").objectAs<Color>();
    ASSERT_TRUE(color.has_value());
    EXPECT_EQ(hex(*color), 0x123456);
    EXPECT_EQ(water->value("repeatInterval").objectAs<RepeatInterval>(), RepeatInterval(3, 7));
}

TEST_F(HabitMigrationTest, AVersion1HabitWithEightCheckmarksGetsTheFiveLatestDatesInItsCache) {
    makeVersion1Store();
    CoreDataManager manager;
    open(manager);
    const auto water = habits(manager).at(0);

    std::vector<Date> all;
    for (int day = 0; day < 8; ++day) {
        all.push_back(Date(kFirstCheckmark + day * kDay));
    }
    EXPECT_EQ(checkmarkDates(*water), all);

    const auto cache = water->value("lastFivePerformingDates").objectAs<LastFivePerformingDates>();
    ASSERT_TRUE(cache.has_value());
    EXPECT_EQ(cache->dates(), std::vector<Date>(all.begin() + 3, all.end()));

    const auto progress = water->value("lastPerformingDateProgress").real();
    ASSERT_TRUE(progress.has_value());
    EXPECT_GT(*progress, 0.0);
    EXPECT_EQ(*progress, HabitProgressCalculator::calculateProgress(all, 3, 7));
}

TEST_F(HabitMigrationTest, AVersion1HabitWithNoCheckmarksGetsAnEmptyCacheAndProgressZero) {
    makeVersion1Store();
    CoreDataManager manager;
    open(manager);
    const auto read = habits(manager).at(1);
    ASSERT_EQ(read->value("name"), Value("Read"));

    EXPECT_TRUE(read->objects("performing").empty());
    const auto cache = read->value("lastFivePerformingDates").objectAs<LastFivePerformingDates>();
    ASSERT_TRUE(cache.has_value());
    EXPECT_TRUE(cache->dates().empty());
    EXPECT_EQ(read->value("lastPerformingDateProgress"), Value(0.0));
    EXPECT_EQ(read->value("repeatInterval").objectAs<RepeatInterval>(), RepeatInterval(1, 1));
}

TEST_F(HabitMigrationTest, HabitsWithoutAColourGetTheNextPaletteColoursAndTheIndexAdvances) {
    makeVersion1Store();
    UserDefaults::standard().set(previousRandomColorIndex(), std::optional<std::int64_t>(3));
    CoreDataManager manager;
    open(manager);
    const auto all = habits(manager);

    // "Read" and "Walk" have no colour in version 1; they are migrated in that order.
    EXPECT_EQ(paletteIndex(all.at(1)->value("color").objectAs<Color>()), 4);
    EXPECT_EQ(paletteIndex(all.at(2)->value("color").objectAs<Color>()), 5);
    EXPECT_EQ(UserDefaults::standard().get(previousRandomColorIndex()),
              std::optional<std::int64_t>(5));
    // "Water" kept its own colour and took no palette colour.
    EXPECT_EQ(paletteIndex(all.at(0)->value("color").objectAs<Color>()), -1);
}

TEST_F(HabitMigrationTest, WithoutARememberedIndexTheFirstColourlessHabitGetsTheFirstColour) {
    makeVersion1Store();
    ASSERT_EQ(UserDefaults::standard().get(previousRandomColorIndex()), std::nullopt);
    CoreDataManager manager;
    open(manager);
    const auto all = habits(manager);
    EXPECT_EQ(paletteIndex(all.at(1)->value("color").objectAs<Color>()), 0);
    EXPECT_EQ(paletteIndex(all.at(2)->value("color").objectAs<Color>()), 1);
    EXPECT_EQ(UserDefaults::standard().get(previousRandomColorIndex()),
              std::optional<std::int64_t>(1));
}

TEST_F(HabitMigrationTest, AVersion1HabitWithoutARepeatIntervalGetsEveryDayAndItsProgress) {
    makeVersion1Store();
    CoreDataManager manager;
    open(manager);
    const auto walk = habits(manager).at(2);
    ASSERT_EQ(walk->value("name"), Value("Walk"));

    EXPECT_EQ(walk->value("repeatInterval").objectAs<RepeatInterval>(), RepeatInterval(1, 1));
    const std::vector<Date> dates{Date(kFirstCheckmark), Date(kFirstCheckmark + kDay)};
    EXPECT_EQ(checkmarkDates(*walk), dates);
    EXPECT_EQ(walk->value("lastFivePerformingDates").objectAs<LastFivePerformingDates>(),
              LastFivePerformingDates(dates));
    const auto progress = walk->value("lastPerformingDateProgress").real();
    ASSERT_TRUE(progress.has_value());
    EXPECT_GT(*progress, 0.0);
    EXPECT_EQ(*progress, HabitProgressCalculator::calculateProgress(dates, 1, 1));
}

TEST_F(HabitMigrationTest, TheMigratedStoreOpensAgainWithoutAnotherMigration) {
    makeVersion1Store();
    {
        CoreDataManager manager;
        open(manager);
    }
    UserDefaults::standard().set(previousRandomColorIndex(), std::optional<std::int64_t>(7));
    CoreDataManager again;
    open(again);
    EXPECT_EQ(again.viewContext()->count(store::FetchRequestBase("Habit")), 3);
    // No habit lacked a colour this time, so the index stayed.
    EXPECT_EQ(UserDefaults::standard().get(previousRandomColorIndex()),
              std::optional<std::int64_t>(7));
}

TEST(NextPaletteColor, GoesRoundThePaletteAndRemembersTheIndex) {
    TemporaryDirectory data;
    ScopedEnvironment dataHome("XDG_DATA_HOME", data.path().string());
    UserDefaults::standard().set(previousRandomColorIndex(), std::optional<std::int64_t>(8));
    EXPECT_EQ(nextPaletteColor(), habitPalette()[0]);
    EXPECT_EQ(nextPaletteColor(), habitPalette()[1]);
    EXPECT_EQ(UserDefaults::standard().get(previousRandomColorIndex()),
              std::optional<std::int64_t>(1));
}

TEST(NextPaletteColor, AnIndexOutsideThePaletteStartsAgainAtTheFirstColour) {
    TemporaryDirectory data;
    ScopedEnvironment dataHome("XDG_DATA_HOME", data.path().string());
    UserDefaults::standard().set(previousRandomColorIndex(), std::optional<std::int64_t>(-4));
    EXPECT_EQ(nextPaletteColor(), habitPalette()[0]);
    UserDefaults::standard().set(previousRandomColorIndex(), std::optional<std::int64_t>(9));
    EXPECT_EQ(nextPaletteColor(), habitPalette()[0]);
}

TEST(HabitMappingModel, NamesHabitToHabitWithThePolicyAndCarriesCheckmarksOver) {
    const auto mapping = habitMappingModelVersion1ToVersion2();
    const auto* habits = mapping.entityMapping("HabitToHabit");
    ASSERT_NE(habits, nullptr);
    EXPECT_EQ(habits->sourceEntityName, "Habit");
    EXPECT_EQ(habits->destinationEntityName, "Habit");
    ASSERT_TRUE(habits->policyFactory);
    EXPECT_NE(dynamic_cast<HabitToHabitV2MigrationPolicy*>(habits->policyFactory().get()), nullptr);
    const auto* performings = mapping.entityMapping("PerformingToPerforming");
    ASSERT_NE(performings, nullptr);
    EXPECT_EQ(performings->sourceEntityName, "Performing");
    EXPECT_EQ(performings->destinationEntityName, "Performing");

    const auto plan = habitMigrationPlan();
    ASSERT_EQ(plan->versions().size(), 2u);
    EXPECT_EQ(plan->versions()[0].model, habitModelVersion1());
    EXPECT_EQ(plan->currentModel(), habitModelVersion2());
}

// ---- Stops ----

using HabitMigrationDeathTest = HabitMigrationTest;

TEST_F(HabitMigrationDeathTest, AVersion1StoreWithACheckmarkWithoutADateStopsTheMigration) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    makeVersion1Store(true);
    const auto before = fileContents(storeURL());
    ASSERT_TRUE(before.has_value());
    EXPECT_DEATH(
        {
            CoreDataManager manager;
            open(manager);
        },
        "Fatal error: HabitToHabitV2MigrationPolicy: performing dates count doesn't equal to "
        "performings count\\.: file DovrelFoundation/HabitToHabitV2MigrationPolicy");
    // The old store was only read.
    EXPECT_EQ(fileContents(storeURL()), before);
}

// Runs a migration of the script's version-1 store with `mapping` (into a file beside it).
void migrateVersion1Store(
    const fs::path& url, const store::MappingModel& mapping,
    std::shared_ptr<const store::ManagedObjectModel> source = habitModelVersion1()) {
    registerValueTransformers();
    store::MigrationManager manager(std::move(source), habitModelVersion2());
    manager.migrateStore(url, url.string() + ".new", mapping);
}

TEST_F(HabitMigrationDeathTest, ThePolicyOnAnotherEntityStopsWithItsName) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    makeVersion1Store();
    auto mapping = habitMappingModelVersion1ToVersion2();
    mapping.entityMappings()[1].setPolicy<HabitToHabitV2MigrationPolicy>();
    EXPECT_DEATH(migrateVersion1Store(storeURL(), mapping),
                 "Fatal error: HabitToHabitV2MigrationPolicy: this policy was accidentally used to "
                 "migrate Performing: file DovrelFoundation/HabitToHabitV2MigrationPolicy");
}

TEST_F(HabitMigrationDeathTest, NoDestinationInstanceStopsTheMigration) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    makeVersion1Store();
    auto mapping = habitMappingModelVersion1ToVersion2();
    // A mapping without a destination entity makes no instance.
    mapping.entityMappings()[0].destinationEntityName.clear();
    EXPECT_DEATH(migrateVersion1Store(storeURL(), mapping),
                 "Fatal error: HabitToHabitV2MigrationPolicy: no destination instance created\\.: "
                 "file DovrelFoundation/HabitToHabitV2MigrationPolicy");
}

TEST_F(HabitMigrationDeathTest, PerformingsThatAreNotASetStopTheMigration) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // A source model whose "performing" is a text attribute, not a to-many relationship.
    std::vector<store::EntityDescription> entities;
    entities.emplace_back("Habit");
    entities.back().addAttribute({"name", store::AttributeType::stringAttributeType});
    entities.back().addAttribute({"performing", store::AttributeType::stringAttributeType});
    entities.emplace_back("Performing");
    entities.back().addAttribute({"date", store::AttributeType::dateAttributeType});
    auto odd = std::make_shared<const store::ManagedObjectModel>("Odd", std::move(entities));
    {
        store::PersistentContainer container("Habit", odd);
        container.setPersistentStoreDescriptions({store::PersistentStoreDescription(storeURL())});
        container.loadPersistentStores(
            [](const store::PersistentStoreDescription&, std::optional<Error> error) {
                ASSERT_EQ(error, std::nullopt);
            });
        auto habit = container.viewContext()->insertNewObject("Habit");
        habit->setValue(Value("Odd"), "name");
        habit->setValue(Value("a list of days"), "performing");
        container.viewContext()->save();
    }
    EXPECT_DEATH(migrateVersion1Store(storeURL(), habitMappingModelVersion1ToVersion2(), odd),
                 "Fatal error: HabitToHabitV2MigrationPolicy: performings could not be "
                 "received\\.: file DovrelFoundation/HabitToHabitV2MigrationPolicy");
}

}  // namespace
}  // namespace dovrel

#pragma once

// The fixture of the CoreDataManager tests: a data home, runtime folder and pinned clock of
// each test's own, the manager's console lines captured, and helpers that write and read
// store files.

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
#include "DovrelFoundation/Persistence/CoreDataManager.h"
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

namespace dovrel::coredatamanagertest {

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

inline std::ostream& operator<<(std::ostream& out, const HabitValues& values) {
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

}  // namespace dovrel::coredatamanagertest

#pragma once

// What the application's tests share: a private data folder, the real services on a store file in
// it, the window, a way to wait for the main queue and Qt's events, and the command-line program
// as a second process and as an independent reader of the store.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>
#include <atomic>
#include <clocale>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/HabitListWindow.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/ui/table/TableView.h"
#include "tests/platform/ui/QtTestApplication.h"
#include "tests/support/QtEvents.h"
#include "tests/support/RecordingAnalyticsService.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::app::test {

using testing::waitUntil;

class AppTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ui::test::application();
        // The assertions read the English texts.
        std::setlocale(LC_MESSAGES, "en_US.UTF-8");
        ui::TableView::setAnimationsEnabled(false);
        bridge_ = std::make_unique<QtMainLoopBridge>();
    }

    void TearDown() override {
        window_.reset();
        if (services_ && services_->hasStore()) {
            // Reschedulings run one after another: the completion of one more means that every
            // one the test started is over before the services go.
            std::atomic<bool> done = false;
            services_->remindersScheduler().rescheduleRemindersForAllHabits(
                {}, [&done] { done = true; });
            waitUntil([&] { return done.load(); }, 20000);
        }
        services_.reset();
        bridge_.reset();
        ui::TableView::setAnimationsEnabled(std::nullopt);
    }

    std::filesystem::path store() const { return scratch_.path() / "Habit.sqlite"; }

    // The services and the window on the test's store.
    HabitListWindow& open() {
        AppServices::Options options;
        options.storePath = store();
        options.countsLaunch = false;
        options.analyticsServices.push_back(analytics_);
        services_ = std::make_unique<AppServices>(options);
        window_ = std::make_unique<HabitListWindow>(*services_);
        window_->resize(760, 520);
        window_->show();
        waitUntil([] { return false; }, 50);
        return *window_;
    }

    // `dovrel ARGUMENTS... --store <the test's store>`, as another process.
    testing::ProgramResult dovrel(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
        arguments.push_back("--store");
        arguments.push_back(store().string());
        return testing::runProgram(arguments,
                                   {{"XDG_DATA_HOME", (scratch_.path() / "data").string()},
                                    {"HOME", scratch_.path().string()},
                                    {"XDG_CONFIG_HOME", (scratch_.path() / "config").string()},
                                    {"LANG", "en_US.UTF-8"},
                                    {"LANGUAGE", std::nullopt},
                                    {"LC_ALL", std::nullopt},
                                    {"DBUS_SESSION_BUS_ADDRESS", std::nullopt}});
    }

    // The habits as the command line reads them from the file.
    nlohmann::json storedHabits() const {
        const auto result = dovrel({"list", "--json"});
        EXPECT_EQ(result.exitStatus, 0) << result.standardError;
        return nlohmann::json::parse(result.standardOutput);
    }

    std::size_t rows() const { return window_->tableView()->numberOfRows(0); }

    testing::TemporaryDirectory scratch_;
    testing::ScopedEnvironment dataHome_{"XDG_DATA_HOME", (scratch_.path() / "data").string()};
    testing::ScopedEnvironment configHome_{"XDG_CONFIG_HOME",
                                           (scratch_.path() / "config").string()};
    testing::ScopedEnvironment home_{"HOME", scratch_.path().string()};
    testing::ScopedEnvironment bus_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    // What the application reports, in order.
    std::shared_ptr<testing::RecordingAnalyticsService> analytics_ =
        std::make_shared<testing::RecordingAnalyticsService>();
    std::vector<std::string> eventNames() const {
        std::vector<std::string> names;
        for (const auto& event : analytics_->events) {
            names.push_back(event.name);
        }
        return names;
    }
    std::unique_ptr<QtMainLoopBridge> bridge_;
    std::unique_ptr<AppServices> services_;
    std::unique_ptr<HabitListWindow> window_;
};

}  // namespace dovrel::app::test

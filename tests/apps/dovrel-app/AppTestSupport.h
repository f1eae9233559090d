#pragma once

// What the application's and the widget's tests share (DesktopTest): a private data folder, the
// real services, a way to wait for the main queue and Qt's events, the analytics they report,
// and the command-line program as a second process and as an independent reader of the store.
// AppTest adds the application's window on a store file of the test's own.

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

class DesktopTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ui::test::application();
        // The assertions read the English texts.
        std::setlocale(LC_MESSAGES, "en_US.UTF-8");
        ui::TableView::setAnimationsEnabled(false);
        bridge_ = std::make_unique<QtMainLoopBridge>();
    }

    void TearDown() override {
        closeWindows();
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

    // The test's windows go before the services they use.
    virtual void closeWindows() = 0;
    // What the command line is given to find the test's store.
    virtual std::vector<std::string> storeArguments() const = 0;

    // Services that report to analytics_, without counting a launch.
    AppServices::Options serviceOptions(AppServices::Mode mode) const {
        AppServices::Options options;
        options.mode = mode;
        options.countsLaunch = false;
        options.analyticsServices.push_back(analytics_);
        return options;
    }

    // `dovrel ARGUMENTS...` on the test's store, as another process.
    testing::ProgramResult dovrel(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
        for (auto& argument : storeArguments()) {
            arguments.push_back(std::move(argument));
        }
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

    // The names of the analytics events reported, in order.
    std::vector<std::string> eventNames() const {
        std::vector<std::string> names;
        for (const auto& event : analytics_->events) {
            names.push_back(event.name);
        }
        return names;
    }

    testing::TemporaryDirectory scratch_;
    testing::ScopedEnvironment dataHome_{"XDG_DATA_HOME", (scratch_.path() / "data").string()};
    testing::ScopedEnvironment configHome_{"XDG_CONFIG_HOME",
                                           (scratch_.path() / "config").string()};
    testing::ScopedEnvironment home_{"HOME", scratch_.path().string()};
    testing::ScopedEnvironment bus_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    std::shared_ptr<testing::RecordingAnalyticsService> analytics_ =
        std::make_shared<testing::RecordingAnalyticsService>();
    std::unique_ptr<QtMainLoopBridge> bridge_;
    std::unique_ptr<AppServices> services_;
};

class AppTest : public DesktopTest {
  protected:
    void closeWindows() override { window_.reset(); }
    std::vector<std::string> storeArguments() const override {
        return {"--store", store().string()};
    }

    std::filesystem::path store() const { return scratch_.path() / "Habit.sqlite"; }

    // The services and the window on the test's store.
    HabitListWindow& open() {
        auto options = serviceOptions(AppServices::Mode::application);
        options.storePath = store();
        services_ = std::make_unique<AppServices>(options);
        window_ = std::make_unique<HabitListWindow>(*services_);
        window_->resize(760, 520);
        window_->show();
        waitUntil([] { return false; }, 50);
        return *window_;
    }

    std::size_t rows() const { return window_->tableView()->numberOfRows(0); }

    std::unique_ptr<HabitListWindow> window_;
};

}  // namespace dovrel::app::test

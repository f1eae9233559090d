#pragma once

// The fixture of the reminder daemon's tests against a scriptable notification server
// (python3-dbusmock's notification_daemon template) on the private session bus of
// with-session-services. Each test has its own data home; the daemon runs as a separate program
// and is watched only from outside: the server's recorded calls, the center's file, the store
// through the dovrel program.

#include <gtest/gtest.h>
#include <signal.h>

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "platform/foundation/Clock.h"
#include "platform/notifications/LauncherBadge.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::testing {

namespace fs = std::filesystem;
using notifications::Notification;
using notifications::NotificationContent;
using notifications::NotificationRequest;
using notifications::NotificationSound;
using notifications::PendingNotificationRequest;
using notifications::TimeIntervalNotificationTrigger;
using notifications::UserNotificationCenter;

constexpr const char* kGroup = "group.app.dovrel.Dovrel";
constexpr const char* kServerName = "org.freedesktop.Notifications";
constexpr const char* kServerPath = "/org/freedesktop/Notifications";
constexpr const char* kMockInterface = "org.freedesktop.DBus.Mock";
constexpr const char* kDaemonName = "org.dovrel.Notifyd";
constexpr auto kPatience = std::chrono::seconds(30);

// Waits for `condition` (checked every 20 ms) for up to `timeout`; its last answer.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds timeout = kPatience) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// One recorded Notify call of the mock server.
struct NotifyCall {
    std::string appName;
    std::uint32_t replacesId = 0;
    std::string icon;
    std::string summary;
    std::string body;
    std::vector<std::string> actions;
    std::map<std::string, sdbus::Variant> hints;
};

class NotifydSession : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::getenv("DOVREL_SESSION_SERVICES") == nullptr) {
            GTEST_SKIP() << "needs the private session of tests/support/with-session-services";
        }
        ASSERT_TRUE(fs::exists("/usr/lib/python3/dist-packages/dbusmock"))
            << "python3-dbusmock is missing: run scripts/install-deps";
        bus_ = sdbus::createSessionBusConnection();
        busDriver_ = sdbus::createProxy(*bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        center_ = UserNotificationCenter::forApplicationGroup(kGroup);
    }

    void TearDown() override {
        daemon_.reset();
        server_.reset();
        // The names go with their owners; the next test must not see them.
        if (bus_) {
            EXPECT_TRUE(
                eventually([&] { return !hasOwner(kDaemonName) && !hasOwner(kServerName); }));
        }
    }

    bool hasOwner(const std::string& name) {
        bool has = false;
        busDriver_->callMethod("NameHasOwner")
            .onInterface("org.freedesktop.DBus")
            .withArguments(name)
            .storeResultsTo(has);
        return has;
    }

    void startServer() {
        server_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "/usr/bin/python3", "-m", "dbusmock", "--template", "notification_daemon"});
        ASSERT_TRUE(eventually([&] { return hasOwner(kServerName); })) << "the mock server";
        mock_ = sdbus::createProxy(*bus_, kServerName, kServerPath);
    }

    // Starts the daemon with `environment` set on top of the test's own (for it alone).
    void startDaemon(const std::map<std::string, std::string>& environment = {}) {
        {
            std::vector<std::unique_ptr<ScopedEnvironment>> guards;
            for (const auto& [name, value] : environment) {
                guards.push_back(std::make_unique<ScopedEnvironment>(name, value));
            }
            daemon_ = std::make_unique<ChildProcess>(std::vector<std::string>{DOVREL_NOTIFYD_PATH});
        }
        ASSERT_TRUE(eventually([&] { return hasOwner(kDaemonName); })) << "the daemon's name";
    }

    // dovrel ARGUMENTS in this test's data home.
    ProgramResult dovrel(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), DOVREL_CLI_PATH);
        return runProgram(arguments);
    }

    // A habit added through the program; its URI.
    std::string addHabit(const std::string& name, const std::vector<std::string>& options = {}) {
        std::vector<std::string> arguments{"add", name};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const auto added = dovrel(arguments);
        EXPECT_EQ(added.exitStatus, 0) << added.standardError;
        const auto shown = dovrel({"show", name, "--json"});
        return nlohmann::json::parse(shown.standardOutput).at("uri").get<std::string>();
    }

    nlohmann::json habitJson(const std::string& name) {
        return nlohmann::json::parse(dovrel({"show", name, "--json"}).standardOutput);
    }

    // A reminder of the habit as the scheduler makes them, due `after` seconds from now.
    static NotificationRequest reminder(const std::string& identifier, const std::string& uri,
                                        const std::string& title, double after,
                                        std::optional<std::int64_t> badge,
                                        std::optional<Date> firstDate = std::nullopt) {
        NotificationContent content;
        content.title = title;
        content.body = "Did you do it today?";
        content.sound = NotificationSound::defaultSound();
        content.badge = badge;
        content.categoryIdentifier = kHabitReminderCategoryIdentifier;
        content.userInfo[kHabitURIRepresentationKey] = uri;
        content.userInfo[kCurrentNotificationDateKey] = Clock::now().addingTimeInterval(after);
        if (firstDate) {
            content.userInfo[kFirstNotificationDateKey] = *firstDate;
        }
        return NotificationRequest{identifier, content,
                                   TimeIntervalNotificationTrigger(after, false)};
    }

    // Replaces every pending request by `requests`, in one transaction.
    void setPending(const std::vector<NotificationRequest>& requests) {
        center_->replacePendingRequests([](const NotificationRequest&) { return true; }, requests);
    }

    std::vector<NotifyCall> notifyCalls() {
        std::vector<sdbus::Struct<std::uint64_t, std::vector<sdbus::Variant>>> calls;
        mock_->callMethod("GetMethodCalls")
            .onInterface(kMockInterface)
            .withArguments(std::string("Notify"))
            .storeResultsTo(calls);
        std::vector<NotifyCall> result;
        for (auto& call : calls) {
            auto& arguments = std::get<1>(call);
            NotifyCall notify;
            notify.appName = arguments.at(0).get<std::string>();
            notify.replacesId = arguments.at(1).get<std::uint32_t>();
            notify.icon = arguments.at(2).get<std::string>();
            notify.summary = arguments.at(3).get<std::string>();
            notify.body = arguments.at(4).get<std::string>();
            notify.actions = arguments.at(5).get<std::vector<std::string>>();
            notify.hints = arguments.at(6).get<std::map<std::string, sdbus::Variant>>();
            result.push_back(std::move(notify));
        }
        return result;
    }

    std::size_t callCount(const std::string& method) {
        std::vector<sdbus::Struct<std::uint64_t, std::vector<sdbus::Variant>>> calls;
        mock_->callMethod("GetMethodCalls")
            .onInterface(kMockInterface)
            .withArguments(method)
            .storeResultsTo(calls);
        return calls.size();
    }

    // The mock numbers its notifications 1, 2, 3... in the order it was asked.
    void emit(const std::string& signal, const std::string& signature,
              const std::vector<sdbus::Variant>& arguments) {
        mock_->callMethod("EmitSignal")
            .onInterface(kMockInterface)
            .withArguments(std::string(kServerName), signal, signature, arguments);
    }

    void invokeAction(std::uint32_t id, const std::string& key) {
        emit("ActionInvoked", "us", {sdbus::Variant(id), sdbus::Variant(key)});
    }

    bool isPending(const std::string& identifier) {
        for (const auto& pending : center_->pendingRequests()) {
            if (pending.request.identifier == identifier) {
                return true;
            }
        }
        return false;
    }

    // Waits until the reminder `identifier` was delivered and shown as the `count`th Notify.
    void expectShown(const std::string& identifier, std::size_t count) {
        EXPECT_TRUE(eventually([&] { return notifyCalls().size() >= count; }))
            << "Notify calls: " << notifyCalls().size();
        EXPECT_FALSE(isPending(identifier));
    }

    TemporaryDirectory home_;
    ScopedEnvironment dataHome_{"XDG_DATA_HOME", (home_.path() / "data").string()};
    ScopedEnvironment resources_{"DOVREL_RESOURCES", DOVREL_BUILD_RESOURCES_DIR};
    ScopedEnvironment zone_{"TZ", "Europe/Kyiv"};
    ScopedEnvironment language_{"LANG", "en_US.UTF-8"};
    std::unique_ptr<sdbus::IConnection> bus_;
    std::unique_ptr<sdbus::IProxy> busDriver_;
    std::unique_ptr<sdbus::IProxy> mock_;
    std::shared_ptr<UserNotificationCenter> center_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> daemon_;
};

}  // namespace dovrel::testing

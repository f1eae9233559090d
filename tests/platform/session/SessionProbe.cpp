// dovrel_session_probe: a second process for the session-service tests. It uses the keychain
// and the widget signals exactly as a program of the application would, so that the tests can
// check what another process sees.
//
//   keychain-backend GROUP          prints "secret-service" or "file"
//   keychain-set GROUP KEY VALUE    exit status 0 when stored, 1 otherwise
//   keychain-get GROUP KEY          prints the value; exit status 1 when there is none
//   reload KIND                     WidgetCenter::shared().reloadTimelines(KIND)
//   reload-all                      WidgetCenter::shared().reloadAllTimelines()
//   listen COUNT                    prints "listening", then one line per received reload
//                                   ("ReloadTimelines KIND" or "ReloadAllTimelines"); exits 0
//                                   after COUNT of them, or 3 when none came for 20 seconds
//   settings-install-date           reads the settings service's first install date; prints
//                                   its seconds since the reference date, or "none"
//   settings-launch [SECONDS]       one application launch (handleAppLaunch), at the given
//                                   instant when there is one; prints "first=<0|1>
//                                   launches=<count> new-days=<count>"
// The widget logger writes to standard error.

#include "DovrelFoundation/Settings/ApplicationSettingsService.h"
#include "DovrelFoundation/Settings/StaticRemoteConfigService.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Keychain.h"
#include "platform/foundation/Logging.h"
#include "platform/widgets/WidgetCenter.h"
#include "platform/widgets/WidgetReloadListener.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace {

int usage() {
    std::fputs("usage: dovrel_session_probe COMMAND ARGUMENTS (see the source)\n", stderr);
    return 2;
}

int listen(int count) {
    std::mutex mutex;
    std::condition_variable changed;
    int received = 0;
    dovrel::widgets::WidgetReloadListener listener(
        [&](const dovrel::widgets::TimelineReloadRequest& request) {
            std::lock_guard lock(mutex);
            if (request.kind) {
                std::printf("ReloadTimelines %s\n", request.kind->c_str());
            } else {
                std::printf("ReloadAllTimelines\n");
            }
            std::fflush(stdout);
            ++received;
            changed.notify_all();
        });
    std::printf("listening\n");
    std::fflush(stdout);
    std::unique_lock lock(mutex);
    int seen = 0;
    while (received < count) {
        if (!changed.wait_for(lock, std::chrono::seconds(20), [&] { return received > seen; })) {
            return 3;
        }
        seen = received;
    }
    return 0;
}

dovrel::ApplicationSettingsService makeSettingsService() {
    return dovrel::ApplicationSettingsService(
        dovrel::StaticRemoteConfigService::makeServiceWithDefaultValues(), nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        return usage();
    }
    dovrel::addLogDestination(dovrel::widgets::kWidgetsLoggerName,
                              dovrel::makeConsoleLogDestination());
    const std::string& command = arguments[0];
    try {
        if (command == "keychain-backend" && arguments.size() == 2) {
            const dovrel::Keychain keychain(arguments[1]);
            std::printf("%s\n", keychain.backend() == dovrel::Keychain::Backend::secretService
                                    ? "secret-service"
                                    : "file");
            return 0;
        }
        if (command == "keychain-set" && arguments.size() == 4) {
            dovrel::Keychain keychain(arguments[1]);
            return keychain.set(arguments[2], arguments[3]) ? 0 : 1;
        }
        if (command == "keychain-get" && arguments.size() == 3) {
            const dovrel::Keychain keychain(arguments[1]);
            const auto value = keychain.get(arguments[2]);
            if (!value) {
                return 1;
            }
            std::printf("%s", value->c_str());
            return 0;
        }
        if (command == "reload" && arguments.size() == 2) {
            dovrel::widgets::WidgetCenter::shared().reloadTimelines(arguments[1]);
            return 0;
        }
        if (command == "reload-all" && arguments.size() == 1) {
            dovrel::widgets::WidgetCenter::shared().reloadAllTimelines();
            return 0;
        }
        if (command == "listen" && arguments.size() == 2) {
            return listen(std::stoi(arguments[1]));
        }
        if (command == "settings-install-date" && arguments.size() == 1) {
            auto service = makeSettingsService();
            if (const auto date = service.firstAppInstallDate()) {
                std::printf("%.3f\n", date->timeIntervalSinceReferenceDate());
            } else {
                std::printf("none\n");
            }
            return 0;
        }
        if (command == "settings-launch" && arguments.size() <= 2) {
            std::optional<dovrel::ScopedClockOverride> pinned;
            if (arguments.size() == 2) {
                pinned.emplace(dovrel::Date(std::stod(arguments[1])));
            }
            auto service = makeSettingsService();
            service.handleAppLaunch();
            std::printf("first=%d launches=%lld new-days=%lld\n",
                        service.isFirstAppLaunch() ? 1 : 0,
                        static_cast<long long>(service.numberOfAppLaunches()),
                        static_cast<long long>(service.numberOfNewDayAppLaunches()));
            return 0;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dovrel_session_probe: %s\n", error.what());
        return 4;
    }
    return usage();
}

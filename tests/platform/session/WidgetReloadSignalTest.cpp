#include "platform/foundation/Logging.h"
#include "platform/widgets/WidgetCenter.h"
#include "platform/widgets/WidgetReloadListener.h"
#include "tests/platform/session/SessionServices.h"
#include "tests/support/RunProgram.h"

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>
#include <spdlog/sinks/ostream_sink.h>
#include <sys/wait.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace dovrel::widgets {
namespace {

using testing::runProgram;

// Collects what a listener receives, and waits for it.
class Received {
  public:
    WidgetReloadListener::Callback callback() {
        return [this](const TimelineReloadRequest& request) {
            std::lock_guard lock(mutex_);
            requests_.push_back(request);
            changed_.notify_all();
        };
    }

    // The requests once there are `count` of them, or what came within ten seconds.
    std::vector<TimelineReloadRequest> waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10),
                          [&] { return requests_.size() >= count; });
        return requests_;
    }

    std::vector<TimelineReloadRequest> now() {
        std::lock_guard lock(mutex_);
        return requests_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<TimelineReloadRequest> requests_;
};

TimelineReloadRequest kindRequest(const std::string& kind) {
    return TimelineReloadRequest{kind};
}
const TimelineReloadRequest kAllRequest{};

class WidgetReloadSignalTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(testing::insidePrivateSession()) << testing::kNotInsidePrivateSession;
    }
};

TEST_F(WidgetReloadSignalTest, ListenerReceivesReloadTimelinesWithItsKind) {
    Received received;
    WidgetReloadListener listener(received.callback());
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    EXPECT_EQ(received.waitFor(1), std::vector{kindRequest("HabitWidget")});
}

TEST_F(WidgetReloadSignalTest, ListenerReceivesReloadAllTimelines) {
    Received received;
    WidgetReloadListener listener(received.callback());
    WidgetCenter::shared().reloadAllTimelines();
    EXPECT_EQ(received.waitFor(1), std::vector{kAllRequest});
}

TEST_F(WidgetReloadSignalTest, RequestsArriveInTheOrderTheyWereMade) {
    Received received;
    WidgetReloadListener listener(received.callback());
    WidgetCenter::shared().reloadTimelines("A");
    WidgetCenter::shared().reloadAllTimelines();
    WidgetCenter::shared().reloadTimelines("B");
    WidgetCenter::shared().reloadTimelines("");
    EXPECT_EQ(received.waitFor(4),
              (std::vector{kindRequest("A"), kAllRequest, kindRequest("B"), kindRequest("")}));
}

TEST_F(WidgetReloadSignalTest, EveryListenerReceivesEveryRequest) {
    Received first;
    Received second;
    WidgetReloadListener firstListener(first.callback());
    WidgetReloadListener secondListener(second.callback());
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    EXPECT_EQ(first.waitFor(1), std::vector{kindRequest("HabitWidget")});
    EXPECT_EQ(second.waitFor(1), std::vector{kindRequest("HabitWidget")});
}

TEST_F(WidgetReloadSignalTest, RequestsFromAnotherProcessAreReceived) {
    Received received;
    WidgetReloadListener listener(received.callback());
    // The probe exits as soon as the call returns: the request must have left by then.
    const auto kind = runProgram({testing::kProbePath, "reload", "HabitWidget"});
    ASSERT_EQ(kind.exitStatus, 0) << kind.standardError;
    EXPECT_EQ(kind.standardError, "");
    const auto all = runProgram({testing::kProbePath, "reload-all"});
    ASSERT_EQ(all.exitStatus, 0) << all.standardError;
    EXPECT_EQ(received.waitFor(2), (std::vector{kindRequest("HabitWidget"), kAllRequest}));
}

TEST_F(WidgetReloadSignalTest, ListenerInAnotherProcessReceivesTheRequests) {
    const std::string command = std::string("'") + testing::kProbePath + "' listen 2";
    std::unique_ptr<FILE, int (*)(FILE*)> child(::popen(command.c_str(), "r"), &::pclose);
    ASSERT_NE(child, nullptr);
    char line[256];
    ASSERT_NE(std::fgets(line, sizeof line, child.get()), nullptr);
    ASSERT_EQ(std::string(line), "listening\n");

    WidgetCenter::shared().reloadTimelines("HabitWidget");
    WidgetCenter::shared().reloadAllTimelines();

    std::string output;
    while (std::fgets(line, sizeof line, child.get()) != nullptr) {
        output += line;
    }
    const int status = ::pclose(child.release());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(output, "ReloadTimelines HabitWidget\nReloadAllTimelines\n");
}

TEST_F(WidgetReloadSignalTest, ReloadTimelinesWithoutATextArgumentIsIgnored) {
    Received received;
    WidgetReloadListener listener(received.callback());
    auto connection = sdbus::createSessionBusConnection();
    auto sender = sdbus::createObject(*connection, kWidgetsObjectPath);
    sender->emitSignal(kReloadTimelinesSignal)
        .onInterface(kWidgetsInterfaceName)
        .withArguments(std::int32_t{5});
    sender->emitSignal(kReloadTimelinesSignal).onInterface(kWidgetsInterfaceName);
    // Other members and other paths of the interface are not reload requests either.
    sender->emitSignal("SomethingElse").onInterface(kWidgetsInterfaceName);
    auto elsewhere = sdbus::createObject(*connection, "/org/dovrel/Elsewhere");
    elsewhere->emitSignal(kReloadAllTimelinesSignal).onInterface(kWidgetsInterfaceName);
    // Sent last on the same connection, so it arrives after the others.
    sender->emitSignal(kReloadTimelinesSignal)
        .onInterface(kWidgetsInterfaceName)
        .withArguments(std::string("HabitWidget"));
    EXPECT_EQ(received.waitFor(1), std::vector{kindRequest("HabitWidget")});
    EXPECT_EQ(received.now(), std::vector{kindRequest("HabitWidget")});
}

TEST_F(WidgetReloadSignalTest, ACallbackThatThrowsIsLoggedAndListeningGoesOn) {
    std::ostringstream stream;
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_mt>(stream);
    sink->set_pattern("%l %v");
    addLogDestination(kWidgetsLoggerName, sink);

    Received received;
    auto record = received.callback();
    WidgetReloadListener listener([&](const TimelineReloadRequest& request) {
        record(request);
        if (request.kind == "Broken") {
            throw std::runtime_error("cannot reload");
        }
    });
    WidgetCenter::shared().reloadTimelines("Broken");
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    EXPECT_EQ(received.waitFor(2),
              (std::vector{kindRequest("Broken"), kindRequest("HabitWidget")}));
    removeLogDestination(kWidgetsLoggerName, sink);
    EXPECT_EQ(stream.str(), "error Widget reload callback failed: cannot reload\n");
}

TEST_F(WidgetReloadSignalTest, NoRequestReachesAListenerAfterItIsDestroyed) {
    Received received;
    { WidgetReloadListener listener(received.callback()); }
    Received later;
    WidgetReloadListener stillListening(later.callback());
    WidgetCenter::shared().reloadTimelines("HabitWidget");
    EXPECT_EQ(later.waitFor(1), std::vector{kindRequest("HabitWidget")});
    EXPECT_TRUE(received.now().empty());
}

}  // namespace
}  // namespace dovrel::widgets

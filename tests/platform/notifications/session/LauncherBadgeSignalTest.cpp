#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/notifications/LauncherBadge.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::notifications {
namespace {

// True inside tests/support/with-session-services, whose private bus the tests may use.
bool insidePrivateSession() {
    const char* marker = std::getenv("DOVREL_SESSION_SERVICES");
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    return marker != nullptr && std::string(marker) == "1" && address != nullptr &&
           *address != '\0';
}

// One launcher-entry signal as a dock would read it.
struct LauncherEntryUpdate {
    std::string path;
    std::string applicationURI;
    std::string countType;
    std::int64_t count = 0;
    std::string countVisibleType;
    bool countVisible = false;
};

// Listens on the session bus for launcher-entry updates from anyone.
class LauncherEntryListener {
  public:
    LauncherEntryListener() : bus_(sdbus::createSessionBusConnection()) {
        match_ = bus_->addMatch(std::string("type='signal',interface='") +
                                    LauncherBadge::kLauncherEntryInterface + "',member='Update'",
                                [this](sdbus::Message& message) { receive(message); });
        bus_->enterEventLoopAsync();
    }
    ~LauncherEntryListener() { bus_->leaveEventLoop(); }
    LauncherEntryListener(const LauncherEntryListener&) = delete;
    LauncherEntryListener& operator=(const LauncherEntryListener&) = delete;

    // The updates once there are `count`, or what came within ten seconds.
    std::vector<LauncherEntryUpdate> waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10), [&] { return updates_.size() >= count; });
        return updates_;
    }

  private:
    void receive(sdbus::Message& message) {
        LauncherEntryUpdate update;
        update.path = message.getPath();
        std::map<std::string, sdbus::Variant> properties;
        message >> update.applicationURI >> properties;
        if (const auto count = properties.find("count"); count != properties.end()) {
            update.countType = count->second.peekValueType();
            if (update.countType == "x") {
                update.count = count->second.get<std::int64_t>();
            }
        }
        if (const auto visible = properties.find("count-visible"); visible != properties.end()) {
            update.countVisibleType = visible->second.peekValueType();
            if (update.countVisibleType == "b") {
                update.countVisible = visible->second.get<bool>();
            }
        }
        std::lock_guard lock(mutex_);
        updates_.push_back(update);
        changed_.notify_all();
    }

    std::unique_ptr<sdbus::IConnection> bus_;
    sdbus::Slot match_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<LauncherEntryUpdate> updates_;
};

class LauncherBadgeSignalTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(insidePrivateSession()) << "these tests use the session bus; run them through "
                                               "tests/support/with-session-services (ctest does)";
    }

    ::dovrel::testing::TemporaryDirectory directory_;
    LauncherBadge badge_ = LauncherBadge::atPath(directory_.path() / "UserDefaults.sqlite");
};

TEST_F(LauncherBadgeSignalTest, SettingTheNumberAnnouncesItAsAnInt64CountThatIsVisible) {
    LauncherEntryListener listener;
    badge_.setBadgeNumber(3);
    const auto updates = listener.waitFor(1);
    ASSERT_EQ(updates.size(), 1u);
    EXPECT_EQ(updates[0].path, LauncherBadge::kLauncherEntryObjectPath);
    EXPECT_EQ(updates[0].applicationURI, "application://dovrel.desktop");
    EXPECT_EQ(updates[0].countType, "x");
    EXPECT_EQ(updates[0].count, 3);
    EXPECT_EQ(updates[0].countVisibleType, "b");
    EXPECT_TRUE(updates[0].countVisible);
    EXPECT_EQ(badge_.badgeNumber(), 3);
}

TEST_F(LauncherBadgeSignalTest, ZeroIsAnnouncedAsAHiddenCount) {
    LauncherEntryListener listener;
    badge_.setBadgeNumber(2);
    badge_.setBadgeNumber(0);
    const auto updates = listener.waitFor(2);
    ASSERT_EQ(updates.size(), 2u);
    EXPECT_EQ(updates[0].count, 2);
    EXPECT_TRUE(updates[0].countVisible);
    EXPECT_EQ(updates[1].count, 0);
    EXPECT_EQ(updates[1].countVisibleType, "b");
    EXPECT_FALSE(updates[1].countVisible);
}

TEST_F(LauncherBadgeSignalTest, EverySetOfTheNumberIsAnnouncedInOrder) {
    LauncherEntryListener listener;
    for (std::int64_t number : {1, 2, 3, 2}) {
        badge_.setBadgeNumber(number);
    }
    const auto updates = listener.waitFor(4);
    ASSERT_EQ(updates.size(), 4u);
    std::vector<std::int64_t> counts;
    for (const auto& update : updates) {
        counts.push_back(update.count);
    }
    EXPECT_EQ(counts, (std::vector<std::int64_t>{1, 2, 3, 2}));
}

}  // namespace
}  // namespace dovrel::notifications

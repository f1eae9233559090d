#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/foundation/Clock.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/platform/notifications/NotificationTestSupport.h"
#include "tests/support/ChildProcess.h"

// Several processes of the group on one center's files at once: the test and the peer programs
// it starts (NotificationCenterPeer.cpp).
namespace dovrel::notifications {
namespace {

using ::dovrel::testing::ChildProcess;
using testing::CenterFiles;
using ::testing::IsEmpty;
using testing::makeRequest;

constexpr auto kBoundedWait = std::chrono::seconds(30);

// "<prefix>-<index>", as the peer names what it adds.
std::string numbered(const std::string& prefix, int index) {
    std::string name = prefix;
    name += '-';
    name += std::to_string(index);
    return name;
}

class NotificationCenterProcessesTest : public ::testing::Test {
  protected:
    // A peer running `command` on this test's files, once it has said it is ready.
    std::unique_ptr<ChildProcess> startPeer(const std::string& command,
                                            const std::vector<std::string>& arguments) {
        std::vector<std::string> line{DOVREL_NOTIFICATION_CENTER_PEER_PATH, command,
                                      files_.storeFile().string(), files_.defaultsFile().string()};
        line.insert(line.end(), arguments.begin(), arguments.end());
        auto peer = std::make_unique<ChildProcess>(line);
        EXPECT_EQ(peer->readLine(kBoundedWait), "ready");
        return peer;
    }

    // The lines a peer prints before "done"; fails the test when it does not finish.
    std::vector<std::string> results(ChildProcess& peer) {
        std::vector<std::string> lines;
        for (;;) {
            auto line = peer.readLine(kBoundedWait);
            if (!line) {
                ADD_FAILURE() << "the peer did not finish";
                return lines;
            }
            if (*line == "done") {
                EXPECT_EQ(peer.wait(), 0);
                return lines;
            }
            lines.push_back(*line);
        }
    }

    CenterFiles files_;
    std::shared_ptr<UserNotificationCenter> center_ = files_.open();
};

TEST_F(NotificationCenterProcessesTest, TwoProcessesDeliveringAtOnceDeliverEachRequestOnce) {
    constexpr int kRequests = 200;
    const Date now = Clock::now();
    for (int index = 0; index < kRequests; ++index) {
        center_->add(makeRequest(numbered("r", index)));
    }
    const std::string later = std::to_string(now.timeIntervalSinceReferenceDate() + 60);
    for (int round = 0; round < 5; ++round) {
        auto first = startPeer("deliver", {later});
        auto second = startPeer("deliver", {later});
        first->writeLine("go");
        second->writeLine("go");
        auto delivered = results(*first);
        const auto secondDelivered = results(*second);
        // One of them took every request in one transaction, the other none.
        EXPECT_TRUE(delivered.empty() || secondDelivered.empty());
        delivered.insert(delivered.end(), secondDelivered.begin(), secondDelivered.end());
        if (round == 0) {
            ASSERT_EQ(delivered.size(), static_cast<std::size_t>(kRequests));
            EXPECT_EQ(std::set<std::string>(delivered.begin(), delivered.end()).size(),
                      static_cast<std::size_t>(kRequests));
            // In trigger-date order: the order in which they were added.
            for (int index = 0; index < kRequests; ++index) {
                EXPECT_EQ(delivered[index], numbered("r", index));
            }
        } else {
            EXPECT_THAT(delivered, IsEmpty());
        }
    }
    EXPECT_THAT(center_->pendingRequests(), IsEmpty());
    EXPECT_EQ(center_->deliveredNotifications().size(), static_cast<std::size_t>(kRequests));
}

TEST_F(NotificationCenterProcessesTest, DeliveringWhileAnotherProcessAddsLosesNoRequest) {
    auto adder = startPeer("add-remove", {"added", "100"});
    const std::string later = std::to_string(Clock::now().timeIntervalSinceReferenceDate() + 60);
    adder->writeLine("go");
    std::vector<std::string> delivered;
    for (int round = 0; round < 20; ++round) {
        auto deliverer = startPeer("deliver", {later});
        deliverer->writeLine("go");
        const auto lines = results(*deliverer);
        delivered.insert(delivered.end(), lines.begin(), lines.end());
    }
    results(*adder);
    for (const auto& pending : center_->pendingRequests()) {
        delivered.push_back(pending.request.identifier);
    }
    // Every request added was delivered once or is still pending, unless it was removed first.
    std::multiset<std::string> seen(delivered.begin(), delivered.end());
    for (int index = 0; index < 100; ++index) {
        const std::string identifier = numbered("added", index);
        if (index % 2 == 1) {
            EXPECT_EQ(seen.count(identifier), 1u) << identifier;
        } else {
            EXPECT_LE(seen.count(identifier), 1u) << identifier;
        }
    }
}

TEST_F(NotificationCenterProcessesTest, TwoProcessesAddingAndRemovingAtOnceLoseNothing) {
    constexpr int kEach = 150;
    auto first = startPeer("add-remove", {"first", std::to_string(kEach)});
    auto second = startPeer("add-remove", {"second", std::to_string(kEach)});
    first->writeLine("go");
    second->writeLine("go");
    // This process adds and removes as well, meanwhile.
    for (int index = 0; index < kEach; ++index) {
        center_->add(makeRequest(numbered("third", index)));
    }
    for (int index = 0; index < kEach; index += 2) {
        center_->removePendingNotificationRequests({numbered("third", index)});
    }
    EXPECT_THAT(results(*first), IsEmpty());
    EXPECT_THAT(results(*second), IsEmpty());

    std::set<std::string> expected;
    for (const std::string prefix : {"first", "second", "third"}) {
        for (int index = 1; index < kEach; index += 2) {
            expected.insert(numbered(prefix, index));
        }
    }
    std::set<std::string> pending;
    for (const auto& each : files_.open()->pendingRequests()) {
        pending.insert(each.request.identifier);
    }
    EXPECT_EQ(pending, expected);
}

}  // namespace
}  // namespace dovrel::notifications

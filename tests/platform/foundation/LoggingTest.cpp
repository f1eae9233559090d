#include "platform/foundation/Logging.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/ostream_sink.h>

#include <sstream>
#include <thread>
#include <vector>

namespace dovrel {
namespace {

TEST(Logging, ANewLoggerHasNoDestinationAndLogsFromDebugUp) {
    auto logger = namedLogger("logging-test-new");
    EXPECT_EQ(logDestinationCount("logging-test-new"), 0u);
    EXPECT_EQ(logger->level(), spdlog::level::debug);
    EXPECT_EQ(namedLogger("logging-test-new"), logger);
}

TEST(Logging, DestinationsReceiveLinesUntilRemoved) {
    std::ostringstream first;
    std::ostringstream second;
    auto a = std::make_shared<spdlog::sinks::ostream_sink_mt>(first);
    auto b = std::make_shared<spdlog::sinks::ostream_sink_mt>(second);
    a->set_pattern("%l %v");
    b->set_pattern("%v");
    addLogDestination("logging-test-lines", a);
    addLogDestination("logging-test-lines", b);
    EXPECT_EQ(logDestinationCount("logging-test-lines"), 2u);
    namedLogger("logging-test-lines")->debug("one {}", 1);
    removeLogDestination("logging-test-lines", b);
    EXPECT_EQ(logDestinationCount("logging-test-lines"), 1u);
    namedLogger("logging-test-lines")->error("two");
    namedLogger("logging-test-lines")->trace("below debug");
    EXPECT_EQ(first.str(), "debug one 1\nerror two\n");
    EXPECT_EQ(second.str(), "one 1\n");
    removeLogDestination("logging-test-lines", a);
    removeLogDestination("logging-test-lines", a);  // a second removal does nothing
    EXPECT_EQ(logDestinationCount("logging-test-lines"), 0u);
}

TEST(Logging, DestinationsMayBeAddedWhileOtherThreadsLog) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 2000; ++i) {
                namedLogger("logging-test-threads")->debug("line");
            }
        });
    }
    std::vector<spdlog::sink_ptr> extra;
    for (int i = 0; i < 50; ++i) {
        extra.push_back(std::make_shared<spdlog::sinks::null_sink_mt>());
        addLogDestination("logging-test-threads", extra.back());
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(logDestinationCount("logging-test-threads"), 50u);
    for (const auto& each : extra) {
        removeLogDestination("logging-test-threads", each);
    }
    EXPECT_EQ(logDestinationCount("logging-test-threads"), 0u);
}

TEST(Logging, ConsoleDestinationIsANewSinkEachTime) {
    auto first = makeConsoleLogDestination();
    auto second = makeConsoleLogDestination();
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
}

}  // namespace
}  // namespace dovrel

// One application per session, on a private session bus: the real program started second hands
// its link to the first instance and exits.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QTest>
#include <future>

#include "apps/dovrel-app/SingleInstance.h"
#include "tests/platform/ui/QtTestApplication.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::app::test {
namespace {

TEST(SingleInstance, ASecondStartHandsItsLinkToTheFirstAndExits) {
    ui::test::application();
    ASSERT_TRUE(QDBusConnection::sessionBus().isConnected())
        << "the test runs inside a private session bus";
    SingleInstance first;
    std::vector<QString> links;
    first.setOpenHandler([&](const QString& link) { links.push_back(link); });
    ASSERT_EQ(first.claim(""), SingleInstance::Role::first);
    const QString owner =
        QDBusConnection::sessionBus().interface()->serviceOwner(SingleInstance::kServiceName);

    testing::TemporaryDirectory scratch;
    auto second = std::async(std::launch::async, [&] {
        return testing::runProgram(
            {DOVREL_APP_PATH, "--store", (scratch.path() / "Habit.sqlite").string(),
             "dovrel-app://habit_list"},
            {{"QT_QPA_PLATFORM", "offscreen"}});
    });
    // The first instance answers over the bus from Qt's event loop while the second waits.
    QElapsedTimer timer;
    timer.start();
    while (second.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        ASSERT_LT(timer.elapsed(), 20000) << "the second start did not end";
    }
    const auto result = second.get();
    EXPECT_EQ(result.exitStatus, 0) << result.standardError;
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(links[0], "dovrel-app://habit_list");
    EXPECT_EQ(QDBusConnection::sessionBus().interface()->serviceOwner(SingleInstance::kServiceName),
              owner);
    EXPECT_FALSE(std::filesystem::exists(scratch.path() / "Habit.sqlite"))
        << "the second start opened no store";
}

}  // namespace
}  // namespace dovrel::app::test

// The widget hears the reload signals on a private session bus: for its kind and for every
// widget, not for another kind.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>
#include <clocale>

#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/QtMainLoopBridge.h"
#include "apps/dovrel-widget/WidgetWindow.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/ui/table/TableView.h"
#include "platform/widgets/WidgetCenter.h"
#include "tests/platform/ui/QtTestApplication.h"
#include "tests/support/QtEvents.h"
#include "tests/support/RunProgram.h"

namespace dovrel::widget::test {
namespace {

using testing::waitUntil;

TEST(WidgetReload, TheWidgetReloadsOnTheSignalForItsKindAndForEveryWidget) {
    ui::test::application();
    std::setlocale(LC_MESSAGES, "en_US.UTF-8");
    // The session's own data folder (with-session-services made it) holds the group's store.
    ASSERT_EQ(testing::runProgram({DOVREL_CLI_PATH, "add", "Water"}).exitStatus, 0);
    app::QtMainLoopBridge bridge;
    app::AppServices::Options options;
    options.mode = app::AppServices::Mode::widget;
    options.countsLaunch = false;
    app::AppServices services(options);
    ASSERT_TRUE(services.hasStore()) << services.storeProblem().value_or("");
    WidgetWindow window(services, {});
    window.show();
    const int start = window.reloads();

    widgets::WidgetCenter::shared().reloadTimelines("HabitWidget");
    ASSERT_TRUE(waitUntil([&] { return window.reloads() == start + 1; }, 5000));
    widgets::WidgetCenter::shared().reloadTimelines("SomeOtherWidget");
    widgets::WidgetCenter::shared().reloadAllTimelines();
    ASSERT_TRUE(waitUntil([&] { return window.reloads() >= start + 2; }, 5000));
    // The signals arrive in order: had the other kind's reloaded, the count would be past it.
    waitUntil([] { return false; }, 300);
    EXPECT_EQ(window.reloads(), start + 2);
}

}  // namespace
}  // namespace dovrel::widget::test

#pragma once

// Header-only: only the test programs that link Qt include it.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>
#include <functional>

#include "platform/dispatch/MainRunLoop.h"

namespace dovrel::testing {

// Runs Qt's events (and with them the library's main queue) until `condition` holds or
// `milliseconds` pass; answers whether it held. waitUntil([] { return false; }, n) lets n
// milliseconds of events happen.
inline bool waitUntil(const std::function<bool()>& condition, int milliseconds = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > milliseconds) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        MainRunLoop::runPending();
        QTest::qWait(2);
    }
    return true;
}

}  // namespace dovrel::testing

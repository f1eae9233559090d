#include "apps/dovrel-app/QtMainLoopBridge.h"

#include <QCoreApplication>
#include <QMetaObject>

#include "platform/dispatch/MainRunLoop.h"

namespace dovrel::app {

QtMainLoopBridge::QtMainLoopBridge() {
    // The handler may run on any thread; a queued call to the application object is
    // thread-safe and runs the closures on the main thread. A call still queued when the bridge
    // is gone only runs what is pending, which is harmless.
    MainRunLoop::setWakeUpHandler([] {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] { MainRunLoop::runPending(); }, Qt::QueuedConnection);
    });
    // Work submitted before the bridge existed.
    MainRunLoop::runPending();
}

QtMainLoopBridge::~QtMainLoopBridge() {
    MainRunLoop::setWakeUpHandler({});
}

}  // namespace dovrel::app

#pragma once

#include <QObject>

namespace dovrel::app {

// Drives the library's main queue (MainRunLoop) from Qt's event loop: whenever a closure is
// submitted to the main queue, a queued call makes Qt's loop run the pending closures on the
// main thread. While the bridge lives it owns the loop's wake-up handler. Made and destroyed on
// the main thread, after the QApplication.
class QtMainLoopBridge final : public QObject {
  public:
    QtMainLoopBridge();
    ~QtMainLoopBridge() override;
    QtMainLoopBridge(const QtMainLoopBridge&) = delete;
    QtMainLoopBridge& operator=(const QtMainLoopBridge&) = delete;
};

}  // namespace dovrel::app

#pragma once

// Header-only: only the programs that time the Qt windows include it.

#include <QEvent>
#include <QObject>

namespace dovrel::bench {

// Counts the paint events of the widgets it is installed on as an event filter (how the window
// benchmarks know that a change is on screen).
class PaintCounter final : public QObject {
  public:
    int paints = 0;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++paints;
        }
        return QObject::eventFilter(watched, event);
    }
};

}  // namespace dovrel::bench

#include "platform/ui/Screen.h"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>

namespace dovrel::ui {

namespace {
std::optional<double> scaleOverride;
}

double Screen::scale() {
    if (scaleOverride) {
        return *scaleOverride;
    }
    if (QGuiApplication::instance() == nullptr) {
        return 1.0;
    }
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1.0;
}

QSize Screen::nativeBounds() {
    if (QGuiApplication::instance() == nullptr) {
        return {};
    }
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) {
        return {};
    }
    const double ratio = scale();
    const QSize points = screen->geometry().size();
    return QSize(int(std::lround(points.width() * ratio)),
                 int(std::lround(points.height() * ratio)));
}

ScopedScreenScaleOverride::ScopedScreenScaleOverride(double scale) : previous_(scaleOverride) {
    scaleOverride = scale;
}

ScopedScreenScaleOverride::~ScopedScreenScaleOverride() {
    scaleOverride = previous_;
}

}  // namespace dovrel::ui

#pragma once

#include <QSize>
#include <optional>

namespace dovrel::ui {

// The main screen, as the primary QScreen reports it. Main thread only; answers 1 and an empty
// size while no QGuiApplication (or no screen) exists.
class Screen {
  public:
    // Device pixels per point: the primary screen's devicePixelRatio.
    static double scale();
    // The screen's size in device pixels (its geometry times its scale).
    static QSize nativeBounds();
};

// Makes Screen::scale() answer `scale` for its lifetime (tests of pixel-exact layout); nests.
class ScopedScreenScaleOverride {
  public:
    explicit ScopedScreenScaleOverride(double scale);
    ~ScopedScreenScaleOverride();
    ScopedScreenScaleOverride(const ScopedScreenScaleOverride&) = delete;
    ScopedScreenScaleOverride& operator=(const ScopedScreenScaleOverride&) = delete;

  private:
    std::optional<double> previous_;
};

}  // namespace dovrel::ui

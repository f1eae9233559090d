#pragma once

#include <QColor>
#include <QWidget>

namespace dovrel::app {

// A habit's progress as a ring that fills clockwise from the top, with the whole number (0 to
// 100) in its middle. Main thread only.
class ProgressRing final : public QWidget {
  public:
    explicit ProgressRing(int diameter, QWidget* parent = nullptr);

    // Values outside 0...100 are clamped.
    void setProgress(int progress);
    int progress() const noexcept { return progress_; }
    void setColor(const QColor& color);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int diameter_;
    int progress_ = 0;
    QColor color_;
};

}  // namespace dovrel::app

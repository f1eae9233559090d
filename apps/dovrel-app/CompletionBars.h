#pragma once

#include <QColor>
#include <QString>
#include <QWidget>
#include <vector>

namespace dovrel::app {

// How well the recent periods went, as a row of bars: one per period (week or month), oldest
// first, each as tall as its completion rate (0 to 1) in the habit's colour, with its title as
// the tool tip. Main thread only.
class CompletionBars final : public QWidget {
  public:
    struct Bar {
        double rate = 0;
        QString title;
    };

    explicit CompletionBars(QWidget* parent = nullptr);

    void display(std::vector<Bar> bars, const QColor& color);
    const std::vector<Bar>& bars() const noexcept { return bars_; }

    QSize sizeHint() const override { return QSize(160, 36); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

  private:
    int barAt(int x) const;

    std::vector<Bar> bars_;
    QColor color_;
};

}  // namespace dovrel::app

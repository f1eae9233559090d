#pragma once

#include <QColor>
#include <QWidget>
#include <vector>

#include "platform/foundation/Date.h"

class QChartView;
class QChart;

namespace dovrel::app {

// A habit's score over time as a line (Qt Charts): one point after each step of the progress
// formula (a checkmark's gain, a missed day's loss) and one for the day shown, on a time axis
// and a 0 to 100 axis. Main thread only.
class ScoreChart final : public QWidget {
  public:
    struct Point {
        Date day;
        double score = 0;
    };

    explicit ScoreChart(QWidget* parent = nullptr);

    // `points` oldest first; only those from `since` on are drawn.
    void display(const std::vector<Point>& points, Date since, Date until, const QColor& color,
                 const QColor& text, const QColor& grid);
    // For tests: the number of points drawn.
    int pointCount() const noexcept { return pointCount_; }

  private:
    QChartView* view_;
    int pointCount_ = 0;
};

}  // namespace dovrel::app

#include "apps/dovrel-app/ScoreChart.h"

#include <QChart>
#include <QChartView>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QLineSeries>
#include <QVBoxLayout>
#include <QValueAxis>

namespace dovrel::app {

namespace {

// Seconds between 1970 (Qt's epoch) and 2001 (the library's reference date).
constexpr double kReferenceOffset = 978307200.0;

qint64 milliseconds(Date date) {
    return static_cast<qint64>((date.timeIntervalSinceReferenceDate() + kReferenceOffset) * 1000);
}

}  // namespace

ScoreChart::ScoreChart(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    view_ = new QChartView(this);
    view_->setRenderHint(QPainter::Antialiasing);
    view_->setMinimumHeight(180);
    layout->addWidget(view_);
}

void ScoreChart::display(const std::vector<Point>& points, Date since, Date until,
                         const QColor& color, const QColor& text, const QColor& grid) {
    auto* chart = new QChart;
    chart->legend()->hide();
    chart->setBackgroundRoundness(0);
    chart->setBackgroundBrush(Qt::transparent);
    chart->setMargins(QMargins(4, 4, 4, 4));
    auto* series = new QLineSeries;
    QPen pen(color, 2.5);
    series->setPen(pen);
    // The score just before `since`, so that the line starts at the left edge.
    double previous = 0;
    pointCount_ = 0;
    bool started = false;
    for (const auto& point : points) {
        if (point.day < since) {
            previous = point.score;
            continue;
        }
        if (!started) {
            series->append(static_cast<qreal>(milliseconds(since)), previous);
            started = true;
        }
        series->append(static_cast<qreal>(milliseconds(point.day)), point.score);
        ++pointCount_;
    }
    if (!started) {
        series->append(static_cast<qreal>(milliseconds(since)), previous);
    }
    series->append(static_cast<qreal>(milliseconds(until)),
                   points.empty() ? 0 : points.back().score);
    chart->addSeries(series);

    auto* time = new QDateTimeAxis;
    time->setFormat("MMM");
    time->setTickCount(7);
    time->setRange(QDateTime::fromMSecsSinceEpoch(milliseconds(since)),
                   QDateTime::fromMSecsSinceEpoch(milliseconds(until)));
    auto* score = new QValueAxis;
    score->setRange(0, 100);
    score->setTickCount(5);
    score->setLabelFormat("%d");
    for (QAbstractAxis* axis :
         {static_cast<QAbstractAxis*>(time), static_cast<QAbstractAxis*>(score)}) {
        axis->setLabelsColor(text);
        axis->setGridLineColor(grid);
        axis->setLinePenColor(grid);
    }
    chart->addAxis(time, Qt::AlignBottom);
    chart->addAxis(score, Qt::AlignLeft);
    series->attachAxis(time);
    series->attachAxis(score);
    QChart* old = view_->chart();
    view_->setChart(chart);
    delete old;
}

}  // namespace dovrel::app

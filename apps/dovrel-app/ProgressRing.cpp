#include "apps/dovrel-app/ProgressRing.h"

#include <QPainter>
#include <algorithm>

namespace dovrel::app {

ProgressRing::ProgressRing(int diameter, QWidget* parent)
    : QWidget(parent), diameter_(diameter), color_(Qt::gray) {
    setFixedSize(diameter, diameter);
}

void ProgressRing::setProgress(int progress) {
    progress_ = std::clamp(progress, 0, 100);
    setAccessibleName(QString::number(progress_));
    update();
}

void ProgressRing::setColor(const QColor& color) {
    color_ = color;
    update();
}

QSize ProgressRing::sizeHint() const {
    return QSize(diameter_, diameter_);
}

void ProgressRing::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal width = std::max<qreal>(3.0, diameter_ / 9.0);
    const QRectF ring = QRectF(rect()).adjusted(width / 2 + 0.5, width / 2 + 0.5, -width / 2 - 0.5,
                                                -width / 2 - 0.5);
    QColor track = palette().color(QPalette::WindowText);
    track.setAlphaF(0.12);
    painter.setPen(QPen(track, width));
    painter.drawEllipse(ring);
    if (progress_ > 0) {
        painter.setPen(QPen(color_, width, Qt::SolidLine, Qt::FlatCap));
        // Qt's angles are sixteenths of a degree, counter-clockwise from three o'clock.
        painter.drawArc(ring, 90 * 16, -progress_ * 360 * 16 / 100);
    }
    QFont font = painter.font();
    font.setPixelSize(std::max(9, diameter_ * 2 / 7));
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(rect(), Qt::AlignCenter, QString::number(progress_));
}

}  // namespace dovrel::app

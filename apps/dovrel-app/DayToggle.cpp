#include "apps/dovrel-app/DayToggle.h"

#include <QPainter>
#include <QPainterPath>

namespace dovrel::app {

DayToggle::DayToggle(int diameter, QWidget* parent)
    : QAbstractButton(parent), diameter_(diameter), color_(Qt::gray) {
    setCheckable(true);
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(diameter, diameter);
}

void DayToggle::setColor(const QColor& color) {
    color_ = color;
    update();
}

QSize DayToggle::sizeHint() const {
    return QSize(diameter_, diameter_);
}

void DayToggle::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) {
        painter.setOpacity(0.35);  // a day that cannot be checked yet
    }
    const qreal pen = std::max<qreal>(1.5, diameter_ / 14.0);
    const QRectF circle =
        QRectF(rect()).adjusted(pen / 2 + 0.5, pen / 2 + 0.5, -pen / 2 - 0.5, -pen / 2 - 0.5);
    QColor edge = color_;
    if (isDown()) {
        edge = edge.darker(130);
    }
    if (isChecked()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(edge);
        painter.drawEllipse(circle);
    } else {
        painter.setPen(QPen(edge, pen));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(circle);
    }
    // Text, or a check mark on a filled circle without text, in a colour that reads on it.
    const QColor ink =
        isChecked() ? (color_.lightnessF() > 0.62 ? QColor(0x20, 0x20, 0x20) : QColor(Qt::white))
                    : palette().color(QPalette::WindowText);
    if (!text().isEmpty()) {
        QFont font = painter.font();
        font.setPixelSize(std::max(8, diameter_ * 9 / 20));
        painter.setFont(font);
        painter.setPen(ink);
        painter.drawText(rect(), Qt::AlignCenter, text());
    } else if (isChecked()) {
        QPainterPath check;
        const qreal d = diameter_;
        check.moveTo(d * 0.28, d * 0.52);
        check.lineTo(d * 0.44, d * 0.68);
        check.lineTo(d * 0.72, d * 0.36);
        painter.setPen(
            QPen(ink, std::max<qreal>(2.0, d / 10.0), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(check);
    }
}

}  // namespace dovrel::app

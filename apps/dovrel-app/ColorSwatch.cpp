#include "apps/dovrel-app/ColorSwatch.h"

#include <QPainter>

namespace dovrel::app {

ColorSwatch::ColorSwatch(const QColor& color, int diameter, QWidget* parent)
    : QAbstractButton(parent), color_(color), diameter_(diameter) {
    setCheckable(true);
    setAutoExclusive(true);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(diameter, diameter);
}

void ColorSwatch::setColor(const QColor& color) {
    color_ = color;
    update();
}

QSize ColorSwatch::sizeHint() const {
    return QSize(diameter_, diameter_);
}

void ColorSwatch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = QRectF(rect()).adjusted(1, 1, -1, -1);
    const qreal ring = 3;
    if (isChecked()) {
        painter.setPen(QPen(palette().color(QPalette::WindowText), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(bounds.adjusted(1, 1, -1, -1));
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(color_);
    painter.drawEllipse(bounds.adjusted(ring + 2, ring + 2, -ring - 2, -ring - 2));
    if (hasFocus()) {
        QPen focus(palette().color(QPalette::Highlight), 1, Qt::DotLine);
        painter.setPen(focus);
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(bounds);
    }
}

}  // namespace dovrel::app

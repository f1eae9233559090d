#include "apps/dovrel-app/CompletionBars.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>
#include <algorithm>

namespace dovrel::app {

namespace {

constexpr int kGap = 3;

}  // namespace

CompletionBars::CompletionBars(QWidget* parent) : QWidget(parent) {}

void CompletionBars::display(std::vector<Bar> bars, const QColor& color) {
    bars_ = std::move(bars);
    color_ = color;
    update();
}

int CompletionBars::barAt(int x) const {
    if (bars_.empty()) {
        return -1;
    }
    const int count = static_cast<int>(bars_.size());
    const int width = (this->width() - (count - 1) * kGap) / count;
    const int index = x / (width + kGap);
    return index >= 0 && index < count ? index : -1;
}

void CompletionBars::paintEvent(QPaintEvent*) {
    if (bars_.empty()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int count = static_cast<int>(bars_.size());
    const int width = std::max(2, (this->width() - (count - 1) * kGap) / count);
    QColor track = palette().color(QPalette::WindowText);
    track.setAlphaF(0.10);
    for (int index = 0; index < count; ++index) {
        const QRectF slot(index * (width + kGap), 0, width, height());
        painter.setPen(Qt::NoPen);
        painter.setBrush(track);
        painter.drawRoundedRect(slot, 2, 2);
        const double rate = std::clamp(bars_[static_cast<std::size_t>(index)].rate, 0.0, 1.0);
        if (rate > 0) {
            const double filled = std::max(2.0, rate * height());
            painter.setBrush(color_);
            painter.drawRoundedRect(
                QRectF(slot.left(), slot.bottom() - filled, slot.width(), filled), 2, 2);
        }
    }
}

bool CompletionBars::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const int index = barAt(help->pos().x());
        if (index >= 0) {
            QToolTip::showText(help->globalPos(), bars_[static_cast<std::size_t>(index)].title,
                               this);
        } else {
            QToolTip::hideText();
        }
        return true;
    }
    return QWidget::event(event);
}

}  // namespace dovrel::app

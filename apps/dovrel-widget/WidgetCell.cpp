#include "apps/dovrel-widget/WidgetCell.h"

#include <QEvent>
#include <QPainter>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"

namespace dovrel::widget {

namespace {

using ui::LayoutRelation;

constexpr int kMargin = 12;
constexpr int kDotSize = 10;
constexpr int kToggleDiameter = 24;
constexpr int kProgressWidth = 30;

}  // namespace

WidgetCell::WidgetCell(QWidget* parent) : QWidget(parent) {
    dot_ = app::makeAnchored<QWidget>(this);
    name_ = app::makeAnchored<QLabel>(this);
    progress_ = app::makeAnchored<QLabel>(this);
    progress_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    today_ = app::makeAnchored<app::DayToggle>(this, kToggleDiameter);
    connect(today_, &QAbstractButton::clicked, this, [this] {
        if (handler_) {
            handler_();
        }
    });

    AnchoredView(dot_).pinSize(QSizeF(kDotSize, kDotSize));
    AnchoredView(dot_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(dot_).pinCenterYEqualToSuperview();
    AnchoredView(today_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(today_).pinCenterYEqualToSuperview();
    AnchoredView(progress_).pinWidth(LayoutRelation::equal, kProgressWidth);
    AnchoredView(progress_).pinTrailing(LayoutRelation::equal, AnchoredView(today_).leadingAnchor(),
                                        -8);
    AnchoredView(progress_).pinCenterYEqualToSuperview();
    AnchoredView(name_).pinLeading(LayoutRelation::equal, AnchoredView(dot_).trailingAnchor(), 8);
    AnchoredView(name_).pinCenterYEqualToSuperview();
    AnchoredView(name_).pinTrailing(LayoutRelation::lessThanOrEqual,
                                    AnchoredView(progress_).leadingAnchor(), -6);
}

void WidgetCell::display(const Content& content) {
    color_ = content.color;
    fullName_ = content.name;
    name_->setToolTip(content.name);
    progress_->setText(QString::number(content.progress));
    QPalette colours = progress_->palette();
    colours.setColor(QPalette::WindowText,
                     ui::qColor(foregroundGray(), ui::effectiveUserInterfaceStyle(this)));
    progress_->setPalette(colours);
    today_->setColor(content.color);
    today_->setChecked(content.today);
    today_->setToolTip(content.todayTitle);
    today_->setAccessibleName(content.todayTitle);
    setAccessibleName(content.name);
    elideName();
    update();
}

void WidgetCell::elideName() {
    const int available =
        width() - (kMargin + kDotSize + 8) - (6 + kProgressWidth + 8 + kToggleDiameter + kMargin);
    name_->setText(
        name_->fontMetrics().elidedText(fullName_, Qt::ElideRight, std::max(available, 24)));
}

void WidgetCell::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    elideName();
}

bool WidgetCell::event(QEvent* event) {
    if (event->type() == QEvent::DynamicPropertyChange) {
        update();
    }
    return QWidget::event(event);
}

void WidgetCell::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (property("selected").toBool()) {
        painter.fillRect(QRect(0, 0, 3, height()), color_);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(color_);
    painter.drawEllipse(dot_->geometry());
}

}  // namespace dovrel::widget

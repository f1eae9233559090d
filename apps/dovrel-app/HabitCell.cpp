#include "apps/dovrel-app/HabitCell.h"

#include <QEvent>
#include <QPainter>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"

namespace dovrel::app {

namespace {

using ui::LayoutRelation;

constexpr int kMargin = 16;
constexpr double kSpacing = 8;
constexpr int kDotSize = 12;
constexpr int kPastDayDiameter = 20;
constexpr int kRingDiameter = 40;
constexpr int kTodayDiameter = 30;

}  // namespace

HabitCell::HabitCell(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_StyledBackground, false);
    dot_ = makeAnchored<QWidget>(this);
    name_ = makeAnchored<QLabel>(this);
    QFont bold = name_->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.1);
    name_->setFont(bold);
    interval_ = makeAnchored<QLabel>(this);
    question_ = makeAnchored<QLabel>(this);
    for (std::size_t index = 0; index < past_.size(); ++index) {
        past_[index] = makeAnchored<DayToggle>(this, kPastDayDiameter);
        const int daysBeforeToday = kPastDays - static_cast<int>(index);
        DayToggle* toggle = past_[index];
        connect(toggle, &QAbstractButton::clicked, this,
                [this, daysBeforeToday, toggle] { toggled(daysBeforeToday, toggle); });
    }
    ring_ = makeAnchored<ProgressRing>(this, kRingDiameter);
    today_ = makeAnchored<DayToggle>(this, kTodayDiameter);
    connect(today_, &QAbstractButton::clicked, this, [this] { toggled(0, today_); });

    AnchoredView(dot_).pinSize(QSizeF(kDotSize, kDotSize));
    AnchoredView(dot_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(dot_).pinCenterYEqualToSuperview();

    AnchoredView(today_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(today_).pinCenterYEqualToSuperview();
    AnchoredView(ring_).pinTrailing(LayoutRelation::equal, AnchoredView(today_).leadingAnchor(),
                                    -kMargin);
    AnchoredView(ring_).pinCenterYEqualToSuperview();
    QWidget* after = ring_;
    double gap = -kMargin;
    for (std::size_t index = past_.size(); index-- > 0;) {
        AnchoredView(past_[index])
            .pinTrailing(LayoutRelation::equal, AnchoredView(after).leadingAnchor(), gap);
        AnchoredView(past_[index]).pinCenterYEqualToSuperview();
        after = past_[index];
        gap = -4;
    }

    AnchoredView(name_).pinLeading(LayoutRelation::equal, AnchoredView(dot_).trailingAnchor(), 12);
    // The name sits at the top when a question follows it, in the middle when none does.
    nameAtTop_ = std::make_unique<ui::LayoutConstraint>(AnchoredView(name_).topConstraint(
        LayoutRelation::equal, AnchoredView(this).topAnchor(), 12));
    nameInMiddle_ = std::make_unique<ui::LayoutConstraint>(AnchoredView(name_).centerYConstraint(
        LayoutRelation::equal, AnchoredView(this).centerYAnchor()));
    nameAtTop_->setActive(true);
    AnchoredView(interval_).pinLeading(LayoutRelation::equal, AnchoredView(name_).trailingAnchor(),
                                       kSpacing);
    AnchoredView(interval_).pinCenterY(LayoutRelation::equal, AnchoredView(name_));
    AnchoredView(question_).pinLeading(LayoutRelation::equal, AnchoredView(name_));
    AnchoredView(question_).pinTop(LayoutRelation::equal, AnchoredView(name_).bottomAnchor(), 3);
    for (QWidget* text : {static_cast<QWidget*>(interval_), static_cast<QWidget*>(question_)}) {
        AnchoredView(text).pinTrailing(LayoutRelation::lessThanOrEqual,
                                       AnchoredView(past_.front()).leadingAnchor(), -kMargin);
    }
}

QSize HabitCell::sizeHint() const {
    return QSize(560, kHeight);
}

void HabitCell::display(const Content& content) {
    dotColor_ = content.color;
    dot_->update();
    fullName_ = content.name;
    name_->setToolTip(content.name);
    interval_->setText(content.interval);
    // The secondary texts in the grey of the cell's appearance (the cell may have been made
    // before it had a window to take it from).
    const auto style = ui::effectiveUserInterfaceStyle(this);
    for (QLabel* secondary : {interval_, question_}) {
        QPalette colours = secondary->palette();
        colours.setColor(QPalette::WindowText, ui::qColor(foregroundGray(), style));
        secondary->setPalette(colours);
    }
    question_->setText(content.question);
    const bool hasQuestion = !content.question.isEmpty();
    question_->setVisible(hasQuestion);
    if (nameAtTop_->isActive() != hasQuestion) {
        nameAtTop_->setActive(false);
        nameInMiddle_->setActive(false);
        (hasQuestion ? nameAtTop_ : nameInMiddle_)->setActive(true);
    }
    for (std::size_t index = 0; index < past_.size(); ++index) {
        past_[index]->setColor(content.color);
        past_[index]->setChecked(content.pastDays[index]);
        past_[index]->setText(content.pastDayLetters[index]);
        past_[index]->setToolTip(content.pastDayTitles[index]);
        past_[index]->setAccessibleName(content.pastDayTitles[index]);
    }
    ring_->setColor(content.color);
    ring_->setProgress(content.progress);
    today_->setColor(content.color);
    today_->setChecked(content.today);
    today_->setToolTip(content.todayTitle);
    today_->setAccessibleName(content.todayTitle);
    setAccessibleName(content.name);
    elideName();
    update();
}

void HabitCell::elideName() {
    // What the row leaves for the name: everything left of the day toggles, less the interval's
    // text beside it.
    const int right = kMargin + kTodayDiameter + kMargin + kRingDiameter + kMargin +
                      kPastDays * kPastDayDiameter + (kPastDays - 1) * 4 + kMargin;
    const int left = kMargin + kDotSize + 12;
    const int available =
        width() - right - left - static_cast<int>(kSpacing) - interval_->sizeHint().width();
    name_->setText(
        name_->fontMetrics().elidedText(fullName_, Qt::ElideRight, std::max(available, 40)));
}

void HabitCell::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    elideName();
}

void HabitCell::toggled(int daysBeforeToday, DayToggle* toggle) {
    // The toggle shows the new state at once; the list shows the stored one after the save.
    if (toggleHandler_) {
        toggleHandler_(daysBeforeToday);
    } else {
        toggle->setChecked(!toggle->isChecked());
    }
}

bool HabitCell::event(QEvent* event) {
    if (event->type() == QEvent::DynamicPropertyChange) {
        update();
    }
    return QWidget::event(event);
}

void HabitCell::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto style = ui::effectiveUserInterfaceStyle(this);
    // The table paints the selected row's background; the cell marks it with its colour too.
    if (property("selected").toBool()) {
        painter.fillRect(QRect(0, 0, 4, height()), dotColor_);
    }
    // A hairline between rows.
    QColor line = ui::qColor(splitter(), style);
    painter.fillRect(QRect(static_cast<int>(kMargin), height() - 1, width(), 1), line);
    painter.setPen(Qt::NoPen);
    painter.setBrush(dotColor_);
    painter.drawEllipse(dot_->geometry());
}

}  // namespace dovrel::app

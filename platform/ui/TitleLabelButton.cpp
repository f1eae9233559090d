#include "platform/ui/TitleLabelButton.h"

#include <QResizeEvent>
#include <algorithm>

namespace dovrel::ui {

TitleLabelButton::TitleLabelButton(QWidget* parent) : QPushButton(parent) {}

void TitleLabelButton::setTitle(const std::optional<QString>& title) {
    if (titleLabel_ == nullptr) {
        if (!title) {
            return;
        }
        titleLabel_ = new WrappingLabel(this);
        titleLabel_->setAttribute(Qt::WA_TransparentForMouseEvents);
        titleLabel_->setForegroundRole(QPalette::ButtonText);
        titleLabel_->show();
    }
    titleLabel_->setText(title.value_or(QString()));
    updateGeometry();
    layoutSubviews();
}

std::optional<QString> TitleLabelButton::title() const {
    if (titleLabel_ == nullptr || titleLabel_->text().isEmpty()) {
        return std::nullopt;
    }
    return titleLabel_->text();
}

QSize TitleLabelButton::intrinsicContentSize() const {
    if (titleLabel_ == nullptr) {
        return QSize(0, 0);
    }
    const QMargins margins = contentsMargins();
    const QSize label = titleLabel_->sizeHint();
    return QSize(label.width() + margins.left() + margins.right(),
                 label.height() + margins.top() + margins.bottom());
}

void TitleLabelButton::layoutSubviews() {
    if (titleLabel_ == nullptr) {
        return;
    }
    const QRect area = contentsRect();
    const int height = std::min(area.height(), titleLabel_->heightForWidth(area.width()));
    titleLabel_->setGeometry(area.x(), area.y() + (area.height() - height) / 2, area.width(),
                             std::max(0, height));
}

void TitleLabelButton::resizeEvent(QResizeEvent* event) {
    QPushButton::resizeEvent(event);
    layoutSubviews();
}

}  // namespace dovrel::ui

#include "platform/ui/ConstraintLayout.h"

#include <QWidget>

#include "platform/ui/detail/LayoutEngine.h"
#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui {

ConstraintLayout::ConstraintLayout(QWidget* widget) : QLayout(widget) {
    setContentsMargins(0, 0, 0, 0);
}

ConstraintLayout::~ConstraintLayout() = default;

void ConstraintLayout::addItem(QLayoutItem* item) {
    // Subviews are placed by constraints, not as items: the widget stays, the item goes.
    delete item;
}

QLayoutItem* ConstraintLayout::itemAt(int) const {
    return nullptr;
}

QLayoutItem* ConstraintLayout::takeAt(int) {
    return nullptr;
}

int ConstraintLayout::count() const {
    return 0;
}

Qt::Orientations ConstraintLayout::expandingDirections() const {
    return Qt::Horizontal | Qt::Vertical;
}

QSize ConstraintLayout::fittingSize() const {
    QWidget* widget = parentWidget();
    if (widget == nullptr) {
        return {0, 0};
    }
    if (!fitting_ || cachedStructure_ != detail::structureGeneration() ||
        cachedIntrinsic_ != detail::intrinsicGeneration()) {
        if (!fitting_) {
            fitting_ =
                std::make_unique<detail::LayoutEngine>(widget, detail::LayoutEngine::Mode::fitting);
        }
        cachedSize_ = fitting_->fittingSize();
        cachedStructure_ = detail::structureGeneration();
        cachedIntrinsic_ = detail::intrinsicGeneration();
    }
    return cachedSize_;
}

QSize ConstraintLayout::sizeHint() const {
    return fittingSize();
}

QSize ConstraintLayout::minimumSize() const {
    return fittingSize();
}

void ConstraintLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    QWidget* widget = parentWidget();
    if (widget == nullptr || detail::LayoutEngine::isPlacing()) {
        return;
    }
    detail::ViewData::of(widget->window()).engine().layout();
}

void ConstraintLayout::invalidate() {
    detail::intrinsicChanged();
    if (QWidget* widget = parentWidget()) {
        detail::ViewData::of(widget).postLayout();
    }
    QLayout::invalidate();
}

}  // namespace dovrel::ui

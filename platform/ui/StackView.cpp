#include "platform/ui/StackView.h"

#include <QEvent>
#include <algorithm>

#include "platform/ui/View.h"

namespace dovrel::ui {

StackView::StackView(QWidget* parent) : QWidget(parent) {}

StackView::~StackView() {
    for (const auto& view : arranged_) {
        if (view) {
            view->removeEventFilter(this);
        }
    }
}

void StackView::addArrangedSubview(QWidget* view) {
    insertArrangedSubview(view, int(arranged_.size()));
}

void StackView::insertArrangedSubview(QWidget* view, int index) {
    if (view == nullptr) {
        return;
    }
    std::erase(arranged_, QPointer<QWidget>(view));
    index = std::clamp(index, 0, int(arranged_.size()));
    if (view->parentWidget() != this) {
        view->setParent(this);
        view->show();
    }
    View(view).setTranslatesAutoresizingMaskIntoConstraints(false);
    view->installEventFilter(this);
    arranged_.insert(arranged_.begin() + index, view);
    rebuild();
}

void StackView::removeArrangedSubview(QWidget* view) {
    std::erase(arranged_, QPointer<QWidget>(view));
    if (view != nullptr) {
        view->removeEventFilter(this);
    }
    rebuild();
}

std::vector<QWidget*> StackView::arrangedSubviews() const {
    std::vector<QWidget*> result;
    for (const auto& view : arranged_) {
        if (view) {
            result.push_back(view);
        }
    }
    return result;
}

void StackView::setAxis(Axis axis) {
    if (axis != axis_) {
        axis_ = axis;
        rebuild();
    }
}

void StackView::setSpacing(double spacing) {
    if (spacing == spacing_) {
        return;
    }
    spacing_ = spacing;
    // Only the gaps change: their constants move, and the solver keeps its work.
    for (auto& constraint : constraints_) {
        if (constraint.identifier() == "StackView.spacing") {
            constraint.setConstant(spacing_);
        }
    }
}

void StackView::rebuild() {
    LayoutConstraint::deactivate(constraints_);
    constraints_.clear();
    const View stack(this);
    QWidget* previous = nullptr;
    for (const auto& pointer : arranged_) {
        QWidget* view = pointer.data();
        if (view == nullptr || view->isHidden()) {
            continue;
        }
        const View item(view);
        if (axis_ == Axis::vertical) {
            constraints_.push_back(item.leadingAnchor().constraintEqualTo(stack.leadingAnchor()));
            constraints_.push_back(item.trailingAnchor().constraintEqualTo(stack.trailingAnchor()));
            constraints_.push_back(
                previous == nullptr
                    ? item.topAnchor().constraintEqualTo(stack.topAnchor())
                    : item.topAnchor().constraintEqualTo(View(previous).bottomAnchor(), spacing_));
        } else {
            constraints_.push_back(item.topAnchor().constraintEqualTo(stack.topAnchor()));
            constraints_.push_back(item.bottomAnchor().constraintEqualTo(stack.bottomAnchor()));
            constraints_.push_back(
                previous == nullptr ? item.leadingAnchor().constraintEqualTo(stack.leadingAnchor())
                                    : item.leadingAnchor().constraintEqualTo(
                                          View(previous).trailingAnchor(), spacing_));
        }
        if (previous != nullptr) {
            constraints_.back().setIdentifier("StackView.spacing");
        }
        previous = view;
    }
    if (previous != nullptr) {
        const View last(previous);
        constraints_.push_back(
            axis_ == Axis::vertical
                ? last.bottomAnchor().constraintEqualTo(stack.bottomAnchor())
                : last.trailingAnchor().constraintEqualTo(stack.trailingAnchor()));
    }
    LayoutConstraint::activate(constraints_);
}

bool StackView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::HideToParent || event->type() == QEvent::ShowToParent) {
        const auto found = std::find(arranged_.begin(), arranged_.end(),
                                     QPointer<QWidget>(static_cast<QWidget*>(watched)));
        if (found != arranged_.end()) {
            rebuild();
        }
    }
    return QWidget::eventFilter(watched, event);
}

}  // namespace dovrel::ui

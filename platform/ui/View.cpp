#include "platform/ui/View.h"

#include <algorithm>

#include "platform/ui/Appearance.h"
#include "platform/ui/ConstraintLayout.h"
#include "platform/ui/LayoutGuide.h"
#include "platform/ui/detail/LayoutEngine.h"
#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui {

using detail::ItemRef;
using detail::LayoutAttribute;
using detail::ViewData;

View::View(QWidget* widget) : widget_(widget) {}

bool View::translatesAutoresizingMaskIntoConstraints() const {
    const ViewData* data = ViewData::find(widget_);
    return data == nullptr || data->translates;
}

void View::setTranslatesAutoresizingMaskIntoConstraints(bool translates) {
    if (widget_ == nullptr) {
        return;
    }
    ViewData& data = ViewData::of(widget_);
    if (data.translates == translates) {
        return;
    }
    data.translates = translates;
    if (!translates) {
        detail::adoptSuperview(widget_->parentWidget());
    }
    detail::structureChanged();
    data.postLayout();
}

QWidget* View::superview() const {
    return widget_ ? widget_->parentWidget() : nullptr;
}

LayoutXAxisAnchor View::leadingAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::leading};
}
LayoutXAxisAnchor View::trailingAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::trailing};
}
LayoutXAxisAnchor View::leftAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::left};
}
LayoutXAxisAnchor View::rightAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::right};
}
LayoutYAxisAnchor View::topAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::top};
}
LayoutYAxisAnchor View::bottomAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::bottom};
}
LayoutDimension View::widthAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::width};
}
LayoutDimension View::heightAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::height};
}
LayoutXAxisAnchor View::centerXAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::centerX};
}
LayoutYAxisAnchor View::centerYAnchor() const {
    return {ItemRef(widget_), LayoutAttribute::centerY};
}

QSize View::intrinsicContentSize() const {
    if (widget_ == nullptr || dynamic_cast<ConstraintLayout*>(widget_->layout()) != nullptr) {
        return {-1, -1};
    }
    const QSize hint = widget_->sizeHint();
    return {hint.width() >= 0 ? hint.width() : -1, hint.height() >= 0 ? hint.height() : -1};
}

LayoutPriority View::contentHuggingPriority(LayoutAxis axis) const {
    const ViewData* data = ViewData::find(widget_);
    return data ? data->hugging[int(axis)] : kLayoutPriorityDefaultLow;
}

void View::setContentHuggingPriority(LayoutPriority priority, LayoutAxis axis) {
    if (widget_ == nullptr) {
        return;
    }
    ViewData::of(widget_).hugging[int(axis)] = priority;
    detail::structureChanged();
    ViewData::of(widget_).postLayout();
}

LayoutPriority View::contentCompressionResistancePriority(LayoutAxis axis) const {
    const ViewData* data = ViewData::find(widget_);
    return data ? data->compression[int(axis)] : kLayoutPriorityDefaultHigh;
}

void View::setContentCompressionResistancePriority(LayoutPriority priority, LayoutAxis axis) {
    if (widget_ == nullptr) {
        return;
    }
    ViewData::of(widget_).compression[int(axis)] = priority;
    detail::structureChanged();
    ViewData::of(widget_).postLayout();
}

void View::invalidateIntrinsicContentSize() {
    if (widget_ == nullptr) {
        return;
    }
    detail::intrinsicChanged();
    ViewData::of(widget_).postLayout();
}

std::vector<LayoutConstraint> View::constraints() const {
    std::vector<LayoutConstraint> result;
    if (const ViewData* data = ViewData::find(widget_)) {
        for (const auto& constraint : data->constraints) {
            result.emplace_back(constraint);
        }
    }
    return result;
}

void View::addLayoutGuide(const LayoutGuide& guide) {
    if (widget_ == nullptr || guide.owningView() == widget_) {
        return;
    }
    if (QWidget* previous = guide.owningView()) {
        View(previous).removeLayoutGuide(guide);
    }
    ViewData& data = ViewData::of(widget_);
    guide.data()->owningView = widget_;
    data.guides.push_back(guide.data());
    detail::adoptSuperview(widget_);
    detail::structureChanged();
}

void View::removeLayoutGuide(const LayoutGuide& guide) {
    ViewData* data = ViewData::find(widget_);
    if (data == nullptr || guide.owningView() != widget_) {
        return;
    }
    // The guide's constraints go with it.
    for (const auto& constraint : std::vector(data->constraints)) {
        const bool namesGuide =
            constraint->first.item.guide() == guide.data() ||
            (constraint->second && constraint->second->item.guide() == guide.data());
        if (namesGuide) {
            LayoutConstraint(constraint).setActive(false);
        }
    }
    std::erase(data->guides, guide.data());
    guide.data()->owningView = nullptr;
    detail::structureChanged();
}

std::vector<LayoutGuide> View::layoutGuides() const {
    std::vector<LayoutGuide> result;
    if (const ViewData* data = ViewData::find(widget_)) {
        for (const auto& guide : data->guides) {
            result.emplace_back(guide);
        }
    }
    return result;
}

void View::setNeedsLayout() {
    if (widget_ != nullptr) {
        ViewData::of(widget_).postLayout();
    }
}

void View::layoutIfNeeded() {
    if (widget_ != nullptr) {
        ViewData::of(widget_->window()).engine().layout();
    }
}

QSize View::systemLayoutSizeFittingSize() const {
    if (widget_ == nullptr) {
        return {0, 0};
    }
    detail::LayoutEngine engine(widget_, detail::LayoutEngine::Mode::fitting);
    return engine.fittingSize();
}

UserInterfaceStyle View::overrideUserInterfaceStyle() const {
    const ViewData* data = ViewData::find(widget_);
    return data ? data->overrideStyle : UserInterfaceStyle::unspecified;
}

void View::setOverrideUserInterfaceStyle(UserInterfaceStyle style) {
    if (widget_ != nullptr) {
        ui::setOverrideUserInterfaceStyle(widget_, style);
    }
}

}  // namespace dovrel::ui

#include "platform/ui/LayoutGuide.h"

namespace dovrel::ui {

using detail::ItemRef;
using detail::LayoutAttribute;

LayoutGuide::LayoutGuide() : data_(std::make_shared<detail::GuideData>()) {}

QWidget* LayoutGuide::owningView() const {
    return data_->owningView.data();
}

LayoutXAxisAnchor LayoutGuide::leadingAnchor() const {
    return {ItemRef(data_), LayoutAttribute::leading};
}
LayoutXAxisAnchor LayoutGuide::trailingAnchor() const {
    return {ItemRef(data_), LayoutAttribute::trailing};
}
LayoutXAxisAnchor LayoutGuide::leftAnchor() const {
    return {ItemRef(data_), LayoutAttribute::left};
}
LayoutXAxisAnchor LayoutGuide::rightAnchor() const {
    return {ItemRef(data_), LayoutAttribute::right};
}
LayoutYAxisAnchor LayoutGuide::topAnchor() const {
    return {ItemRef(data_), LayoutAttribute::top};
}
LayoutYAxisAnchor LayoutGuide::bottomAnchor() const {
    return {ItemRef(data_), LayoutAttribute::bottom};
}
LayoutDimension LayoutGuide::widthAnchor() const {
    return {ItemRef(data_), LayoutAttribute::width};
}
LayoutDimension LayoutGuide::heightAnchor() const {
    return {ItemRef(data_), LayoutAttribute::height};
}
LayoutXAxisAnchor LayoutGuide::centerXAnchor() const {
    return {ItemRef(data_), LayoutAttribute::centerX};
}
LayoutYAxisAnchor LayoutGuide::centerYAnchor() const {
    return {ItemRef(data_), LayoutAttribute::centerY};
}

QRectF LayoutGuide::layoutFrame() const {
    const QWidget* owner = data_->owningView.data();
    if (owner == nullptr) {
        return {};
    }
    const QPoint origin = owner->mapTo(owner->window(), QPoint(0, 0));
    const auto& v = data_->variables;
    return QRectF(v.left.value() - origin.x(), v.top.value() - origin.y(), v.width.value(),
                  v.height.value());
}

}  // namespace dovrel::ui

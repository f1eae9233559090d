#pragma once

#include <QRectF>
#include <QWidget>
#include <memory>

#include "platform/ui/LayoutAnchor.h"

namespace dovrel::ui {

// A rectangle that takes part in layout without a widget: spacing between views, a column, a
// margin. A handle with shared identity. It belongs to the view it was added to
// (View::addLayoutGuide), its owning view, and lives in that view's window's layout.
class LayoutGuide {
  public:
    LayoutGuide();
    explicit LayoutGuide(std::shared_ptr<detail::GuideData> data) : data_(std::move(data)) {}

    // The view the guide was added to, or null (before adding, after removing, or when that view
    // was deleted).
    QWidget* owningView() const;

    LayoutXAxisAnchor leadingAnchor() const;
    LayoutXAxisAnchor trailingAnchor() const;
    LayoutXAxisAnchor leftAnchor() const;
    LayoutXAxisAnchor rightAnchor() const;
    LayoutYAxisAnchor topAnchor() const;
    LayoutYAxisAnchor bottomAnchor() const;
    LayoutDimension widthAnchor() const;
    LayoutDimension heightAnchor() const;
    LayoutXAxisAnchor centerXAnchor() const;
    LayoutYAxisAnchor centerYAnchor() const;

    // The guide's rectangle after the last layout, in its owning view's coordinates.
    QRectF layoutFrame() const;

    const std::shared_ptr<detail::GuideData>& data() const { return data_; }
    bool operator==(const LayoutGuide& other) const { return data_ == other.data_; }

  private:
    std::shared_ptr<detail::GuideData> data_;
};

}  // namespace dovrel::ui

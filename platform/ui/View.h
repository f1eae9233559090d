#pragma once

#include <QSize>
#include <QWidget>
#include <vector>

#include "platform/foundation/Color.h"
#include "platform/ui/LayoutAnchor.h"
#include "platform/ui/LayoutPriority.h"

namespace dovrel::ui {

class LayoutGuide;

// A view: any QWidget, seen through this light handle, so that plain widgets, labels, buttons and
// table cells all take part in constraint layout. The handle holds the widget weakly and may
// outlive it (then every query answers as for a fresh view and changes do nothing); the layout
// state lives in a small attachment object, a child of the widget, made on first use.
//
// Layout: the active constraints of every view in a window are solved together, in window
// coordinates, by one solver per window. A view whose translatesAutoresizingMaskIntoConstraints
// is true (the default) is not moved: its current geometry enters the layout as required
// constraints. A view with it false is placed by the solution (setGeometry relative to its
// parent). A view whose sizeHint() is valid on an axis has an intrinsic size there, pulled
// toward by its content hugging priority (default 250) and pushed out to by its compression
// resistance priority (default 750). A widget that holds constrained subviews gets a
// ConstraintLayout (when it has no other layout) so that Qt's size hints and invalidations reach
// the solver.
//
// Threading: the main (GUI) thread only.
class View {
  public:
    View(QWidget* widget);  // NOLINT: any widget is a view

    QWidget* widget() const { return widget_; }
    explicit operator bool() const { return widget_ != nullptr; }

    bool translatesAutoresizingMaskIntoConstraints() const;
    void setTranslatesAutoresizingMaskIntoConstraints(bool translates);

    // The parent widget, or null.
    QWidget* superview() const;

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

    // The size the content asks for: the widget's sizeHint(), -1 on an axis without one (a
    // widget with a ConstraintLayout has none: its subviews' constraints size it instead).
    QSize intrinsicContentSize() const;
    LayoutPriority contentHuggingPriority(LayoutAxis axis) const;
    void setContentHuggingPriority(LayoutPriority priority, LayoutAxis axis);
    LayoutPriority contentCompressionResistancePriority(LayoutAxis axis) const;
    void setContentCompressionResistancePriority(LayoutPriority priority, LayoutAxis axis);
    // Tells the layout that the intrinsic size changed (Qt's updateGeometry() does the same).
    void invalidateIntrinsicContentSize();

    // The active constraints that name this view or one of its guides.
    std::vector<LayoutConstraint> constraints() const;

    void addLayoutGuide(const LayoutGuide& guide);
    void removeLayoutGuide(const LayoutGuide& guide);
    std::vector<LayoutGuide> layoutGuides() const;

    // Asks for a layout of the view's window on the next turn of the event loop.
    void setNeedsLayout();
    // Lays the view's window out now if anything changed since its last layout.
    void layoutIfNeeded();
    // The smallest size that satisfies the constraints inside this view (its subviews pinned to
    // it), the preferences of a priority above 50 kept: what Qt's sizeHint of a widget with a
    // ConstraintLayout reports.
    QSize systemLayoutSizeFittingSize() const;

    // Light, dark or unspecified (follow the parent, at the top the desktop); applies to the
    // view's whole subtree. See Appearance.h.
    UserInterfaceStyle overrideUserInterfaceStyle() const;
    void setOverrideUserInterfaceStyle(UserInterfaceStyle style);

    bool operator==(const View& other) const { return widget_ == other.widget_; }

  private:
    QWidget* widget_;
};

}  // namespace dovrel::ui

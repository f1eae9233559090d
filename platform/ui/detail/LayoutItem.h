#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>
#include <string>

#include "platform/ui/solver/Solver.h"

namespace dovrel::ui::detail {

class ViewData;

// The four unknowns of a rectangle that takes part in a layout: its left and top edges in the
// coordinates of its window, its width and its height.
struct ItemVariables {
    solver::Variable left{"left"};
    solver::Variable top{"top"};
    solver::Variable width{"width"};
    solver::Variable height{"height"};
};

// What a layout guide is: a rectangle with no widget of its own, owned by a view.
struct GuideData {
    QPointer<QWidget> owningView;
    ItemVariables variables;
};

// A view or a layout guide, as the thing an anchor belongs to. A view is held weakly (the widget
// may be deleted while a constraint still names it); a guide is shared.
class ItemRef {
  public:
    ItemRef() = default;
    explicit ItemRef(QWidget* widget) : widget_(widget) {}
    explicit ItemRef(std::shared_ptr<GuideData> guide) : guide_(std::move(guide)) {}

    bool isView() const { return guide_ == nullptr; }
    QWidget* widget() const { return widget_.data(); }
    const std::shared_ptr<GuideData>& guide() const { return guide_; }

    // The widget that holds this item in the widget tree: the view itself or the guide's owning
    // view; null when the view is gone or the guide has no owner.
    QWidget* hostWidget() const { return guide_ ? guide_->owningView.data() : widget_.data(); }

    // The attachment (ViewData) of the host widget: null when there is no host or it has no
    // attachment yet. Remembered between calls while no attachment anywhere is destroyed, so
    // that a layout looks each view up once instead of at every use of its anchors.
    ViewData* hostData() const;
    // The attachment of the host widget, made when missing. The host must exist.
    ViewData& hostDataMade() const;

    // The item's variables; for a view they live in its attachment (created when missing).
    // The view must be alive.
    const ItemVariables& variables() const;

    // Whether the item lays out right to left (its host's layout direction).
    bool isRightToLeft() const;

    bool operator==(const ItemRef& other) const {
        return guide_ ? guide_ == other.guide_ : (!other.guide_ && widget_ == other.widget_);
    }

  private:
    QPointer<QWidget> widget_;
    std::shared_ptr<GuideData> guide_;
    // The last attachment found, for the host widget it was found for, and the attachment
    // epoch (see attachmentEpoch()) it was found in.
    mutable ViewData* hostData_ = nullptr;
    mutable const QWidget* hostDataWidget_ = nullptr;
    mutable unsigned long long hostDataEpoch_ = 0;
};

}  // namespace dovrel::ui::detail

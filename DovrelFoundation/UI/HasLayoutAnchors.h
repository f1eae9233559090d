#pragma once

#include <QSizeF>
#include <QWidget>
#include <vector>

#include "platform/ui/LayoutAnchor.h"
#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/LayoutGuide.h"
#include "platform/ui/LayoutPriority.h"
#include "platform/ui/View.h"

namespace dovrel {

// Anything with layout anchors (a view, a layout guide), and one family of operations over
// them: "pin my top to that view's bottom, 8 points below, at this priority" in one call.
//
// The creating operations (`...Constraint`, `edgeConstraints`, `sizeConstraints`,
// `sizeRatioConstraint`) return inactive constraints with the priority untouched (required).
// The pin operations build the matching constraint, set its priority and activate it; they do
// nothing at all when isAbleToBePinned() is false (a view that still translates its
// autoresizing mask is left alone on purpose: switch the translation off first). The
// `...ToSuperview` forms take superviewToPin() first, and its absence stops the process even
// for an object that would not be pinned.
//
// Main (GUI) thread only, as every widget. Conformers are light handles; copies are cheap.
class HasLayoutAnchors {
  public:
    using LayoutConstraint = ui::LayoutConstraint;
    using LayoutRelation = ui::LayoutRelation;
    using LayoutPriority = ui::LayoutPriority;
    using XAnchor = ui::LayoutXAxisAnchor;
    using YAnchor = ui::LayoutYAxisAnchor;
    using Dimension = ui::LayoutDimension;

    virtual ~HasLayoutAnchors() = default;

    virtual XAnchor leadingAnchor() const = 0;
    virtual XAnchor trailingAnchor() const = 0;
    virtual XAnchor leftAnchor() const = 0;
    virtual XAnchor rightAnchor() const = 0;
    virtual YAnchor topAnchor() const = 0;
    virtual YAnchor bottomAnchor() const = 0;
    virtual Dimension widthAnchor() const = 0;
    virtual Dimension heightAnchor() const = 0;
    virtual XAnchor centerXAnchor() const = 0;
    virtual YAnchor centerYAnchor() const = 0;
    // Whether the pin operations may act on this object.
    virtual bool isAbleToBePinned() const = 0;
    // The view "superview" means for the `...ToSuperview` operations. Without one, debug builds
    // stop with the conformer's assertion message; release builds answer null.
    virtual QWidget* superviewToPin() const = 0;

    // --- Creating constraints: self's anchor (relation) the target's + constant.
    LayoutConstraint leadingConstraint(LayoutRelation relation, const XAnchor& target,
                                       double constant = 0) const;
    LayoutConstraint leadingConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                       double constant = 0) const;
    LayoutConstraint trailingConstraint(LayoutRelation relation, const XAnchor& target,
                                        double constant = 0) const;
    LayoutConstraint trailingConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                        double constant = 0) const;
    LayoutConstraint leftConstraint(LayoutRelation relation, const XAnchor& target,
                                    double constant = 0) const;
    LayoutConstraint leftConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                    double constant = 0) const;
    LayoutConstraint rightConstraint(LayoutRelation relation, const XAnchor& target,
                                     double constant = 0) const;
    LayoutConstraint rightConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                     double constant = 0) const;
    LayoutConstraint centerXConstraint(LayoutRelation relation, const XAnchor& target,
                                       double constant = 0) const;
    LayoutConstraint centerXConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                       double constant = 0) const;
    LayoutConstraint topConstraint(LayoutRelation relation, const YAnchor& target,
                                   double constant = 0) const;
    LayoutConstraint topConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                   double constant = 0) const;
    LayoutConstraint bottomConstraint(LayoutRelation relation, const YAnchor& target,
                                      double constant = 0) const;
    LayoutConstraint bottomConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                      double constant = 0) const;
    LayoutConstraint centerYConstraint(LayoutRelation relation, const YAnchor& target,
                                       double constant = 0) const;
    LayoutConstraint centerYConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                       double constant = 0) const;
    LayoutConstraint widthConstraint(LayoutRelation relation, const Dimension& target,
                                     double constant = 0) const;
    LayoutConstraint widthConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                     double constant = 0) const;
    LayoutConstraint heightConstraint(LayoutRelation relation, const Dimension& target,
                                      double constant = 0) const;
    LayoutConstraint heightConstraint(LayoutRelation relation, const HasLayoutAnchors& target,
                                      double constant = 0) const;
    // Self's dimension (relation) a fixed size.
    LayoutConstraint widthConstraint(LayoutRelation relation, double size) const;
    LayoutConstraint heightConstraint(LayoutRelation relation, double size) const;
    // Four equalities without constant, in the order top, left, bottom, right. Left and right,
    // not leading and trailing: the edges do not swap under a right-to-left language.
    std::vector<LayoutConstraint> edgeConstraints(const HasLayoutAnchors& target) const;
    // Two equalities, width then height.
    std::vector<LayoutConstraint> sizeConstraints(QSizeF size) const;
    // Width equals height times `ratio`.
    LayoutConstraint sizeRatioConstraint(double ratio) const;

    // --- Pinning: the matching constraint, its priority set, active.
    void pinLeading(LayoutRelation relation, const XAnchor& target, double constant = 0,
                    LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinLeading(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                    LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinTrailing(LayoutRelation relation, const XAnchor& target, double constant = 0,
                     LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinTrailing(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                     LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinCenterX(LayoutRelation relation, const XAnchor& target, double constant = 0,
                    LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinCenterX(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                    LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinTop(LayoutRelation relation, const YAnchor& target, double constant = 0,
                LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinTop(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinBottom(LayoutRelation relation, const YAnchor& target, double constant = 0,
                   LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinBottom(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                   LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinCenterY(LayoutRelation relation, const YAnchor& target, double constant = 0,
                    LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinCenterY(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                    LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinWidth(LayoutRelation relation, const Dimension& target, double constant = 0,
                  LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinWidth(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                  LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinHeight(LayoutRelation relation, const Dimension& target, double constant = 0,
                   LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinHeight(LayoutRelation relation, const HasLayoutAnchors& target, double constant = 0,
                   LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinWidth(LayoutRelation relation, double size,
                  LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    void pinHeight(LayoutRelation relation, double size,
                   LayoutPriority priority = ui::kLayoutPriorityRequired) const;

    // --- Pinning to superviewToPin().
#define DOVREL_PIN_TO_SUPERVIEW(Anchor)                                                    \
    void pin##Anchor##EqualToSuperview(                                                    \
        double constant = 0, LayoutPriority priority = ui::kLayoutPriorityRequired) const; \
    void pin##Anchor##LessThanOrEqualToSuperview(                                          \
        double constant = 0, LayoutPriority priority = ui::kLayoutPriorityRequired) const; \
    void pin##Anchor##GreaterThanOrEqualToSuperview(                                       \
        double constant = 0, LayoutPriority priority = ui::kLayoutPriorityRequired) const;
    DOVREL_PIN_TO_SUPERVIEW(Leading)
    DOVREL_PIN_TO_SUPERVIEW(Trailing)
    DOVREL_PIN_TO_SUPERVIEW(Top)
    DOVREL_PIN_TO_SUPERVIEW(Bottom)
    DOVREL_PIN_TO_SUPERVIEW(CenterX)
    DOVREL_PIN_TO_SUPERVIEW(CenterY)
    DOVREL_PIN_TO_SUPERVIEW(Width)
    DOVREL_PIN_TO_SUPERVIEW(Height)
#undef DOVREL_PIN_TO_SUPERVIEW

    // Activates edgeConstraints(target) in one batch.
    void pinEdges(const HasLayoutAnchors& target) const;
    void pinEdgesEqualToSuperview() const;
    void pinSize(QSizeF size) const;
    void pinSizeRatio(double ratio) const;

  private:
    // Step 1 of the superview forms: the superview, or the process stops.
    ui::View requiredSuperview() const;
    // Steps 2 to 4: nothing when not pinnable, else the constraint built, prioritised, active.
    template <typename Build>
    void pin(LayoutPriority priority, Build&& build) const;
};

// The conformance of a view: its own anchors; pinnable exactly when it does not translate its
// autoresizing mask into constraints; "superview" is its parent widget.
class AnchoredView final : public HasLayoutAnchors {
  public:
    AnchoredView(ui::View view) : view_(view) {}      // NOLINT: a view is anchored as it is
    AnchoredView(QWidget* widget) : view_(widget) {}  // NOLINT

    const ui::View& view() const { return view_; }

    XAnchor leadingAnchor() const override { return view_.leadingAnchor(); }
    XAnchor trailingAnchor() const override { return view_.trailingAnchor(); }
    XAnchor leftAnchor() const override { return view_.leftAnchor(); }
    XAnchor rightAnchor() const override { return view_.rightAnchor(); }
    YAnchor topAnchor() const override { return view_.topAnchor(); }
    YAnchor bottomAnchor() const override { return view_.bottomAnchor(); }
    Dimension widthAnchor() const override { return view_.widthAnchor(); }
    Dimension heightAnchor() const override { return view_.heightAnchor(); }
    XAnchor centerXAnchor() const override { return view_.centerXAnchor(); }
    YAnchor centerYAnchor() const override { return view_.centerYAnchor(); }
    bool isAbleToBePinned() const override;
    QWidget* superviewToPin() const override;

  private:
    ui::View view_;
};

// The conformance of a layout guide: its own anchors; always pinnable; "superview" is its
// owning view.
class AnchoredLayoutGuide final : public HasLayoutAnchors {
  public:
    AnchoredLayoutGuide(ui::LayoutGuide guide) : guide_(std::move(guide)) {}  // NOLINT

    const ui::LayoutGuide& guide() const { return guide_; }

    XAnchor leadingAnchor() const override { return guide_.leadingAnchor(); }
    XAnchor trailingAnchor() const override { return guide_.trailingAnchor(); }
    XAnchor leftAnchor() const override { return guide_.leftAnchor(); }
    XAnchor rightAnchor() const override { return guide_.rightAnchor(); }
    YAnchor topAnchor() const override { return guide_.topAnchor(); }
    YAnchor bottomAnchor() const override { return guide_.bottomAnchor(); }
    Dimension widthAnchor() const override { return guide_.widthAnchor(); }
    Dimension heightAnchor() const override { return guide_.heightAnchor(); }
    XAnchor centerXAnchor() const override { return guide_.centerXAnchor(); }
    YAnchor centerYAnchor() const override { return guide_.centerYAnchor(); }
    bool isAbleToBePinned() const override { return true; }
    QWidget* superviewToPin() const override;

  private:
    ui::LayoutGuide guide_;
};

}  // namespace dovrel

#include "DovrelFoundation/UI/HasLayoutAnchors.h"

#include "platform/foundation/FatalError.h"

namespace dovrel {

using ui::LayoutConstraint;
using ui::LayoutRelation;

namespace {

template <typename Anchor>
LayoutConstraint relate(const Anchor& anchor, LayoutRelation relation, const Anchor& target,
                        double constant) {
    return anchor.constraint(relation, target, constant);
}

LayoutConstraint relate(const ui::LayoutDimension& anchor, LayoutRelation relation,
                        const ui::LayoutDimension& target, double constant) {
    return anchor.constraint(relation, target, 1.0, constant);
}

// What the phone's forced unwrap says when the optional superview is missing in a release
// build.
constexpr const char* kMissingSuperviewInRelease =
    "Unexpectedly found nil while unwrapping an Optional value";

}  // namespace

// --- Creating

#define DOVREL_CREATING(name, Anchor, accessor)                                            \
    LayoutConstraint HasLayoutAnchors::name(LayoutRelation relation, const Anchor& target, \
                                            double constant) const {                       \
        return relate(accessor(), relation, target, constant);                             \
    }                                                                                      \
    LayoutConstraint HasLayoutAnchors::name(                                               \
        LayoutRelation relation, const HasLayoutAnchors& target, double constant) const {  \
        return relate(accessor(), relation, target.accessor(), constant);                  \
    }
DOVREL_CREATING(leadingConstraint, XAnchor, leadingAnchor)
DOVREL_CREATING(trailingConstraint, XAnchor, trailingAnchor)
DOVREL_CREATING(leftConstraint, XAnchor, leftAnchor)
DOVREL_CREATING(rightConstraint, XAnchor, rightAnchor)
DOVREL_CREATING(centerXConstraint, XAnchor, centerXAnchor)
DOVREL_CREATING(topConstraint, YAnchor, topAnchor)
DOVREL_CREATING(bottomConstraint, YAnchor, bottomAnchor)
DOVREL_CREATING(centerYConstraint, YAnchor, centerYAnchor)
DOVREL_CREATING(widthConstraint, Dimension, widthAnchor)
DOVREL_CREATING(heightConstraint, Dimension, heightAnchor)
#undef DOVREL_CREATING

LayoutConstraint HasLayoutAnchors::widthConstraint(LayoutRelation relation, double size) const {
    return widthAnchor().constraint(relation, size);
}

LayoutConstraint HasLayoutAnchors::heightConstraint(LayoutRelation relation, double size) const {
    return heightAnchor().constraint(relation, size);
}

std::vector<LayoutConstraint> HasLayoutAnchors::edgeConstraints(
    const HasLayoutAnchors& target) const {
    return {topConstraint(LayoutRelation::equal, target),
            leftConstraint(LayoutRelation::equal, target),
            bottomConstraint(LayoutRelation::equal, target),
            rightConstraint(LayoutRelation::equal, target)};
}

std::vector<LayoutConstraint> HasLayoutAnchors::sizeConstraints(QSizeF size) const {
    return {widthConstraint(LayoutRelation::equal, size.width()),
            heightConstraint(LayoutRelation::equal, size.height())};
}

LayoutConstraint HasLayoutAnchors::sizeRatioConstraint(double ratio) const {
    return widthAnchor().constraintEqualTo(heightAnchor(), ratio, 0);
}

// --- Pinning

template <typename Build>
void HasLayoutAnchors::pin(LayoutPriority priority, Build&& build) const {
    if (!isAbleToBePinned())
        return;
    LayoutConstraint constraint = build();
    constraint.setPriority(priority);
    constraint.setActive(true);
}

ui::View HasLayoutAnchors::requiredSuperview() const {
    QWidget* superview = superviewToPin();
    if (superview == nullptr)
        fatalError(kMissingSuperviewInRelease);
    return ui::View(superview);
}

#define DOVREL_PINNING(name, creating, Anchor)                                                  \
    void HasLayoutAnchors::name(LayoutRelation relation, const Anchor& target, double constant, \
                                LayoutPriority priority) const {                                \
        pin(priority, [&] { return creating(relation, target, constant); });                    \
    }                                                                                           \
    void HasLayoutAnchors::name(LayoutRelation relation, const HasLayoutAnchors& target,        \
                                double constant, LayoutPriority priority) const {               \
        pin(priority, [&] { return creating(relation, target, constant); });                    \
    }
DOVREL_PINNING(pinLeading, leadingConstraint, XAnchor)
DOVREL_PINNING(pinTrailing, trailingConstraint, XAnchor)
DOVREL_PINNING(pinCenterX, centerXConstraint, XAnchor)
DOVREL_PINNING(pinTop, topConstraint, YAnchor)
DOVREL_PINNING(pinBottom, bottomConstraint, YAnchor)
DOVREL_PINNING(pinCenterY, centerYConstraint, YAnchor)
DOVREL_PINNING(pinWidth, widthConstraint, Dimension)
DOVREL_PINNING(pinHeight, heightConstraint, Dimension)
#undef DOVREL_PINNING

void HasLayoutAnchors::pinWidth(LayoutRelation relation, double size,
                                LayoutPriority priority) const {
    pin(priority, [&] { return widthConstraint(relation, size); });
}

void HasLayoutAnchors::pinHeight(LayoutRelation relation, double size,
                                 LayoutPriority priority) const {
    pin(priority, [&] { return heightConstraint(relation, size); });
}

#define DOVREL_PIN_TO_SUPERVIEW(Anchor)                                                            \
    void HasLayoutAnchors::pin##Anchor##EqualToSuperview(double constant, LayoutPriority priority) \
        const {                                                                                    \
        pin##Anchor(LayoutRelation::equal, AnchoredView(requiredSuperview()), constant, priority); \
    }                                                                                              \
    void HasLayoutAnchors::pin##Anchor##LessThanOrEqualToSuperview(                                \
        double constant, LayoutPriority priority) const {                                          \
        pin##Anchor(LayoutRelation::lessThanOrEqual, AnchoredView(requiredSuperview()), constant,  \
                    priority);                                                                     \
    }                                                                                              \
    void HasLayoutAnchors::pin##Anchor##GreaterThanOrEqualToSuperview(                             \
        double constant, LayoutPriority priority) const {                                          \
        pin##Anchor(LayoutRelation::greaterThanOrEqual, AnchoredView(requiredSuperview()),         \
                    constant, priority);                                                           \
    }
DOVREL_PIN_TO_SUPERVIEW(Leading)
DOVREL_PIN_TO_SUPERVIEW(Trailing)
DOVREL_PIN_TO_SUPERVIEW(Top)
DOVREL_PIN_TO_SUPERVIEW(Bottom)
DOVREL_PIN_TO_SUPERVIEW(CenterX)
DOVREL_PIN_TO_SUPERVIEW(CenterY)
DOVREL_PIN_TO_SUPERVIEW(Width)
DOVREL_PIN_TO_SUPERVIEW(Height)
#undef DOVREL_PIN_TO_SUPERVIEW

void HasLayoutAnchors::pinEdges(const HasLayoutAnchors& target) const {
    if (!isAbleToBePinned())
        return;
    LayoutConstraint::activate(edgeConstraints(target));
}

void HasLayoutAnchors::pinEdgesEqualToSuperview() const {
    pinEdges(AnchoredView(requiredSuperview()));
}

void HasLayoutAnchors::pinSize(QSizeF size) const {
    if (!isAbleToBePinned())
        return;
    LayoutConstraint::activate(sizeConstraints(size));
}

void HasLayoutAnchors::pinSizeRatio(double ratio) const {
    if (!isAbleToBePinned())
        return;
    sizeRatioConstraint(ratio).setActive(true);
}

// --- Conformances

bool AnchoredView::isAbleToBePinned() const {
    return !view_.translatesAutoresizingMaskIntoConstraints();
}

QWidget* AnchoredView::superviewToPin() const {
    QWidget* superview = view_.superview();
#ifdef DOVREL_DEBUG
    if (superview == nullptr) {
        fatalError(
            "To be able to be pinned to a superview, a superview property of UIView should "
            "be not nil.");
    }
#endif
    return superview;
}

QWidget* AnchoredLayoutGuide::superviewToPin() const {
    QWidget* owningView = guide_.owningView();
#ifdef DOVREL_DEBUG
    if (owningView == nullptr) {
        fatalError(
            "To be able to be pinned to a superview, an owningView property of "
            "UILayoutGuide should be not nil.");
    }
#endif
    return owningView;
}

}  // namespace dovrel

#include "DovrelFoundation/UI/HasLayoutAnchors.h"

#include <gtest/gtest.h>

#include <QWidget>
#include <algorithm>
#include <memory>

#include "DovrelFoundation/UI/LayoutConstraintExtensions.h"
#include "platform/ui/Screen.h"
#include "platform/ui/detail/ConstraintData.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel {
namespace {

using ui::LayoutConstraint;
using ui::LayoutRelation;
using ui::View;

class HasLayoutAnchorsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ui::test::application();
        window = std::make_unique<QWidget>();
        window->resize(300, 200);
        child = new QWidget(window.get());
    }

    void layOut() { View(window.get()).layoutIfNeeded(); }

    std::unique_ptr<QWidget> window;
    QWidget* child = nullptr;
};

TEST_F(HasLayoutAnchorsTest, PinningAViewThatTranslatesItsMaskAddsNoConstraint) {
    ASSERT_TRUE(View(child).translatesAutoresizingMaskIntoConstraints());
    AnchoredView view(child);
    view.pinTopEqualToSuperview(10);
    view.pinWidth(LayoutRelation::equal, 50.0);
    view.pinEdgesEqualToSuperview();
    view.pinSize(QSizeF(10, 10));
    view.pinSizeRatio(2);
    EXPECT_TRUE(View(child).constraints().empty());
    EXPECT_TRUE(View(window.get()).constraints().empty());
}

TEST_F(HasLayoutAnchorsTest, PinningALayoutGuideAlwaysActs) {
    ui::LayoutGuide guide;
    View(window.get()).addLayoutGuide(guide);
    AnchoredLayoutGuide anchored(guide);
    ASSERT_TRUE(anchored.isAbleToBePinned());
    anchored.pinLeadingEqualToSuperview(20);
    anchored.pinTopEqualToSuperview(10);
    anchored.pinWidth(LayoutRelation::equal, 100.0);
    anchored.pinHeightEqualToSuperview(-20);
    EXPECT_EQ(View(window.get()).constraints().size(), 4u);
    layOut();
    EXPECT_EQ(guide.layoutFrame(), QRectF(20, 10, 100, 180));
}

TEST_F(HasLayoutAnchorsTest, EdgeConstraintsUseLeftAndRightSoRightToLeftDoesNotSwapThem) {
    window->setLayoutDirection(Qt::RightToLeft);
    View(child).setTranslatesAutoresizingMaskIntoConstraints(false);
    auto* sibling = new QWidget(window.get());
    View(sibling).setTranslatesAutoresizingMaskIntoConstraints(false);
    AnchoredView view(child), other(sibling), parent(window.get());
    LayoutConstraint::activate({other.leftConstraint(LayoutRelation::equal, parent, 30),
                                other.widthConstraint(LayoutRelation::equal, 100),
                                other.topConstraint(LayoutRelation::equal, parent),
                                other.heightConstraint(LayoutRelation::equal, 20)});
    const auto edges = view.edgeConstraints(other);
    using Attribute = ui::detail::LayoutAttribute;
    ASSERT_EQ(edges.size(), 4u);
    const Attribute order[] = {Attribute::top, Attribute::left, Attribute::bottom,
                               Attribute::right};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(edges[i].data()->first.attribute, order[i]) << i;
        EXPECT_EQ(edges[i].data()->second->attribute, order[i]) << i;
        EXPECT_FALSE(edges[i].isActive());
        EXPECT_EQ(edges[i].constant(), 0);
        EXPECT_EQ(edges[i].relation(), LayoutRelation::equal);
    }
    view.pinEdges(other);
    layOut();
    EXPECT_EQ(sibling->geometry(), QRect(30, 0, 100, 20));
    EXPECT_EQ(child->geometry(), QRect(30, 0, 100, 20));
}

TEST_F(HasLayoutAnchorsTest, AConstantOfThreePixelsOnAScreenOfScaleThreeIsOnePoint) {
    const ui::ScopedScreenScaleOverride scale(3);
    LayoutConstraint constraint = AnchoredView(child).heightConstraint(LayoutRelation::equal, 3);
    setUsePixels(constraint, true);
    EXPECT_DOUBLE_EQ(constraint.constant(), 1);
    EXPECT_FALSE(usePixels(constraint));
    setUsePixels(constraint, false);  // does nothing
    EXPECT_DOUBLE_EQ(constraint.constant(), 1);
    setUsePixels(constraint, true);  // nothing is stored: a second time divides again
    EXPECT_DOUBLE_EQ(constraint.constant(), 1.0 / 3);
}

TEST_F(HasLayoutAnchorsTest, CreatingOperationsReturnInactiveRequiredConstraints) {
    AnchoredView view(child), parent(window.get());
    const LayoutConstraint constraints[] = {
        view.leadingConstraint(LayoutRelation::equal, parent, 4),
        view.trailingConstraint(LayoutRelation::lessThanOrEqual, parent.trailingAnchor(), -4),
        view.centerXConstraint(LayoutRelation::greaterThanOrEqual, parent),
        view.topConstraint(LayoutRelation::equal, parent.bottomAnchor(), 8),
        view.centerYConstraint(LayoutRelation::equal, parent),
        view.widthConstraint(LayoutRelation::equal, parent.heightAnchor(), 2),
        view.heightConstraint(LayoutRelation::lessThanOrEqual, 44),
        view.sizeRatioConstraint(1.5),
    };
    for (const LayoutConstraint& constraint : constraints) {
        EXPECT_FALSE(constraint.isActive());
        EXPECT_EQ(constraint.priority(), ui::kLayoutPriorityRequired);
    }
    EXPECT_EQ(constraints[1].relation(), LayoutRelation::lessThanOrEqual);
    EXPECT_EQ(constraints[1].constant(), -4);
    EXPECT_EQ(constraints[7].multiplier(), 1.5);
    const auto size = view.sizeConstraints(QSizeF(30, 40));
    ASSERT_EQ(size.size(), 2u);
    EXPECT_EQ(size[0].data()->first.attribute, ui::detail::LayoutAttribute::width);
    EXPECT_EQ(size[0].constant(), 30);
    EXPECT_EQ(size[1].data()->first.attribute, ui::detail::LayoutAttribute::height);
    EXPECT_EQ(size[1].constant(), 40);
}

TEST_F(HasLayoutAnchorsTest, PinsToTheSuperviewPlaceTheViewWithTheirPriorities) {
    View(child).setTranslatesAutoresizingMaskIntoConstraints(false);
    AnchoredView view(child);
    view.pinLeadingEqualToSuperview(10);
    view.pinTrailingLessThanOrEqualToSuperview(-10);
    view.pinWidth(LayoutRelation::equal, 1000.0, ui::kLayoutPriorityDefaultHigh);  // gives way
    view.pinTopGreaterThanOrEqualToSuperview(12);
    view.pinBottomEqualToSuperview(-100, ui::kLayoutPriorityDefaultLow);
    view.pinHeight(LayoutRelation::lessThanOrEqual, 50.0);
    view.pinHeight(LayoutRelation::equal, 80.0, 500);  // as tall as the bound allows
    layOut();
    EXPECT_EQ(child->geometry(), QRect(10, 50, 280, 50));
    const auto active = View(child).constraints();
    ASSERT_EQ(active.size(), 7u);
    EXPECT_EQ(std::count_if(active.begin(), active.end(),
                            [](const LayoutConstraint& each) {
                                return each.priority() == ui::kLayoutPriorityDefaultHigh;
                            }),
              1);
}

TEST_F(HasLayoutAnchorsTest, PinningCentresAndSizeRatio) {
    View(child).setTranslatesAutoresizingMaskIntoConstraints(false);
    AnchoredView view(child);
    view.pinCenterXEqualToSuperview();
    view.pinCenterYEqualToSuperview(10);
    view.pinHeight(LayoutRelation::equal, 40.0);
    view.pinSizeRatio(2);
    layOut();
    EXPECT_EQ(child->geometry(), QRect(110, 90, 80, 40));
}

using HasLayoutAnchorsDeathTest = HasLayoutAnchorsTest;

#ifdef DOVREL_DEBUG
TEST_F(HasLayoutAnchorsDeathTest, AViewWithoutSuperviewStopsWithTheAssertion) {
    QWidget orphan;
    EXPECT_DEATH(AnchoredView(&orphan).pinTopEqualToSuperview(),
                 "Fatal error: To be able to be pinned to a superview, a superview property of "
                 "UIView should be not nil\\.");
}

TEST_F(HasLayoutAnchorsDeathTest, AGuideWithoutOwningViewStopsWithTheAssertion) {
    EXPECT_DEATH(AnchoredLayoutGuide(ui::LayoutGuide()).pinEdgesEqualToSuperview(),
                 "Fatal error: To be able to be pinned to a superview, an owningView property of "
                 "UILayoutGuide should be not nil\\.");
}
#else
TEST_F(HasLayoutAnchorsDeathTest, AViewWithoutSuperviewIsAForcedStopEvenWhenNotPinnable) {
    QWidget orphan;  // translates its mask, so step 2 would leave it alone: step 1 stops first
    EXPECT_DEATH(AnchoredView(&orphan).pinTopEqualToSuperview(),
                 "Fatal error: Unexpectedly found nil while unwrapping an Optional value");
    EXPECT_EQ(AnchoredView(&orphan).superviewToPin(), nullptr);
}

TEST_F(HasLayoutAnchorsDeathTest, AGuideWithoutOwningViewIsAForcedStop) {
    const AnchoredLayoutGuide guide{ui::LayoutGuide()};
    EXPECT_EQ(guide.superviewToPin(), nullptr);
    EXPECT_DEATH(guide.pinEdgesEqualToSuperview(),
                 "Fatal error: Unexpectedly found nil while unwrapping an Optional value");
}
#endif

}  // namespace
}  // namespace dovrel

#include <gtest/gtest.h>

#include <QLabel>
#include <QWidget>
#include <algorithm>
#include <memory>

#include "platform/ui/LayoutAnchor.h"
#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/View.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel::ui {
namespace {

class ViewLayout : public ::testing::Test {
  protected:
    void SetUp() override {
        test::application();
        window = std::make_unique<QWidget>();
        window->resize(300, 200);
        child = new QWidget(window.get());
        View(child).setTranslatesAutoresizingMaskIntoConstraints(false);
    }

    void layOut() { View(window.get()).layoutIfNeeded(); }

    std::unique_ptr<QWidget> window;
    QWidget* child = nullptr;
};

TEST_F(ViewLayout, AChildPinnedToItsParentWithInsetsIsPlacedThere) {
    View parent(window.get()), view(child);
    LayoutConstraint::activate({
        view.leadingAnchor().constraintEqualTo(parent.leadingAnchor(), 10),
        view.trailingAnchor().constraintEqualTo(parent.trailingAnchor(), -10),
        view.topAnchor().constraintEqualTo(parent.topAnchor(), 20),
        view.heightAnchor().constraintEqualToConstant(50),
    });
    layOut();
    EXPECT_EQ(child->geometry(), QRect(10, 20, 280, 50));
}

TEST_F(ViewLayout, LeadingAndTrailingSwapUnderRightToLeftButLeftAndRightDoNot) {
    window->setLayoutDirection(Qt::RightToLeft);
    auto* other = new QWidget(window.get());
    View(other).setTranslatesAutoresizingMaskIntoConstraints(false);
    View parent(window.get()), leading(child), left(other);
    LayoutConstraint::activate({
        leading.leadingAnchor().constraintEqualTo(parent.leadingAnchor(), 10),
        leading.widthAnchor().constraintEqualToConstant(100),
        leading.topAnchor().constraintEqualTo(parent.topAnchor()),
        leading.heightAnchor().constraintEqualToConstant(20),
        left.leftAnchor().constraintEqualTo(parent.leftAnchor(), 10),
        left.widthAnchor().constraintEqualToConstant(100),
        left.topAnchor().constraintEqualTo(parent.topAnchor()),
        left.heightAnchor().constraintEqualToConstant(20),
    });
    layOut();
    EXPECT_EQ(child->geometry(), QRect(190, 0, 100, 20));
    EXPECT_EQ(other->geometry(), QRect(10, 0, 100, 20));
}

TEST_F(ViewLayout, AViewThatTranslatesItsMaskIsNotMoved) {
    View(child).setTranslatesAutoresizingMaskIntoConstraints(true);
    child->setGeometry(5, 6, 20, 30);
    auto* follower = new QWidget(window.get());
    View(follower).setTranslatesAutoresizingMaskIntoConstraints(false);
    View view(child), next(follower);
    LayoutConstraint::activate({
        next.leadingAnchor().constraintEqualTo(view.trailingAnchor(), 4),
        next.topAnchor().constraintEqualTo(view.bottomAnchor()),
        next.widthAnchor().constraintEqualToConstant(10),
        next.heightAnchor().constraintEqualToConstant(10),
    });
    layOut();
    EXPECT_EQ(child->geometry(), QRect(5, 6, 20, 30));
    EXPECT_EQ(follower->geometry(), QRect(29, 36, 10, 10));
}

TEST_F(ViewLayout, TheHigherPriorityWins) {
    View parent(window.get()), view(child);
    auto narrow = view.widthAnchor().constraintEqualToConstant(100);
    narrow.setPriority(250);
    auto wide = view.widthAnchor().constraintEqualToConstant(150);
    wide.setPriority(750);
    LayoutConstraint::activate({narrow, wide,
                                view.leadingAnchor().constraintEqualTo(parent.leadingAnchor()),
                                view.topAnchor().constraintEqualTo(parent.topAnchor()),
                                view.heightAnchor().constraintEqualToConstant(10)});
    layOut();
    EXPECT_EQ(child->width(), 150);
    wide.setActive(false);
    layOut();
    EXPECT_EQ(child->width(), 100);
}

TEST_F(ViewLayout, AChangedConstantAndAResizedWindowMoveTheView) {
    View parent(window.get()), view(child);
    auto top = view.topAnchor().constraintEqualTo(parent.topAnchor(), 8);
    LayoutConstraint::activate({top, view.leadingAnchor().constraintEqualTo(parent.leadingAnchor()),
                                view.trailingAnchor().constraintEqualTo(parent.trailingAnchor()),
                                view.heightAnchor().constraintEqualToConstant(10)});
    layOut();
    EXPECT_EQ(child->geometry(), QRect(0, 8, 300, 10));
    top.setConstant(30);
    layOut();
    EXPECT_EQ(child->geometry(), QRect(0, 30, 300, 10));
    window->resize(500, 200);
    layOut();
    EXPECT_EQ(child->geometry(), QRect(0, 30, 500, 10));
}

TEST_F(ViewLayout, ALabelTakesItsIntrinsicSize) {
    auto* label = new QLabel("Drink water", window.get());
    View view(label), parent(window.get());
    view.setTranslatesAutoresizingMaskIntoConstraints(false);
    LayoutConstraint::activate({view.leadingAnchor().constraintEqualTo(parent.leadingAnchor(), 8),
                                view.topAnchor().constraintEqualTo(parent.topAnchor(), 8)});
    layOut();
    EXPECT_EQ(label->size(), label->sizeHint());
    EXPECT_EQ(label->pos(), QPoint(8, 8));
}

TEST_F(ViewLayout, TheViewThatHugsItsContentLessTakesTheRoomLeft) {
    // [title][value] across 300 points: the title hugs its text at 251, the value at 250, so
    // the value stretches and the title keeps its intrinsic width.
    auto* title = new QLabel("Streak", window.get());
    auto* value = new QLabel("12 days", window.get());
    View parent(window.get()), titleView(title), valueView(value);
    for (View view : {titleView, valueView}) {
        view.setTranslatesAutoresizingMaskIntoConstraints(false);
        view.topAnchor().constraintEqualTo(parent.topAnchor()).setActive(true);
    }
    titleView.setContentHuggingPriority(251, LayoutAxis::horizontal);
    LayoutConstraint::activate(
        {titleView.leadingAnchor().constraintEqualTo(parent.leadingAnchor()),
         valueView.leadingAnchor().constraintEqualTo(titleView.trailingAnchor()),
         valueView.trailingAnchor().constraintEqualTo(parent.trailingAnchor())});
    layOut();
    EXPECT_EQ(title->width(), title->sizeHint().width());
    EXPECT_EQ(value->x(), title->sizeHint().width());
    EXPECT_EQ(value->width(), 300 - title->sizeHint().width());
    // Swapped priorities: the title stretches instead.
    titleView.setContentHuggingPriority(249, LayoutAxis::horizontal);
    layOut();
    EXPECT_EQ(value->width(), value->sizeHint().width());
    EXPECT_EQ(title->width(), 300 - value->sizeHint().width());
}

TEST_F(ViewLayout, CompressionResistanceDecidesWhichViewIsSqueezed) {
    auto* first = new QLabel("Drink water every day", window.get());
    auto* second = new QLabel("Read twenty pages", window.get());
    const int firstWidth = first->sizeHint().width(), secondWidth = second->sizeHint().width();
    // Room for either label whole but not for both.
    const int room = std::max(firstWidth, secondWidth) + 10;
    ASSERT_LT(room, firstWidth + secondWidth);
    window->resize(room, 200);
    View parent(window.get()), firstView(first), secondView(second);
    for (View view : {firstView, secondView}) {
        view.setTranslatesAutoresizingMaskIntoConstraints(false);
        view.topAnchor().constraintEqualTo(parent.topAnchor()).setActive(true);
    }
    secondView.setContentCompressionResistancePriority(751, LayoutAxis::horizontal);
    LayoutConstraint::activate(
        {firstView.leadingAnchor().constraintEqualTo(parent.leadingAnchor()),
         secondView.leadingAnchor().constraintEqualTo(firstView.trailingAnchor()),
         secondView.trailingAnchor().constraintEqualTo(parent.trailingAnchor())});
    layOut();
    // The more resistant second label keeps its width and the first gives way.
    EXPECT_EQ(second->width(), secondWidth);
    EXPECT_EQ(first->width(), room - secondWidth);
    EXPECT_EQ(second->x(), room - secondWidth);
    // Swapped priorities: the first keeps its width.
    secondView.setContentCompressionResistancePriority(749, LayoutAxis::horizontal);
    layOut();
    EXPECT_EQ(first->width(), firstWidth);
    EXPECT_EQ(second->x(), firstWidth);
    EXPECT_EQ(second->width(), room - firstWidth);
}

TEST_F(ViewLayout, AViewDestroyedTakesItsConstraintsAndTheRestIsLaidOutWithout) {
    auto* above = new QWidget(window.get());
    auto* middle = new QWidget(window.get());
    auto* below = new QWidget(window.get());
    View parent(window.get()), a(above), b(middle), c(below);
    for (View view : {a, b, c}) {
        view.setTranslatesAutoresizingMaskIntoConstraints(false);
        view.leadingAnchor().constraintEqualTo(parent.leadingAnchor()).setActive(true);
        view.widthAnchor().constraintEqualToConstant(50).setActive(true);
    }
    LayoutConstraint::activate({
        a.topAnchor().constraintEqualTo(parent.topAnchor(), 10),
        a.heightAnchor().constraintEqualToConstant(20),
        b.topAnchor().constraintEqualTo(a.bottomAnchor(), 5),
        b.heightAnchor().constraintEqualToConstant(30),
        c.topAnchor().constraintEqualTo(b.bottomAnchor(), 5),
        c.heightAnchor().constraintEqualToConstant(40),
        c.topAnchor().constraintGreaterThanOrEqualTo(a.bottomAnchor(), 1),
    });
    auto weak = c.topAnchor().constraintEqualTo(parent.topAnchor(), 100);
    weak.setPriority(250);
    weak.setActive(true);
    layOut();
    EXPECT_EQ(below->geometry(), QRect(0, 70, 50, 40));
    delete middle;
    layOut();
    // Without the middle view only the weak preference and the bound below the first remain.
    EXPECT_EQ(above->geometry(), QRect(0, 10, 50, 20));
    EXPECT_EQ(below->geometry(), QRect(0, 100, 50, 40));
    // The engine goes on working incrementally after the rebuild.
    weak.setConstant(120);
    layOut();
    EXPECT_EQ(below->y(), 120);
}

}  // namespace
}  // namespace dovrel::ui

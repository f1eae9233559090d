#include "platform/ui/detail/LayoutItem.h"

#include <gtest/gtest.h>

#include <QWidget>
#include <memory>

#include "platform/ui/LayoutGuide.h"
#include "platform/ui/View.h"
#include "platform/ui/detail/ViewData.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel::ui::detail {
namespace {

class LayoutItem : public ::testing::Test {
  protected:
    void SetUp() override { test::application(); }
};

TEST_F(LayoutItem, AViewsAttachmentIsFoundOnceMadeAndRemembered) {
    QWidget widget;
    const ItemRef item(&widget);
    EXPECT_EQ(item.hostData(), nullptr);
    ViewData& made = item.hostDataMade();
    EXPECT_EQ(&made, ViewData::find(&widget));
    EXPECT_EQ(item.hostData(), &made);
    EXPECT_EQ(&item.variables(), &made.variables);
}

TEST_F(LayoutItem, TheRememberedAttachmentSurvivesTheDestructionOfOtherViews) {
    QWidget widget;
    const ItemRef item(&widget);
    ViewData& data = item.hostDataMade();
    {
        QWidget other;
        ItemRef(&other).hostDataMade();
    }  // its attachment goes with it and moves the epoch
    EXPECT_EQ(item.hostData(), &data);
}

TEST_F(LayoutItem, ADestroyedViewHasNoAttachmentEvenWhenANewOneTakesItsAddress) {
    auto widget = std::make_unique<QWidget>();
    const ItemRef item(widget.get());
    item.hostDataMade();
    widget.reset();
    EXPECT_EQ(item.hostWidget(), nullptr);
    EXPECT_EQ(item.hostData(), nullptr);
    // A copy made while the view lived remembers its attachment too; after the view is gone
    // and another one (perhaps at the same address) has an attachment, the copy must not
    // answer with the old one.
    auto first = std::make_unique<QWidget>();
    const ItemRef copy = [&] {
        const ItemRef original(first.get());
        original.hostDataMade();
        return original;
    }();
    first.reset();
    auto second = std::make_unique<QWidget>();
    ItemRef(second.get()).hostDataMade();
    EXPECT_EQ(copy.hostData(), nullptr);
}

// A child object of a view made after the view's attachment, so destroyed after it while the
// view itself is still being destroyed: it asks for the view's attachment at that moment.
class LateChild : public QObject {
  public:
    LateChild(QWidget* parent, const ItemRef& item, const ViewData** seen)
        : QObject(parent), item_(item), seen_(seen) {}
    ~LateChild() override { *seen_ = item_.hostData(); }

  private:
    ItemRef item_;
    const ViewData** seen_;
};

TEST_F(LayoutItem, WhileAViewIsBeingDestroyedItsGoneAttachmentIsNotAnswered) {
    auto widget = std::make_unique<QWidget>();
    const ItemRef item(widget.get());
    item.hostDataMade();  // remembered by `item`, and by the copy the child takes
    const ViewData* seen = reinterpret_cast<const ViewData*>(&seen);  // anything but null
    new LateChild(widget.get(), item, &seen);
    widget.reset();
    EXPECT_EQ(seen, nullptr);
}

TEST_F(LayoutItem, AGuideMovedToAnotherViewAnswersWithTheNewOwnersAttachment) {
    QWidget window;
    QWidget* first = new QWidget(&window);
    QWidget* second = new QWidget(&window);
    LayoutGuide guide;
    View(first).addLayoutGuide(guide);
    const ItemRef item(guide.data());
    EXPECT_EQ(item.hostData(), ViewData::find(first));
    View(first).removeLayoutGuide(guide);
    EXPECT_EQ(item.hostData(), nullptr);
    View(second).addLayoutGuide(guide);
    ASSERT_NE(ViewData::find(second), nullptr);
    EXPECT_EQ(item.hostData(), ViewData::find(second));
}

}  // namespace
}  // namespace dovrel::ui::detail

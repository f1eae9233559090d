#include "DovrelFoundation/UI/ViewModels.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <memory>

#include "DovrelFoundation/UI/Styles.h"
#include "platform/ui/Appearance.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel {
namespace {

class ViewModelsTest : public ::testing::Test {
  protected:
    void SetUp() override { ui::test::application(); }
};

TEST_F(ViewModelsTest, AButtonWithAModelWithoutActionIsShownAndATapDoesNothing) {
    QPushButton button;
    button.setHidden(true);
    setup(&button, ButtonViewModel{"Add habit", nullptr});
    EXPECT_FALSE(button.isHidden());
    EXPECT_EQ(button.text(), "Add habit");
    button.click();  // nothing to run, nothing happens
    ASSERT_TRUE(viewModel(&button).has_value());
    EXPECT_FALSE(viewModel(&button)->action);
}

TEST_F(ViewModelsTest, SettingUpTwiceDoesNotRunTheActionTwicePerTap) {
    QPushButton button;
    int first = 0, second = 0;
    setup(&button, ButtonViewModel{"One", [&] { ++first; }});
    setup(&button, ButtonViewModel{"Two", [&] { ++second; }});
    button.click();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(button.text(), "Two");
    button.click();
    EXPECT_EQ(second, 2);
}

TEST_F(ViewModelsTest, NoModelAfterAModelHidesTheButtonAndAModelShowsItAgain) {
    QPushButton button;
    int taps = 0;
    setup(&button, ButtonViewModel{"Tap", [&] { ++taps; }});
    setup(&button, std::nullopt);
    EXPECT_TRUE(button.isHidden());
    EXPECT_TRUE(button.text().isEmpty());
    EXPECT_FALSE(viewModel(&button).has_value());
    button.click();
    EXPECT_EQ(taps, 0);  // the handler is gone with the model
    setup(&button, ButtonViewModel{std::nullopt, [&] { ++taps; }});
    EXPECT_FALSE(button.isHidden());
    EXPECT_TRUE(button.text().isEmpty());  // a model without title clears it
    button.click();
    EXPECT_EQ(taps, 1);
}

TEST_F(ViewModelsTest, NoModelOnAButtonThatNeverHadOneChangesNothing) {
    QWidget parent;
    auto* button = new QPushButton("Keep", &parent);
    setup(button, std::nullopt);
    EXPECT_FALSE(button->isHidden());
    EXPECT_EQ(button->text(), "Keep");
}

TEST_F(ViewModelsTest, ActionOnTapAndTheViewModelBothRunOnATap) {
    QPushButton button;
    int model = 0, closure = 0;
    setup(&button, ButtonViewModel{"Both", [&] { ++model; }});
    setActionOnTap(&button, [&] { ++closure; });
    setActionOnTap(&button, [&] { closure += 10; });  // replaces, still one connection
    EXPECT_TRUE(static_cast<bool>(actionOnTap(&button)));
    button.click();
    EXPECT_EQ(model, 1);
    EXPECT_EQ(closure, 10);
    setActionOnTap(&button, nullptr);
    EXPECT_FALSE(static_cast<bool>(actionOnTap(&button)));
    button.click();
    EXPECT_EQ(model, 2);
    EXPECT_EQ(closure, 10);
    performActionOnTap(&button);  // nothing stored: nothing runs
    EXPECT_EQ(closure, 10);
}

TEST_F(ViewModelsTest, ALabelModelSetsOrClearsTheTextAndLeavesVisibility) {
    QLabel label("old");
    label.setHidden(true);
    setup(&label, LabelViewModel{"Read 20 pages"});
    EXPECT_EQ(label.text(), "Read 20 pages");
    setup(&label, LabelViewModel{std::nullopt});
    EXPECT_TRUE(label.text().isEmpty());
    setup(&label, LabelViewModel{"again"});
    setup(&label, std::nullopt);
    EXPECT_TRUE(label.text().isEmpty());
    EXPECT_TRUE(label.isHidden());
}

TEST_F(ViewModelsTest, StylesSetTheColoursTheyName) {
    const Color red = Color::rgb(1, 0, 0), green = Color::rgb(0, 1, 0), blue = Color::rgb(0, 0, 1);
    QLabel label;
    apply(&label, LabelStyle{ViewStyle{red}, green});
    EXPECT_EQ(label.palette().color(QPalette::Window), QColor(255, 0, 0));
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor(0, 255, 0));
    QPushButton button;
    apply(&button, ButtonStyle{ViewStyle{blue}, red});
    EXPECT_EQ(button.palette().color(QPalette::Button), QColor(0, 0, 255));
    EXPECT_EQ(button.palette().color(QPalette::ButtonText), QColor(255, 0, 0));
    const QColor textBefore = button.palette().color(QPalette::WindowText);
    apply(static_cast<QWidget*>(&button), ViewStyle{green});
    EXPECT_EQ(button.palette().color(QPalette::Button), QColor(0, 255, 0));
    EXPECT_EQ(button.palette().color(QPalette::ButtonText), QColor(255, 0, 0));
    EXPECT_EQ(button.palette().color(QPalette::WindowText), textBefore);
}

TEST_F(ViewModelsTest, ABackgroundColourShowsInsideAScrollAreaToo) {
    // A table's cells live in a scroll area's viewport, whose children inherit the Base role.
    QScrollArea area;
    area.resize(100, 100);
    auto* dot = new QWidget(area.viewport());
    dot->setGeometry(10, 10, 20, 20);
    apply(dot, ViewStyle{Color::rgb(1, 0, 0)});
    EXPECT_EQ(dot->backgroundRole(), QPalette::Window);
    const QImage image = dot->grab().toImage();
    EXPECT_EQ(QColor(image.pixel(10, 10)), QColor(255, 0, 0));
}

}  // namespace
}  // namespace dovrel

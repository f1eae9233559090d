#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <cmath>
#include <memory>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/UI/Device.h"
#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/Screen.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel {
namespace {

class AppearanceTest : public ::testing::Test {
  protected:
    void SetUp() override { ui::test::application(); }

    // A scale that makes the primary screen `pixels` high in device pixels.
    static double scaleForNativeHeight(int pixels) {
        return double(pixels) / QGuiApplication::primaryScreen()->geometry().height();
    }
};

TEST_F(AppearanceTest, AScreenWhoseNativeHeightIs960PixelsIsUnknown) {
    const ui::ScopedScreenScaleOverride scale(scaleForNativeHeight(960));
    ASSERT_EQ(ui::Screen::nativeBounds().height(), 960);
    EXPECT_EQ(Device::screenType(), ScreenType::unknown);
    EXPECT_FALSE(Device::has4InchDisplay());
    EXPECT_FALSE(Device::hasEnlargedOffsetsInNavigationBar());
}

TEST_F(AppearanceTest, TheScreenClassIsReadAgainAtEveryRead) {
    {
        const ui::ScopedScreenScaleOverride scale(scaleForNativeHeight(1136));
        EXPECT_EQ(Device::screenType(), ScreenType::iPhones_5_5s_5c_SE);
        EXPECT_TRUE(Device::has4InchDisplay());
        EXPECT_FALSE(Device::hasEnlargedOffsetsInNavigationBar());
    }
    {
        const ui::ScopedScreenScaleOverride scale(scaleForNativeHeight(2208));
        EXPECT_EQ(Device::screenType(), ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus);
        EXPECT_FALSE(Device::has4InchDisplay());
        EXPECT_TRUE(Device::hasEnlargedOffsetsInNavigationBar());
    }
    // The real offscreen screen, as Qt reports it.
    const auto height = QGuiApplication::primaryScreen()->geometry().height() *
                        QGuiApplication::primaryScreen()->devicePixelRatio();
    EXPECT_EQ(Device::screenType(), screenType(std::llround(height)));
}

TEST_F(AppearanceTest, ViewsAndControllersAreStyledAlike) {
    auto controller = std::make_shared<ui::ViewController>();
    QWidget* root = controller->view();
    auto* label = new QLabel("Water", root);
    auto* other = new QWidget;
    std::unique_ptr<QWidget> otherOwner(other);
    StyledViewController styledController(controller);
    StyledView styledView(other);
    for (OverridableUserInterfaceStyle* styled :
         std::initializer_list<OverridableUserInterfaceStyle*>{&styledController, &styledView}) {
        EXPECT_EQ(styled->overrideUserInterfaceStyle(), UserInterfaceStyle::unspecified);
        styled->setOverrideUserInterfaceStyle(UserInterfaceStyle::dark);
        EXPECT_EQ(styled->overrideUserInterfaceStyle(), UserInterfaceStyle::dark);
    }
    // The override reaches the subtree: the label inside the controller's view is dark.
    EXPECT_EQ(ui::effectiveUserInterfaceStyle(label), UserInterfaceStyle::dark);
    EXPECT_EQ(label->palette().color(QPalette::Window),
              ui::qColor(backgroundDefault(), UserInterfaceStyle::dark));
    EXPECT_EQ(ui::effectiveUserInterfaceStyle(other), UserInterfaceStyle::dark);
    styledController.setOverrideUserInterfaceStyle(UserInterfaceStyle::light);
    EXPECT_EQ(ui::effectiveUserInterfaceStyle(label), UserInterfaceStyle::light);
    EXPECT_EQ(label->palette().color(QPalette::Window),
              ui::qColor(backgroundDefault(), UserInterfaceStyle::light));
    controller.reset();
    EXPECT_EQ(styledController.overrideUserInterfaceStyle(), UserInterfaceStyle::unspecified);
    styledController.setOverrideUserInterfaceStyle(UserInterfaceStyle::dark);  // nothing to style
}

}  // namespace
}  // namespace dovrel

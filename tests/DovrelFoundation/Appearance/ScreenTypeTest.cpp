#include "DovrelFoundation/Appearance/ScreenType.h"

#include <gtest/gtest.h>

#include "DovrelFoundation/Appearance/UserInterfaceStyleDescription.h"

namespace dovrel {
namespace {

TEST(ScreenType, ClassifiesEveryKnownNativeHeight) {
    EXPECT_EQ(screenType(1136), ScreenType::iPhones_5_5s_5c_SE);
    EXPECT_EQ(screenType(1334), ScreenType::iPhones_6_6s_7_8);
    EXPECT_EQ(screenType(1792), ScreenType::iPhones_XR_11);
    EXPECT_EQ(screenType(1920), ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus);
    EXPECT_EQ(screenType(2208), ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus);
    EXPECT_EQ(screenType(2436), ScreenType::iPhones_X_XS_11Pro);
    EXPECT_EQ(screenType(2688), ScreenType::iPhones_XSMax_11ProMax);
}

TEST(ScreenType, NativeHeight960IsUnknown) {
    EXPECT_EQ(screenType(960), ScreenType::unknown);
}

TEST(ScreenType, NoHeightIsClassifiedAsTheFourAndFourS) {
    for (std::int64_t height = 0; height <= 4000; ++height) {
        ASSERT_NE(screenType(height), ScreenType::iPhones_4_4S) << height;
    }
}

TEST(ScreenType, Has4InchDisplayOnlyForTheFiveAndSE) {
    EXPECT_TRUE(has4InchDisplay(1136));
    EXPECT_FALSE(has4InchDisplay(1334));
    EXPECT_FALSE(has4InchDisplay(960));
}

TEST(ScreenType, EnlargedNavigationBarOffsetsForPlusXRAndMax) {
    EXPECT_TRUE(hasEnlargedOffsetsInNavigationBar(1920));
    EXPECT_TRUE(hasEnlargedOffsetsInNavigationBar(2208));
    EXPECT_TRUE(hasEnlargedOffsetsInNavigationBar(1792));
    EXPECT_TRUE(hasEnlargedOffsetsInNavigationBar(2688));
    EXPECT_FALSE(hasEnlargedOffsetsInNavigationBar(2436));
    EXPECT_FALSE(hasEnlargedOffsetsInNavigationBar(1334));
    EXPECT_FALSE(hasEnlargedOffsetsInNavigationBar(1136));
}

TEST(ScreenType, RawValuesRoundTripAndAreCaseSensitive) {
    for (ScreenType type :
         {ScreenType::iPhones_4_4S, ScreenType::iPhones_5_5s_5c_SE, ScreenType::iPhones_6_6s_7_8,
          ScreenType::iPhones_6Plus_6sPlus_7Plus_8Plus, ScreenType::iPhones_X_XS_11Pro,
          ScreenType::iPhones_XR_11, ScreenType::iPhones_XSMax_11ProMax, ScreenType::unknown}) {
        EXPECT_EQ(screenTypeFromRawValue(rawValue(type)), type);
    }
    EXPECT_EQ(rawValue(ScreenType::iPhones_XR_11), "iPhone XR or iPhone 11");
    EXPECT_EQ(rawValue(ScreenType::iPhones_6_6s_7_8), "iPhone 6, iPhone 6S, iPhone 7 or iPhone 8");
    EXPECT_EQ(screenTypeFromRawValue("Unknown"), std::nullopt);
    EXPECT_EQ(screenTypeFromRawValue("unknown"), ScreenType::unknown);
}

TEST(UserInterfaceStyle, DescriptionOfEveryRawValue) {
    EXPECT_EQ(description(UserInterfaceStyle::unspecified), "unspecified");
    EXPECT_EQ(description(UserInterfaceStyle::light), "light");
    EXPECT_EQ(description(UserInterfaceStyle::dark), "dark");
    EXPECT_EQ(description(static_cast<UserInterfaceStyle>(3)), "unknown");
    EXPECT_EQ(description(static_cast<UserInterfaceStyle>(-1)), "unknown");
}

}  // namespace
}  // namespace dovrel

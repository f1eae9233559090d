#include "apps/dovrel/ColorArgument.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "DovrelFoundation/Appearance/ColorExtensions.h"

namespace dovrel::cli {
namespace {

TEST(ColorArgument, NamesThePaletteInItsStoredOrder) {
    const auto palette = namedPalette();
    ASSERT_EQ(palette.size(), 9u);
    EXPECT_EQ(palette.front().first, "banana");
    EXPECT_EQ(palette.back().first, "blueberry");
    EXPECT_EQ(palette[1].second, grape());
}

TEST(ColorArgument, APaletteNameInAnyCaseIsThatPaletteColour) {
    EXPECT_EQ(parseColorArgument("sky"), sky());
    EXPECT_EQ(parseColorArgument("BlueBerry"), blueberry());
}

TEST(ColorArgument, SixHexDigitsAreThatColour) {
    EXPECT_EQ(hex(*parseColorArgument("#3366cc")), 0x3366CC);
    EXPECT_EQ(hex(*parseColorArgument("FF8000")), 0xFF8000);
}

TEST(ColorArgument, TheNumberOfAPaletteColourIsThePaletteColourItself) {
    char text[8];
    std::snprintf(text, sizeof text, "#%06llX", static_cast<unsigned long long>(hex(pear())));
    EXPECT_EQ(parseColorArgument(text), pear());
}

TEST(ColorArgument, OtherTextIsNoColour) {
    for (const char* text :
         {"", "#", "#12345", "#1234567", "#12345g", "red", "banana2", "0x123456"}) {
        EXPECT_FALSE(parseColorArgument(text).has_value()) << text;
    }
}

TEST(ColorArgument, FindsThePaletteNameOfAColour) {
    EXPECT_EQ(paletteName(apricot()), "apricot");
    EXPECT_EQ(paletteName(colorFromHex(hex(apricot()))), "apricot");
    EXPECT_FALSE(paletteName(colorFromHex(0x010203)).has_value());
}

TEST(ColorArgument, ReadsReminderTimesOfDay) {
    const auto time = parseTimeOfDay("07:45");
    ASSERT_TRUE(time.has_value());
    EXPECT_EQ(time->hour, 7);
    EXPECT_EQ(time->minute, 45);
    EXPECT_TRUE(parseTimeOfDay("23:59").has_value());
    for (const char* text : {"24:00", "12:60", "7:45", "07-45", "0745", "07:45:00", ""}) {
        EXPECT_FALSE(parseTimeOfDay(text).has_value()) << text;
    }
}

}  // namespace
}  // namespace dovrel::cli

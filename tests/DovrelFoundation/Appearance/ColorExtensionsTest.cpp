#include "DovrelFoundation/Appearance/ColorExtensions.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <string>

#include "platform/foundation/UserDefaults.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

using testing::ScopedEnvironment;
using testing::TemporaryDirectory;

constexpr int kRepetitions = 2000;

// The palette index of a colour (by value), or -1.
std::int64_t paletteIndex(const Color& color) {
    const auto& palette = habitPalette();
    for (std::size_t i = 0; i < palette.size(); ++i) {
        if (palette[i] == color) {
            return static_cast<std::int64_t>(i);
        }
    }
    return -1;
}

// Every test that may touch the standard user defaults keeps them in a temporary data home.
class ColorExtensionsTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder_;
    ScopedEnvironment dataHome_{"XDG_DATA_HOME", folder_.path().string()};
};

// ---- colorFromHex / hex ----

TEST(ColorFromHex, SplitsTheNumberIntoOpaqueChannels) {
    EXPECT_EQ(colorFromHex(0x336699), Color::rgb(0x33 / 255.0, 0x66 / 255.0, 0x99 / 255.0, 1.0));
    EXPECT_EQ(colorFromHex(0), Color::rgb(0, 0, 0, 1));
    EXPECT_EQ(colorFromHex(0xFFFFFF), Color::rgb(1, 1, 1, 1));
}

TEST(ColorFromHex, OrangeRoundTripsThroughHex) {
    const Color orange = colorFromHex(0xFF8000);
    EXPECT_EQ(orange, Color::rgb(1.0, 128 / 255.0, 0.0, 1.0));
    EXPECT_EQ(hex(orange), 0xFF8000);
}

TEST(ColorFromHex, EveryChannelValueRoundTripsInEveryPosition) {
    for (std::int64_t value = 0; value <= 0xFF; ++value) {
        for (int shift : {0, 8, 16}) {
            ASSERT_EQ(hex(colorFromHex(value << shift)), value << shift);
        }
        const std::int64_t mixed = (value << 16) | ((0xFF - value) << 8) | ((value * 37) & 0xFF);
        ASSERT_EQ(hex(colorFromHex(mixed)), mixed);
    }
    // And a spread of numbers across the whole 24-bit range.
    for (std::int64_t value = 0; value <= 0xFFFFFF; value += 4099) {
        ASSERT_EQ(hex(colorFromHex(value)), value);
    }
}

TEST(ColorFromHex, BitsAboveBit23AreIgnored) {
    EXPECT_EQ(colorFromHex(0x1FF8000), colorFromHex(0xFF8000));
    EXPECT_EQ(colorFromHex(0x7A00000000FF8000), colorFromHex(0xFF8000));
    EXPECT_EQ(colorFromHex(-1), colorFromHex(0xFFFFFF));
    EXPECT_EQ(colorFromHex(std::numeric_limits<std::int64_t>::min()), colorFromHex(0));
}

TEST(Hex, ChannelsAreTruncatedTowardZero) {
    EXPECT_EQ(hex(Color::rgb(0.999, 0, 0)), 254 << 16);
    EXPECT_EQ(hex(Color::rgb(0, 0.5, 0)), 127 << 8);
    EXPECT_EQ(hex(Color::rgb(0, 0, 1.0 / 255.0 - 1e-9)), 0);
}

TEST(Hex, AlphaIsIgnoredForRgbColours) {
    EXPECT_EQ(hex(Color::rgb(1, 0, 0, 0.2)), 0xFF0000);
}

TEST(Hex, ThreeComponentsReadAsRedGreenBlue) {
    EXPECT_EQ(hex(Color({1.0, 0.5, 0.0})), 0xFF7F00);
}

TEST(Hex, ComponentAboveOneSpillsIntoTheNextChannel) {
    // 1.5 * 255 = 382 = 0x17E: its ninth bit lands in the channel above.
    EXPECT_EQ(hex(Color::rgb(1.5, 0, 0)), 0x17E0000);
    EXPECT_EQ(hex(Color::rgb(0, 1.5, 0)), 0x17E00);
    EXPECT_EQ(hex(Color::rgb(0, 0, 1.5)), 0x17E);
    EXPECT_EQ(hex(Color::rgb(0, 1, 1.5)), 0xFF00 | 0x17E);
}

TEST(Hex, NegativeComponentSpillsIntoEveryHigherBit) {
    // -0.1 * 255 = -25.5, truncated to -25; its sign bits cover the channels above it.
    EXPECT_EQ(hex(Color::rgb(0, -0.1, 0)), -25 * 256);
    EXPECT_EQ(hex(Color::rgb(1, 1, -0.1)), -25);
    EXPECT_EQ(hex(Color::rgb(-0.1, 0, 0)), -25 * 65536);
}

TEST(Hex, GreyTakesGreenAndBlueFromItsAlpha) {
    EXPECT_EQ(hex(Color::white(0.5, 1.0)), 0x7FFFFF);
    EXPECT_EQ(hex(Color::white(1.0, 0.0)), 0xFF0000);
    EXPECT_EQ(hex(Color::white(0.0, 0.5)), 0x007F7F);
}

TEST(Hex, ColourWithoutComponentsIsZero) {
    EXPECT_EQ(hex(Color()), 0);
}

TEST(HexDeathTest, OneComponentIsFatal) {
    EXPECT_DEATH(hex(Color({0.5})),
                 "Fatal error: A colour with fewer than two components has no hex value");
}

TEST(HexDeathTest, NonFiniteOrHugeChannelIsFatal) {
    EXPECT_DEATH(hex(Color::rgb(std::nan(""), 0, 0)),
                 "Fatal error: Colour component .* has no "
                 "integer channel value");
    EXPECT_DEATH(hex(Color::rgb(0, std::numeric_limits<double>::infinity(), 0)),
                 "Fatal error: Colour component inf has no integer channel value");
    EXPECT_DEATH(hex(Color::rgb(0, 0, 1e300)),
                 "Fatal error: Colour component .* has no integer "
                 "channel value");
    EXPECT_DEATH(hex(Color::white(0.5, -1e17)), "has no integer channel value");
}

TEST(Hex, LargestChannelsThatFitAreAccepted) {
    // 2^62 / 255 * 255 still fits 64 bits; the shifts then wrap, as two's-complement integers do.
    const double component = 4611686018427387904.0 / 255.0;
    const auto channel = static_cast<std::int64_t>(component * 255.0);
    EXPECT_EQ(hex(Color::rgb(0, 0, component)), channel);
}

// ---- Named colours and the palette ----

TEST(NamedColors, EveryNamedColourHasLightAndDarkRgbaComponents) {
    for (const Color* color :
         {&banana(), &grape(), &sky(), &barbie(), &salmon(), &apricot(), &pear(), &aquamarine(),
          &blueberry(), &foregroundDefault(), &foregroundGray(), &backgroundDefault(),
          &backgroundGray(), &backgroundMenu(), &shadowMenu(), &textPlaceholder(), &splitter(),
          &graphAxis()}) {
        ASSERT_EQ(color->components().size(), 4u);
        ASSERT_TRUE(color->darkComponents().has_value());
        EXPECT_EQ(color->darkComponents()->size(), 4u);
        for (double component : color->components()) {
            EXPECT_GE(component, 0.0);
            EXPECT_LE(component, 1.0);
        }
    }
}

TEST(NamedColors, AreCreatedOnceAndKept) {
    EXPECT_EQ(&banana(), &banana());
    EXPECT_EQ(&graphAxis(), &graphAxis());
    EXPECT_EQ(&habitPalette(), &habitPalette());
}

TEST(NamedColors, HabitPaletteHoldsTheNineHabitColoursInIndexOrder) {
    const auto& palette = habitPalette();
    ASSERT_EQ(palette.size(), 9u);
    EXPECT_EQ(palette[0], banana());
    EXPECT_EQ(palette[1], grape());
    EXPECT_EQ(palette[2], sky());
    EXPECT_EQ(palette[3], barbie());
    EXPECT_EQ(palette[4], salmon());
    EXPECT_EQ(palette[5], apricot());
    EXPECT_EQ(palette[6], pear());
    EXPECT_EQ(palette[7], aquamarine());
    EXPECT_EQ(palette[8], blueberry());
}

TEST(NamedColors, HabitColoursAreDistinctInTheirNumberForm) {
    std::set<std::int64_t> numbers;
    for (const Color& color : habitPalette()) {
        numbers.insert(hex(color));
    }
    EXPECT_EQ(numbers.size(), 9u);
}

TEST(NamedColors, HabitColoursLookLikeTheirNames) {
    const auto channels = [](const Color& color) {
        const auto& c = color.components();
        return std::array<double, 3>{c[0], c[1], c[2]};
    };
    const auto [bananaRed, bananaGreen, bananaBlue] = channels(banana());
    EXPECT_GT(bananaRed, bananaBlue + 0.3);  // yellow: red and green high, blue low
    EXPECT_GT(bananaGreen, bananaBlue + 0.3);
    const auto [grapeRed, grapeGreen, grapeBlue] = channels(grape());
    EXPECT_GT(grapeBlue, grapeGreen);  // purple: blue and red over green
    EXPECT_GT(grapeRed, grapeGreen);
    const auto [skyRed, skyGreen, skyBlue] = channels(sky());
    EXPECT_GT(skyBlue, skyRed);
    EXPECT_GT(skyBlue, skyGreen);
    const auto [pearRed, pearGreen, pearBlue] = channels(pear());
    EXPECT_GT(pearGreen, pearRed);
    EXPECT_GT(pearGreen, pearBlue);
}

// Death tests that load the named colours run in a fresh copy of the test program
// ("threadsafe" style), whose colours are not loaded yet.
class NamedColorsDeathTest : public ::testing::Test {
  protected:
    void SetUp() override {
        previousStyle_ = GTEST_FLAG_GET(death_test_style);
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
    void TearDown() override { GTEST_FLAG_SET(death_test_style, previousStyle_); }

  private:
    std::string previousStyle_;
};

TEST_F(NamedColorsDeathTest, MissingColourAssetFileIsFatal) {
    ScopedEnvironment bundle("DOVREL_RESOURCES", "/nonexistent/dovrel-resources");
    EXPECT_DEATH(banana(),
                 "Fatal error: Missing colour asset file colors.json in "
                 "/nonexistent/dovrel-resources: file DovrelFoundation/ColorExtensions, line");
}

TEST_F(NamedColorsDeathTest, MissingColourNameIsFatal) {
    ScopedEnvironment bundle("DOVREL_RESOURCES",
                             std::string(DOVREL_TEST_DATA_DIR) + "/color-assets/missing-name");
    EXPECT_DEATH(graphAxis(), "Fatal error: Missing colour asset \"graphAxis\"");
}

TEST_F(NamedColorsDeathTest, MalformedColourAssetFileIsFatal) {
    ScopedEnvironment bundle("DOVREL_RESOURCES",
                             std::string(DOVREL_TEST_DATA_DIR) + "/color-assets/malformed");
    EXPECT_DEATH(banana(),
                 "Fatal error: Unreadable colour assets: .*/malformed/colors.json: colour "
                 "\"banana\": \"light\" is not #RRGGBB or #RRGGBBAA");
}

// ---- ExcludedColors ----

TEST(ExcludedColors, EachCaseResolvesToItsColours) {
    EXPECT_EQ(ExcludedColors::nothing().kind(), ExcludedColors::Kind::nothing);
    EXPECT_TRUE(ExcludedColors::nothing().colors().empty());
    EXPECT_EQ(ExcludedColors::paleColors().kind(), ExcludedColors::Kind::paleColors);
    EXPECT_EQ(ExcludedColors::paleColors().colors(),
              (std::vector<Color>{aquamarine(), banana(), pear()}));
    const auto custom = ExcludedColors::custom({sky(), colorFromHex(0x123456)});
    EXPECT_EQ(custom.kind(), ExcludedColors::Kind::custom);
    EXPECT_EQ(custom.colors(), (std::vector<Color>{sky(), colorFromHex(0x123456)}));
}

// ---- randomColor ----

TEST_F(ColorExtensionsTest, RandomColourIsAPaletteColourAndIsRemembered) {
    const auto& defaults = UserDefaults::standard();
    EXPECT_EQ(defaults.get(previousRandomColorIndex()), std::nullopt);
    const Color color = randomColor(habitPalette(), ExcludedColors::nothing());
    const auto index = paletteIndex(color);
    ASSERT_GE(index, 0);
    EXPECT_EQ(defaults.get(previousRandomColorIndex()), index);
    EXPECT_EQ(defaults.object("previousRandomColorIndex"), UserDefaults::Value(index));
}

TEST_F(ColorExtensionsTest, TwoSuccessiveRandomColoursNeverHaveTheSameIndex) {
    std::int64_t previous = paletteIndex(randomColor(habitPalette(), ExcludedColors::nothing()));
    std::set<std::int64_t> seen{previous};
    for (int i = 0; i < kRepetitions; ++i) {
        const std::int64_t next =
            paletteIndex(randomColor(habitPalette(), ExcludedColors::nothing()));
        ASSERT_GE(next, 0);
        ASSERT_NE(next, previous) << "after " << i << " draws";
        seen.insert(next);
        previous = next;
    }
    EXPECT_EQ(seen.size(), 9u);  // and the draws do reach the whole palette
}

TEST_F(ColorExtensionsTest, PaleColoursExclusionNeverGivesAquamarineBananaOrPear) {
    std::set<std::int64_t> seen;
    for (int i = 0; i < kRepetitions; ++i) {
        const Color color = randomColor(habitPalette(), ExcludedColors::paleColors());
        ASSERT_NE(color, aquamarine());
        ASSERT_NE(color, banana());
        ASSERT_NE(color, pear());
        seen.insert(paletteIndex(color));
    }
    EXPECT_EQ(seen, (std::set<std::int64_t>{1, 2, 3, 4, 5, 8}));
}

TEST_F(ColorExtensionsTest, CustomExclusionLeavesOnlyTheOtherColoursAlternating) {
    const auto& palette = habitPalette();
    // Everything but grape (1) and sky (2): with the previous index also avoided, the choice
    // must alternate between the two.
    const auto excluded = ExcludedColors::custom(
        {palette[0], palette[3], palette[4], palette[5], palette[6], palette[7], palette[8]});
    std::int64_t previous = paletteIndex(randomColor(palette, excluded));
    ASSERT_TRUE(previous == 1 || previous == 2);
    for (int i = 0; i < 200; ++i) {
        const std::int64_t next = paletteIndex(randomColor(palette, excluded));
        ASSERT_EQ(next, previous == 1 ? 2 : 1);
        previous = next;
    }
}

TEST_F(ColorExtensionsTest, ExclusionComparesColoursByValue) {
    // Equal copies, not the palette's own objects, still exclude banana.
    const Color bananaCopy(banana().components(), banana().darkComponents());
    for (int i = 0; i < kRepetitions; ++i) {
        ASSERT_NE(randomColor(habitPalette(), ExcludedColors::custom({bananaCopy})), banana());
    }
}

TEST_F(ColorExtensionsTest, RememberedIndexWrittenByAnotherInstanceIsAvoided) {
    const auto& palette = habitPalette();
    // Another instance of the standard suite (as after a relaunch) remembers barbie (3); only
    // banana (0) and barbie are allowed, so the choice can only be banana.
    auto relaunched = UserDefaults::atPath(UserDefaults::standard().path());
    relaunched.set(previousRandomColorIndex(), std::optional<std::int64_t>(3));
    const auto excluded = ExcludedColors::custom(
        {palette[1], palette[2], palette[4], palette[5], palette[6], palette[7], palette[8]});
    EXPECT_EQ(randomColor(palette, excluded), banana());
    EXPECT_EQ(relaunched.get(previousRandomColorIndex()), 0);
}

TEST_F(ColorExtensionsTest, RememberedIndexPersistsAcrossUserDefaultsInstances) {
    const auto index = paletteIndex(randomColor(habitPalette(), ExcludedColors::nothing()));
    const auto path = UserDefaults::standard().path();
    auto reopened = UserDefaults::atPath(path);
    EXPECT_EQ(reopened.get(previousRandomColorIndex()), index);
}

TEST_F(ColorExtensionsTest, ReceiverIsNotConsultedTheChoiceIsFromThePalette) {
    for (int i = 0; i < 100; ++i) {
        ASSERT_GE(paletteIndex(randomColor({}, ExcludedColors::nothing())), 0);
        ASSERT_GE(paletteIndex(randomColor({colorFromHex(0x010203)}, ExcludedColors::nothing())),
                  0);
    }
}

}  // namespace
}  // namespace dovrel

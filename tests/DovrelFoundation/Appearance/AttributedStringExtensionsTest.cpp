#include "DovrelFoundation/Appearance/AttributedStringExtensions.h"

#include <gtest/gtest.h>

namespace dovrel {
namespace {

const Color kGrape = Color::rgb(0.5, 0.3, 0.9);

TEST(AttributedStringExtensions, OnlyTheGivenArgumentsBecomeAttributes) {
    const auto text = makeAttributedString("Read", {.textColor = kGrape, .kern = 1.5});
    ASSERT_EQ(text.runs().size(), 1u);
    const auto& attributes = text.runs()[0].attributes;
    EXPECT_EQ(attributes.size(), 2u);
    EXPECT_EQ(std::get<Color>(attributes.at(TextAttribute::foregroundColor)), kGrape);
    EXPECT_EQ(std::get<double>(attributes.at(TextAttribute::kern)), 1.5);
}

TEST(AttributedStringExtensions, AlignmentAloneMakesNoParagraphStyle) {
    const auto text = makeAttributedString("Read", {.alignment = TextAlignment::center});
    EXPECT_TRUE(text.runs()[0].attributes.empty());
}

TEST(AttributedStringExtensions, ALineHeightIsTheMinimumAndMaximumWithTheAlignment) {
    const auto text =
        makeAttributedString("Read", {.alignment = TextAlignment::right, .lineHeight = 22.0});
    const auto paragraph =
        std::get<ParagraphStyle>(text.runs()[0].attributes.at(TextAttribute::paragraphStyle));
    EXPECT_EQ(paragraph.alignment, TextAlignment::right);
    EXPECT_EQ(paragraph.minimumLineHeight, 22.0);
    EXPECT_EQ(paragraph.maximumLineHeight, 22.0);
    EXPECT_EQ(paragraph.lineSpacing, 0.0);
}

TEST(AttributedStringExtensions, ALineSpacingAloneKeepsTheLineHeightsFree) {
    const auto text =
        makeAttributedString("Read", {.alignment = TextAlignment::center, .lineSpacing = 4.0});
    const auto paragraph =
        std::get<ParagraphStyle>(text.runs()[0].attributes.at(TextAttribute::paragraphStyle));
    EXPECT_EQ(paragraph.alignment, TextAlignment::center);
    EXPECT_EQ(paragraph.minimumLineHeight, 0.0);
    EXPECT_EQ(paragraph.lineSpacing, 4.0);
}

TEST(AttributedStringExtensions, FontUnderlineStyleAndColourAreSetWhenGiven) {
    const auto text = makeAttributedString("Read", {.font = Font{"Sans", 17, 600},
                                                    .underlineStyle = UnderlineStyle::single,
                                                    .underlineColor = kGrape});
    const auto& attributes = text.runs()[0].attributes;
    EXPECT_EQ(std::get<Font>(attributes.at(TextAttribute::font)), (Font{"Sans", 17, 600}));
    EXPECT_EQ(std::get<UnderlineStyle>(attributes.at(TextAttribute::underlineStyle)),
              UnderlineStyle::single);
    EXPECT_EQ(std::get<Color>(attributes.at(TextAttribute::underlineColor)), kGrape);
}

TEST(AttributedStringExtensions, ApplyingAttributesCoversTheWholeTextOfACopy) {
    auto original = appending(makeAttributedString("Drink ", {.kern = 1.0}), "water");
    const auto applied = applyingAttributes(original, {.textColor = kGrape});
    ASSERT_EQ(applied.runs().size(), 2u);
    for (const auto& run : applied.runs()) {
        EXPECT_EQ(std::get<Color>(run.attributes.at(TextAttribute::foregroundColor)), kGrape);
    }
    EXPECT_EQ(applied.runs()[0].attributes.count(TextAttribute::kern), 1u);
    EXPECT_EQ(original.runs()[1].attributes.size(), 0u);  // the receiver is left alone
}

TEST(AttributedStringExtensions, AppendingPlainTextAddsItWithoutAttributes) {
    const auto joined = appending(makeAttributedString("7 ", {.textColor = kGrape}), "days");
    EXPECT_EQ(joined.string(), "7 days");
    ASSERT_EQ(joined.runs().size(), 2u);
    EXPECT_TRUE(joined.runs()[1].attributes.empty());
}

TEST(AttributedStringExtensions, AppendingAnAttributedTextKeepsItsAttributes) {
    const auto joined =
        appending(makeAttributedString("a", {}), makeAttributedString("b", {.kern = 3.0}));
    ASSERT_EQ(joined.runs().size(), 2u);
    EXPECT_EQ(std::get<double>(joined.runs()[1].attributes.at(TextAttribute::kern)), 3.0);
}

}  // namespace
}  // namespace dovrel

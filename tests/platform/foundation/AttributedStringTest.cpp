#include "platform/foundation/AttributedString.h"

#include <gtest/gtest.h>

namespace dovrel {
namespace {

const Color kRed = Color::rgb(1, 0, 0);
const Color kBlue = Color::rgb(0, 0, 1);

TEST(AttributedString, MeasuresItsTextInUtf16CodeUnits) {
    EXPECT_EQ(AttributedString("abc").length(), 3);
    EXPECT_EQ(AttributedString("\xD0\x96").length(), 1);          // Cyrillic Zhe, 2 bytes
    EXPECT_EQ(AttributedString("\xF0\x9F\x92\xA7").length(), 2);  // a droplet, outside the BMP
    EXPECT_EQ(AttributedString("\xFF"
                               "a")
                  .length(),
              2);  // a bad byte counts one
    EXPECT_EQ(AttributedString("").length(), 0);
    EXPECT_TRUE(AttributedString("").runs().empty());
}

TEST(AttributedString, AddingAttributesOverAPartSplitsTheRunsAndKeepsTheOthers) {
    AttributedString text("Drink water", {{TextAttribute::foregroundColor, kRed}});
    text.addAttributes({{TextAttribute::kern, 2.0}}, TextRange{6, 5});
    ASSERT_EQ(text.runs().size(), 2u);
    EXPECT_EQ(text.runs()[0].range, (TextRange{0, 6}));
    EXPECT_EQ(text.runs()[1].range, (TextRange{6, 5}));
    EXPECT_EQ(text.attributes(7).size(), 2u);
    EXPECT_EQ(std::get<Color>(text.attributes(7).at(TextAttribute::foregroundColor)), kRed);
    EXPECT_EQ(text.attributes(0).count(TextAttribute::kern), 0u);
}

TEST(AttributedString, SettingAnAttributeAgainReplacesItsValueAndMergesEqualRuns) {
    AttributedString text("ab", {{TextAttribute::foregroundColor, kRed}});
    text.addAttributes({{TextAttribute::foregroundColor, kBlue}}, TextRange{1, 1});
    ASSERT_EQ(text.runs().size(), 2u);
    text.addAttributes({{TextAttribute::foregroundColor, kBlue}}, TextRange{0, 1});
    ASSERT_EQ(text.runs().size(), 1u);
    EXPECT_EQ(std::get<Color>(text.runs()[0].attributes.at(TextAttribute::foregroundColor)), kBlue);
}

TEST(AttributedString, ARangePastTheEndIsClamped) {
    AttributedString text("abc");
    text.addAttributes({{TextAttribute::kern, 1.0}}, TextRange{2, 100});
    ASSERT_EQ(text.runs().size(), 2u);
    EXPECT_EQ(text.runs()[1].range, (TextRange{2, 1}));
    text.addAttributes({{TextAttribute::kern, 1.0}}, TextRange{10, 1});
    EXPECT_EQ(text.runs().size(), 2u);
}

TEST(AttributedString, AppendingKeepsEachPartsAttributes) {
    AttributedString text("ab", {{TextAttribute::foregroundColor, kRed}});
    text.append(
        AttributedString("\xF0\x9F\x92\xA7"
                         "c"));
    EXPECT_EQ(text.string(),
              "ab\xF0\x9F\x92\xA7"
              "c");
    EXPECT_EQ(text.length(), 5);
    ASSERT_EQ(text.runs().size(), 2u);
    EXPECT_EQ(text.runs()[1].range, (TextRange{2, 3}));
    EXPECT_TRUE(text.runs()[1].attributes.empty());
}

}  // namespace
}  // namespace dovrel

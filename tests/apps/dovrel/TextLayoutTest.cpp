#include "apps/dovrel/TextLayout.h"

#include <gtest/gtest.h>

namespace dovrel::cli {
namespace {

TEST(TextLayout, CountsColumnsNotBytes) {
    EXPECT_EQ(displayWidth("Read"), 4u);
    EXPECT_EQ(displayWidth("Читати"), 6u);
    EXPECT_EQ(displayWidth("e\xcc\x81"), 1u);  // e and a combining acute accent
    EXPECT_EQ(displayWidth("水"), 2u);         // a wide character
    EXPECT_EQ(displayWidth("\x1b[38;2;1;2;3mab\x1b[0m"), 2u);
    EXPECT_EQ(displayWidth(""), 0u);
}

TEST(TextLayout, PadsAndCentresByColumns) {
    EXPECT_EQ(padRight("Біг", 5), "Біг  ");
    EXPECT_EQ(padLeft("7", 3), "  7");
    EXPECT_EQ(padRight("longer", 3), "longer");
    EXPECT_EQ(centered("ab", 7), "  ab");
}

TEST(TextLayout, CutsLongTextWithAnEllipsis) {
    EXPECT_EQ(truncated("Drink water", 6), "Drink…");
    EXPECT_EQ(truncated("Пити воду", 4), "Пит…");
    EXPECT_EQ(truncated("short", 5), "short");
    EXPECT_EQ(truncated("short", 0), "");
}

}  // namespace
}  // namespace dovrel::cli

#include "apps/dovrel/ProgressBar.h"

#include <gtest/gtest.h>

namespace dovrel::cli {
namespace {

TEST(ProgressBar, IsEmptyAtZeroAndFullAtAHundred) {
    const Terminal plain(false);
    EXPECT_EQ(progressBar(0, 4, plain), "░░░░");
    EXPECT_EQ(progressBar(100, 4, plain), "████");
}

TEST(ProgressBar, FillsInEighthsOfAColumn) {
    const Terminal plain(false);
    // 10 of 100 over 10 columns is one column; 5 is half of one; 12 is 1.2 columns, nearest 1 2/8.
    EXPECT_EQ(progressBar(10, 10, plain), "█░░░░░░░░░");
    EXPECT_EQ(progressBar(5, 10, plain), "▌░░░░░░░░░");
    EXPECT_EQ(progressBar(12, 10, plain), "█▎░░░░░░░░");
}

TEST(ProgressBar, ClampsValuesOutsideZeroToAHundred) {
    const Terminal plain(false);
    EXPECT_EQ(progressBar(-5, 3, plain), "░░░");
    EXPECT_EQ(progressBar(140, 3, plain), "███");
}

TEST(ProgressBar, UsesPlainCharactersWithoutUnicode) {
    const Terminal ascii(false, false);
    EXPECT_EQ(progressBar(50, 10, ascii), "#####-----");
    EXPECT_EQ(progressBar(14, 10, ascii), "#---------");
    EXPECT_EQ(progressBar(15, 10, ascii), "##--------");
}

TEST(ProgressBar, DrawsTheFilledPartInTheHabitColourOnATerminal) {
    const Terminal colours(true);
    EXPECT_EQ(progressBar(50, 2, colours, Color::rgb(0.0, 1.0, 0.0)),
              "\x1b[38;2;0;255;0m█\x1b[0m\x1b[2m░\x1b[0m");
}

}  // namespace
}  // namespace dovrel::cli

#include "apps/dovrel/Texts.h"

#include <gtest/gtest.h>

namespace dovrel::cli {
namespace {

TEST(Texts, FillsNamedPlaceholdersWhereverTheTranslationPutsThem) {
    EXPECT_EQ(fillPlaceholders("{file} is {why}", {{"why", "broken"}, {"file", "a.sqlite"}}),
              "a.sqlite is broken");
    EXPECT_EQ(fillPlaceholders("{n}, {n}!", {{"n", "1"}}), "1, 1!");
}

TEST(Texts, KeepsPlaceholdersWithoutValuesAndStrayBraces) {
    EXPECT_EQ(fillPlaceholders("{a} {b} { } {", {{"a", "x"}}), "x {b} { } {");
}

TEST(Texts, DoesNotFillValuesIntoValues) {
    EXPECT_EQ(fillPlaceholders("{a}{b}", {{"a", "{b}"}, {"b", "2"}}), "{b}2");
}

}  // namespace
}  // namespace dovrel::cli

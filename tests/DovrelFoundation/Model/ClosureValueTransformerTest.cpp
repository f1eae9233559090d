#include "DovrelFoundation/Model/ClosureValueTransformer.h"

#include <gtest/gtest.h>

#include <any>
#include <optional>
#include <string>
#include <type_traits>

namespace dovrel {
namespace {

using IntToText = ClosureValueTransformer<int, std::string>;

static_assert(!std::is_default_constructible_v<IntToText>,
              "a transformer always has its name and functions");

// Forward: the number in decimal, "none" for an absent number, nothing for negatives.
// Backward: the text's length, -1 for absent text, nothing for empty text.
IntToText makeIntToText() {
    return IntToText(
        "IntToText",
        [](const std::optional<int>& number) -> std::optional<std::string> {
            if (!number) {
                return "none";
            }
            if (*number < 0) {
                return std::nullopt;
            }
            return std::to_string(*number);
        },
        [](const std::optional<std::string>& text) -> std::optional<int> {
            if (!text) {
                return -1;
            }
            if (text->empty()) {
                return std::nullopt;
            }
            return static_cast<int>(text->size());
        });
}

TEST(ClosureValueTransformer, HasItsNameAndTheTypeOfTransformedValues) {
    const IntToText transformer = makeIntToText();
    EXPECT_EQ(transformer.name(), "IntToText");
    EXPECT_EQ(transformer.transformedValueClass(), typeid(std::string));
    EXPECT_TRUE(transformer.allowsReverseTransformation());
}

TEST(ClosureValueTransformer, TransformsAValueOfTheSourceType) {
    const std::any result = makeIntToText().transformedValue(std::any(42));
    EXPECT_EQ(std::any_cast<std::string>(result), "42");
}

TEST(ClosureValueTransformer, ValueOfAnotherTypeCountsAsAbsent) {
    const IntToText transformer = makeIntToText();
    EXPECT_EQ(std::any_cast<std::string>(transformer.transformedValue(std::any{})), "none");
    EXPECT_EQ(std::any_cast<std::string>(transformer.transformedValue(std::any(42L))), "none");
    EXPECT_EQ(std::any_cast<std::string>(transformer.transformedValue(std::any(4.0))), "none");
    EXPECT_EQ(std::any_cast<std::string>(transformer.transformedValue(std::any(std::string("4")))),
              "none");
    EXPECT_EQ(std::any_cast<int>(transformer.reverseTransformedValue(std::any(7))), -1);
    EXPECT_EQ(std::any_cast<int>(transformer.reverseTransformedValue(std::any{})), -1);
}

TEST(ClosureValueTransformer, NoResultIsAnEmptyValue) {
    const IntToText transformer = makeIntToText();
    EXPECT_FALSE(transformer.transformedValue(std::any(-3)).has_value());
    EXPECT_FALSE(transformer.reverseTransformedValue(std::any(std::string())).has_value());
}

TEST(ClosureValueTransformer, ReverseUsesTheReverseFunction) {
    const std::any result = makeIntToText().reverseTransformedValue(std::any(std::string("abc")));
    EXPECT_EQ(std::any_cast<int>(result), 3);
}

}  // namespace
}  // namespace dovrel

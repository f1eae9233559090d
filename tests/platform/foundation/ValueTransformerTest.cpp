#include "platform/foundation/ValueTransformer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace dovrel {
namespace {

// Doubles integers; its own inverse is not true, which makes the default reverse visible.
class Doubling : public ValueTransformer {
  public:
    const std::type_info& transformedValueClass() const override { return typeid(int); }
    std::any transformedValue(const std::any& value) const override {
        if (const int* number = std::any_cast<int>(&value)) {
            return *number * 2;
        }
        return {};
    }
};

class ForwardOnly : public Doubling {
  public:
    bool allowsReverseTransformation() const override { return false; }
};

TEST(ValueTransformer, RegisteredTransformerIsFoundByName) {
    const auto transformer = std::make_shared<Doubling>();
    ValueTransformer::setValueTransformer(transformer, "ValueTransformerTest.Doubling");
    EXPECT_EQ(ValueTransformer::valueTransformer("ValueTransformerTest.Doubling"), transformer);
    EXPECT_EQ(ValueTransformer::valueTransformer("ValueTransformerTest.Unknown"), nullptr);
}

TEST(ValueTransformer, RegisteringAgainReplacesAndNullRemoves) {
    const auto first = std::make_shared<Doubling>();
    const auto second = std::make_shared<Doubling>();
    ValueTransformer::setValueTransformer(first, "ValueTransformerTest.Replaced");
    ValueTransformer::setValueTransformer(second, "ValueTransformerTest.Replaced");
    EXPECT_EQ(ValueTransformer::valueTransformer("ValueTransformerTest.Replaced"), second);
    ValueTransformer::setValueTransformer(nullptr, "ValueTransformerTest.Replaced");
    EXPECT_EQ(ValueTransformer::valueTransformer("ValueTransformerTest.Replaced"), nullptr);
}

TEST(ValueTransformer, ReverseTransformationIsAllowedByDefault) {
    EXPECT_TRUE(Doubling().allowsReverseTransformation());
    EXPECT_FALSE(ForwardOnly().allowsReverseTransformation());
}

TEST(ValueTransformer, DefaultReverseUsesTheForwardTransformation) {
    const Doubling doubling;
    EXPECT_EQ(std::any_cast<int>(doubling.reverseTransformedValue(21)), 42);
}

TEST(ValueTransformer, EmptyOrOtherTypedValueIsAbsent) {
    const Doubling doubling;
    EXPECT_FALSE(doubling.transformedValue(std::any{}).has_value());
    EXPECT_FALSE(doubling.transformedValue(std::string("21")).has_value());
    EXPECT_EQ(doubling.transformedValueClass(), typeid(int));
}

TEST(ValueTransformer, RegistryIsSafeToUseFromManyThreads) {
    const auto transformers =
        std::vector{std::make_shared<Doubling>(), std::make_shared<Doubling>()};
    ValueTransformer::setValueTransformer(transformers[0], "ValueTransformerTest.Shared");
    std::atomic<int> misses = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                if (t % 2 == 0) {
                    ValueTransformer::setValueTransformer(transformers[(i + t) % 2],
                                                          "ValueTransformerTest.Shared");
                    ValueTransformer::setValueTransformer(
                        transformers[0], "ValueTransformerTest.Other" + std::to_string(i % 7));
                } else {
                    const auto found =
                        ValueTransformer::valueTransformer("ValueTransformerTest.Shared");
                    if (found != transformers[0] && found != transformers[1]) {
                        ++misses;
                    }
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(misses.load(), 0);
}

}  // namespace
}  // namespace dovrel

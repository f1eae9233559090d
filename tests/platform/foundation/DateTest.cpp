#include "platform/foundation/Date.h"

#include <gtest/gtest.h>

#include "platform/foundation/Clock.h"

namespace dovrel {
namespace {

TEST(Date, DefaultIsTheReferenceDate) {
    EXPECT_EQ(Date().timeIntervalSinceReferenceDate(), 0.0);
    EXPECT_EQ(Date().timeIntervalSince1970(), 978307200.0);
}

TEST(Date, ConvertsToAndFromUnixTime) {
    const Date date = Date::fromTimeIntervalSince1970(978307200.0 + 12.5);
    EXPECT_EQ(date.timeIntervalSinceReferenceDate(), 12.5);
    EXPECT_EQ(date.timeIntervalSince1970(), 978307212.5);
}

TEST(Date, ArithmeticAndOrdering) {
    const Date earlier(100);
    const Date later = earlier + 50;
    EXPECT_EQ(later - earlier, 50.0);
    EXPECT_EQ(earlier.timeIntervalSince(later), -50.0);
    EXPECT_EQ(later - 50.0, earlier);
    EXPECT_LT(earlier, later);
    EXPECT_NE(earlier, later);
}

TEST(Clock, OverrideIsScopedAndNests) {
    const Date outer(1000), inner(2000);
    {
        ScopedClockOverride pinOuter(outer);
        EXPECT_EQ(Clock::now(), outer);
        {
            ScopedClockOverride pinInner(inner);
            EXPECT_EQ(Date::now(), inner);
        }
        EXPECT_EQ(Clock::now(), outer);
    }
    EXPECT_GT(Clock::now(), Date(700'000'000));  // the real clock: well after 2023
}

}  // namespace
}  // namespace dovrel

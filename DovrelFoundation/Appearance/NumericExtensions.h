#pragma once

#include <algorithm>
#include <concepts>

#include "platform/foundation/Decimal.h"

namespace dovrel {

// A closed range [lowerBound, upperBound] of comparable values.
template <typename T>
struct ClosedRange {
    T lowerBound;
    T upperBound;
};

// min(max(value, range.lowerBound), range.upperBound).
template <std::totally_ordered T>
constexpr T clamped(const T& value, const ClosedRange<T>& range) {
    return std::min(std::max(value, range.lowerBound), range.upperBound);
}

// Linear interpolation across `range` by `value`, with t = value clamped to [0, 1] (a value not
// greater than 0 gives 0, so NaN gives the lower bound): t * upper + (1 - t) * lower.
template <std::floating_point T>
constexpr T lerp(T value, const ClosedRange<T>& range) {
    const T t = value > T(0) ? std::min(value, T(1)) : T(0);
    return t * range.upperBound + (T(1) - t) * range.lowerBound;
}

// The decimal's value as the nearest double (NaN for a decimal that is not a number).
inline double doubleValue(const Decimal& decimal) {
    return decimal.doubleValue();
}

}  // namespace dovrel

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dovrel {

// A base-10 number: sign, up to 38 significant decimal digits and a power of ten from -128 to
// 127, as a toolkit's decimal type keeps amounts exactly. A decimal can also be "not a number"
// (the result of a failed parse kept as a value, never of arithmetic here).
//
// Values are immutable and compare by value: 1.50 equals 1.5 (trailing zeros of the mantissa
// are dropped when a decimal is made).
class Decimal {
  public:
    static constexpr int kMaximumDigits = 38;
    static constexpr int kMinimumExponent = -128;
    static constexpr int kMaximumExponent = 127;

    // Zero.
    Decimal() = default;
    // mantissa × 10^exponent. An exponent outside the range after the mantissa's trailing zeros
    // are taken into it gives not-a-number.
    Decimal(std::int64_t mantissa, int exponent);

    static Decimal notANumber();

    // Parses "-12.5", "3", "1e-3", ".25", "4.0E+2" (C locale: '.' is the decimal separator).
    // Nothing for any other text, for more than kMaximumDigits significant digits, or for an
    // exponent out of range.
    static std::optional<Decimal> fromString(std::string_view text);

    bool isNaN() const noexcept { return isNaN_; }
    bool isNegative() const noexcept { return negative_; }
    // The significant digits without leading or trailing zeros ("" for zero) and the power of ten
    // they are multiplied by.
    const std::string& digits() const noexcept { return digits_; }
    int exponent() const noexcept { return exponent_; }

    // The plain decimal text: "-0.001", "1500", "NaN".
    std::string description() const;

    // The nearest double (correctly rounded; NaN for not-a-number; ±infinity never occurs since
    // every decimal is far inside the range of double).
    double doubleValue() const;

    friend bool operator==(const Decimal&, const Decimal&) = default;

  private:
    bool isNaN_ = false;
    bool negative_ = false;
    std::string digits_;
    int exponent_ = 0;

    static std::optional<Decimal> make(bool negative, std::string digits, std::int64_t exponent);
};

}  // namespace dovrel

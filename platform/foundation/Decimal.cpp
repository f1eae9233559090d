#include "platform/foundation/Decimal.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace dovrel {

std::optional<Decimal> Decimal::make(bool negative, std::string digits, std::int64_t exponent) {
    // Leading zeros carry nothing; trailing zeros move into the exponent.
    const auto first = digits.find_first_not_of('0');
    if (first == std::string::npos) {
        return Decimal();
    }
    digits.erase(0, first);
    const auto last = digits.find_last_not_of('0');
    exponent += static_cast<std::int64_t>(digits.size() - 1 - last);
    digits.erase(last + 1);
    if (digits.size() > static_cast<std::size_t>(kMaximumDigits) || exponent < kMinimumExponent ||
        exponent > kMaximumExponent) {
        return std::nullopt;
    }
    Decimal decimal;
    decimal.negative_ = negative;
    decimal.digits_ = std::move(digits);
    decimal.exponent_ = static_cast<int>(exponent);
    return decimal;
}

Decimal::Decimal(std::int64_t mantissa, int exponent) {
    const bool negative = mantissa < 0;
    // The magnitude of INT64_MIN does not fit an int64_t; unsigned arithmetic does.
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(mantissa) : static_cast<std::uint64_t>(mantissa);
    if (auto made = make(negative, std::to_string(magnitude), exponent)) {
        *this = std::move(*made);
    } else {
        *this = notANumber();
    }
}

Decimal Decimal::notANumber() {
    Decimal decimal;
    decimal.isNaN_ = true;
    return decimal;
}

std::optional<Decimal> Decimal::fromString(std::string_view text) {
    std::size_t position = 0;
    bool negative = false;
    if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
        negative = text[position] == '-';
        ++position;
    }
    std::string digits;
    std::int64_t exponent = 0;
    bool sawDigit = false;
    bool sawPoint = false;
    for (; position < text.size(); ++position) {
        const char character = text[position];
        if (std::isdigit(static_cast<unsigned char>(character))) {
            sawDigit = true;
            // Leading zeros never count towards the digit limit.
            if (!digits.empty() || character != '0') {
                digits.push_back(character);
                if (digits.size() > static_cast<std::size_t>(kMaximumDigits) + 1000) {
                    return std::nullopt;
                }
            }
            if (sawPoint) {
                --exponent;
            }
        } else if (character == '.' && !sawPoint) {
            sawPoint = true;
        } else {
            break;
        }
    }
    if (!sawDigit) {
        return std::nullopt;
    }
    if (position < text.size() && (text[position] == 'e' || text[position] == 'E')) {
        ++position;
        int written = 0;
        const char* begin = text.data() + position;
        if (position < text.size() && text[position] == '+') {
            ++begin;
        }
        const auto [end, error] = std::from_chars(begin, text.data() + text.size(), written);
        if (error != std::errc() || end == begin) {
            return std::nullopt;
        }
        exponent += written;
        position = static_cast<std::size_t>(end - text.data());
    }
    if (position != text.size()) {
        return std::nullopt;
    }
    return make(negative, std::move(digits), exponent);
}

std::string Decimal::description() const {
    if (isNaN_) {
        return "NaN";
    }
    if (digits_.empty()) {
        return "0";
    }
    std::string text = negative_ ? "-" : "";
    if (exponent_ >= 0) {
        text += digits_;
        text.append(static_cast<std::size_t>(exponent_), '0');
        return text;
    }
    const auto fraction = static_cast<std::size_t>(-exponent_);
    if (fraction >= digits_.size()) {
        text += "0.";
        text.append(fraction - digits_.size(), '0');
        text += digits_;
    } else {
        text += digits_.substr(0, digits_.size() - fraction);
        text += '.';
        text += digits_.substr(digits_.size() - fraction);
    }
    return text;
}

double Decimal::doubleValue() const {
    if (isNaN_) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (digits_.empty()) {
        return negative_ ? -0.0 : 0.0;
    }
    // from_chars rounds correctly; the text is digits and a power of ten, nothing to lose.
    const std::string text = digits_ + "e" + std::to_string(exponent_);
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return negative_ ? -value : value;
}

}  // namespace dovrel

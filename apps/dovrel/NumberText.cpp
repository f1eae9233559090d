#include "apps/dovrel/NumberText.h"

#include <unicode/locid.h>
#include <unicode/numberformatter.h>

namespace dovrel::cli {

struct NumberText::Formatters {
    icu::number::LocalizedNumberFormatter plain;
    icu::number::LocalizedNumberFormatter signedChange;
    icu::number::LocalizedNumberFormatter percent;
};

namespace {

std::string format(const icu::number::LocalizedNumberFormatter& formatter, double value) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString text = formatter.formatDouble(value, status).toString(status);
    if (U_FAILURE(status)) {
        return std::to_string(value);
    }
    std::string result;
    return text.toUTF8String(result);
}

}  // namespace

NumberText::NumberText(const std::string& localeIdentifier, int fractionDigits)
    : formatters_(std::make_unique<Formatters>()) {
    const icu::Locale locale(localeIdentifier.c_str());
    formatters_->plain = icu::number::NumberFormatter::withLocale(locale).precision(
        icu::number::Precision::fixedFraction(fractionDigits));
    formatters_->signedChange = formatters_->plain.sign(UNUM_SIGN_ALWAYS);
    formatters_->percent = icu::number::NumberFormatter::withLocale(locale)
                               .unit(icu::MeasureUnit::getPercent())
                               .scale(icu::number::Scale::powerOfTen(2))
                               .precision(icu::number::Precision::integer());
}

NumberText::~NumberText() = default;

std::string NumberText::operator()(double value) const {
    return format(formatters_->plain, value);
}

std::string NumberText::change(double value) const {
    return format(formatters_->signedChange, value);
}

std::string NumberText::percent(double share) const {
    return format(formatters_->percent, share);
}

}  // namespace dovrel::cli

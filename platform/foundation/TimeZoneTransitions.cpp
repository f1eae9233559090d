#include "platform/foundation/TimeZoneTransitions.h"

#include <unicode/basictz.h>
#include <unicode/timezone.h>
#include <unicode/tzrule.h>
#include <unicode/tztrans.h>
#include <unicode/unistr.h>

namespace dovrel {

std::int32_t TimeZoneTransitions::Periods::offsetAt(double milliseconds) const {
    std::int32_t offset = offsetBefore;
    for (const Transition& transition : transitions) {
        if (milliseconds < transition.milliseconds) {
            break;
        }
        offset = transition.offsetAfter;
    }
    return offset;
}

TimeZoneTransitions::TimeZoneTransitions(const std::string& timeZoneIdentifier)
    : zone_(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZoneIdentifier))) {}

TimeZoneTransitions::~TimeZoneTransitions() = default;

std::int32_t TimeZoneTransitions::offset(double milliseconds) const {
    std::int32_t raw = 0;
    std::int32_t dst = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffset(milliseconds, false, raw, dst, status);
    return raw + dst;
}

std::optional<TimeZoneTransitions::Periods> TimeZoneTransitions::periods(
    double fromMilliseconds, double toMilliseconds) const {
    const auto* zone = dynamic_cast<const icu::BasicTimeZone*>(zone_.get());
    if (zone == nullptr) {
        return std::nullopt;
    }
    Periods result;
    result.offsetBefore = offset(fromMilliseconds);
    std::int32_t previous = result.offsetBefore;
    icu::TimeZoneTransition transition;
    double base = fromMilliseconds;
    while (zone->getNextTransition(base, false, transition)) {
        const double at = transition.getTime();
        if (at > toMilliseconds) {
            break;
        }
        if (!(at > base)) {
            return std::nullopt;  // not moving forward: the list cannot be trusted
        }
        const icu::TimeZoneRule* to = transition.getTo();
        if (to == nullptr) {
            return std::nullopt;
        }
        const std::int32_t after = to->getRawOffset() + to->getDSTSavings();
        // The listed change must be the one the lookup itself makes at that instant.
        if (offset(at) != after || offset(at - 1.0) != previous) {
            return std::nullopt;
        }
        result.transitions.push_back(Transition{at, after});
        previous = after;
        base = at;
    }
    // Nothing changed between the last listed transition and the end of the span.
    if (offset(toMilliseconds) != previous) {
        return std::nullopt;
    }
    return result;
}

}  // namespace dovrel

#include "DovrelFoundation/Model/RepeatInterval.h"

#include <algorithm>

#include "DovrelFoundation/Appearance/StringExtensions.h"

namespace dovrel {

RepeatInterval::RepeatInterval(std::int64_t times, std::int64_t days) {
    // Equality is checked before clamping: 2/2 is 1/1 by this rule, 0/1 by the clamp below.
    if (times == days) {
        times_ = 1;
        days_ = 1;
    } else {
        times_ = std::max<std::int64_t>(times, 1);
        days_ = std::max<std::int64_t>(days, 1);
    }
}

std::string RepeatInterval::name() const {
    if (times_ == days_) {
        return localized("RepeatInterval.EveryDay");
    }
    std::string text = localized("RepeatInterval.Times", times_);
    text += ' ';
    // The week wording looks only at days; 7/7 was already "every day" above.
    if (days_ == 7) {
        text += localized("RepeatInterval.PerWeek");
    } else {
        text += localized("RepeatInterval.PerDays", days_);
    }
    return text;
}

std::string RepeatInterval::description() const {
    return name();
}

std::string RepeatInterval::analyticsDescription() const {
    return std::to_string(times_) + "/" + std::to_string(days_);
}

bool RepeatInterval::isEqual(const std::any& other) const {
    const auto* interval = std::any_cast<RepeatInterval>(&other);
    return interval != nullptr && *interval == *this;
}

void RepeatInterval::encode(KeyedArchiver& coder) const {
    coder.encodeInteger(times_, "times");
    coder.encodeInteger(days_, "days");
}

std::optional<RepeatInterval> RepeatInterval::decode(KeyedUnarchiver& coder) {
    const std::int64_t times = coder.decodeInteger("times");
    const std::int64_t days = coder.decodeInteger("days");
    return RepeatInterval(times, days);
}

}  // namespace dovrel

#include "DovrelFoundation/Progress/ProgressPass.h"

#include <bit>
#include <iterator>
#include <limits>

#include "platform/foundation/FatalError.h"

namespace dovrel::progress_pass {

bool isPowerOfTwo(double value) {
    constexpr std::uint64_t kMantissa = (std::uint64_t{1} << 52) - 1;
    constexpr std::uint64_t kExponent = std::uint64_t{0x7ff} << 52;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t exponent = bits & kExponent;
    return (bits & kMantissa) == 0 && exponent != 0 && exponent != kExponent;
}

double intervalDivisor(std::int64_t repeatingTimes, std::int64_t perDays) {
    if (repeatingTimes == 0) {
        fatalError("Division by zero: the interval divisor's repeatingTimes is 0");
    }
    if (repeatingTimes == -1 && perDays == std::numeric_limits<std::int64_t>::min()) {
        fatalError(
            "Division results in an overflow: the interval divisor's perDays is the most "
            "negative integer and repeatingTimes is -1");
    }
    return static_cast<double>(perDays / repeatingTimes);
}

void sortDates(std::vector<Date>& dates, CalendarDayIndex& index) {
    if (dates.size() >= 2) {
        for (const Date date : dates) {
            if (std::isnan(date.timeIntervalSinceReferenceDate())) {
                index.dayStart(date);
                fatalError("A checkmark date is not a number");
            }
        }
    }
    std::sort(dates.begin(), dates.end());
}

std::vector<Date> sortedUpTo(std::span<const Date> dates, Date onDate, CalendarDayIndex& index) {
    std::vector<Date> kept;
    kept.reserve(dates.size());
    std::copy_if(dates.begin(), dates.end(), std::back_inserter(kept),
                 [onDate](Date date) { return date <= onDate; });
    sortDates(kept, index);
    return kept;
}

}  // namespace dovrel::progress_pass

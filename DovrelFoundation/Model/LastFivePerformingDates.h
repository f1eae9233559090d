#pragma once

#include <any>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/KeyedArchiver.h"
#include "platform/foundation/KeyedUnarchiver.h"
#include "platform/foundation/SecureCoding.h"

namespace dovrel {

// The latest checkmark dates of a habit, a cache kept beside its checkmarks: at most five
// dates, ascending (oldest first).
//
// Every constructing path sorts the dates it is given ascending and keeps the last five (the
// latest), still ascending. There is deliberately no constructor without dates.
class LastFivePerformingDates final : public SecureCoding {
  public:
    static constexpr std::string_view kClassName = "LastFivePerformingDates";
    static constexpr std::size_t kCapacity = 5;

    LastFivePerformingDates() = delete;
    explicit LastFivePerformingDates(std::vector<Date> dates);

    const std::vector<Date>& dates() const noexcept { return dates_; }

    // True only for another LastFivePerformingDates whose dates are equal element by element
    // (same count, same instants, same order).
    bool isEqual(const std::any& other) const;
    friend bool operator==(const LastFivePerformingDates& lhs,
                           const LastFivePerformingDates& rhs) noexcept {
        return lhs.dates_ == rhs.dates_;
    }

    // Secure coding: the count under the integer key "datesCount", then each date as a date
    // object under "date0", "date1", ... Decoding reads "datesCount" (missing: 0) and, for each
    // index below it, the object under "date<index>", keeping it when it is a representable date
    // (RepresentableDate.h) and skipping anything else (an object of another class, a date that
    // is not a number, infinite or beyond the calendar's reach); the result is built as by the
    // constructor. A negative "datesCount" is a programming error and stops the process.
    std::string className() const override { return std::string(kClassName); }
    void encode(KeyedArchiver& coder) const override;
    static std::optional<LastFivePerformingDates> decode(KeyedUnarchiver& coder);

  private:
    std::vector<Date> dates_;
};

}  // namespace dovrel

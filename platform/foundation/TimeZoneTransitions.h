#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class TimeZone;
U_NAMESPACE_END

namespace dovrel {

// The UTC offsets of one time zone (an IANA identifier, as Region names it) over spans of
// instants, read from ICU's list of the zone's offset changes. Every offset it answers is the
// one ICU's own lookup (TimeZone::getOffset with an instant in UTC) gives for the same instant,
// and every period it lists is checked against that lookup before it is answered.
//
// Instants are milliseconds since 1970-01-01 00:00:00 UTC, ICU's unit. An offset is the total
// (standard plus daylight saving) in milliseconds, added to an instant to get its wall time.
//
// Not safe for concurrent use: ICU zones build their rule caches lazily. Give each thread its
// own instance.
class TimeZoneTransitions {
  public:
    // One change of offset: from `milliseconds` on (inclusive), the offset is `offsetAfter`.
    struct Transition {
        double milliseconds;
        std::int32_t offsetAfter;
    };

    // The offsets over a span [from, to]: `offsetBefore` is in force at `from`, and each listed
    // transition (ascending, all within (from, to]) replaces it.
    struct Periods {
        std::int32_t offsetBefore = 0;
        std::vector<Transition> transitions;

        // The offset in force at `milliseconds`, which must lie within the span.
        std::int32_t offsetAt(double milliseconds) const;
    };

    // The zone named `timeZoneIdentifier`; an unknown identifier is GMT ("Etc/Unknown"), as for
    // Region.
    explicit TimeZoneTransitions(const std::string& timeZoneIdentifier);
    ~TimeZoneTransitions();
    TimeZoneTransitions(const TimeZoneTransitions&) = delete;
    TimeZoneTransitions& operator=(const TimeZoneTransitions&) = delete;

    // ICU's offset at `milliseconds`.
    std::int32_t offset(double milliseconds) const;

    // The offsets over [from, to]. Absent when ICU cannot list the zone's transitions, or when a
    // listed transition disagrees with the offset lookup at its own instant or one millisecond
    // before it: a caller then has no table it can trust and must ask ICU instant by instant.
    std::optional<Periods> periods(double fromMilliseconds, double toMilliseconds) const;

  private:
    std::unique_ptr<U_ICU_NAMESPACE::TimeZone> zone_;
};

}  // namespace dovrel

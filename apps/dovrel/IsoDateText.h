#pragma once

#include <memory>
#include <string>

#include "platform/foundation/Date.h"

namespace dovrel::cli {

// Writes instants as ISO 8601 local times with the zone's offset, to the second
// ("2026-03-10T09:00:00+02:00"), exactly as ICU's pattern "yyyy-MM-dd'T'HH:mm:ssxxx" does in the
// Gregorian calendar of the zone, for the JSON that scripts read.
//
// A habit's detail writes every one of its checkmarks, thousands of dates: each is written here
// from the zone's offset at that instant and the proleptic Gregorian day arithmetic, which costs a
// small fraction of a formatter call. What that arithmetic does not cover the same way is handed
// to ICU's formatter: years before 1600 (ICU's calendar switches to the Julian one in 1582) or
// after 9999, offsets that are not whole minutes (the local mean times of the nineteenth century)
// and dates that are not finite.
//
// Not thread-safe: one instance per thread.
class IsoDateText {
  public:
    // For the zone `timeZoneIdentifier` (an IANA identifier; an unknown one is GMT, as in ICU).
    explicit IsoDateText(const std::string& timeZoneIdentifier);
    ~IsoDateText();
    IsoDateText(const IsoDateText&) = delete;
    IsoDateText& operator=(const IsoDateText&) = delete;

    std::string operator()(Date date) const;
    // The same, always through ICU's formatter (for tests of the arithmetic above).
    std::string formattedByICU(Date date) const;

  private:
    struct Zone;
    std::unique_ptr<Zone> zone_;
};

}  // namespace dovrel::cli

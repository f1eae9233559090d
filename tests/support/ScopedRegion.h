#pragma once

#include <string>

#include "platform/foundation/RegionOverrides.h"

namespace dovrel::testing {

// Pins the current time zone, locale and calendar together for a test's lifetime.
class ScopedRegion {
  public:
    explicit ScopedRegion(const std::string& timeZoneIdentifier,
                          const std::string& localeIdentifier = "en_US",
                          const std::string& calendarIdentifier = "gregorian")
        : zone_(timeZoneIdentifier), locale_(localeIdentifier), calendar_(calendarIdentifier) {}

  private:
    ScopedTimeZone zone_;
    ScopedLocale locale_;
    ScopedCalendar calendar_;
};

}  // namespace dovrel::testing

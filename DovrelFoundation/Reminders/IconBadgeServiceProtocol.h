#pragma once

#include <cstdint>

namespace dovrel {

// The number on the application's launcher icon, readable and writable. The reminder scheduler
// and the notification service hold one optionally (an application without a badge passes
// none). Implementations must be safe to call from any thread.
class IconBadgeServiceProtocol {
  public:
    virtual ~IconBadgeServiceProtocol() = default;

    virtual std::int64_t badgeNumber() const = 0;
    virtual void setBadgeNumber(std::int64_t badgeNumber) = 0;
};

}  // namespace dovrel

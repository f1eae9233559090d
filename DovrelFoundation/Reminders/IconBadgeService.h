#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string_view>

#include "DovrelFoundation/Reminders/IconBadgeServiceProtocol.h"
#include "platform/notifications/LauncherBadge.h"

namespace dovrel {

// The launcher badge of the application group (notifications::LauncherBadge): the number is kept
// in the group's defaults, so every process of the group reads the same one, and every change is
// announced to docks and panels on the session bus (without a bus it is only kept).
//
// Safe to call from any thread; calls on one service are serialised.
class IconBadgeService final : public IconBadgeServiceProtocol {
  public:
    // The badge of the application group `groupIdentifier`.
    explicit IconBadgeService(std::string_view groupIdentifier);
    // A badge over an existing LauncherBadge (for instance LauncherBadge::atPath in tests).
    explicit IconBadgeService(notifications::LauncherBadge badge);

    std::int64_t badgeNumber() const override;
    void setBadgeNumber(std::int64_t badgeNumber) override;

  private:
    mutable std::mutex mutex_;
    notifications::LauncherBadge badge_;
};

}  // namespace dovrel

#include "DovrelFoundation/Reminders/IconBadgeService.h"

#include <utility>

namespace dovrel {

IconBadgeService::IconBadgeService(std::string_view groupIdentifier) : badge_(groupIdentifier) {}

IconBadgeService::IconBadgeService(notifications::LauncherBadge badge) : badge_(std::move(badge)) {}

std::int64_t IconBadgeService::badgeNumber() const {
    std::lock_guard lock(mutex_);
    return badge_.badgeNumber();
}

void IconBadgeService::setBadgeNumber(std::int64_t badgeNumber) {
    std::lock_guard lock(mutex_);
    badge_.setBadgeNumber(badgeNumber);
}

}  // namespace dovrel

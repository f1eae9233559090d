#include "apps/dovrel-notifyd/MissedReminders.h"

#include <map>
#include <variant>

#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"

namespace dovrel::notifyd {

std::set<std::string> olderMissedReminders(
    const std::vector<notifications::PendingNotificationRequest>& pending, Date now) {
    // The latest due request of each habit so far, by index into `pending` (added order).
    std::map<std::string, std::size_t> latest;
    std::set<std::string> dropped;
    for (std::size_t index = 0; index < pending.size(); ++index) {
        const auto& entry = pending[index];
        if (!entry.triggerDate || *entry.triggerDate > now) {
            continue;
        }
        const auto& userInfo = entry.request.content.userInfo;
        const auto found = userInfo.find(kHabitURIRepresentationKey);
        if (found == userInfo.end()) {
            continue;
        }
        const auto* habit = std::get_if<std::string>(&found->second);
        if (habit == nullptr) {
            continue;
        }
        const auto [kept, inserted] = latest.try_emplace(*habit, index);
        if (inserted) {
            continue;
        }
        const auto& previous = pending[kept->second];
        if (*entry.triggerDate >= *previous.triggerDate) {
            dropped.insert(previous.request.identifier);
            kept->second = index;
        } else {
            dropped.insert(entry.request.identifier);
        }
    }
    return dropped;
}

}  // namespace dovrel::notifyd

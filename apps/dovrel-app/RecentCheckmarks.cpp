#include "apps/dovrel-app/RecentCheckmarks.h"

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "platform/store/ManagedObjectContext.h"

namespace dovrel::app {

std::vector<bool> recentCheckmarks(const Habit& habit, Date today, int count) {
    std::vector<bool> checked(static_cast<std::size_t>(count), false);
    if (count <= 0) {
        return checked;
    }
    const Date firstDay = onlyDay(dateInDays(today, -(count - 1)));
    const auto mark = [&](Date date) {
        const auto daysAgo = daysSince(today, date);
        if (daysAgo >= 0 && daysAgo < count) {
            checked[static_cast<std::size_t>(count - 1 - daysAgo)] = true;
        }
    };
    const auto cache = habit.lastFivePerformingDates();
    const bool cacheSuffices =
        cache && (cache->dates().size() < LastFivePerformingDates::kCapacity ||
                  (!cache->dates().empty() && cache->dates().front() < firstDay));
    if (cacheSuffices) {
        for (const Date date : cache->dates()) {
            mark(date);
        }
        return checked;
    }
    const auto request = Performing::fetchRequest(
        store::Key("habit") == habit.objectID() && store::Key("date") >= store::Value(firstDay),
        false, std::nullopt);
    habit.managedObjectContext()->forEachAttributes(
        request, {"date"}, store::AttributeForm::values,
        [&](const store::ManagedObjectID&, const std::vector<store::Value>& values) {
            if (const auto date = values[0].date()) {
                mark(*date);
            }
        });
    return checked;
}

}  // namespace dovrel::app

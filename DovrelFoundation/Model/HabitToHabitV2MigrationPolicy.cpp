#include "DovrelFoundation/Model/HabitToHabitV2MigrationPolicy.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/HabitMigrationPlan.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/MigrationManager.h"

namespace dovrel {

namespace {

using store::ManagedObject;
using store::Value;

constexpr const char* kHabitEntityName = "Habit";
constexpr const char* kPerformingKey = "performing";
constexpr const char* kDateKey = "date";
constexpr const char* kColorKey = "color";
constexpr const char* kRepeatIntervalKey = "repeatInterval";
constexpr const char* kLastFivePerformingDatesKey = "lastFivePerformingDates";
constexpr const char* kLastPerformingDateProgressKey = "lastPerformingDateProgress";

std::string message(const std::string& text) {
    return std::string(HabitToHabitV2MigrationPolicy::kTypeName) + ": " + text;
}

}  // namespace

Color nextPaletteColor() {
    const auto& palette = habitPalette();
    const auto size = static_cast<std::int64_t>(palette.size());
    auto& defaults = UserDefaults::standard();
    const auto previous = defaults.get(previousRandomColorIndex());
    const std::int64_t next =
        previous && *previous >= 0 && *previous < size ? (*previous + 1) % size : 0;
    defaults.set(previousRandomColorIndex(), std::optional<std::int64_t>(next));
    return palette[static_cast<std::size_t>(next)];
}

void HabitToHabitV2MigrationPolicy::createDestinationInstances(
    const std::shared_ptr<ManagedObject>& source, const store::EntityMapping& mapping,
    store::MigrationManager& manager) {
    const std::string& entityName = source->entity().name();
    if (entityName != kHabitEntityName) {
        fatalError(message("this policy was accidentally used to migrate " +
                           (entityName.empty() ? std::string("<no entity name>") : entityName)));
    }

    store::EntityMigrationPolicy::createDestinationInstances(source, mapping, manager);

    const auto destinations = manager.destinationInstances(kHabitToHabitMappingName, {source});
    if (destinations.empty()) {
        fatalError(message("no destination instance created."));
    }
    const auto& destination = destinations.front();

    if (!destination->value(kColorKey).objectAs<Color>()) {
        destination->setValue(Value::object(nextPaletteColor()), kColorKey);
    }
    if (!destination->value(kRepeatIntervalKey).objectAs<RepeatInterval>()) {
        destination->setValue(Value::object(RepeatInterval()), kRepeatIntervalKey);
    }

    const auto performings = source->value(kPerformingKey).objectAs<store::ObjectSet>();
    if (!performings) {
        fatalError(message("performings could not be received."));
    }
    std::vector<Date> dates;
    dates.reserve(performings->size());
    for (const auto& performing : *performings) {
        if (!performing) {
            continue;
        }
        if (auto date = performing->value(kDateKey).date()) {
            dates.push_back(*date);
        }
    }
    if (dates.size() != performings->size()) {
        fatalError(message("performing dates count doesn't equal to performings count."));
    }

    std::sort(dates.begin(), dates.end());
    destination->setValue(Value::object(LastFivePerformingDates(dates)),
                          kLastFivePerformingDatesKey);

    const auto interval = destination->value(kRepeatIntervalKey)
                              .objectAs<RepeatInterval>()
                              .value_or(RepeatInterval());
    destination->setValue(
        Value(HabitProgressCalculator::calculateProgress(dates, interval.times(), interval.days())),
        kLastPerformingDateProgressKey);
}

}  // namespace dovrel

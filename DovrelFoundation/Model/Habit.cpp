#include "DovrelFoundation/Model/Habit.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/Performing.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitProgress.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "DovrelFoundation/Reminders/NextReminderCalculator.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/Predicate.h"
#include "platform/widgets/WidgetCenter.h"

namespace dovrel {

using store::Value;

const store::EntityDescription& Habit::classEntity() {
    static const store::EntityDescription& entity =
        *currentHabitModel()->entity(std::string(kHabitEntityName));
    return entity;
}

std::vector<store::SortDescriptor> Habit::defaultSortDescriptors() {
    return {store::SortDescriptor{"creationDate", true}};
}

void Habit::registerValueTransformers() {
    ::dovrel::registerValueTransformers();
}

// ---- Stored properties ----

std::optional<Color> Habit::color() const {
    return attributeValue("color").objectAs<Color>();
}

void Habit::setColor(const std::optional<Color>& color) {
    setValue(color ? Value::object(*color) : Value(), "color");
}

std::optional<Date> Habit::creationDate() const {
    return attributeValue("creationDate").date();
}

void Habit::setCreationDate(std::optional<Date> date) {
    setValue(Value(date), "creationDate");
}

std::optional<std::string> Habit::name() const {
    return attributeValue("name").string();
}

void Habit::setName(std::optional<std::string> name) {
    setValue(Value(std::move(name)), "name");
}

std::optional<std::string> Habit::question() const {
    return attributeValue("question").string();
}

void Habit::setQuestion(std::optional<std::string> question) {
    setValue(Value(std::move(question)), "question");
}

bool Habit::remind() const {
    return attributeValue("remind").boolean().value_or(false);
}

void Habit::setRemind(bool remind) {
    setValue(remind, "remind");
}

std::optional<Date> Habit::remindTime() const {
    return attributeValue("remindTime").date();
}

void Habit::setRemindTime(std::optional<Date> time) {
    setValue(Value(time), "remindTime");
}

std::optional<RepeatInterval> Habit::repeatInterval() const {
    return attributeValue("repeatInterval").objectAs<RepeatInterval>();
}

void Habit::setRepeatInterval(const std::optional<RepeatInterval>& interval) {
    setValue(interval ? Value::object(*interval) : Value(), "repeatInterval");
}

std::vector<std::shared_ptr<Performing>> Habit::performing() const {
    return loadedPerforming();
}

std::optional<LastFivePerformingDates> Habit::lastFivePerformingDates() const {
    return attributeValue("lastFivePerformingDates").objectAs<LastFivePerformingDates>();
}

void Habit::setLastFivePerformingDates(const std::optional<LastFivePerformingDates>& dates) {
    setValue(dates ? Value::object(*dates) : Value(), "lastFivePerformingDates");
}

double Habit::lastPerformingDateProgress() const {
    return attributeValue("lastPerformingDateProgress").real().value_or(0.0);
}

void Habit::setLastPerformingDateProgress(double progress) {
    setValue(progress, "lastPerformingDateProgress");
}

void Habit::addPerformingObject(const std::shared_ptr<Performing>& performing) {
    addObject(performing, "performing");
}

void Habit::removePerforming(const std::vector<std::shared_ptr<Performing>>& performings) {
    store::ManagedObjectContext* context = managedObjectContext();
    for (const auto& performing : performings) {
        removeObject(performing, "performing");
        // The detached checkmark is an orphan; the model does not keep orphans.
        if (context != nullptr && performing->managedObjectContext() == context) {
            context->deleteObject(performing);
        }
    }
}

std::vector<std::shared_ptr<Performing>> Habit::loadedPerforming() const {
    std::vector<std::shared_ptr<Performing>> members;
    bool faults = false;
    for (auto& member : objects("performing")) {
        auto performing = std::dynamic_pointer_cast<Performing>(std::move(member));
        if (!performing) {
            fatalError("Wrong object type");
        }
        faults = faults || performing->isFault();
        members.push_back(std::move(performing));
    }
    // Reading the members' values one by one would fetch one row per checkmark. One fetch of
    // the habit's checkmarks fills them all instead: the context hands out the objects it has
    // (the ones held here), and a fetch that reads values fills those that are faults.
    store::ManagedObjectContext* context = managedObjectContext();
    if (faults && context != nullptr && !objectID().isTemporaryID()) {
        context->fetch(
            Performing::fetchRequest(store::Key("habit") == objectID(), false, std::nullopt));
        // A member that is still a fault has no row any more: another process removed that
        // checkmark after the relationship was read. It is no longer one of the habit's.
        std::erase_if(members, [](const auto& performing) { return performing->isFault(); });
    }
    loadedMembers_ = members;
    return members;
}

// ---- Derived ----

std::vector<Date> Habit::performingDates() const {
    std::vector<Date> dates;
    for (const auto& performing : loadedPerforming()) {
        if (auto date = performing->date()) {
            dates.push_back(*date);
        }
    }
    return dates;
}

std::vector<std::shared_ptr<Performing>> Habit::performingsSortedByDate() const {
    // Undated checkmarks are left out before sorting, so the comparison only sees dates.
    std::vector<std::pair<Date, std::shared_ptr<Performing>>> dated;
    for (auto& performing : loadedPerforming()) {
        if (auto date = performing->date()) {
            dated.emplace_back(*date, std::move(performing));
        }
    }
    std::stable_sort(dated.begin(), dated.end(),
                     [](const auto& lhs, const auto& rhs) { return lhs.first < rhs.first; });
    std::vector<std::shared_ptr<Performing>> sorted;
    sorted.reserve(dated.size());
    for (auto& entry : dated) {
        sorted.push_back(std::move(entry.second));
    }
    return sorted;
}

std::optional<Date> Habit::lastPerformingDate() const {
    auto cache = lastFivePerformingDates();
    if (!cache || cache->dates().empty()) {
        return std::nullopt;
    }
    return cache->dates().back();
}

std::optional<Date> Habit::nextReminder() const {
    if (!remind()) {
        return std::nullopt;
    }
    const auto reminderTime = remindTime();
    if (!reminderTime) {
        return std::nullopt;
    }
    const auto interval = repeatInterval();
    if (!interval) {
        return std::nullopt;
    }
    const Date now = Clock::now();
    if (interval->times() == 0) {
        fatalError("Division by zero");
    }
    if (interval->times() == -1 && interval->days() == std::numeric_limits<std::int64_t>::min()) {
        fatalError("Division results in an overflow");
    }
    const std::int64_t skipInterval =
        std::max<std::int64_t>(interval->days() / interval->times(), 1);
    return NextReminderCalculator::nextReminder(now, *reminderTime, skipInterval,
                                                lastPerformingDate());
}

std::int64_t Habit::currentProgress() const {
    return progress(Clock::now());
}

// ---- Day queries ----

bool Habit::checkmarksAreLoaded() const {
    return managedObjectContext() == nullptr || !hasFaultForRelationship("performing");
}

store::FetchRequest<Performing> Habit::checkmarksOfDay(const DayBounds& day) const {
    return Performing::fetchRequest(store::Key("habit") == objectID() &&
                                        store::Key("date") >= store::Value(day.start) &&
                                        store::Key("date") <= store::Value(day.end),
                                    false, std::nullopt);
}

std::vector<std::shared_ptr<Performing>> Habit::performings(Date on) const {
    const DayBounds day(on);
    if (!checkmarksAreLoaded()) {
        return managedObjectContext()->fetch(checkmarksOfDay(day));
    }
    std::vector<std::shared_ptr<Performing>> sameDay;
    for (auto& performing : loadedPerforming()) {
        if (auto date = performing->date(); date && day.contains(*date)) {
            sameDay.push_back(std::move(performing));
        }
    }
    return sameDay;
}

bool Habit::hasPerformings(Date on) const {
    if (!checkmarksAreLoaded()) {
        return numberOfPerformings(on) > 0;
    }
    const DayBounds day(on);
    const auto members = loadedPerforming();
    return std::any_of(members.begin(), members.end(), [&](const auto& performing) {
        const auto date = performing->date();
        return date && day.contains(*date);
    });
}

std::int64_t Habit::numberOfPerformings(Date on) const {
    const DayBounds day(on);
    if (!checkmarksAreLoaded()) {
        return managedObjectContext()->count(checkmarksOfDay(day));
    }
    std::int64_t count = 0;
    for (const auto& performing : loadedPerforming()) {
        if (auto date = performing->date(); date && day.contains(*date)) {
            ++count;
        }
    }
    return count;
}

std::int64_t Habit::progress(Date on) const {
    return habitProgress(repeatInterval(), lastFivePerformingDates(), lastPerformingDateProgress(),
                         on, [this] { return performingDates(); });
}

// ---- Mutations ----

void Habit::toggleCheckmark(Date on) {
    store::ManagedObjectContext* context = managedObjectContext();
    if (context == nullptr) {
        fatalError("There is no managed object context to toggle a checkmark of a Habit.");
    }
    // Held for the whole toggle, so that the checkmarks are read from the store at most once.
    const auto members = loadedPerforming();
    auto sameDay = performings(on);
    if (sameDay.empty()) {
        auto performing = context->insertNewObject<Performing>(std::string(kPerformingEntityName));
        performing->setDate(on);
        addPerformingObject(performing);
    } else {
        removePerforming(sameDay);
    }
    updateCachedProgress();
    widgets::WidgetCenter::shared().reloadTimelines(kWidgetKind);
}

void Habit::resetProgress() {
    std::vector<std::shared_ptr<Performing>> members;
    for (auto& member : objects("performing")) {
        auto performing = std::dynamic_pointer_cast<Performing>(std::move(member));
        if (!performing) {
            fatalError("Wrong object type");
        }
        members.push_back(std::move(performing));
    }
    removePerforming(members);
    updateCachedProgress();
}

void Habit::updateCachedProgress() {
    const auto interval = repeatInterval();
    if (!interval) {
        return;
    }
    std::vector<Date> dates = performingDates();
    std::sort(dates.begin(), dates.end());
    // LastFivePerformingDates keeps the latest five, ascending.
    const std::size_t kept = std::min(dates.size(), LastFivePerformingDates::kCapacity);
    setLastFivePerformingDates(LastFivePerformingDates(
        std::vector<Date>(dates.end() - static_cast<std::ptrdiff_t>(kept), dates.end())));
    setLastPerformingDateProgress(
        HabitProgressCalculator::calculateProgress(dates, interval->times(), interval->days()));
}

}  // namespace dovrel

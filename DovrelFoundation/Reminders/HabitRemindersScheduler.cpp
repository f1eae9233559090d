#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string_view>
#include <utility>

#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/Reminders/NextReminderBatch.h"
#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/Localization.h"
#include "platform/store/ManagedObjectID.h"

namespace dovrel {

// What a reminder needs of a habit, copied on the thread that reads the habit so that no
// managed object leaves its context.
struct HabitRemindersScheduler::HabitProjectionForReminder {
    // The identifier is kept as a value and written as its URI only for the reminders made:
    // a long list of habits reaches the notification center with at most 32 of them.
    store::ManagedObjectID objectID;
    std::string objectIDURIRepresentation() const { return objectID.uriRepresentation(); }
    std::string title;
    std::optional<std::string> body;
    std::optional<Date> nextReminder;
};

namespace {

// One reminder of one habit at one instant: the date and the index of the habit's projection.
struct Occurrence {
    Date date;
    std::size_t projection;
};

// A new random (version 4) UUID in its standard text form, from a generator seeded once per
// thread: identifiers only need to differ, and the system's entropy is slow to open each time.
std::string randomUUIDString() {
    thread_local std::mt19937_64 generator(std::random_device{}());
    store::StoreUUID uuid;
    const std::uint64_t high = generator();
    const std::uint64_t low = generator();
    for (std::size_t index = 0; index < 8; ++index) {
        uuid[index] = static_cast<std::uint8_t>(high >> (56 - 8 * index));
        uuid[8 + index] = static_cast<std::uint8_t>(low >> (56 - 8 * index));
    }
    uuid[6] = (uuid[6] & 0x0F) | 0x40;  // version 4
    uuid[8] = (uuid[8] & 0x3F) | 0x80;  // RFC 4122 variant
    return store::uuidString(uuid);
}

bool isEarlier(const Occurrence& a, const Occurrence& b) {
    return a.date < b.date || (a.date == b.date && a.projection < b.projection);
}

}  // namespace

std::shared_ptr<HabitRemindersScheduler> HabitRemindersScheduler::create(
    std::shared_ptr<CoreDataManager> coreDataManager,
    std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter,
    std::shared_ptr<ApplicationSettingsServiceProtocol> appSettingsService,
    std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
    std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker, FileManager fileManager) {
    return std::shared_ptr<HabitRemindersScheduler>(
        new HabitRemindersScheduler(std::move(coreDataManager), std::move(userNotificationCenter),
                                    std::move(appSettingsService), std::move(iconBadgeService),
                                    std::move(analyticsTracker), fileManager));
}

HabitRemindersScheduler::HabitRemindersScheduler(
    std::shared_ptr<CoreDataManager> coreDataManager,
    std::shared_ptr<notifications::UserNotificationCenter> center,
    std::shared_ptr<ApplicationSettingsServiceProtocol> appSettingsService,
    std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
    std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker, FileManager fileManager)
    : coreDataManager_(std::move(coreDataManager)),
      userNotificationCenter_(std::move(center)),
      appSettingsService_(std::move(appSettingsService)),
      iconBadgeService_(std::move(iconBadgeService)),
      analyticsTracker_(std::move(analyticsTracker)),
      calendar_(Region::current()),
      fileManager_(fileManager) {
    if (!coreDataManager_ || !userNotificationCenter_ || !analyticsTracker_) {
        fatalError(
            "HabitRemindersScheduler needs a CoreDataManager, a notification center and "
            "an analytics tracker");
    }
}

std::shared_ptr<HabitsReschedulingStack> HabitRemindersScheduler::habitsReschedulingStack() {
    std::lock_guard lock(stackMutex_);
    if (!habitsReschedulingStack_) {
        std::weak_ptr<HabitRemindersScheduler> weakSelf = weak_from_this();
        habitsReschedulingStack_ = HabitsReschedulingStack::create(
            nullptr, [weakSelf](std::vector<std::string> uris, std::function<void()> done) {
                auto self = weakSelf.lock();
                if (!self) {
                    return;
                }
                // The work runs where the center calls back, as its answers would.
                self->userNotificationCenter_->callbackQueue().async(
                    [weakSelf, uris = std::move(uris), done = std::move(done)]() mutable {
                        if (auto self = weakSelf.lock()) {
                            self->reschedule(uris, std::move(done));
                        }
                    });
            });
    }
    return habitsReschedulingStack_;
}

void HabitRemindersScheduler::rescheduleRemindersForAllHabits(
    std::vector<std::string> cleaningPostponedNotificationsWith, std::function<void()> completion) {
    auto stack = habitsReschedulingStack();
    stack->serialQueue().async([stack, uris = std::move(cleaningPostponedNotificationsWith),
                                completion = std::move(completion)]() mutable {
        stack->add(std::move(uris), std::move(completion));
    });
}

void HabitRemindersScheduler::reschedule(const std::vector<std::string>& habitURIRepresentations,
                                         std::function<void()> done) {
    // Every calendar reminder goes; postponed ones only for the habits named.
    auto removing = [cleaned = std::set<std::string>(habitURIRepresentations.begin(),
                                                     habitURIRepresentations.end())](
                        const notifications::NotificationRequest& request) {
        if (request.trigger &&
            std::holds_alternative<notifications::CalendarNotificationTrigger>(*request.trigger)) {
            return true;
        }
        if (cleaned.empty()) {
            return false;
        }
        const auto found = request.content.userInfo.find(kHabitURIRepresentationKey);
        if (found == request.content.userInfo.end()) {
            return false;
        }
        const auto* uri = std::get_if<std::string>(&found->second);
        return uri != nullptr && cleaned.contains(*uri);
    };

    std::weak_ptr<HabitRemindersScheduler> weakSelf = weak_from_this();
    std::vector<notifications::NotificationRequest> requests;
    try {
        requests = requestsFor(fetchProjections());
    } catch (const Error& error) {
        // The removals stand; nothing is scheduled until the next rescheduling succeeds.
        userNotificationCenter_->replacePendingNotificationRequests(std::move(removing), {});
        DispatchQueue::main().async([weakSelf, error] {
            if (auto self = weakSelf.lock()) {
                self->analyticsTracker_->trackError(error);
            }
        });
        done();
        return;
    }
    // The old reminders go and the new ones come in one transaction of the center, so that
    // another process rescheduling at the same time leaves its own complete set or this one,
    // never both or a mix. This runs on the center's callback queue already: the replacement is
    // made here rather than answered there once more.
    try {
        userNotificationCenter_->replacePendingRequests(removing, requests);
    } catch (const Error& error) {
        analyticsTracker_->trackError(error);
    }
    // The run is over. `done` only hands the requests' completions to the stack's serial queue,
    // where they run, so it is called here rather than after one more hop to a global queue.
    done();
}

namespace {

// The attributes of a habit that its reminders need, in the order fetchAttributes gives them.
const std::vector<std::string> kReminderAttributes = {
    "remind", "name", "remindTime", "repeatInterval", "lastFivePerformingDates", "question"};
enum ReminderAttribute : std::size_t {
    kRemind,
    kName,
    kRemindTime,
    kRepeatInterval,
    kLastFivePerformingDates,
    kQuestion,
};

// The bytes of a string or blob value, or nothing for any other value (null included).
std::optional<std::string_view> heldBytes(const store::Value& value) {
    if (const auto* text = std::get_if<std::string>(&value.storage())) {
        return std::string_view(*text);
    }
    if (const auto* data = std::get_if<Data>(&value.storage())) {
        return std::string_view(reinterpret_cast<const char*>(data->data()), data->size());
    }
    return std::nullopt;
}

// What the scheduler keeps of a reminding habit while it looks for the earliest reminders. Its
// texts and stored blobs are copied into one buffer shared by every habit of the fetch (a
// ReminderArena): a long list costs a few growing allocations instead of several per habit, and
// the rows themselves are never held.
class ReminderArena {
  public:
    // A run of bytes in the buffer; `present` is false for a null value.
    struct Slice {
        std::size_t offset = 0;
        std::size_t size = 0;
        bool present = false;
    };

    Slice keep(const store::Value& value) {
        const auto bytes = heldBytes(value);
        if (!bytes) {
            return Slice{};
        }
        const Slice slice{buffer_.size(), bytes->size(), true};
        buffer_.append(*bytes);
        return slice;
    }
    std::string text(const Slice& slice) const { return buffer_.substr(slice.offset, slice.size); }
    Data data(const Slice& slice) const {
        const auto* first = reinterpret_cast<const std::uint8_t*>(buffer_.data() + slice.offset);
        return Data(first, first + slice.size);
    }

  private:
    std::string buffer_;
};

struct ReminderCandidate {
    store::ManagedObjectID objectID;
    Date reminderTime;
    ReminderArena::Slice name;
    ReminderArena::Slice question;
    ReminderArena::Slice repeatInterval;           // stored form
    ReminderArena::Slice lastFivePerformingDates;  // stored form
};

// The stored forms of the two attributes decoded as the model's value transformers decode them
// (a damaged blob reads as absent).
std::optional<RepeatInterval> repeatInterval(const ReminderArena& arena,
                                             const ReminderArena::Slice& stored) {
    return stored.present ? repeatIntervalFromBlob(arena.data(stored)) : std::nullopt;
}

std::optional<Date> lastPerformingDate(const ReminderArena& arena,
                                       const ReminderArena::Slice& stored) {
    if (!stored.present) {
        return std::nullopt;
    }
    const auto cache = lastFivePerformingDatesFromBlob(arena.data(stored));
    if (!cache || cache->dates().empty()) {
        return std::nullopt;
    }
    return cache->dates().back();
}

}  // namespace

std::vector<HabitRemindersScheduler::HabitProjectionForReminder>
HabitRemindersScheduler::fetchProjections() {
    if (!coreDataManager_->persistentContainer()) {
        fatalError("HabitRemindersScheduler: there is no persistent container to read habits from");
    }
    auto context = coreDataManager_->createNewBackgroundContext();
    std::vector<HabitProjectionForReminder> projections;
    context->performAndWait([&] {
        // Every habit's next reminder at the same instant, with the day arithmetic shared.
        NextReminderBatch nextReminders(Clock::now());
        // The habits in fetch order, as the few attributes a reminder needs: the projections
        // are snapshots, and nothing else of a habit is read. The repeat interval and the
        // checkmark cache stay in their stored form until a habit's next reminder is needed.
        //
        // Each habit that reminds is kept as a ReminderCandidate, with the bound that its next
        // reminder cannot precede (see below); Occurrence::projection is the candidate's index,
        // which follows the fetch order.
        ReminderArena arena;
        std::vector<ReminderCandidate> habits;
        std::vector<Occurrence> bounds;
        context->forEachAttributes(
            Habit::fetchRequest(std::nullopt, false), kReminderAttributes,
            store::AttributeForm::storedData,
            [&](const store::ManagedObjectID& objectID, const std::vector<store::Value>& values) {
                if (!values[kRemind].boolean().value_or(false) || values[kName].isNull()) {
                    return;
                }
                const auto reminderTime = values[kRemindTime].date();
                if (!reminderTime) {
                    return;
                }
                Date bound = nextReminders.earliestPossibleReminder(*reminderTime);
                if (!std::isfinite(bound.timeIntervalSinceReferenceDate())) {
                    // Unordered dates cannot be sorted: such a habit is looked at first.
                    bound = Date(-std::numeric_limits<double>::infinity());
                }
                bounds.push_back(Occurrence{bound, habits.size()});
                habits.push_back(ReminderCandidate{
                    objectID, *reminderTime, arena.keep(values[kName]),
                    arena.keep(values[kQuestion]), arena.keep(values[kRepeatInterval]),
                    arena.keep(values[kLastFivePerformingDates])});
            });

        // Only the habits whose next reminder is among the kMaximumNumberOfNotifications
        // earliest can have a reminder scheduled (a later day of a habit is never earlier than
        // its first), so only they are projected: the same requests come out as from a
        // projection of every habit.
        //
        // Nor is every habit's next reminder worked out: each habit has a bound that its next
        // reminder cannot precede, from its reminder time alone. Habits are taken in the order
        // of their bounds, and once the earliest kMaximumNumberOfNotifications reminders found
        // so far all come before the next bound, no habit left can displace one of them, not
        // even by a tie (which the earlier fetch position would win).
        std::sort(bounds.begin(), bounds.end(), isEarlier);
        // The earliest reminders found so far, as a heap whose front is the latest of them.
        std::vector<Occurrence> candidates;
        candidates.reserve(kMaximumNumberOfNotifications + 1);
        for (const auto& bound : bounds) {
            if (candidates.size() == kMaximumNumberOfNotifications &&
                candidates.front().date < bound.date) {
                break;
            }
            const auto& habit = habits[bound.projection];
            const auto next = nextReminders.nextReminder(
                true, habit.reminderTime, repeatInterval(arena, habit.repeatInterval),
                lastPerformingDate(arena, habit.lastFivePerformingDates));
            if (!next || !std::isfinite(next->timeIntervalSinceReferenceDate())) {
                continue;
            }
            const Occurrence found{*next, bound.projection};
            if (candidates.size() < kMaximumNumberOfNotifications) {
                candidates.push_back(found);
                std::push_heap(candidates.begin(), candidates.end(), isEarlier);
            } else if (isEarlier(found, candidates.front())) {
                std::pop_heap(candidates.begin(), candidates.end(), isEarlier);
                candidates.back() = found;
                std::push_heap(candidates.begin(), candidates.end(), isEarlier);
            }
        }
        std::sort(
            candidates.begin(), candidates.end(),
            [](const Occurrence& a, const Occurrence& b) { return a.projection < b.projection; });
        projections.reserve(candidates.size());
        for (const auto& candidate : candidates) {
            const auto& habit = habits[candidate.projection];
            std::optional<std::string> question;
            if (habit.question.present) {
                question = arena.text(habit.question);
            }
            projections.push_back(HabitProjectionForReminder{habit.objectID, arena.text(habit.name),
                                                             std::move(question), candidate.date});
        }
    });
    return projections;
}

std::optional<HabitRemindersScheduler::HabitProjectionForReminder>
HabitRemindersScheduler::projection(const Habit& habit, NextReminderBatch& nextReminders) {
    auto name = habit.name();
    if (!name) {
        return std::nullopt;
    }
    return HabitProjectionForReminder{habit.objectID(), std::move(*name), habit.question(),
                                      nextReminders.nextReminder(habit)};
}

std::vector<notifications::NotificationRequest> HabitRemindersScheduler::requestsFor(
    const std::vector<HabitProjectionForReminder>& projections) const {
    std::vector<notifications::NotificationRequest> requests;
    if (projections.empty()) {
        return requests;
    }

    // The occurrences are every projection's next reminder and the two following calendar days,
    // listed projection by projection and then sorted by date, equal dates in listed order; the
    // first kMaximumNumberOfNotifications are scheduled. A habit with an occurrence among those
    // has its first occurrence among the same number of earliest first occurrences (a later day
    // is never earlier), so only those habits are expanded: the outcome is the same, without
    // three calendar additions per habit of a long list. A date that is not finite cannot be
    // placed on a calendar and gives no occurrence.
    std::vector<Occurrence> firsts;
    firsts.reserve(projections.size());
    for (std::size_t index = 0; index < projections.size(); ++index) {
        const auto& nextReminder = projections[index].nextReminder;
        if (nextReminder && std::isfinite(nextReminder->timeIntervalSinceReferenceDate())) {
            firsts.push_back(Occurrence{*nextReminder, index});
        }
    }
    if (firsts.size() > kMaximumNumberOfNotifications) {
        std::partial_sort(firsts.begin(), firsts.begin() + kMaximumNumberOfNotifications,
                          firsts.end(), isEarlier);
        firsts.resize(kMaximumNumberOfNotifications);
        std::sort(firsts.begin(), firsts.end(), [](const Occurrence& a, const Occurrence& b) {
            return a.projection < b.projection;
        });
    }

    const Region region = Region::current();
    std::vector<Occurrence> occurrences;
    occurrences.reserve(firsts.size() * kReminderDaysPerHabit);
    for (const auto& first : firsts) {
        occurrences.push_back(first);
        for (int day = 1; day < kReminderDaysPerHabit; ++day) {
            DateComponents offset;
            offset.day = day;
            const auto later = region.dateByAdding(offset, first.date);
            if (later && std::isfinite(later->timeIntervalSinceReferenceDate())) {
                occurrences.push_back(Occurrence{*later, first.projection});
            }
        }
    }
    std::stable_sort(occurrences.begin(), occurrences.end(),
                     [](const Occurrence& a, const Occurrence& b) { return a.date < b.date; });
    if (occurrences.size() > kMaximumNumberOfNotifications) {
        occurrences.resize(kMaximumNumberOfNotifications);
    }

    requests.reserve(occurrences.size());
    std::int64_t number = 0;
    for (const auto& occurrence : occurrences) {
        ++number;
        const DateComponents all = calendar_.components(occurrence.date);
        DateComponents components;
        components.year = all.year;
        components.month = all.month;
        components.day = all.day;
        components.hour = all.hour;
        components.minute = all.minute;
        notifications::CalendarNotificationTrigger trigger(std::move(components), false,
                                                           calendar_.calendarIdentifier());
        requests.push_back(makeRequest(projections[occurrence.projection], std::move(trigger),
                                       occurrence.date, occurrence.date, number));
    }
    return requests;
}

void HabitRemindersScheduler::scheduleReminder(const Habit& habit, TimeInterval after,
                                               std::optional<Date> firstNotificationDate,
                                               std::function<void()> completion) {
    NextReminderBatch nextReminder(Clock::now());
    const auto made = projection(habit, nextReminder);
    if (!made) {
        return;
    }
    const Date currentNotificationDate = Clock::now() + after;
    const auto request =
        makeRequest(*made, notifications::TimeIntervalNotificationTrigger(after, false),
                    currentNotificationDate, firstNotificationDate, std::nullopt);
    std::weak_ptr<HabitRemindersScheduler> weakSelf = weak_from_this();
    userNotificationCenter_->add(
        request, [weakSelf, completion = std::move(completion)](std::optional<Error> error) {
            if (error) {
                if (auto self = weakSelf.lock()) {
                    self->analyticsTracker_->trackError(*error);
                }
            }
            if (completion) {
                DispatchQueue::main().async(completion);
            }
        });
}

notifications::NotificationRequest HabitRemindersScheduler::makeRequest(
    const HabitProjectionForReminder& projection, notifications::NotificationTrigger trigger,
    Date currentNotificationDate, std::optional<Date> firstNotificationDate,
    std::optional<std::int64_t> badge) const {
    notifications::NotificationContent content;
    content.title = projection.title;
    content.body =
        projection.body ? *projection.body : Localization::localizedString(kDefaultBodyKey);
    content.sound = notifications::NotificationSound::defaultSound();
    content.badge = badge;
    content.userInfo.emplace(kHabitURIRepresentationKey, projection.objectIDURIRepresentation());
    if (firstNotificationDate) {
        content.userInfo.emplace(kFirstNotificationDateKey, *firstNotificationDate);
    }
    content.userInfo.emplace(kCurrentNotificationDateKey, currentNotificationDate);
    content.categoryIdentifier = kHabitReminderCategoryIdentifier;
    return notifications::NotificationRequest{randomUUIDString(), std::move(content),
                                              std::move(trigger)};
}

}  // namespace dovrel

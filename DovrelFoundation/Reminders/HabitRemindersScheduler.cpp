#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <utility>

#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/Reminders/NextReminderBatch.h"
#include "platform/dispatch/DispatchGroup.h"
#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/Localization.h"
#include "platform/store/ManagedObjectID.h"

namespace dovrel {

// What a reminder needs of a habit, copied on the thread that reads the habit so that no
// managed object leaves its context.
struct HabitRemindersScheduler::HabitProjectionForReminder {
    std::string objectIDURIRepresentation;
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
                self->userNotificationCenter_->getPendingNotificationRequests(
                    [weakSelf, uris = std::move(uris), done = std::move(done)](
                        std::vector<notifications::NotificationRequest> pending) {
                        auto self = weakSelf.lock();
                        if (!self) {
                            return;
                        }
                        self->reschedule(pending, uris, done);
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

void HabitRemindersScheduler::reschedule(
    const std::vector<notifications::NotificationRequest>& pending,
    const std::vector<std::string>& habitURIRepresentations, std::function<void()> done) {
    // Every calendar reminder goes; postponed ones only for the habits named.
    const std::set<std::string> cleaned(habitURIRepresentations.begin(),
                                        habitURIRepresentations.end());
    std::vector<std::string> removed;
    for (const auto& request : pending) {
        const bool calendarTriggered =
            request.trigger &&
            std::holds_alternative<notifications::CalendarNotificationTrigger>(*request.trigger);
        bool postponedOfCleanedHabit = false;
        if (!calendarTriggered && !cleaned.empty()) {
            const auto found = request.content.userInfo.find(kHabitURIRepresentationKey);
            if (found != request.content.userInfo.end()) {
                const auto* uri = std::get_if<std::string>(&found->second);
                postponedOfCleanedHabit = uri != nullptr && cleaned.contains(*uri);
            }
        }
        if (calendarTriggered || postponedOfCleanedHabit) {
            removed.push_back(request.identifier);
        }
    }
    if (!removed.empty()) {
        userNotificationCenter_->removePendingNotificationRequests(removed);
    }

    std::vector<HabitProjectionForReminder> projections;
    try {
        projections = fetchProjections();
    } catch (const Error& error) {
        std::weak_ptr<HabitRemindersScheduler> weakSelf = weak_from_this();
        DispatchQueue::main().async([weakSelf, error] {
            if (auto self = weakSelf.lock()) {
                self->analyticsTracker_->trackError(error);
            }
        });
        done();
        return;
    }
    scheduleProjections(projections, std::move(done));
}

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
        const auto habits = context->fetch(Habit::fetchRequest(std::nullopt, false));
        projections.reserve(habits.size());
        for (const auto& habit : habits) {
            if (!habit->remind()) {
                continue;
            }
            if (auto made = projection(*habit, nextReminders)) {
                projections.push_back(std::move(*made));
            }
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
    return HabitProjectionForReminder{habit.objectID().uriRepresentation(), std::move(*name),
                                      habit.question(), nextReminders.nextReminder(habit)};
}

void HabitRemindersScheduler::scheduleProjections(
    const std::vector<HabitProjectionForReminder>& projections, std::function<void()> done) {
    if (projections.empty()) {
        done();
        return;
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

    DispatchGroup group;
    std::weak_ptr<HabitRemindersScheduler> weakSelf = weak_from_this();
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
        const auto request = makeRequest(projections[occurrence.projection], std::move(trigger),
                                         occurrence.date, occurrence.date, number);
        group.enter();
        userNotificationCenter_->add(request,
                                     [weakSelf, group](std::optional<Error> error) mutable {
                                         if (error) {
                                             if (auto self = weakSelf.lock()) {
                                                 self->analyticsTracker_->trackError(*error);
                                             }
                                         }
                                         group.leave();
                                     });
    }
    group.notify(DispatchQueue::global(DispatchQoS::background), std::move(done));
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
    content.userInfo.emplace(kHabitURIRepresentationKey, projection.objectIDURIRepresentation);
    if (firstNotificationDate) {
        content.userInfo.emplace(kFirstNotificationDateKey, *firstNotificationDate);
    }
    content.userInfo.emplace(kCurrentNotificationDateKey, currentNotificationDate);
    content.categoryIdentifier = kHabitReminderCategoryIdentifier;
    return notifications::NotificationRequest{randomUUIDString(), std::move(content),
                                              std::move(trigger)};
}

}  // namespace dovrel

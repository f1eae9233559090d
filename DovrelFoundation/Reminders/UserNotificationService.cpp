#include "DovrelFoundation/Reminders/UserNotificationService.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "DovrelFoundation/Analytics/AnalyticsTrackerProtocol.h"
#include "DovrelFoundation/Analytics/EventSource.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Persistence/CoreDataManager.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"
#include "DovrelFoundation/Reminders/IconBadgeServiceProtocol.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/FatalError.h"
#include "platform/foundation/Localization.h"
#include "platform/foundation/URL.h"
#include "platform/store/PersistentStoreCoordinator.h"

namespace dovrel {

namespace {

using notifications::AuthorizationOptions;
using notifications::NotificationUserInfo;

std::optional<Date> userInfoDate(const NotificationUserInfo& userInfo, const char* key) {
    const auto found = userInfo.find(key);
    if (found == userInfo.end()) {
        return std::nullopt;
    }
    if (const auto* date = std::get_if<Date>(&found->second)) {
        return *date;
    }
    return std::nullopt;
}

// Runs `completionHandler` at most once, whichever copy calls it.
std::function<void()> once(std::function<void()> completionHandler) {
    auto pending = std::make_shared<std::function<void()>>(std::move(completionHandler));
    auto called = std::make_shared<std::once_flag>();
    return [pending, called] {
        std::call_once(*called, [&] {
            if (*pending) {
                (*pending)();
            }
        });
    };
}

}  // namespace

std::string habitRegularity(const Habit& habit) {
    const auto interval = habit.repeatInterval();
    if (!interval) {
        return "no repeatInterval";
    }
    return std::to_string(interval->times()) + "/" + std::to_string(interval->days());
}

std::shared_ptr<UserNotificationService> UserNotificationService::create(
    std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter,
    std::shared_ptr<HabitRemindersScheduler> habitRemindersScheduler,
    std::shared_ptr<CoreDataManager> coreDataManager,
    std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
    std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker) {
    std::shared_ptr<UserNotificationService> service(new UserNotificationService(
        std::move(userNotificationCenter), std::move(habitRemindersScheduler),
        std::move(coreDataManager), std::move(iconBadgeService), std::move(analyticsTracker)));
    service->userNotificationCenter_->setDelegate(service);
    return service;
}

UserNotificationService::UserNotificationService(
    std::shared_ptr<notifications::UserNotificationCenter> userNotificationCenter,
    std::shared_ptr<HabitRemindersScheduler> habitRemindersScheduler,
    std::shared_ptr<CoreDataManager> coreDataManager,
    std::shared_ptr<IconBadgeServiceProtocol> iconBadgeService,
    std::shared_ptr<AnalyticsTrackerProtocol> analyticsTracker)
    : userNotificationCenter_(std::move(userNotificationCenter)),
      habitRemindersScheduler_(std::move(habitRemindersScheduler)),
      coreDataManager_(std::move(coreDataManager)),
      iconBadgeService_(std::move(iconBadgeService)),
      analyticsTracker_(std::move(analyticsTracker)) {
    if (!userNotificationCenter_ || !habitRemindersScheduler_ || !coreDataManager_ ||
        !analyticsTracker_) {
        fatalError(
            "UserNotificationService needs a notification center, a scheduler, a "
            "CoreDataManager and an analytics tracker");
    }
}

// ---- Authorization ----

void UserNotificationService::requestProvisionalAuthorization() {
    requestAuthorization(DispatchQueue::main(),
                         AuthorizationOptions::badge | AuthorizationOptions::sound |
                             AuthorizationOptions::alert | AuthorizationOptions::provisional,
                         nullptr);
}

void UserNotificationService::requestAuthorization(DispatchQueue queue,
                                                   std::function<void(bool)> completion) {
    requestAuthorization(
        std::move(queue),
        AuthorizationOptions::badge | AuthorizationOptions::sound | AuthorizationOptions::alert,
        std::move(completion));
}

void UserNotificationService::requestAuthorization(DispatchQueue queue,
                                                   notifications::AuthorizationOptions options,
                                                   std::function<void(bool)> completion) {
    std::weak_ptr<UserNotificationService> weakSelf = weak_from_this();
    userNotificationCenter_->requestAuthorization(
        options, [weakSelf, queue = std::move(queue), completion = std::move(completion)](
                     bool granted, std::optional<Error> error) mutable {
            auto self = weakSelf.lock();
            if (!self) {
                return;
            }
            self->analyticsTracker_->trackNotificationsAllowed(granted);
            if (error) {
                self->analyticsTracker_->trackError(*error);
            }
            if (completion) {
                queue.async([completion = std::move(completion), granted] { completion(granted); });
            }
        });
}

void UserNotificationService::getCurrentAuthorizationStatus(
    DispatchQueue queue, std::function<void(notifications::AuthorizationStatus)> completion) {
    userNotificationCenter_->getNotificationSettings(
        [queue = std::move(queue),
         completion = std::move(completion)](notifications::NotificationSettings settings) mutable {
            if (!completion) {
                return;
            }
            queue.async([completion = std::move(completion),
                         status = settings.authorizationStatus] { completion(status); });
        });
}

// ---- Category ----

void UserNotificationService::registerNotificationCategories() {
    notifications::NotificationCategory category;
    category.identifier = kHabitReminderCategoryIdentifier;
    for (const auto action : HabitReminderAction::allCases()) {
        const std::string identifier(action.rawValue());
        category.actions.push_back(
            notifications::NotificationAction{identifier, Localization::localizedString(identifier),
                                              notifications::NotificationActionOptions::none});
    }
    userNotificationCenter_->setNotificationCategories({category});
}

// ---- Delegate ----

void UserNotificationService::willPresent(
    notifications::UserNotificationCenter&, const notifications::Notification&,
    std::function<void(notifications::PresentationOptions)> completionHandler) {
    completionHandler(notifications::PresentationOptions::sound |
                      notifications::PresentationOptions::alert);
}

void UserNotificationService::didReceive(notifications::UserNotificationCenter&,
                                         const notifications::NotificationResponse& response,
                                         std::function<void()> completionHandler) {
    auto finish = once(std::move(completionHandler));
    if (response.notification.request.content.categoryIdentifier !=
        kHabitReminderCategoryIdentifier) {
        finish();
        return;
    }
    if (!HabitReminderAction::fromRawValue(response.actionIdentifier)) {
        finish();
        return;
    }
    // The view context may only be used on its own (the main) queue.
    std::weak_ptr<UserNotificationService> weakSelf = weak_from_this();
    const auto& viewContext = coreDataManager_->viewContext();
    viewContext->perform([weakSelf, response, finish] {
        auto self = weakSelf.lock();
        if (!self) {
            finish();
            return;
        }
        self->handleAction(response, response.actionIdentifier, finish);
    });
}

void UserNotificationService::handleAction(const notifications::NotificationResponse& response,
                                           const std::string& actionIdentifier,
                                           std::function<void()> completionHandler) {
    const auto action = HabitReminderAction::fromRawValue(actionIdentifier);
    const NotificationUserInfo& userInfo = response.notification.request.content.userInfo;

    // The habit.
    const auto uriValue = userInfo.find(kHabitURIRepresentationKey);
    const std::string* uriText =
        uriValue == userInfo.end() ? nullptr : std::get_if<std::string>(&uriValue->second);
    if (uriText == nullptr) {
        completionHandler();
        return;
    }
    const auto url = URL::fromString(*uriText);
    auto& viewContext = *coreDataManager_->viewContext();
    const auto& coordinator = viewContext.persistentStoreCoordinator();
    const auto objectID =
        url && coordinator ? coordinator->managedObjectID(url->absoluteString()) : std::nullopt;
    if (!objectID) {
        completionHandler();
        return;
    }
    std::shared_ptr<store::ManagedObject> object;
    try {
        object = viewContext.existingObject(*objectID);
    } catch (const Error& error) {
        analyticsTracker_->trackError(error);
        completionHandler();
        return;
    }
    auto habit = std::dynamic_pointer_cast<Habit>(object);
    if (!habit) {
        completionHandler();
        return;
    }

    // The answer.
    const auto firstNotificationDate = userInfoDate(userInfo, kFirstNotificationDateKey);
    const auto currentNotificationDate = userInfoDate(userInfo, kCurrentNotificationDateKey);
    const Date now = Clock::now();
    std::optional<std::int64_t> minutesSinceFirst;
    if (firstNotificationDate) {
        minutesSinceFirst = minutesSince(now, *firstNotificationDate);
    }
    std::optional<std::int64_t> minutesSinceLast;
    if (currentNotificationDate) {
        minutesSinceLast = minutesSince(now, *currentNotificationDate);
    }
    analyticsTracker_->trackNotificationAction(
        actionIdentifier, habit->name().value_or(""), habit->question().value_or(""),
        habit->remind(), habitRegularity(*habit), static_cast<double>(habit->progress(now)),
        minutesSinceFirst, minutesSinceLast);

    if (const auto interval = action->postponeInterval()) {
        habitRemindersScheduler_->scheduleReminder(*habit, *interval, firstNotificationDate,
                                                   completionHandler);
        return;
    }
    complete(habit, firstNotificationDate.value_or(now), std::move(completionHandler));
}

void UserNotificationService::complete(const std::shared_ptr<Habit>& habit, Date checkmarkDay,
                                       std::function<void()> completionHandler) {
    store::ManagedObjectContext* context = habit->managedObjectContext();
    if (context == nullptr) {
        completionHandler();
        return;
    }
    std::weak_ptr<UserNotificationService> weakSelf = weak_from_this();
    performChangesRetryingOnConflict(
        *context,
        [habit, checkmarkDay](store::ManagedObjectContext&) {
            habit->toggleCheckmark(checkmarkDay);
        },
        [weakSelf, habit, checkmarkDay, completionHandler] {
            auto self = weakSelf.lock();
            if (!self) {
                completionHandler();
                return;
            }
            const Date now = Clock::now();
            const auto dates = habit->performingDates();
            const bool isCheckmarkOn =
                std::find(dates.begin(), dates.end(), checkmarkDay) != dates.end();
            self->analyticsTracker_->trackToggleCheckmark(
                EventSource::richNotification, habit->name().value_or(""),
                habit->question().value_or(""), habit->remind(), habitRegularity(*habit),
                static_cast<double>(habit->progress(now)), isCheckmarkOn,
                daysSince(now, checkmarkDay));

            if (self->iconBadgeService_) {
                const std::int64_t badgeNumber = self->iconBadgeService_->badgeNumber();
                if (badgeNumber == std::numeric_limits<std::int64_t>::min()) {
                    fatalError(kBadgeOverflowMessage);
                }
                self->iconBadgeService_->setBadgeNumber(badgeNumber - 1);
            }

            auto stack = self->habitRemindersScheduler_->habitsReschedulingStack();
            stack->serialQueue().async(
                [stack, completionHandler] { stack->add({}, completionHandler); });
        },
        [completionHandler](const Error&) { completionHandler(); });
}

}  // namespace dovrel

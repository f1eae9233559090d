#include "platform/notifications/UserNotificationCenter.h"

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <set>
#include <unordered_map>
#include <utility>

#include "platform/foundation/Clock.h"
#include "platform/foundation/FileManager.h"
#include "platform/foundation/UserDefaults.h"
#include "platform/notifications/NotificationCoding.h"
#include "platform/notifications/NotificationStore.h"
#include "platform/notifications/NotificationsLog.h"

namespace dovrel::notifications {

namespace {

constexpr const char* kCallbackQueueLabel = "UserNotificationCenter's callback queue";

// A pending row read back: the request, its dates, and the texts it was stored with.
struct DecodedPending {
    PendingNotificationRequest pending;
    const PendingRow* row;
};

bool repeats(const std::optional<NotificationTrigger>& trigger) {
    if (!trigger) {
        return false;
    }
    return std::visit([](const auto& held) { return held.repeats(); }, *trigger);
}

// The date on which a stored request is next due (see PendingNotificationRequest).
std::optional<Date> triggerDate(const std::optional<NotificationTrigger>& trigger,
                                const PendingRow& row, Date addedDate) {
    if (!trigger) {
        return addedDate;
    }
    if (const auto* calendar = std::get_if<CalendarNotificationTrigger>(&*trigger)) {
        const Date after =
            calendar->repeats() && row.lastFireDate ? Date(*row.lastFireDate) : addedDate;
        return calendar->nextTriggerDate(after);
    }
    const auto& interval = std::get<TimeIntervalNotificationTrigger>(*trigger);
    return row.fireDate ? Date(*row.fireDate) : addedDate + interval.timeInterval();
}

// The request of a pending row, or nothing (and a warning) when the row is damaged.
// The trigger date is computed only when `withTriggerDate` (a calendar trigger's date is a walk
// through the calendar).
std::optional<DecodedPending> decodePending(const PendingRow& row,
                                            const std::filesystem::path& file,
                                            bool withTriggerDate = true) {
    try {
        if (!row.content || !row.addedDate) {
            throw NotificationDecodingError("a column is missing or of the wrong type");
        }
        PendingNotificationRequest pending;
        pending.request.identifier = row.identifier;
        pending.request.content = decodeContent(*row.content);
        if (row.trigger) {
            pending.request.trigger = decodeTrigger(*row.trigger);
        }
        pending.addedDate = Date(*row.addedDate);
        if (withTriggerDate) {
            pending.triggerDate = triggerDate(pending.request.trigger, row, pending.addedDate);
        }
        return DecodedPending{std::move(pending), &row};
    } catch (const NotificationDecodingError& error) {
        notificationsLogger().warn("Skipped the damaged pending request \"{}\" in {}: {}",
                                   row.identifier, file.string(), error.what());
        return std::nullopt;
    }
}

std::optional<Notification> decodeDelivered(const DeliveredRow& row,
                                            const std::filesystem::path& file) {
    try {
        if (!row.content || !row.date) {
            throw NotificationDecodingError("a column is missing or of the wrong type");
        }
        Notification notification;
        notification.date = Date(*row.date);
        notification.request.identifier = row.identifier;
        notification.request.content = decodeContent(*row.content);
        if (row.trigger) {
            notification.request.trigger = decodeTrigger(*row.trigger);
        }
        return notification;
    } catch (const NotificationDecodingError& error) {
        notificationsLogger().warn("Skipped the damaged delivered notification \"{}\" in {}: {}",
                                   row.identifier, file.string(), error.what());
        return std::nullopt;
    }
}

// The next fire date of a repeating time-interval trigger that was due at `fireDate`: the first
// date of its rhythm after `now` (occurrences missed meanwhile are delivered once, not each).
double nextIntervalFireDate(double fireDate, TimeInterval interval, Date now) {
    const double elapsed = now.timeIntervalSinceReferenceDate() - fireDate;
    const double steps = std::floor(std::max(elapsed, 0.0) / interval) + 1;
    return fireDate + steps * interval;
}

}  // namespace

struct UserNotificationCenter::Implementation {
    Implementation(const std::filesystem::path& storeFile, UserDefaults suite)
        : store(storeFile, kErrorDomain), defaults(std::move(suite)) {}

    NotificationStore store;
    UserDefaults defaults;
    DispatchQueue callbackQueue{kCallbackQueueLabel};
    mutable std::mutex delegateMutex;
    std::weak_ptr<UserNotificationCenterDelegate> delegate;
    // The requests of pending rows that this center wrote or has decoded, by row sequence. A
    // row's request never changes (a replaced request gets a new row) and sequences are never
    // reused, so a known sequence needs no decoding. Rows that are no longer pending are dropped
    // at each replacement.
    std::unordered_map<std::int64_t, NotificationRequest> knownRequests;
    std::mutex knownRequestsMutex;

    std::vector<PendingNotificationRequest> pending() {
        std::vector<PendingNotificationRequest> result;
        store.read([&](NotificationStore::Transaction& transaction) {
            result.clear();
            const auto rows = transaction.pendingRows();
            for (const auto& row : rows) {
                if (auto decoded = decodePending(row, store.path())) {
                    result.push_back(std::move(decoded->pending));
                }
            }
        });
        return result;
    }

    std::vector<Notification> delivered() {
        std::vector<Notification> result;
        store.read([&](NotificationStore::Transaction& transaction) {
            result.clear();
            for (const auto& row : transaction.deliveredRows()) {
                if (auto notification = decodeDelivered(row, store.path())) {
                    result.push_back(std::move(*notification));
                }
            }
        });
        return result;
    }

    std::vector<NotificationCategory> categories() {
        std::vector<NotificationCategory> result;
        store.read([&](NotificationStore::Transaction& transaction) {
            result.clear();
            for (const auto& encoded : transaction.categories()) {
                try {
                    result.push_back(decodeCategory(encoded));
                } catch (const NotificationDecodingError& error) {
                    notificationsLogger().warn("Skipped a damaged category in {}: {}",
                                               store.path().string(), error.what());
                }
            }
        });
        return result;
    }

    // Runs a write whose failure nobody is told of but the log.
    void writeLogging(const char* what, const NotificationStore::Body& body) {
        try {
            store.write(body);
        } catch (const Error& error) {
            notificationsLogger().error("Could not {}: {}", what, error.localizedDescription());
        }
    }
};

std::shared_ptr<UserNotificationCenter> UserNotificationCenter::forApplicationGroup(
    std::string_view groupIdentifier) {
    const auto container = FileManager::containerURL(groupIdentifier);
    if (!container) {
        throw Error(
            kErrorDomain, SQLITE_CANTOPEN,
            {{Error::kLocalizedDescriptionKey,
              "the application group \"" + std::string(groupIdentifier) + "\" has no container"}});
    }
    return std::shared_ptr<UserNotificationCenter>(
        new UserNotificationCenter(std::make_unique<Implementation>(
            *container / kStoreFileName, UserDefaults(groupIdentifier))));
}

std::shared_ptr<UserNotificationCenter> UserNotificationCenter::atPath(
    const std::filesystem::path& storeFile, const std::filesystem::path& defaultsFile) {
    return std::shared_ptr<UserNotificationCenter>(new UserNotificationCenter(
        std::make_unique<Implementation>(storeFile, UserDefaults::atPath(defaultsFile))));
}

UserNotificationCenter::UserNotificationCenter(std::unique_ptr<Implementation> implementation)
    : implementation_(std::move(implementation)) {}

UserNotificationCenter::~UserNotificationCenter() = default;

const std::filesystem::path& UserNotificationCenter::storePath() const noexcept {
    return implementation_->store.path();
}

DispatchQueue UserNotificationCenter::callbackQueue() const {
    return implementation_->callbackQueue;
}

void UserNotificationCenter::setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) {
    std::lock_guard lock(implementation_->delegateMutex);
    implementation_->delegate = std::move(delegate);
}

std::shared_ptr<UserNotificationCenterDelegate> UserNotificationCenter::delegate() const {
    std::lock_guard lock(implementation_->delegateMutex);
    return implementation_->delegate.lock();
}

// Authorization.

void UserNotificationCenter::requestAuthorization(
    AuthorizationOptions, std::function<void(bool, std::optional<Error>)> completion) {
    bool granted = false;
    std::optional<Error> error;
    try {
        implementation_->defaults.set(kAuthorizationRequestedKey, UserDefaults::Value(true));
        granted = remindersEnabled();
    } catch (const Error& failure) {
        error = failure;
    }
    if (completion) {
        implementation_->callbackQueue.async(
            [completion = std::move(completion), granted, error = std::move(error)] {
                completion(granted, error);
            });
    }
}

void UserNotificationCenter::getNotificationSettings(
    std::function<void(NotificationSettings)> completion) {
    NotificationSettings settings;
    if (!remindersEnabled()) {
        settings.authorizationStatus = AuthorizationStatus::denied;
    } else {
        const auto asked = implementation_->defaults.object(kAuthorizationRequestedKey);
        const bool requested =
            asked && std::holds_alternative<bool>(*asked) && std::get<bool>(*asked);
        settings.authorizationStatus =
            requested ? AuthorizationStatus::authorized : AuthorizationStatus::notDetermined;
    }
    if (completion) {
        implementation_->callbackQueue.async(
            [completion = std::move(completion), settings] { completion(settings); });
    }
}

bool UserNotificationCenter::remindersEnabled() const {
    const auto stored = implementation_->defaults.object(kRemindersEnabledKey);
    if (stored && std::holds_alternative<bool>(*stored)) {
        return std::get<bool>(*stored);
    }
    return true;
}

void UserNotificationCenter::setRemindersEnabled(bool enabled) {
    implementation_->defaults.set(kRemindersEnabledKey, UserDefaults::Value(enabled));
}

// Categories.

void UserNotificationCenter::setNotificationCategories(
    const std::vector<NotificationCategory>& categories) {
    // A set of categories: one per identifier, the first one given.
    std::vector<std::string> encoded;
    std::set<std::string> identifiers;
    for (const auto& category : categories) {
        if (identifiers.insert(category.identifier).second) {
            encoded.push_back(encodeCategory(category));
        }
    }
    implementation_->writeLogging("register the notification categories",
                                  [&](NotificationStore::Transaction& transaction) {
                                      transaction.replaceCategories(encoded);
                                  });
}

void UserNotificationCenter::getNotificationCategories(
    std::function<void(std::vector<NotificationCategory>)> completion) {
    std::vector<NotificationCategory> categories;
    try {
        categories = implementation_->categories();
    } catch (const Error& error) {
        notificationsLogger().error("Could not read the notification categories: {}",
                                    error.localizedDescription());
    }
    if (completion) {
        implementation_->callbackQueue.async(
            [completion = std::move(completion), categories = std::move(categories)] {
                completion(categories);
            });
    }
}

std::vector<NotificationCategory> UserNotificationCenter::notificationCategories() const {
    return implementation_->categories();
}

// Pending requests.

namespace {

// A request as it is written: its encoded content and trigger, and a time-interval trigger's fire
// date fixed now.
struct EncodedRequest {
    const NotificationRequest* request;
    std::string content;
    std::optional<std::string> trigger;
    std::optional<double> fireDate;
};

std::vector<EncodedRequest> encodeRequests(const std::vector<NotificationRequest>& requests,
                                           Date now) {
    std::vector<EncodedRequest> encoded;
    encoded.reserve(requests.size());
    for (const auto& request : requests) {
        EncodedRequest entry{&request, encodeContent(request.content), std::nullopt, std::nullopt};
        if (request.trigger) {
            entry.trigger = encodeTrigger(*request.trigger);
            if (const auto* interval =
                    std::get_if<TimeIntervalNotificationTrigger>(&*request.trigger)) {
                entry.fireDate = (now + interval->timeInterval()).timeIntervalSinceReferenceDate();
            }
        }
        encoded.push_back(std::move(entry));
    }
    return encoded;
}

// Writes the requests and returns the sequences of their rows, in their order.
std::vector<std::int64_t> insertRequests(NotificationStore::Transaction& transaction,
                                         const std::vector<EncodedRequest>& encoded, Date now) {
    std::vector<std::int64_t> sequences;
    sequences.reserve(encoded.size());
    for (const auto& entry : encoded) {
        // Replacing puts the request last: it is added anew.
        transaction.deletePending(entry.request->identifier);
        sequences.push_back(
            transaction.insertPending(entry.request->identifier, entry.content, entry.trigger,
                                      now.timeIntervalSinceReferenceDate(), entry.fireDate));
    }
    return sequences;
}

std::string identifiersText(const std::vector<NotificationRequest>& requests) {
    std::string text;
    for (const auto& request : requests) {
        text += (text.empty() ? "\"" : ", \"") + request.identifier + "\"";
    }
    return text;
}

}  // namespace

void UserNotificationCenter::add(const NotificationRequest& request,
                                 std::function<void(std::optional<Error>)> completion) {
    add(std::vector<NotificationRequest>{request}, std::move(completion));
}

void UserNotificationCenter::add(const std::vector<NotificationRequest>& requests,
                                 std::function<void(std::optional<Error>)> completion) {
    replacePendingNotificationRequests(
        nullptr, requests,
        completion ? [completion = std::move(completion)](
                         std::vector<std::string>,
                         std::optional<Error> error) { completion(std::move(error)); }
                   : std::function<void(std::vector<std::string>, std::optional<Error>)>());
}

std::vector<std::string> UserNotificationCenter::replacePendingRequests(
    const std::function<bool(const NotificationRequest&)>& removing,
    const std::vector<NotificationRequest>& requests) {
    std::vector<std::string> removed;
    std::vector<std::int64_t> inserted;
    try {
        const Date now = Clock::now();
        const auto encoded = encodeRequests(requests, now);
        implementation_->store.write([&](NotificationStore::Transaction& transaction) {
            removed.clear();
            inserted.clear();
            if (removing) {
                std::lock_guard lock(implementation_->knownRequestsMutex);
                auto& known = implementation_->knownRequests;
                std::unordered_map<std::int64_t, NotificationRequest> stillPending;
                std::vector<std::int64_t> removedRows;
                // Rows this process wrote or read before are known by their sequence: only the
                // others are read whole and decoded.
                for (const auto& [sequence, identifier] : transaction.pendingKeys()) {
                    const NotificationRequest* request = nullptr;
                    if (const auto found = known.find(sequence); found != known.end()) {
                        request =
                            &stillPending.emplace(sequence, std::move(found->second)).first->second;
                    } else if (const auto row = transaction.pendingRow(sequence)) {
                        if (auto decoded =
                                decodePending(*row, implementation_->store.path(), false)) {
                            request =
                                &stillPending.emplace(sequence, std::move(decoded->pending.request))
                                     .first->second;
                        }
                    }
                    if (request != nullptr && removing(*request)) {
                        removed.push_back(identifier);
                        removedRows.push_back(sequence);
                        stillPending.erase(sequence);
                    }
                }
                known = std::move(stillPending);
                for (const auto sequence : removedRows) {
                    transaction.deletePendingRow(sequence);
                }
            }
            inserted = insertRequests(transaction, encoded, now);
        });
        // Committed: the rows just written are known without decoding them again.
        std::lock_guard lock(implementation_->knownRequestsMutex);
        for (std::size_t index = 0; index < inserted.size(); ++index) {
            implementation_->knownRequests.insert_or_assign(inserted[index], requests[index]);
        }
    } catch (const Error& failure) {
        notificationsLogger().error("Could not add the notification requests {}: {}",
                                    identifiersText(requests), failure.localizedDescription());
        throw;
    }
    return removed;
}

void UserNotificationCenter::replacePendingNotificationRequests(
    std::function<bool(const NotificationRequest&)> removing,
    const std::vector<NotificationRequest>& requests,
    std::function<void(std::vector<std::string>, std::optional<Error>)> completion) {
    std::optional<Error> error;
    std::vector<std::string> removed;
    try {
        removed = replacePendingRequests(removing, requests);
    } catch (const Error& failure) {
        error = failure;
    }
    if (completion) {
        implementation_->callbackQueue.async([completion = std::move(completion),
                                              removed = std::move(removed),
                                              error = std::move(error)]() mutable {
            completion(std::move(removed), std::move(error));
        });
    }
}

void UserNotificationCenter::getPendingNotificationRequests(
    std::function<void(std::vector<NotificationRequest>)> completion) {
    std::vector<NotificationRequest> requests;
    try {
        for (auto& pending : implementation_->pending()) {
            requests.push_back(std::move(pending.request));
        }
    } catch (const Error& error) {
        notificationsLogger().error("Could not read the pending notification requests: {}",
                                    error.localizedDescription());
    }
    if (completion) {
        implementation_->callbackQueue.async(
            [completion = std::move(completion), requests = std::move(requests)] {
                completion(requests);
            });
    }
}

std::vector<PendingNotificationRequest> UserNotificationCenter::pendingRequests() const {
    return implementation_->pending();
}

std::optional<Date> UserNotificationCenter::nextTriggerDate() const {
    std::optional<Date> earliest;
    for (const auto& pending : implementation_->pending()) {
        if (pending.triggerDate && (!earliest || *pending.triggerDate < *earliest)) {
            earliest = pending.triggerDate;
        }
    }
    return earliest;
}

void UserNotificationCenter::removePendingNotificationRequests(
    const std::vector<std::string>& identifiers) {
    implementation_->writeLogging("remove pending notification requests",
                                  [&](NotificationStore::Transaction& transaction) {
                                      for (const auto& identifier : identifiers) {
                                          transaction.deletePending(identifier);
                                      }
                                  });
}

void UserNotificationCenter::removeAllPendingNotificationRequests() {
    implementation_->writeLogging(
        "remove the pending notification requests",
        [](NotificationStore::Transaction& transaction) { transaction.deleteAllPending(); });
}

// Delivered notifications.

void UserNotificationCenter::getDeliveredNotifications(
    std::function<void(std::vector<Notification>)> completion) {
    std::vector<Notification> notifications;
    try {
        notifications = implementation_->delivered();
    } catch (const Error& error) {
        notificationsLogger().error("Could not read the delivered notifications: {}",
                                    error.localizedDescription());
    }
    if (completion) {
        implementation_->callbackQueue.async(
            [completion = std::move(completion), notifications = std::move(notifications)] {
                completion(notifications);
            });
    }
}

std::vector<Notification> UserNotificationCenter::deliveredNotifications() const {
    return implementation_->delivered();
}

void UserNotificationCenter::removeDeliveredNotifications(
    const std::vector<std::string>& identifiers) {
    implementation_->writeLogging("remove delivered notifications",
                                  [&](NotificationStore::Transaction& transaction) {
                                      for (const auto& identifier : identifiers) {
                                          transaction.deleteDelivered(identifier);
                                      }
                                  });
}

void UserNotificationCenter::removeAllDeliveredNotifications() {
    implementation_->writeLogging(
        "remove the delivered notifications",
        [](NotificationStore::Transaction& transaction) { transaction.deleteAllDelivered(); });
}

std::vector<Notification> UserNotificationCenter::deliverDueRequests(Date now) {
    const bool enabled = remindersEnabled();
    const auto& file = implementation_->store.path();
    std::vector<Notification> delivered;
    implementation_->store.write([&](NotificationStore::Transaction& transaction) {
        delivered.clear();
        const auto rows = transaction.pendingRows();
        std::vector<DecodedPending> due;
        for (const auto& row : rows) {
            auto decoded = decodePending(row, file);
            if (decoded && decoded->pending.triggerDate && *decoded->pending.triggerDate <= now) {
                due.push_back(std::move(*decoded));
            }
        }
        // Rows come in the order they were added, which the stable sort keeps for equal dates.
        std::stable_sort(due.begin(), due.end(), [](const auto& a, const auto& b) {
            return *a.pending.triggerDate < *b.pending.triggerDate;
        });
        for (const auto& [pending, row] : due) {
            const auto& request = pending.request;
            if (!repeats(request.trigger)) {
                transaction.deletePendingRow(row->sequence);
            } else if (std::holds_alternative<CalendarNotificationTrigger>(*request.trigger)) {
                // The next date is the first match after this delivery.
                transaction.updatePendingDates(row->sequence, row->fireDate,
                                               now.timeIntervalSinceReferenceDate());
            } else {
                const auto& interval = std::get<TimeIntervalNotificationTrigger>(*request.trigger);
                transaction.updatePendingDates(
                    row->sequence,
                    nextIntervalFireDate(pending.triggerDate->timeIntervalSinceReferenceDate(),
                                         interval.timeInterval(), now),
                    row->lastFireDate);
            }
            if (!enabled) {
                continue;
            }
            // A request delivered again (a repeating one) replaces its earlier notification.
            transaction.deleteDelivered(request.identifier);
            transaction.insertDelivered(request.identifier,
                                        pending.triggerDate->timeIntervalSinceReferenceDate(),
                                        *row->content, row->trigger);
            delivered.push_back(Notification{*pending.triggerDate, request});
        }
    });
    return delivered;
}

// Answers.

void UserNotificationCenter::respond(const NotificationResponse& response,
                                     std::function<void()> completion) {
    const std::string& identifier = response.notification.request.identifier;
    implementation_->writeLogging(
        "remove an answered notification", [&](NotificationStore::Transaction& transaction) {
            transaction.deleteDelivered(identifier);
            // A repeating request stays: answering one reminder does not end the others.
            for (const auto& row : transaction.pendingRows()) {
                if (row.identifier != identifier) {
                    continue;
                }
                bool repeating = false;
                if (row.trigger) {
                    try {
                        repeating = repeats(decodeTrigger(*row.trigger));
                    } catch (const NotificationDecodingError&) {
                        repeating = false;  // a damaged row goes with the answer
                    }
                }
                if (!repeating) {
                    transaction.deletePendingRow(row.sequence);
                }
            }
        });

    auto queue = implementation_->callbackQueue;
    queue.async([weakCenter = weak_from_this(), queue, response,
                 completion = std::move(completion)]() mutable {
        const auto center = weakCenter.lock();
        const auto delegate = center ? center->delegate() : nullptr;
        if (!delegate) {
            if (completion) {
                completion();
            }
            return;
        }
        auto called = std::make_shared<std::atomic<bool>>(false);
        auto handler = [called, queue, completion = std::move(completion),
                        identifier = response.notification.request.identifier]() mutable {
            if (called->exchange(true)) {
                notificationsLogger().warn(
                    "The completion handler of the answer to the notification \"{}\" was called "
                    "again; the call is ignored",
                    identifier);
                return;
            }
            if (completion) {
                queue.async(std::move(completion));
            }
        };
        delegate->didReceive(*center, response, std::move(handler));
    });
}

void UserNotificationCenter::willPresent(
    const Notification& notification,
    std::function<void(std::optional<PresentationOptions>)> completion) {
    auto queue = implementation_->callbackQueue;
    queue.async([weakCenter = weak_from_this(), queue, notification,
                 completion = std::move(completion)]() mutable {
        const auto center = weakCenter.lock();
        const auto delegate = center ? center->delegate() : nullptr;
        if (!delegate) {
            if (completion) {
                completion(std::nullopt);
            }
            return;
        }
        auto called = std::make_shared<std::atomic<bool>>(false);
        auto handler = [called, queue, completion = std::move(completion),
                        identifier =
                            notification.request.identifier](PresentationOptions options) mutable {
            if (called->exchange(true)) {
                notificationsLogger().warn(
                    "The completion handler of the presentation of the notification \"{}\" was "
                    "called again; the call is ignored",
                    identifier);
                return;
            }
            if (completion) {
                queue.async([completion = std::move(completion), options] { completion(options); });
            }
        };
        delegate->willPresent(*center, notification, std::move(handler));
    });
}

}  // namespace dovrel::notifications

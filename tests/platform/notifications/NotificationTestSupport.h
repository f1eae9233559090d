#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/notifications/UserNotificationCenter.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::notifications::testing {

// A value that a completion hands over on another thread, and the wait for it.
template <typename T>
class Delivery {
  public:
    void set(T value) {
        std::lock_guard lock(mutex_);
        value_ = std::move(value);
        changed_.notify_all();
    }

    // The value, once it came, or nothing after ten seconds.
    std::optional<T> wait() {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10), [this] { return value_.has_value(); });
        return value_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<T> value_;
};

// A center over files in a fresh temporary directory; more centers can be opened on the same
// files, as other processes of the group would.
class CenterFiles {
  public:
    std::filesystem::path storeFile() const { return directory_.path() / "Notifications.sqlite"; }
    std::filesystem::path defaultsFile() const { return directory_.path() / "UserDefaults.sqlite"; }
    std::shared_ptr<UserNotificationCenter> open() const {
        return UserNotificationCenter::atPath(storeFile(), defaultsFile());
    }
    const std::filesystem::path& directory() const { return directory_.path(); }

  private:
    ::dovrel::testing::TemporaryDirectory directory_;
};

inline NotificationRequest makeRequest(std::string identifier,
                                       std::optional<NotificationTrigger> trigger = std::nullopt,
                                       std::string title = "Drink water") {
    NotificationRequest request;
    request.identifier = std::move(identifier);
    request.content.title = std::move(title);
    request.content.body = "Did you do it today?";
    request.trigger = std::move(trigger);
    return request;
}

// A non-repeating trigger for year-month-day hour:minute in the current calendar.
inline CalendarNotificationTrigger atDate(std::int64_t year, std::int64_t month, std::int64_t day,
                                          std::int64_t hour, std::int64_t minute,
                                          bool repeats = false) {
    DateComponents components;
    components.year = year;
    components.month = month;
    components.day = day;
    components.hour = hour;
    components.minute = minute;
    return CalendarNotificationTrigger(components, repeats);
}

// Every day at hour:minute.
inline CalendarNotificationTrigger daily(std::int64_t hour, std::int64_t minute) {
    DateComponents components;
    components.hour = hour;
    components.minute = minute;
    return CalendarNotificationTrigger(components, true);
}

// The identifiers of pending requests or delivered notifications, in their order.
inline std::vector<std::string> identifiers(
    const std::vector<PendingNotificationRequest>& pending) {
    std::vector<std::string> result;
    for (const auto& each : pending) {
        result.push_back(each.request.identifier);
    }
    return result;
}

inline std::vector<std::string> identifiers(const std::vector<Notification>& notifications) {
    std::vector<std::string> result;
    for (const auto& each : notifications) {
        result.push_back(each.request.identifier);
    }
    return result;
}

}  // namespace dovrel::notifications::testing

#include "apps/dovrel/ReminderJson.h"

#include <variant>

#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "apps/dovrel/HabitJson.h"
#include "apps/dovrel/IsoDateText.h"
#include "apps/dovrel/LocaleFormats.h"
#include "apps/dovrel/TextLayout.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

namespace {

using notifications::NotificationUserInfo;

std::optional<std::string> userInfoText(const NotificationUserInfo& userInfo,
                                        const std::string& key) {
    const auto found = userInfo.find(key);
    if (found == userInfo.end()) {
        return std::nullopt;
    }
    if (const auto* text = std::get_if<std::string>(&found->second)) {
        return *text;
    }
    return std::nullopt;
}

std::optional<Date> userInfoDate(const NotificationUserInfo& userInfo, const std::string& key) {
    const auto found = userInfo.find(key);
    if (found == userInfo.end()) {
        return std::nullopt;
    }
    if (const auto* date = std::get_if<Date>(&found->second)) {
        return *date;
    }
    return std::nullopt;
}

template <class T>
nlohmann::ordered_json optionalJson(const std::optional<T>& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

}  // namespace

std::optional<std::string> triggerKindName(const notifications::NotificationRequest& request) {
    if (!request.trigger) {
        return std::nullopt;
    }
    return std::holds_alternative<notifications::CalendarNotificationTrigger>(*request.trigger)
               ? "calendar"
               : "interval";
}

nlohmann::ordered_json reminderListJson(const std::vector<ReminderReport>& reminders,
                                        const Region& region) {
    const IsoDateText iso(region.timeZoneIdentifier());
    const auto dateJson = [&](const std::optional<Date>& date) {
        return date ? nlohmann::ordered_json(iso(*date)) : nlohmann::ordered_json(nullptr);
    };
    auto array = nlohmann::ordered_json::array();
    for (const auto& reminder : reminders) {
        const auto& content = reminder.request.content;
        nlohmann::ordered_json object;
        object["identifier"] = reminder.request.identifier;
        object["date"] = dateJson(reminder.date);
        object["kind"] = optionalJson(triggerKindName(reminder.request));
        object["habit"] = optionalJson(reminder.habitName);
        object["uri"] = optionalJson(userInfoText(content.userInfo, kHabitURIRepresentationKey));
        object["title"] = content.title;
        object["body"] = content.body;
        object["badge"] = optionalJson(content.badge);
        object["category"] = content.categoryIdentifier;
        object["firstNotificationDate"] =
            dateJson(userInfoDate(content.userInfo, kFirstNotificationDateKey));
        object["currentNotificationDate"] =
            dateJson(userInfoDate(content.userInfo, kCurrentNotificationDateKey));
        array.push_back(std::move(object));
    }
    return array;
}

std::vector<std::string> reminderListLines(const std::vector<ReminderReport>& reminders,
                                           const Region& region, const std::string& emptyText) {
    if (reminders.empty()) {
        return {emptyText};
    }
    const Region display = displayRegion(region);
    struct Row {
        std::string date, habit, body, badge;
    };
    std::vector<Row> rows;
    std::size_t dateWidth = 0, habitWidth = 0, badgeWidth = 0;
    for (const auto& reminder : reminders) {
        const auto& content = reminder.request.content;
        Row row;
        row.date = reminder.date ? formatWithSkeleton(*reminder.date, "yMMMEdjmm", display)
                                 : text("Cli.Reminders.Now");
        row.habit = reminder.habitName.value_or(content.title);
        row.body = content.body;
        if (content.badge) {
            row.badge = std::string("#").append(std::to_string(*content.badge));
        } else {
            row.badge = text("Cli.Reminders.Postponed");
        }
        dateWidth = std::max(dateWidth, displayWidth(row.date));
        habitWidth = std::max(habitWidth, displayWidth(row.habit));
        badgeWidth = std::max(badgeWidth, displayWidth(row.badge));
        rows.push_back(std::move(row));
    }
    std::vector<std::string> lines;
    lines.reserve(rows.size());
    for (const auto& row : rows) {
        std::string line = padRight(row.date, dateWidth + 2);
        line.append(padRight(row.habit, habitWidth + 2));
        if (row.body.empty()) {
            line.append(row.badge);
        } else {
            line.append(padRight(row.badge, badgeWidth + 2)).append(row.body);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace dovrel::cli

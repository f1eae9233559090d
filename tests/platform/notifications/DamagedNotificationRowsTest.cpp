#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/Clock.h"
#include "platform/notifications/LauncherBadge.h"
#include "platform/notifications/NotificationCoding.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "tests/platform/notifications/NotificationTestSupport.h"
#include "tests/support/CapturedLog.h"

namespace dovrel::notifications {
namespace {

using testing::CenterFiles;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::makeRequest;

// Rows that another program (or a damaged disk) wrote into the center's file.
class DamagedNotificationRowsTest : public ::testing::Test {
  protected:
    void execute(const std::string& sql) {
        sqlite3* raw = nullptr;
        ASSERT_EQ(sqlite3_open(files_.storeFile().c_str(), &raw), SQLITE_OK);
        std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(raw, &sqlite3_close);
        char* message = nullptr;
        const int code = sqlite3_exec(database.get(), sql.c_str(), nullptr, nullptr, &message);
        ASSERT_EQ(code, SQLITE_OK) << (message != nullptr ? message : "");
        sqlite3_free(message);
    }

    std::vector<std::string> pendingIdentifiers() {
        std::vector<std::string> result;
        for (const auto& each : center_->pendingRequests()) {
            result.push_back(each.request.identifier);
        }
        return result;
    }

    CenterFiles files_;
    std::shared_ptr<UserNotificationCenter> center_ = files_.open();
    ::dovrel::testing::CapturedLog log_{LauncherBadge::kNotificationsLoggerName, "%l %v"};
};

TEST_F(DamagedNotificationRowsTest, PendingRowWithContentThatIsNotJSONIsSkippedAndLogged) {
    center_->add(makeRequest("good"));
    execute(
        "INSERT INTO pending (identifier, content, trigger, added_date) "
        "VALUES ('broken', '{not json', NULL, 0)");
    EXPECT_THAT(pendingIdentifiers(), ElementsAre("good"));
    const auto lines = log_.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], HasSubstr("warning Skipped the damaged pending request \"broken\""));
}

TEST_F(DamagedNotificationRowsTest, PendingRowsWithWrongKindsOfValuesAreSkipped) {
    center_->add(makeRequest("good"));
    const std::string content = encodeContent(makeRequest("x").content);
    execute(
        "INSERT INTO pending (identifier, content, trigger, added_date) VALUES "
        "('textDate', '" +
        content +
        "', NULL, 'yesterday'),"
        "('blobContent', x'00ff', NULL, 0),"
        "('badTrigger', '" +
        content +
        "', '{\"kind\": \"timeInterval\", \"interval\": 0, \"repeats\": false}', 0),"
        "('unknownTrigger', '" +
        content +
        "', '{\"kind\": \"location\", \"repeats\": false}', 0),"
        "('badUserInfo', '{\"title\": \"t\", \"subtitle\": \"\", \"body\": \"\", \"sound\": null, "
        "\"badge\": null, \"categoryIdentifier\": \"\", \"userInfo\": {\"k\": {\"type\": \"date\", "
        "\"value\": \"soon\"}}}', NULL, 0)");
    EXPECT_THAT(pendingIdentifiers(), ElementsAre("good"));
    EXPECT_EQ(log_.lines().size(), 5u);
}

TEST_F(DamagedNotificationRowsTest, DeliveryPassesOverDamagedRowsAndDeliversTheOthers) {
    execute(
        "INSERT INTO pending (identifier, content, trigger, added_date) "
        "VALUES ('broken', '[]', NULL, 0)");
    center_->add(makeRequest("good"));
    const auto delivered = center_->deliverDueRequests(Clock::now());
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0].request.identifier, "good");
}

TEST_F(DamagedNotificationRowsTest, DamagedDeliveredRowIsSkipped) {
    center_->add(makeRequest("good"));
    center_->deliverDueRequests(Clock::now());
    execute(
        "INSERT INTO delivered (identifier, date, content) VALUES ('broken', 0, '{\"title\": 5}')");
    const auto delivered = center_->deliveredNotifications();
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0].request.identifier, "good");
}

TEST_F(DamagedNotificationRowsTest, DamagedCategoryIsSkipped) {
    NotificationCategory category;
    category.identifier = "kept";
    center_->setNotificationCategories({category});
    execute("INSERT INTO categories (position, category) VALUES (7, '{\"identifier\": 1}')");
    EXPECT_THAT(center_->notificationCategories(), ElementsAre(category));
}

TEST_F(DamagedNotificationRowsTest, DamagedRowCanStillBeRemoved) {
    execute(
        "INSERT INTO pending (identifier, content, trigger, added_date) "
        "VALUES ('broken', 'garbage', NULL, 0)");
    center_->removePendingNotificationRequests({"broken"});
    center_->add(makeRequest("broken"));
    EXPECT_THAT(pendingIdentifiers(), ElementsAre("broken"));
}

TEST(NotificationDecodingTest, TextThatIsNotTheLayoutThrowsOnlyTheDecodingError) {
    for (const std::string text :
         {"", "null", "[]", "{}", "{\"kind\": 3, \"repeats\": true}",
          "{\"kind\": \"calendar\", \"repeats\": true, \"components\": {\"hour\": \"9\"}, "
          "\"calendar\": null}",
          "{\"kind\": \"timeInterval\", \"interval\": 30, \"repeats\": true}",
          "{\"kind\": \"timeInterval\", \"interval\": \"nan\", \"repeats\": false}"}) {
        EXPECT_THROW(decodeTrigger(text), NotificationDecodingError) << text;
        EXPECT_THROW(decodeContent(text), NotificationDecodingError) << text;
        EXPECT_THROW(decodeCategory(text), NotificationDecodingError) << text;
    }
}

TEST(NotificationDecodingTest, NumbersThatJSONCannotHoldSurviveTheRoundTrip) {
    NotificationContent content;
    content.userInfo = {{"infinite", std::numeric_limits<double>::infinity()},
                        {"never", Date(-std::numeric_limits<double>::infinity())},
                        {"nan", std::numeric_limits<double>::quiet_NaN()}};
    const auto decoded = decodeContent(encodeContent(content));
    EXPECT_EQ(std::get<double>(decoded.userInfo.at("infinite")),
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(std::get<Date>(decoded.userInfo.at("never")),
              Date(-std::numeric_limits<double>::infinity()));
    EXPECT_TRUE(std::isnan(std::get<double>(decoded.userInfo.at("nan"))));
}

TEST(NotificationDecodingTest, CalendarTriggerKeepsItsComponentsAndCalendar) {
    DateComponents components;
    components.year = 2026;
    components.weekday = 2;
    components.second = 15;
    const CalendarNotificationTrigger trigger(components, true, "hebrew");
    EXPECT_EQ(decodeTrigger(encodeTrigger(trigger)), NotificationTrigger(trigger));
}

}  // namespace
}  // namespace dovrel::notifications

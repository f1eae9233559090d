#include "DovrelFoundation/Reminders/HabitRemindersScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <variant>
#include <vector>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "platform/foundation/RegionOverrides.h"
#include "tests/DovrelFoundation/Reminders/ReminderTestSupport.h"
#include "tests/DovrelFoundation/SharedStoreTestSupport.h"

namespace dovrel {
namespace {

using notifications::CalendarNotificationTrigger;
using notifications::NotificationRequest;
using notifications::PendingNotificationRequest;
using notifications::TimeIntervalNotificationTrigger;
using testing::CallCounter;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using testing::kyiv;
using testing::waitFor;

class HabitRemindersSchedulerTest : public testing::ReminderStackFixture {
  protected:
    // "H<index>" (appended, not added: GCC 12 warns wrongly about "H" + std::string).
    static std::string habitName(int index) {
        std::string name("H");
        name.append(std::to_string(index));
        return name;
    }

    static const CalendarNotificationTrigger* calendarTrigger(const NotificationRequest& request) {
        return request.trigger ? std::get_if<CalendarNotificationTrigger>(&*request.trigger)
                               : nullptr;
    }

    static std::optional<Date> dateValue(const NotificationRequest& request, const char* key) {
        const auto found = request.content.userInfo.find(key);
        if (found == request.content.userInfo.end()) {
            return std::nullopt;
        }
        const auto* date = std::get_if<Date>(&found->second);
        return date ? std::optional<Date>(*date) : std::nullopt;
    }

    static std::string textValue(const NotificationRequest& request, const char* key) {
        const auto found = request.content.userInfo.find(key);
        if (found == request.content.userInfo.end()) {
            return "<absent>";
        }
        const auto* text = std::get_if<std::string>(&found->second);
        return text ? *text : "<not text>";
    }

    // title, trigger date and badge of every pending calendar reminder, in the center's order.
    std::vector<std::tuple<std::string, Date, std::int64_t>> calendarReminders() {
        std::vector<std::tuple<std::string, Date, std::int64_t>> reminders;
        for (const auto& entry : pending()) {
            if (calendarTrigger(entry.request)) {
                reminders.emplace_back(entry.request.content.title,
                                       entry.triggerDate.value_or(Date(-1)),
                                       entry.request.content.badge.value_or(-1));
            }
        }
        return reminders;
    }

    // A postponed reminder of `habit`, added through the scheduler, waited for.
    void postpone(const Habit& habit, TimeInterval after, std::optional<Date> first) {
        CallCounter done;
        scheduler->scheduleReminder(habit, after, first, done.completion());
        ASSERT_TRUE(waitFor([&] { return done.count() == 1; }));
    }
};

TEST_F(HabitRemindersSchedulerTest, CreationTakesTheCurrentCalendarAndLimitsTo32Notifications) {
    EXPECT_EQ(scheduler->maximumNumberOfNotifications(), 32u);
    EXPECT_EQ(scheduler->calendar(), Region::current());
    ScopedTimeZone elsewhere("America/New_York");
    EXPECT_EQ(scheduler->calendar().timeZoneIdentifier(), "Europe/Kyiv")
        << "the calendar is taken once, at creation";
}

TEST_F(HabitRemindersSchedulerTest,
       OneReminderAt0900StillAheadGivesTodayTomorrowAndTheDayAfterWithBadges1To3) {
    const auto habit = addHabit("Stretch", 9);
    rescheduleAndWait();

    const auto requests = pending();
    ASSERT_EQ(requests.size(), 3u);
    const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> identifiers;
    for (std::size_t index = 0; index < requests.size(); ++index) {
        const NotificationRequest& request = requests[index].request;
        const Date due = kyiv(2025, 3, 10 + static_cast<unsigned>(index), 9);
        SCOPED_TRACE(index);
        EXPECT_TRUE(std::regex_match(request.identifier, uuid)) << request.identifier;
        identifiers.insert(request.identifier);
        EXPECT_EQ(request.content.title, "Stretch");
        EXPECT_EQ(request.content.body, "Why?");
        EXPECT_EQ(request.content.sound, notifications::NotificationSound::defaultSound());
        EXPECT_EQ(request.content.badge, static_cast<std::int64_t>(index + 1));
        EXPECT_EQ(request.content.categoryIdentifier,
                  "HabitReminder.NotificationCategoryIdentifier");
        EXPECT_EQ(request.content.userInfo.size(), 3u);
        EXPECT_EQ(textValue(request, "habitURIRepresentation"), uri(*habit));
        EXPECT_EQ(dateValue(request, "firstNotificationDate"), due);
        EXPECT_EQ(dateValue(request, "currentNotificationDate"), due);

        const auto* trigger = calendarTrigger(request);
        ASSERT_NE(trigger, nullptr);
        EXPECT_FALSE(trigger->repeats());
        EXPECT_EQ(trigger->calendarIdentifier(), std::optional<std::string>("gregorian"));
        DateComponents expected;
        expected.year = 2025;
        expected.month = 3;
        expected.day = 10 + static_cast<std::int64_t>(index);
        expected.hour = 9;
        expected.minute = 0;
        EXPECT_EQ(trigger->dateComponents(), expected);
        EXPECT_EQ(requests[index].triggerDate, due);
    }
    EXPECT_EQ(identifiers.size(), 3u);
}

TEST_F(HabitRemindersSchedulerTest, ReminderTimeWithSecondsFiresAtTheStartOfItsMinute) {
    auto habit = addHabit("Seconds", 9, 30);
    habit->setRemindTime(kyiv(2024, 11, 5, 9, 30, 45));
    context().save();
    rescheduleAndWait();

    const auto requests = pending();
    ASSERT_EQ(requests.size(), 3u);
    const auto* trigger = calendarTrigger(requests[0].request);
    ASSERT_NE(trigger, nullptr);
    EXPECT_EQ(trigger->dateComponents().minute, 30);
    EXPECT_FALSE(trigger->dateComponents().second.has_value());
    EXPECT_EQ(requests[0].triggerDate, kyiv(2025, 3, 10, 9, 30));
    EXPECT_EQ(dateValue(requests[0].request, "currentNotificationDate"),
              kyiv(2025, 3, 10, 9, 30, 45));
}

TEST_F(HabitRemindersSchedulerTest,
       TwelveRemindingHabitsScheduleThe32EarliestOccurrencesWithTiesInFetchOrder) {
    // Habits 0-5 remind at 09:00, habits 6-11 at 21:00: 36 occurrences over three days.
    for (int index = 0; index < 12; ++index) {
        addHabit(habitName(index), index < 6 ? 9 : 21);
    }
    rescheduleAndWait();

    std::vector<std::tuple<std::string, Date, std::int64_t>> expected;
    std::int64_t badge = 0;
    for (unsigned day = 10; day <= 12; ++day) {
        for (int index = 0; index < 12 && badge < 32; ++index) {
            expected.emplace_back(habitName(index), kyiv(2025, 3, day, index < 6 ? 9 : 21),
                                  ++badge);
        }
    }
    ASSERT_EQ(expected.size(), 32u);
    // The last day keeps only the habits that come first: H0-H5 at 09:00, then H6 and H7.
    EXPECT_EQ(std::get<0>(expected.back()), "H7");
    EXPECT_THAT(calendarReminders(), ElementsAreArray(expected));
}

TEST_F(HabitRemindersSchedulerTest, ManyRemindingHabitsKeepTheEarliestAcrossDaysInFetchOrder) {
    // Forty habits at descending times from 22:00: only the latest times lose days, and equal
    // times keep the fetch order.
    for (int index = 0; index < 40; ++index) {
        addHabit(habitName(index), 22 - index / 4);
    }
    rescheduleAndWait();

    // Every occurrence, as the long way computes it: all of them, stable-sorted, the first 32.
    std::vector<std::tuple<std::string, Date>> all;
    for (int index = 0; index < 40; ++index) {
        for (unsigned day = 10; day <= 12; ++day) {
            all.emplace_back(habitName(index), kyiv(2025, 3, day, 22 - index / 4));
        }
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const auto& a, const auto& b) { return std::get<1>(a) < std::get<1>(b); });
    std::vector<std::tuple<std::string, Date, std::int64_t>> expected;
    for (std::size_t index = 0; index < 32; ++index) {
        expected.emplace_back(std::get<0>(all[index]), std::get<1>(all[index]),
                              static_cast<std::int64_t>(index + 1));
    }
    EXPECT_THAT(calendarReminders(), ElementsAreArray(expected));
}

TEST_F(HabitRemindersSchedulerTest,
       NoRemindingHabitRemovesEveryCalendarReminderAddsNothingAndCompletes) {
    addHabit("Silent", 9, 0, std::string("Why?"), false);
    addAndWait(foreignCalendarRequest("foreign-calendar"));
    NotificationRequest postponed;
    postponed.identifier = "postponed-elsewhere";
    postponed.content.userInfo.emplace("habitURIRepresentation", std::string("x-dovrel://other"));
    postponed.trigger = TimeIntervalNotificationTrigger(600, false);
    addAndWait(postponed);

    rescheduleAndWait();

    const auto requests = pending();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].request.identifier, "postponed-elsewhere");
    EXPECT_THAT(analytics->errors, IsEmpty());
}

TEST_F(HabitRemindersSchedulerTest,
       RemindingHabitsWithoutNextReminderRemoveCalendarRemindersAndStillComplete) {
    addHabit("No time", -1);
    auto noInterval = addHabit("No interval", 9);
    noInterval->setRepeatInterval(std::nullopt);
    context().save();
    addAndWait(foreignCalendarRequest("foreign-calendar"));

    rescheduleAndWait();

    EXPECT_THAT(pending(), IsEmpty());
}

TEST_F(HabitRemindersSchedulerTest, HabitsWithoutNameGetNoReminder) {
    addHabit(std::nullopt, 9);
    addHabit("Named", 10);
    rescheduleAndWait();

    const auto reminders = calendarReminders();
    ASSERT_EQ(reminders.size(), 3u);
    for (const auto& reminder : reminders) {
        EXPECT_EQ(std::get<0>(reminder), "Named");
    }
}

TEST_F(HabitRemindersSchedulerTest,
       HabitWithoutQuestionGetsTheLocalizedDefaultBodyAndEmptyQuestionAnEmptyBody) {
    addHabit("Absent", 9, 0, std::nullopt);
    addHabit("Empty", 10, 0, std::string());
    rescheduleAndWait();

    std::map<std::string, std::set<std::string>> bodies;
    for (const auto& entry : pending()) {
        bodies[entry.request.content.title].insert(entry.request.content.body);
    }
    EXPECT_EQ(bodies["Absent"], std::set<std::string>{"Did you do it today?"});
    EXPECT_EQ(bodies["Empty"], std::set<std::string>{""});
}

TEST_F(HabitRemindersSchedulerTest, DefaultBodyFollowsTheUserLanguage) {
    ScopedLocale ukrainian("uk_UA");
    addHabit("Absent", 9, 0, std::nullopt);
    rescheduleAndWait();

    const auto requests = pending();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests[0].request.content.body, "Ви зробили це сьогодні?");
}

TEST_F(HabitRemindersSchedulerTest,
       PostponedReminderOfASurvivesACleaningOfBAndGoesWithACleaningOfA) {
    const auto a = addHabit("A", 9);
    const auto b = addHabit("B", 10);
    postpone(*a, 3600, std::nullopt);
    postpone(*b, 3600, std::nullopt);
    rescheduleAndWait();

    auto postponedTitles = [&] {
        std::vector<std::string> titles;
        for (const auto& entry : pending()) {
            if (!calendarTrigger(entry.request)) {
                titles.push_back(entry.request.content.title);
            }
        }
        return titles;
    };
    EXPECT_THAT(postponedTitles(), ElementsAre("A", "B")) << "an empty cleaning list keeps both";
    EXPECT_EQ(calendarReminders().size(), 6u);

    rescheduleAndWait({uri(*b)});
    EXPECT_THAT(postponedTitles(), ElementsAre("A"));
    EXPECT_EQ(calendarReminders().size(), 6u);

    rescheduleAndWait({uri(*a)});
    EXPECT_THAT(postponedTitles(), IsEmpty());
    EXPECT_EQ(calendarReminders().size(), 6u);
}

TEST_F(HabitRemindersSchedulerTest,
       ScheduleReminderAddsATimeIntervalReminderWithoutBadgeAndCompletesOnTheMainQueue) {
    const auto habit = addHabit("Walk", 9);
    const Date first = kyiv(2025, 3, 9, 21, 30);
    const auto mainThread = std::this_thread::get_id();
    std::atomic<int> calls = 0;
    std::atomic<bool> onMainThread = false;
    scheduler->scheduleReminder(*habit, 3600, first, [&] {
        onMainThread = std::this_thread::get_id() == mainThread;
        ++calls;
    });
    ASSERT_TRUE(waitFor([&] { return calls == 1; }));
    EXPECT_TRUE(onMainThread);

    const auto requests = pending();
    ASSERT_EQ(requests.size(), 1u);
    const NotificationRequest& request = requests[0].request;
    ASSERT_TRUE(request.trigger.has_value());
    const auto* trigger = std::get_if<TimeIntervalNotificationTrigger>(&*request.trigger);
    ASSERT_NE(trigger, nullptr);
    EXPECT_EQ(trigger->timeInterval(), 3600);
    EXPECT_FALSE(trigger->repeats());
    EXPECT_EQ(requests[0].triggerDate, kyiv(2025, 3, 10, 9));
    EXPECT_FALSE(request.content.badge.has_value());
    EXPECT_EQ(request.content.title, "Walk");
    EXPECT_EQ(request.content.categoryIdentifier, "HabitReminder.NotificationCategoryIdentifier");
    EXPECT_EQ(textValue(request, "habitURIRepresentation"), uri(*habit));
    EXPECT_EQ(dateValue(request, "firstNotificationDate"), first);
    EXPECT_EQ(dateValue(request, "currentNotificationDate"), kyiv(2025, 3, 10, 9));
}

TEST_F(HabitRemindersSchedulerTest, ScheduleReminderWithoutFirstNotificationDateLeavesTheKeyOut) {
    const auto habit = addHabit("Walk", 9);
    postpone(*habit, 300, std::nullopt);
    const auto requests = pending();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].request.content.userInfo.count("firstNotificationDate"), 0u);
    EXPECT_EQ(dateValue(requests[0].request, "currentNotificationDate"), kyiv(2025, 3, 10, 8, 5));
}

TEST_F(HabitRemindersSchedulerTest,
       ScheduleReminderForAHabitWithoutNameNeitherSchedulesNorCompletes) {
    const auto habit = addHabit(std::nullopt, 9);
    CallCounter done;
    scheduler->scheduleReminder(*habit, 300, std::nullopt, done.completion());
    testing::runMainQueueFor(std::chrono::milliseconds(300));
    EXPECT_EQ(done.count(), 0);
    EXPECT_THAT(pending(), IsEmpty());
}

TEST_F(HabitRemindersSchedulerTest,
       FetchFailureReportsTheErrorFromTheMainQueueKeepsTheRemovalsAndCompletes) {
    addHabit("Doomed", 9);
    addAndWait(foreignCalendarRequest("foreign-calendar"));
    // The habits' table disappears behind the store's back: every fetch of habits fails.
    testing::runStoreStatement(FileManager::containerURL(kGroup).value() / "Habit.sqlite",
                               "DROP TABLE Performing; DROP TABLE Habit;");

    CallCounter done;
    scheduler->rescheduleRemindersForAllHabits({}, done.completion());
    // The completion does not wait for the main queue; the error report does.
    for (int attempt = 0; attempt < 1000 && done.count() == 0; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(done.count(), 1);
    EXPECT_THAT(analytics->errors, IsEmpty()) << "reported from the main queue only";
    ASSERT_TRUE(waitFor([&] { return analytics->errors.size() == 1; }));
    EXPECT_THAT(pending(), IsEmpty());
}

TEST_F(HabitRemindersSchedulerTest, RequestsFromManyThreadsAllCompleteAndLeaveOneSetOfReminders) {
    addHabit("Busy", 9);
    CallCounter done;
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back(
            [&] { scheduler->rescheduleRemindersForAllHabits({}, done.completion()); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(waitFor([&] { return done.count() == 8; }));
    EXPECT_EQ(calendarReminders().size(), 3u);
}

TEST_F(HabitRemindersSchedulerTest, StackIsMadeOnceOnFirstUse) {
    const auto stack = scheduler->habitsReschedulingStack();
    EXPECT_EQ(scheduler->habitsReschedulingStack(), stack);
}

TEST_F(HabitRemindersSchedulerTest,
       RandomHabitsGetTheSameRemindersAsWorkingOutEveryHabitsNextReminderWould) {
    // Habits with every kind of interval, time and last checkmark: the scheduler skips habits
    // whose reminders cannot be among the earliest, and must still choose exactly the
    // occurrences that the long way (every habit's next reminder and its two following days,
    // stable-sorted by date in fetch order, the first 32) chooses.
    std::mt19937 random(20250310);
    std::uniform_int_distribution<int> hour(0, 23);
    std::uniform_int_distribution<int> minute(0, 59);
    std::uniform_int_distribution<std::int64_t> times(1, 3);
    std::uniform_int_distribution<std::int64_t> days(1, 10);
    std::uniform_int_distribution<int> daysAgo(0, 14);
    std::uniform_int_distribution<int> kind(0, 9);
    for (int round = 0; round < 4; ++round) {
        std::vector<std::shared_ptr<Habit>> habits;
        for (int index = 0; index < 90; ++index) {
            const int habitKind = kind(random);
            auto habit = addHabit(
                habitKind == 0 ? std::nullopt : std::optional<std::string>(habitName(index)),
                hour(random), minute(random), std::string("Why?"), habitKind != 1);
            const std::int64_t habitTimes = times(random);
            habit->setRepeatInterval(RepeatInterval(habitTimes, habitTimes * days(random)));
            if (habitKind >= 4) {
                habit->setLastFivePerformingDates(LastFivePerformingDates(
                    {kyiv(2025, 3, 10, hour(random), minute(random)) - daysAgo(random) * 86400.0}));
            }
            habits.push_back(habit);
        }
        context().save();
        rescheduleAndWait();

        std::vector<std::tuple<std::string, Date>> all;
        const Region region = Region::current();
        for (const auto& habit : habits) {
            const auto next = habit->nextReminder();
            if (!habit->name() || !next) {
                continue;
            }
            for (int day = 0; day < 3; ++day) {
                DateComponents offset;
                offset.day = day;
                all.emplace_back(*habit->name(), *region.dateByAdding(offset, *next));
            }
        }
        std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
            return std::get<1>(a) < std::get<1>(b);
        });
        std::vector<std::tuple<std::string, Date, std::int64_t>> expected;
        for (std::size_t index = 0; index < std::min<std::size_t>(all.size(), 32); ++index) {
            expected.emplace_back(std::get<0>(all[index]), std::get<1>(all[index]),
                                  static_cast<std::int64_t>(index + 1));
        }
        ASSERT_EQ(expected.size(), 32u);
        // Not only today's: the chosen ones come from habits of several days and intervals.
        EXPECT_NE(std::get<1>(expected.front()), std::get<1>(expected.back()));
        EXPECT_THAT(calendarReminders(), ElementsAreArray(expected)) << "round " << round;
        for (const auto& habit : habits) {
            context().deleteObject(habit);
        }
        context().save();
    }
}

}  // namespace
}  // namespace dovrel

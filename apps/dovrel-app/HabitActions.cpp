#include "apps/dovrel-app/HabitActions.h"

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "apps/dovrel-app/AppServices.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"

namespace dovrel::app {

namespace {

using AnalyticsEvents::MainApp;

std::string regularity(const Habit& habit) {
    const auto interval = habit.repeatInterval();
    return interval ? interval->analyticsDescription() : "no repeatInterval";
}

void apply(Habit& habit, const HabitDraft& draft) {
    habit.setName(draft.name);
    habit.setQuestion(draft.question.empty() ? std::nullopt
                                             : std::optional<std::string>(draft.question));
    habit.setColor(draft.color);
    habit.setRepeatInterval(RepeatInterval(draft.times, draft.days));
    habit.setRemind(draft.remind);
    if (draft.remind) {
        habit.setRemindTime(todayAt(draft.remindHour, draft.remindMinute));
    }
}

// What a save's completion hands on: nothing on success.
std::function<void()> succeeded(const HabitActions::Done& done) {
    return [done] {
        if (done) {
            done(std::nullopt);
        }
    };
}

// What a failed save hands on: its error.
std::function<void(const Error&)> failed(const HabitActions::Done& done) {
    return [done](const Error& error) {
        if (done) {
            done(error);
        }
    };
}

// After a save: the event (when there is one) and the habits' changed state for the widget,
// the settings and the reminders, then `done`.
std::function<void()> afterSave(const AppServices* services, std::optional<std::string> event,
                                const HabitActions::Done& done) {
    return [services, event = std::move(event), then = succeeded(done)] {
        if (event) {
            services->tracker().trackEvent(*event);
        }
        services->habitsChanged();
        then();
    };
}

}  // namespace

HabitDraft draftOf(const Habit& habit) {
    HabitDraft draft;
    draft.name = habit.name().value_or("");
    draft.question = habit.question().value_or("");
    draft.color = habit.color().value_or(Color());
    const auto interval = habit.repeatInterval().value_or(RepeatInterval());
    draft.times = static_cast<int>(interval.times());
    draft.days = static_cast<int>(interval.days());
    draft.remind = habit.remind();
    if (const auto time = habit.remindTime()) {
        const auto components = Region::current().components(*time);
        draft.remindHour = static_cast<int>(components.hour.value_or(9));
        draft.remindMinute = static_cast<int>(components.minute.value_or(0));
    }
    return draft;
}

void HabitActions::toggleCheckmark(const std::shared_ptr<Habit>& habit, Date day,
                                   EventSource source, Done done) const {
    const AppServices* services = &services_;
    performChangesRetryingOnConflict(
        services->viewContext(),
        [habit, day](store::ManagedObjectContext&) { habit->toggleCheckmark(day); },
        [services, habit, day, source, done] {
            const Date now = Clock::now();
            const bool checked = habit->hasPerformings(day);
            services->tracker().trackToggleCheckmark(
                source, habit->name().value_or(""), habit->question().value_or(""), habit->remind(),
                regularity(*habit), static_cast<double>(habit->progress(now)), checked,
                daysSince(now, day));
            // A checkmark today can move the next reminder to a later day.
            afterSave(services, std::nullopt, done)();
        },
        failed(done));
}

void HabitActions::addHabit(
    const HabitDraft& draft,
    std::function<void(std::shared_ptr<Habit>, std::optional<Error>)> done) const {
    const AppServices* services = &services_;
    auto added = std::make_shared<std::shared_ptr<Habit>>();
    performChanges(
        services->viewContext(),
        [added, draft](store::ManagedObjectContext& context) {
            *added = insertObject<Habit>(context);
            (*added)->setCreationDate(Clock::now());
            apply(**added, draft);
        },
        afterSave(
            services,
            std::string(MainApp::AddOrEdit(MainApp::AddOrEdit::name_save_new_habit).rawValue()),
            [added, done](std::optional<Error>) {
                if (done) {
                    done(*added, std::nullopt);
                }
            }),
        [done](const Error& error) {
            if (done) {
                done(nullptr, error);
            }
        });
}

void HabitActions::editHabit(const std::shared_ptr<Habit>& habit, const HabitDraft& draft,
                             Done done) const {
    const AppServices* services = &services_;
    performChanges(
        services->viewContext(),
        [habit, draft](store::ManagedObjectContext&) { apply(*habit, draft); },
        afterSave(services,
                  std::string(MainApp::AddOrEdit(MainApp::AddOrEdit::name_save_habit).rawValue()),
                  done),
        failed(done));
}

void HabitActions::deleteHabit(const std::shared_ptr<Habit>& habit, Done done) const {
    const AppServices* services = &services_;
    performChanges(
        services->viewContext(),
        [habit](store::ManagedObjectContext& context) { context.deleteObject(habit); },
        afterSave(
            services,
            std::string(MainApp::DeleteHabit(MainApp::DeleteHabit::main_screen_habit_was_deleted)
                            .rawValue()),
            done),
        failed(done));
}

}  // namespace dovrel::app

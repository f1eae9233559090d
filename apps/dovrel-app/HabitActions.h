#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "DovrelFoundation/Analytics/EventSource.h"
#include "DovrelFoundation/Model/Habit.h"
#include "platform/foundation/Color.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"

namespace dovrel::app {

class AppServices;

// What the add and edit form hands back: every field of a habit that a person sets.
struct HabitDraft {
    std::string name;
    std::string question;  // empty: no question
    Color color;
    int times = 1;
    int days = 1;
    bool remind = false;
    int remindHour = 9;
    int remindMinute = 0;
};

// The draft of an existing habit, as the edit form starts from it.
HabitDraft draftOf(const Habit& habit);

// The changes a person makes from the application's screens, each as the library's main flows
// do it: the change is saved on the view context through performChanges (a toggle retries when
// another process changed the habit meanwhile), reported to the analytics tracker, and followed
// by the widget's reload and a rescheduling of reminders. `done` runs on the main thread after
// the save, with the save's error or nothing. Main thread only.
class HabitActions {
  public:
    using Done = std::function<void(std::optional<Error>)>;

    explicit HabitActions(const AppServices& services) : services_(services) {}

    // Checks or unchecks the day of `day` (today, or a past day from the habit's page).
    void toggleCheckmark(const std::shared_ptr<Habit>& habit, Date day, EventSource source,
                         Done done = {}) const;
    // A new habit from the draft; `done` also gets the new habit on success.
    void addHabit(const HabitDraft& draft,
                  std::function<void(std::shared_ptr<Habit>, std::optional<Error>)> done) const;
    void editHabit(const std::shared_ptr<Habit>& habit, const HabitDraft& draft,
                   Done done = {}) const;
    void deleteHabit(const std::shared_ptr<Habit>& habit, Done done = {}) const;

  private:
    const AppServices& services_;
};

}  // namespace dovrel::app

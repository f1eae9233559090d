#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/LastFivePerformingDates.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Persistence/Managed.h"
#include "platform/foundation/Color.h"
#include "platform/foundation/Date.h"
#include "platform/store/EntityDescription.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/SortDescriptor.h"

namespace dovrel {

class Performing;
struct DayBounds;

// A habit: something the user wants to do regularly, with the set of its checkmarks and two
// caches derived from them that make today's progress cheap.
//
// Entity "Habit" of the current model (HabitModel.h). Objects are made by a context
// (insertObject<Habit>(context), fetches) and used only on that context's queue; nothing here
// locks. Changes are not saved here: the caller saves the context.
//
// Cache invariants. After every toggleCheckmark() and resetProgress() on a habit that has a
// repeat interval, lastFivePerformingDates() holds the latest (at most) five checkmark dates in
// ascending order and lastPerformingDateProgress() the unrounded progress over all checkmarks
// (HabitProgressCalculator::calculateProgress(dates, times, days)). A habit without a repeat
// interval keeps whatever caches it had. No other path refreshes the caches: a restored backup
// brings them as they were written.
//
// "The same day" is isSameDay() of DateExtensions.h: the current calendar and time zone.
// Checkmarks without a date are ignored by every derived property and day query.
class Habit : public store::ManagedObject, public Managed<Habit> {
  public:
    // The name of the widget kind whose timelines a toggle reloads.
    static constexpr const char* kWidgetKind = "HabitWidget";

    // The description of "Habit" in the current model.
    static const store::EntityDescription& classEntity();

    // One descriptor: "creationDate" ascending (oldest first; equal dates keep the store's
    // order).
    static std::vector<store::SortDescriptor> defaultSortDescriptors();

    // Registers the three named transformers of the model's transformable attributes
    // (ValueTransformers.h); must run once before a store is loaded.
    static void registerValueTransformers();

    // ---- Stored properties ----
    // The colour, repeat interval and five-date cache are values: a change is made by setting a
    // new one.

    // The colour the habit is drawn in.
    std::optional<Color> color() const;
    void setColor(const std::optional<Color>& color);

    // When the habit was created; the default sort key.
    std::optional<Date> creationDate() const;
    void setCreationDate(std::optional<Date> date);

    std::optional<std::string> name() const;
    void setName(std::optional<std::string> name);

    // The question or motivating phrase shown with the habit.
    std::optional<std::string> question() const;
    void setQuestion(std::optional<std::string> question);

    // Whether reminder notifications are wanted.
    bool remind() const;
    void setRemind(bool remind);

    // When the reminder is due.
    std::optional<Date> remindTime() const;
    void setRemindTime(std::optional<Date> time);

    // How often the habit is meant to be done.
    std::optional<RepeatInterval> repeatInterval() const;
    void setRepeatInterval(const std::optional<RepeatInterval>& interval);

    // Every checkmark of the habit, each once, in no particular order (loaded from the store on
    // first use).
    std::vector<std::shared_ptr<Performing>> performing() const;

    // Cache: the latest five checkmark dates, oldest first.
    std::optional<LastFivePerformingDates> lastFivePerformingDates() const;
    void setLastFivePerformingDates(const std::optional<LastFivePerformingDates>& dates);

    // Cache: the unrounded progress (0 to 100) reached right after the latest checkmark.
    double lastPerformingDateProgress() const;
    void setLastPerformingDateProgress(double progress);

    // Adds one checkmark to the habit (and sets its habit).
    void addPerformingObject(const std::shared_ptr<Performing>& performing);
    // Detaches the given checkmarks from the habit. A detached checkmark is an orphan, and the
    // model deletes orphans: each one that belongs to the habit's context is deleted from it
    // (see HabitModel.h).
    void removePerforming(const std::vector<std::shared_ptr<Performing>>& performings);

    // ---- Derived, read-only ----

    // The date of every checkmark that has one, in no particular order.
    std::vector<Date> performingDates() const;
    // The checkmarks that have a date, sorted by date ascending.
    std::vector<std::shared_ptr<Performing>> performingsSortedByDate() const;
    // The last date of lastFivePerformingDates(); nothing when the cache is absent or empty.
    std::optional<Date> lastPerformingDate() const;
    // progress(on:) for Clock::now().
    std::int64_t currentProgress() const;
    // When the next reminder is due (NextReminderCalculator at Clock::now()): nothing unless
    // remind() is on and the habit has a remindTime() and a repeatInterval(). Reminders pause for
    // max(days / times, 1) days after lastPerformingDate(); a pause longer than the calculator can
    // add is clamped by it, so any interval a blob or backup holds gives a date. A repeat interval
    // with times 0, or the pair that overflows the division, stops the process (RepeatInterval
    // never holds them).
    std::optional<Date> nextReminder() const;

    // ---- Day queries (`on` is any instant of the day) ----
    // While the habit's checkmarks are not in memory, each query reads only the day's checkmarks,
    // with one query over the day's range among the habit's checkmarks (on the store's index of
    // checkmarks by habit): a list of habits asks about one day each. Once they are in memory (a
    // toggle, a detail view), a query reads none.

    // The checkmarks whose date is the same day as `on`.
    std::vector<std::shared_ptr<Performing>> performings(Date on) const;
    bool hasPerformings(Date on) const;
    std::int64_t numberOfPerformings(Date on) const;

    // The progress on the day of `on`, a whole number from 0 to 100 (habitProgress(),
    // HabitProgress.h): 0 without a repeat interval; recomputed from every checkmark when `on`
    // is earlier than the cached last date or the cached score is not within 0...100; otherwise
    // continued from the caches, so that today and later days read no checkmark at all.
    std::int64_t progress(Date on) const;

    // ---- Mutations ----

    // Sets or clears the checkmark of the day of `on`: with no checkmark that day, a new one
    // dated `on` exactly is created in the habit's context and added; otherwise every
    // checkmark of that day is removed with one removePerforming() call. Then the caches are
    // refreshed and the widgets of kind "HabitWidget" are asked to reload their timelines.
    // A habit that belongs to no context stops the process with
    // "There is no managed object context to toggle a checkmark of a Habit.".
    void toggleCheckmark(Date on);

    // Removes every checkmark (dated or not) with one removePerforming() call and refreshes the
    // caches: with a repeat interval, an empty five-date cache and a progress of 0. No widget
    // reload.
    void resetProgress();

  private:
    // Whether the list of checkmarks is in memory (or cannot be read: no context).
    bool checkmarksAreLoaded() const;
    // The habit's checkmarks dated within `day`.
    store::FetchRequest<Performing> checkmarksOfDay(const DayBounds& day) const;
    // The checkmarks, with their values read in one batch when they are not in memory yet.
    std::vector<std::shared_ptr<Performing>> loadedPerforming() const;
    // Refreshes both caches from every checkmark; does nothing without a repeat interval.
    void updateCachedProgress();

    // The checkmarks as last loaded, held so that they stay in the context with their values
    // (the context itself holds its objects weakly) and the next query reads nothing.
    mutable std::vector<std::shared_ptr<Performing>> loadedMembers_;
};

}  // namespace dovrel

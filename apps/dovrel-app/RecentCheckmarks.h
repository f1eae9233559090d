#pragma once

#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "platform/foundation/Date.h"

namespace dovrel::app {

// Which of the `count` days ending with the day of `today` have a checkmark of `habit`, oldest
// day first (the last entry is today). Only what the days need is read: the habit's cache of its
// five latest checkmarks answers when it reaches back past the first day (or holds every
// checkmark); otherwise one query reads the dates of the habit's checkmarks since that day,
// without making objects of them. The habit's checkmarks are never loaded. Main thread, with the
// habit on the view context.
std::vector<bool> recentCheckmarks(const Habit& habit, Date today, int count);

}  // namespace dovrel::app

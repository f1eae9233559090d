#pragma once

#include "apps/dovrel/Application.h"

namespace dovrel::cli {

// reminders status: whether the reminder daemon runs (the owner of its well-known session-bus
// name), when the next reminder is due, and the desktop's notification server (its name, vendor,
// version and capabilities). Without a session bus it says so and still prints the next
// reminder. Prints on standard output; the center's read errors throw CommandError.
void reminderStatus(const Application& application);

}  // namespace dovrel::cli

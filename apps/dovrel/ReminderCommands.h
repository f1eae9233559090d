#pragma once

#include <optional>
#include <string>

#include "apps/dovrel/Application.h"

namespace dovrel::cli {

// The commands that show and answer reminders, through the same notification center and
// notification service as the reminder daemon. Each prints its result on standard output and
// reports failures by throwing CommandError (status 1) or UsageError (status 2).

// reminders [--json]: the pending reminders, earliest first.
void listReminders(const Application& application, bool json);
// reminders deliver [--json]: moves what is due now to the delivered reminders, as the daemon
// does when their time comes, and prints each.
void deliverReminders(const Application& application, bool json);
// reminders delivered [--json]: the delivered reminders, in the order they were delivered.
void listDeliveredReminders(const Application& application, bool json);
// reminders answer IDENTIFIER ANSWER: answers a delivered or pending reminder exactly as a click
// on its button would (the notification service's answer: analytics, the checkmark, the badge,
// a rescheduling or a postponed reminder). ANSWER is complete, postpone-5m, postpone-1h,
// postpone-4h or dismiss; another word is a UsageError, read before anything is opened.
void answerReminder(const Application& application, const std::string& identifier,
                    const std::string& answer);
// The action identifier of an ANSWER word, or nothing for a word that is not one.
std::optional<std::string> reminderActionForAnswer(const std::string& answer);

// settings --reminders on|off: switches the reminders of the application group; a full
// rescheduling follows.
void switchReminders(const Application& application, bool on);

// The lines that `show` adds for the pending reminders of the habit with this URI.
std::vector<std::string> habitReminderLines(const Application& application,
                                            const std::string& habitURI);

}  // namespace dovrel::cli

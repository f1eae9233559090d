#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace dovrel::notifyd {

// The identifiers of reminders that the daemon has taken on to show and has not shown yet, kept
// in a file so that a daemon killed between delivering a reminder (moving it to the center's
// delivered notifications) and showing it shows it after its restart.
//
// The daemon adds the identifiers of the due requests before it asks the center to deliver them,
// and removes each once the notification server has accepted it. After a restart, an identifier
// still here whose notification is among the delivered ones was cut off and is shown then; one
// that is still pending is delivered as usual; one that is neither was answered meanwhile and is
// forgotten. Reminders that another program delivered (`dovrel reminders deliver`) are never
// here, so the daemon does not show them again.
//
// The file is replaced atomically (written beside it, synced, renamed) at every change, so a
// crash leaves the old list or the new one. A change that empties the list removes the file
// instead, with one unlink and no sync: that is the common step after the server accepted a
// reminder, and the shorter it is, the narrower the window in which a killed daemon would show
// that reminder again after its restart (a missing file is an empty list, so nothing can be lost
// by it). A file that cannot be read counts as empty; a failed write throws std::system_error and
// leaves the old file. Not thread-safe: one thread owns it.
class DeliveryJournal {
  public:
    explicit DeliveryJournal(std::filesystem::path file);

    const std::set<std::string>& identifiers() const noexcept { return identifiers_; }
    bool empty() const noexcept { return identifiers_.empty(); }

    void add(const std::vector<std::string>& identifiers);
    void remove(const std::vector<std::string>& identifiers);

  private:
    void save() const;

    std::filesystem::path file_;
    std::set<std::string> identifiers_;
};

}  // namespace dovrel::notifyd

#pragma once

#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/Date.h"

namespace dovrel::notifyd {

// One absolute CLOCK_REALTIME timer (a timerfd) for the earliest pending trigger date.
//
// The timer is armed with TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET: it fires at the wall-clock
// instant it was given, and when the clock is set (by hand, NTP stepping it, a resume that
// corrects it) while it is armed, reading it reports a clock change instead, so that the owner
// plans again against the new time. Not thread-safe: one thread owns it. Throws std::system_error
// when the kernel refuses to make or arm the timer.
class TriggerTimer {
  public:
    enum class Event {
        // Nothing to read (a spurious wake-up).
        none,
        // The armed date has come.
        fired,
        // The realtime clock was set discontinuously while the timer was armed.
        clockChanged,
    };

    TriggerTimer();

    // The descriptor to poll for reading.
    int descriptor() const noexcept { return timer_.get(); }

    // Arms the timer for `date` (a date in the past fires at once), replacing any earlier date.
    void arm(Date date);
    // Stops the timer; it fires no more until armed again.
    void disarm();
    bool armed() const noexcept { return armed_; }

    // Reads what happened; call when the descriptor is readable. Either event leaves the timer
    // disarmed until arm() is called again.
    Event read();

  private:
    FileDescriptor timer_;
    bool armed_ = false;
};

}  // namespace dovrel::notifyd

#include "apps/dovrel-notifyd/TriggerTimer.h"

#include <sys/timerfd.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <system_error>

namespace dovrel::notifyd {

namespace {

[[noreturn]] void throwErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

TriggerTimer::TriggerTimer()
    : timer_(::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC)) {
    if (!timer_) {
        throwErrno("timerfd_create");
    }
}

void TriggerTimer::arm(Date date) {
    // Rounded up to the next microsecond, so the timer never fires before the date itself: a
    // delivery at the fire time then always finds the request due.
    const double unixSeconds = date.timeIntervalSince1970();
    const double micros = std::ceil(unixSeconds * 1e6);
    itimerspec spec{};
    if (micros <= 0) {
        spec.it_value.tv_nsec = 1;  // "now": zero would disarm
    } else {
        const auto whole = static_cast<std::int64_t>(micros);
        spec.it_value.tv_sec = static_cast<time_t>(whole / 1'000'000);
        spec.it_value.tv_nsec = static_cast<long>((whole % 1'000'000) * 1000);
    }
    if (::timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &spec,
                          nullptr) != 0) {
        if (errno != ECANCELED) {
            throwErrno("timerfd_settime");
        }
        // The clock was set between the last read and now: the timer is armed all the same,
        // and the next read reports the change.
    }
    armed_ = true;
}

void TriggerTimer::disarm() {
    itimerspec spec{};
    if (::timerfd_settime(timer_.get(), 0, &spec, nullptr) != 0) {
        throwErrno("timerfd_settime");
    }
    armed_ = false;
}

TriggerTimer::Event TriggerTimer::read() {
    std::uint64_t expirations = 0;
    const auto count = ::read(timer_.get(), &expirations, sizeof expirations);
    if (count == static_cast<ssize_t>(sizeof expirations)) {
        armed_ = false;
        return Event::fired;
    }
    if (count < 0 && errno == ECANCELED) {
        armed_ = false;
        return Event::clockChanged;
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return Event::none;
    }
    throwErrno("read timerfd");
}

}  // namespace dovrel::notifyd

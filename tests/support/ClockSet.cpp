#include "tests/support/ClockSet.h"

#include <sys/timex.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace dovrel::testing {

namespace {

// Moves CLOCK_REALTIME by the offset (seconds, and nanoseconds in [0, 1e9)) in one step.
bool step(long seconds, long nanoseconds, std::string& why) {
    timex change{};
    change.modes = ADJ_SETOFFSET | ADJ_NANO;
    change.time.tv_sec = seconds;
    change.time.tv_usec = nanoseconds;  // nanoseconds, with ADJ_NANO
    if (::clock_adjtime(CLOCK_REALTIME, &change) < 0) {
        why = std::string("clock_adjtime: ") + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace

bool announceClockSet(std::string& why) {
    // A step of zero moves nothing and the kernel cancels no timer: one nanosecond each way.
    if (!step(0, 1, why)) {
        return false;
    }
    return step(-1, 999'999'999, why);
}

}  // namespace dovrel::testing

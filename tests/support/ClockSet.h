#pragma once

#include <string>

namespace dovrel::testing {

// Sets the realtime clock twice, one nanosecond forward and one back, so that it ends where it
// was: two real settings of the clock, which the kernel announces to every timer armed with
// TFD_TIMER_CANCEL_ON_SET (their reads fail with ECANCELED), as it does after `date -s`, an NTP
// step or a resume. Nothing else in the machine sees a change of time.
//
// Setting the clock needs CAP_SYS_TIME (root on a machine, not in a default container); without
// it nothing happens and the answer is false, with the reason in `why`.
bool announceClockSet(std::string& why);

}  // namespace dovrel::testing

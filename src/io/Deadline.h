#pragma once

#include <chrono>
#include <poll.h>
#include <span>

/// Bounded waiting on the monotonic clock, so that a change of the wall clock neither ends nor
/// prolongs a wait.
namespace vantry {

using MonotonicClock = std::chrono::steady_clock;

/// `seconds` as a length of time that can be added to the clock: nothing for a negative number or
/// NaN, and at most a day, so that even an infinite limit ends.
MonotonicClock::duration boundedDuration(double seconds);

/// Waits until one of `descriptors` has an event or `deadline` has passed, and fills `revents` as
/// poll(2) does; entries with a negative descriptor are skipped. Gives the number of entries with
/// events: 0 at the deadline, and never a negative number. Interruptions by signals are resumed.
int pollUntil(std::span<pollfd> descriptors, MonotonicClock::time_point deadline);

}  // namespace vantry

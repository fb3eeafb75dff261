#include "io/Deadline.h"

#include <algorithm>
#include <cerrno>

namespace vantry {

namespace {

using namespace std::chrono;

constexpr double longestSeconds = 24 * 60 * 60;

timespec remaining(MonotonicClock::time_point deadline) {
    const nanoseconds left = std::max<nanoseconds>(deadline - MonotonicClock::now(), 0ns);
    const seconds whole = duration_cast<seconds>(left);
    return {.tv_sec = whole.count(), .tv_nsec = (left - whole).count()};
}

}  // namespace

MonotonicClock::duration boundedDuration(double seconds) {
    if (!(seconds > 0)) return {};
    return duration_cast<MonotonicClock::duration>(
        duration<double>(std::min(seconds, longestSeconds)));
}

int pollUntil(std::span<pollfd> descriptors, MonotonicClock::time_point deadline) {
    for (;;) {
        const timespec left = remaining(deadline);
        const int ready = ::ppoll(descriptors.data(), descriptors.size(), &left, nullptr);
        if (ready >= 0) return ready;
        for (pollfd& entry : descriptors) entry.revents = 0;
        // Out of kernel memory: there is nothing to see now, and the caller's deadline decides.
        if (errno != EINTR) return 0;
    }
}

}  // namespace vantry

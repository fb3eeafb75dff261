#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace vantry {

/// What one read of a log may cost.
struct SessionParserLimits {
    std::int64_t maxReadBytes = 536'870'912;
    std::size_t maxLineBytes = 16'777'216;  ///< of a line, finished or not
    double timeout = 30;                    ///< seconds
    /// A file above this size, and a compressed one, is read under the limits that follow.
    std::int64_t largeFileThresholdBytes = 134'217'728;
    std::int64_t maxLargeFileReadBytes = 4'294'967'296;
    std::size_t maxLargeFileLineBytes = 33'554'432;
    double largeFileTimeout = 120;  ///< seconds

    /// The limits of a large file, in place of the standard ones.
    SessionParserLimits forLargeFile() const {
        SessionParserLimits limits = *this;
        limits.maxReadBytes = maxLargeFileReadBytes;
        limits.maxLineBytes = maxLargeFileLineBytes;
        limits.timeout = largeFileTimeout;
        return limits;
    }
};

/// Seconds on a clock that only goes forward.
using MonotonicUptime = std::function<double()>;

inline double systemUptime() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// The limits of one read and the moment at which its time is up.
class SessionParserBudget {
  public:
    SessionParserBudget(const SessionParserLimits& limits, MonotonicUptime uptime)
        : limits_(limits),
          uptime_(std::move(uptime)),
          deadline_(uptime_() + std::max(limits.timeout, 0.0)) {}

    const SessionParserLimits& limits() const { return limits_; }

    /// Whether there is a time limit at all, and it has not passed.
    bool isInTime() const {
        return std::isfinite(limits_.timeout) && limits_.timeout > 0 && uptime_() < deadline_;
    }

  private:
    SessionParserLimits limits_;
    MonotonicUptime uptime_;
    double deadline_;
};

}  // namespace vantry

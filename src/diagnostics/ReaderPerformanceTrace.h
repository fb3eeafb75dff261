#pragma once

#include <chrono>
#include <string_view>

namespace vantry {

/// Times the stages of one read and prints them on standard error as lines
/// "reader-profile LABEL 12.3 ms". Off, and free of cost, unless VANTRY_PROFILE_READER was exactly
/// "1" when this process first asked. One thread at a time; lines of several traces do not mix.
class ReaderPerformanceTrace {
  public:
    /// The clock starts here.
    ReaderPerformanceTrace();

    /// Prints the time since the last checkpoint, or since the start.
    void checkpoint(std::string_view label);

    /// Prints the time since the start.
    void finish(std::string_view label) const;

  private:
    using Clock = std::chrono::steady_clock;

    bool enabled_;
    Clock::time_point started_;
    Clock::time_point previous_;
};

}  // namespace vantry

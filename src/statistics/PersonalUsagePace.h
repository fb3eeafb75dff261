#pragma once

#include <cstdint>
#include <optional>

#include "platform/Date.h"

namespace vantry {

enum class WeeklyQuotaPaceStatus : std::uint8_t { healthy, aheadOfPace };

/// How quota use stands against the clock. Fractions are 0...1.
struct WeeklyQuotaPace {
    std::optional<double> timeProgress;
    double quotaUsed = 0;
    std::optional<WeeklyQuotaPaceStatus> status;  ///< absent where it cannot be judged

    friend bool operator==(const WeeklyQuotaPace&, const WeeklyQuotaPace&) = default;
};

namespace WeeklyQuotaPaceCalculator {

struct Window {
    std::optional<std::int64_t> windowDurationMins;
    std::optional<double> usedPercent;
    std::optional<Date> resetsAt;
    bool isStale = false;  ///< elapsed time and cached use are kept, but not judged
    Date now;
};

/// Nothing where the use is not known, or neither length nor reset of the window is. More than
/// three points ahead of the clock is ahead of pace.
std::optional<WeeklyQuotaPace> calculate(const Window& window);

}  // namespace WeeklyQuotaPaceCalculator

}  // namespace vantry

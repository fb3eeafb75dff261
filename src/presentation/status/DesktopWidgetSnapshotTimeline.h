#pragma once

#include <vector>

#include "session/DesktopWidgetSnapshot.h"

/// When a widget must draw itself anew: it does so only at times that it named in advance.
namespace vantry::DesktopWidgetTimelinePolicy {

inline constexpr double freshnessInterval = 1'200.0;  ///< seconds
inline constexpr double refreshInterval = 1'800.0;    ///< seconds

struct Freshness {
    std::optional<Date> capturedAt;
    bool markedStale = false;
    Date now;
};

/// Whether a figure is to be marked as old: 20 minutes after its capture at the latest.
bool isStale(const Freshness& freshness);

/// Every moment from `now` on at which a figure, a mark or the countdown's text changes, `now`
/// first and in order, each once: window ends and marks however far off, tenths of an hour within
/// the refresh interval, the end of the statistics day, and the next refresh.
std::vector<Date> entryDates(const DesktopWidgetSnapshot& snapshot, Date now,
                             const TimeZone& fallback = TimeZone::system());

}  // namespace vantry::DesktopWidgetTimelinePolicy

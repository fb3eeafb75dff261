#pragma once

/// How often the local records are looked at, in seconds.
namespace vantry::LocalUsageRefreshCadence {

inline constexpr double foregroundInterval = 15.0;
inline constexpr double backgroundInterval = 60.0;

constexpr double interval(bool isForeground) {
    return isForeground ? foregroundInterval : backgroundInterval;
}

}  // namespace vantry::LocalUsageRefreshCadence

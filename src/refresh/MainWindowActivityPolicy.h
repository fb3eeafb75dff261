#pragma once

/// Whether somebody can be looking.
namespace vantry::MainWindowActivityPolicy {

struct Surfaces {
    bool applicationIsActive = false;
    bool mainWindowIsVisible = false;
    bool popoverIsVisible = false;
};

/// Whether local usage is worth the foreground cadence.
constexpr bool localUsageIsForeground(const Surfaces& surfaces) {
    return surfaces.applicationIsActive &&
           (surfaces.mainWindowIsVisible || surfaces.popoverIsVisible);
}

struct Window {
    bool applicationIsActive = false;
    bool windowIsVisible = false;
    bool windowIsMiniaturized = false;
    bool windowIsVisiblyUnoccluded = false;
};

constexpr bool animationsShouldRun(const Window& window) {
    return window.applicationIsActive && window.windowIsVisible && !window.windowIsMiniaturized &&
           window.windowIsVisiblyUnoccluded;
}

}  // namespace vantry::MainWindowActivityPolicy

/// How often the local records are looked at, in seconds.
namespace vantry::LocalUsageRefreshCadence {

inline constexpr double foregroundInterval = 15.0;
inline constexpr double backgroundInterval = 60.0;

constexpr double interval(bool isForeground) {
    return isForeground ? foregroundInterval : backgroundInterval;
}

}  // namespace vantry::LocalUsageRefreshCadence

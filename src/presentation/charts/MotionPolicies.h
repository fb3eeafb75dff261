#pragma once

/// Whether and how often anything moves.
namespace vantry {

namespace SystemMotionPolicy {

constexpr bool animationsEnabled(bool reduceMotion) {
    return !reduceMotion;
}

}  // namespace SystemMotionPolicy

namespace WindowAnimationClockPolicy {

inline constexpr double framesPerSecond = 15;
inline constexpr double minimumInterval = 1.0 / 15;  ///< seconds between two frames

struct Moment {
    bool isActive = false;  ///< somebody can see the window
    bool reduceMotion = false;
};
constexpr bool shouldPause(const Moment& moment) {
    return !moment.isActive || moment.reduceMotion;
}

}  // namespace WindowAnimationClockPolicy

}  // namespace vantry

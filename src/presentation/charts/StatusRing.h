#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "presentation/windows/Rect.h"

namespace vantry {

/// The clock of the light that runs around the ring.
namespace StatusItemFlowAnimation {

inline constexpr double duration = 2.8;  ///< seconds for one circle
inline constexpr int frameCount = 42;
inline constexpr double frameInterval = 1.0 / 15;  ///< seconds
inline constexpr double filledArcHaloDiameterScale = 1.24;
inline constexpr double emptyTrackHaloDiameterScale = 1.76;

/// The part of the circle that is run, [0, 1), at `uptime` seconds; nothing with reduced motion.
std::optional<double> phase(double uptime, bool reduceMotion);
/// 0...41.
std::optional<int> frameIndex(double uptime, bool reduceMotion);
double framePhase(int index);

struct CircularHeadState {
    double headFraction = 0;  ///< [0, 1)
    double filledArcMix = 0;  ///< 1 over the filled arc, 0 over the empty track

    friend bool operator==(const CircularHeadState&, const CircularHeadState&) = default;
};
struct Progress {
    double phase = 0;     ///< any; its fraction counts
    double progress = 0;  ///< of the filled arc
};
/// The colour fades across both ends of the arc, the seam of a full circle included.
CircularHeadState circularHeadState(const Progress& progress);

}  // namespace StatusItemFlowAnimation

namespace StatusItemFlowGeometry {

struct Ring {
    Point center;
    double centerlineRadius = 0;
    double lineWidth = 0;
};
/// The square around the ring's outer edge, whose oval nothing of the light may pass.
Rect outerClipRect(const Ring& ring);

}  // namespace StatusItemFlowGeometry

namespace StatusItemFlowOverlayPlacement {

/// The button's own frame if it lies on that screen.
std::optional<Rect> frame(const Rect& sourceButtonFrame, const Rect& sourceScreenFrame);

}  // namespace StatusItemFlowOverlayPlacement

/// The frames of one circle of the light, each rendered once for a key.
template <class Key, class Frame>
class StatusItemFlowFrameCache {
  public:
    explicit StatusItemFlowFrameCache(int frameCount = StatusItemFlowAnimation::frameCount)
        : frames_(static_cast<std::size_t>(std::max(frameCount, 0))) {}

    /// Null for an index that is none. Valid until another key comes.
    const Frame* frame(const Key& key, int index, const std::function<Frame()>& render) {
        if (key_ != key) {
            invalidate();
            key_ = key;
        }
        if (index < 0 || static_cast<std::size_t>(index) >= frames_.size()) return nullptr;
        std::optional<Frame>& frame = frames_[static_cast<std::size_t>(index)];
        if (!frame) frame = render();
        return &*frame;
    }

    void invalidate() {
        for (auto& frame : frames_) frame.reset();
        key_.reset();
    }

  private:
    std::vector<std::optional<Frame>> frames_;
    std::optional<Key> key_;
};

/// What a piece of the ring is coloured with.
enum class RingColor : std::uint8_t {
    track,         ///< the label colour
    danger,        ///< of a quota that is used up
    arcStart,      ///< brandHighlight
    arcEnd,        ///< brandSecondary
    particle,      ///< dataFlowParticle, near white
    particleDark,  ///< brandSecondaryStrong
};

/// `from` mixed towards `to` by `fraction`, component by component in sRGB.
struct RingColorMix {
    RingColor from = RingColor::track;
    RingColor to = RingColor::track;
    double fraction = 0;  ///< 0...1
    double alpha = 1;

    friend bool operator==(const RingColorMix&, const RingColorMix&) = default;
};

/// A stroked piece of a circle. Degrees, counter-clockwise from the right, 90 at the top.
struct RingArc {
    double startAngle = 0;
    double endAngle = 0;  ///< below the start: clockwise
    double lineWidth = 0;
    bool isRound = false;  ///< its ends
    RingColorMix color;

    friend bool operator==(const RingArc&, const RingArc&) = default;
};

struct RingDot {
    Point center;
    double diameter = 0;
    RingColorMix color;

    friend bool operator==(const RingDot&, const RingDot&) = default;
};

/// A ring in a square of its own; what is listed first is drawn first, arcs before dots.
struct StatusRing {
    Point center;
    double radius = 0;  ///< of the centre line
    std::vector<RingArc> arcs;
    std::vector<RingDot> dots;
    Rect flowClip;  ///< of the light, an oval
    std::vector<RingArc> flowArcs;
    std::vector<RingDot> flowDots;

    friend bool operator==(const StatusRing&, const StatusRing&) = default;
};

struct StatusRingRequest {
    Rect rect;
    double lineWidth = 0;
    std::optional<double> fraction;  ///< of the filled arc; absent: the track alone
    bool isClockwise = false;        ///< used runs clockwise, remaining the other way
    bool isUsedUp = false;           ///< the track in the danger colour
    bool isAvailable = true;
    std::optional<double> flowPhase = {};
};
StatusRing statusRing(const StatusRingRequest& request);

}  // namespace vantry

#include "presentation/charts/StatusRing.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vantry {

namespace {

double fractionalPart(double value) {
    const double part = value - std::floor(value);
    return part < 1 ? part : 0;  // a tiny negative value rounds up to 1
}

}  // namespace

namespace StatusItemFlowAnimation {

std::optional<double> phase(double uptime, bool reduceMotion) {
    if (reduceMotion) return std::nullopt;
    double into = std::fmod(uptime, duration);
    if (into < 0) into += duration;
    return into / duration;
}

std::optional<int> frameIndex(double uptime, bool reduceMotion) {
    const auto run = phase(uptime, reduceMotion);
    if (!run) return std::nullopt;
    // The time of a frame is no binary fraction: a frame must not begin one too late for that.
    constexpr double tolerance = 1e-9;
    return std::clamp(static_cast<int>(*run * frameCount + tolerance), 0, frameCount - 1);
}

double framePhase(int index) {
    return static_cast<double>(index) / frameCount;
}

CircularHeadState circularHeadState(const Progress& given) {
    const double head = fractionalPart(given.phase);
    const double progress = given.progress;
    if (progress >= 1) return {head, 1};
    if (!(progress > 0)) return {head, 0};
    const double distance =
        progress >= head ? std::min(progress - head, head) : -std::min(1 - head, head - progress);
    const double x = std::clamp((distance + 0.035) / 0.07, 0.0, 1.0);
    return {head, x * x * (3 - 2 * x)};
}

}  // namespace StatusItemFlowAnimation

Rect StatusItemFlowGeometry::outerClipRect(const Ring& ring) {
    const double r = std::max(ring.centerlineRadius + ring.lineWidth * 0.5, 0.0);
    return {ring.center.x - r, ring.center.y - r, 2 * r, 2 * r};
}

std::optional<Rect> StatusItemFlowOverlayPlacement::frame(const Rect& sourceButtonFrame,
                                                          const Rect& sourceScreenFrame) {
    if (!sourceScreenFrame.contains(sourceButtonFrame)) return std::nullopt;
    return sourceButtonFrame;
}

namespace {

class RingMaker {
  public:
    explicit RingMaker(const StatusRingRequest& request)
        : request_(request), sign_(request.isClockwise ? -1 : 1) {
        const double diameter = std::min(request.rect.width, request.rect.height);
        ring_.center = request.rect.centre();
        ring_.radius = std::max((diameter - request.lineWidth) / 2, 0.0);
    }

    StatusRing ring() {
        addTrack();
        const double fraction = std::min(request_.fraction.value_or(0), 1.0);
        if (request_.fraction && fraction > 0.001) addFilledArc(fraction);
        if (request_.flowPhase && request_.isAvailable && request_.fraction) {
            addFlow(*request_.flowPhase, fraction);
        }
        return std::move(ring_);
    }

  private:
    double angleOf(double fraction) const { return 90 + sign_ * fraction * 360; }

    Point pointOf(double fraction) const {
        const double radians = angleOf(fraction) * std::numbers::pi / 180;
        return {ring_.center.x + ring_.radius * std::cos(radians),
                ring_.center.y - ring_.radius * std::sin(radians)};
    }

    void addTrack() {
        const RingColor color = request_.isUsedUp ? RingColor::danger : RingColor::track;
        ring_.arcs.push_back({.startAngle = 90,
                              .endAngle = -270,
                              .lineWidth = request_.lineWidth,
                              .isRound = true,
                              .color = {color, color, 0, request_.isUsedUp ? 1 : 0.1}});
    }

    void addFilledArc(double fraction) {
        const int count = std::max(static_cast<int>(std::ceil(72 * fraction)), 12);
        for (int i = 0; i < count; ++i) {
            const double mix = count > 1 ? static_cast<double>(i) / (count - 1) : 0;
            ring_.arcs.push_back({.startAngle = angleOf(fraction * i / count),
                                  .endAngle = angleOf(fraction * (i + 1) / count),
                                  .lineWidth = request_.lineWidth,
                                  .color = {RingColor::arcStart, RingColor::arcEnd, mix, 1}});
        }
        const auto dot = [&](double at, RingColor color) {
            ring_.dots.push_back({pointOf(at), request_.lineWidth, {color, color, 0, 1}});
        };
        dot(0, RingColor::arcStart);
        dot(fraction, RingColor::arcEnd);
    }

    static RingColorMix flowColor(double towardsDark, double alpha) {
        return {RingColor::particle, RingColor::particleDark, towardsDark, alpha};
    }

    void addFlow(double phase, double fraction) {
        namespace Animation = StatusItemFlowAnimation;
        constexpr double tail = 0.14;
        constexpr int pieces = 10;
        ring_.flowClip = StatusItemFlowGeometry::outerClipRect({.center = ring_.center,
                                                                .centerlineRadius = ring_.radius,
                                                                .lineWidth = request_.lineWidth});
        const auto state = Animation::circularHeadState({.phase = phase, .progress = fraction});
        const double start = state.headFraction - tail;
        for (int i = 0; i < pieces; ++i) {
            const double a = start + tail * i / pieces;
            const double b = start + tail * (i + 1) / pieces;
            const double s = static_cast<double>(i + 1) / pieces;
            const double c =
                1 - Animation::circularHeadState({.phase = (a + b) / 2, .progress = fraction})
                        .filledArcMix;
            const double alpha = std::min(0.98, 0.1 + 0.84 * s * s + 0.1 * s * c);
            addFlowArc(a, b, request_.lineWidth * (0.68 + 0.16 * s + 0.16 * s * c),
                       flowColor(c, alpha));
        }
        const double c = 1 - state.filledArcMix;
        const double halo =
            Animation::filledArcHaloDiameterScale +
            (Animation::emptyTrackHaloDiameterScale - Animation::filledArcHaloDiameterScale) * c;
        const Point head = pointOf(state.headFraction);
        ring_.flowDots.push_back({head, request_.lineWidth * halo, flowColor(c, 0.2 + 0.22 * c)});
        ring_.flowDots.push_back(
            {head, request_.lineWidth * (0.82 + 0.34 * c), flowColor(c, 0.99)});
    }

    // In two where it crosses the seam.
    void addFlowArc(double a, double b, double lineWidth, const RingColorMix& color) {
        constexpr double shortest = 0.0001;  // of a turn
        const double from = fractionalPart(a);
        const double length = b - a;
        const auto add = [&](double begin, double end) {
            if (end - begin <= shortest) return;
            ring_.flowArcs.push_back({.startAngle = angleOf(begin),
                                      .endAngle = angleOf(end),
                                      .lineWidth = lineWidth,
                                      .color = color});
        };
        add(from, std::min(from + length, 1.0));
        if (from + length > 1) add(0, from + length - 1);
    }

    const StatusRingRequest& request_;
    double sign_;
    StatusRing ring_;
};

}  // namespace

StatusRing statusRing(const StatusRingRequest& request) {
    return RingMaker(request).ring();
}

}  // namespace vantry

#include <fmt/format.h>

#include "presentation/charts/BarGeometry.h"
#include "presentation/charts/LineChartFlow.h"
#include "presentation/charts/LineChartGeometry.h"
#include "presentation/charts/MotionPolicies.h"
#include "presentation/charts/StatusRing.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

using Tokens = std::vector<std::optional<std::int64_t>>;

void checkPoints(SelfTest& test) {
    struct Case {
        Tokens tokens;
        std::vector<std::optional<Point>> points;
    };
    for (const auto& [tokens, points] :
         {Case{{}, {}}, Case{{7}, {Point{50, 8}}}, Case{{0, 0}, {Point{0, 42}, Point{100, 42}}},
          Case{{0, std::nullopt, 10}, {Point{0, 42}, std::nullopt, Point{100, 8}}},
          Case{{INT64_MAX, INT64_MAX / 2}, {Point{0, 8}, Point{100, 25}}}}) {
        test.expect(LineChartGeometry::usageTrendPoints(tokens, {100, 50}) == points,
                    fmt::format("{} values of a trend", tokens.size()));
    }
    const std::vector<std::optional<Point>> line{std::nullopt, Point{1, 1},  Point{2, 1},
                                                 std::nullopt, std::nullopt, Point{5, 1}};
    const auto pieces = LineChartGeometry::linePath(line);
    test.expect(pieces.size() == 2 && pieces[0].size() == 2 && pieces[1].size() == 1 &&
                    LineChartGeometry::gaps(line, 5) ==
                        std::vector<LineChartGeometry::Span>{{0, 1}, {2, 5}},
                "days that are not known part the line");
    const std::vector<HourlyTokenBucket> hours{{0, 0}, {23, 50}};
    const auto pace =
        LineChartGeometry::usagePacePoints({.buckets = hours, .maximum = 100, .size = {230, 36}});
    test.expect(pace == std::vector<Point>{{0, 28}, {230, 18}} &&
                    LineChartGeometry::usagePacePath(pace, 36).size() == 5,
                "24 hours on one scale");
    for (const auto& [maximum, values] :
         {std::pair{std::int64_t{0}, std::vector<std::int64_t>{}},
          std::pair{std::int64_t{2}, std::vector<std::int64_t>{1, 2}},
          std::pair{std::int64_t{79}, std::vector<std::int64_t>{50, 100}},
          std::pair{std::int64_t{60'000'000},
                    std::vector<std::int64_t>{20'000'000, 40'000'000, 60'000'000}}}) {
        test.expect(LineChartGeometry::gridValues(maximum) == values,
                    fmt::format("grid lines up to {}", maximum));
    }
    test.expect(LineChartGeometry::gridValues(INT64_MAX).size() <= 3, "the largest number too");
}

void checkBars(SelfTest& test) {
    const Tokens first{100, std::nullopt, 0, 1};
    const Tokens second{100, std::nullopt, std::nullopt, 0};
    const std::vector<BarGeometry::Series> series{first, second};
    const auto stack = BarGeometry::stack({.series = series, .size = {40, 50}, .spacing = 2});
    using Piece = BarGeometry::StackPiece;
    test.expect(stack.maximum == 200 && stack.missing == std::vector<Rect>{{11, 49, 8, 1}} &&
                    stack.pieces == std::vector<Piece>{{0, 0, {1, 25, 8, 25}},
                                                       {0, 1, {1, 0, 8, 25}},
                                                       {3, 0, {31, 48, 8, 2}}},
                "a stack: two pixels at least, nothing for zero, a mark for what is not known");
    test.expect(BarGeometry::dayAt({.x = 39.9, .width = 40, .days = 4}) == 3 &&
                    !BarGeometry::dayAt({.x = 40, .width = 40, .days = 4}) &&
                    !BarGeometry::dayAt({.x = 0, .width = 40, .days = 0}),
                "the day under the pointer");
    const TokenBreakdown split{
        .inputTokens = 60, .cachedInputTokens = 20, .outputTokens = 40, .totalTokens = 100};
    const auto segments =
        BarGeometry::splitSegments(TokenSplitBarPresentation::of({.tokens = split}));
    test.expect(segments.size() == 3 && segments[0].to == 0.2 && segments[1].to > 0.599 &&
                    segments[1].to < 0.601 && segments[2].to == 1,
                "the parts of a split bar");
    const HeatmapGeometry::Layout popover{.origin = {16, 0}};
    test.expect(HeatmapGeometry::size(popover).width == 464 &&
                    HeatmapGeometry::cell(popover, 1, 2) == Rect{34, 36, 14, 14} &&
                    HeatmapGeometry::cellAt(popover, {33, 0}) == HeatmapGeometry::CellPlace{1, 0} &&
                    !HeatmapGeometry::cellAt(popover, {482, 0}),
                "26 weeks fill a popover of 496 with 16 at each side");
    const auto wide = HeatmapGeometry::filling(900, 26, {});
    test.expect(HeatmapGeometry::size(wide).width <= 900 && HeatmapGeometry::size(wide).width > 800,
                "and the width that there is");
}

void checkFlow(SelfTest& test) {
    struct Travel {
        double phase;
        LinearFlowTravel::Segment segment;
    };
    for (const auto& [phase, segment] :
         {Travel{0, {0, 0}}, Travel{0.5, {0.25, 0.75}}, Travel{1, {1, 1}}}) {
        test.expect(LinearFlowTravel::segment({phase, 0.5}) == segment, "the light on its way");
    }
    namespace Particle = LinearDataFlowParticleMotion;
    test.expect(Particle::edgeFade(-0.1) == 0 && Particle::edgeFade(1) == 0 &&
                    Particle::edgeFade(0.05) == 0.5 && Particle::edgeFade(0.5) == 1 &&
                    Particle::trailLength({1'000, 4}) == 10 &&
                    Particle::trailLength({50, 4}) == 6 && Particle::trailLength({-1, 4}) == 0,
                "it fades at both ends");
    namespace Clock = WindowAnimationClockPolicy;
    test.expect(Clock::shouldPause({false, false}) && Clock::shouldPause({true, true}) &&
                    !Clock::shouldPause({true, false}) &&
                    !SystemMotionPolicy::animationsEnabled(true),
                "nothing moves unseen, or where that is not wanted");
}

void checkRingClock(SelfTest& test) {
    namespace Flow = StatusItemFlowAnimation;
    test.expect(Flow::frameIndex(0, false) == 0 && Flow::frameIndex(2.8 - 1.0 / 15, false) == 41 &&
                    Flow::frameIndex(2.8, false) == 0 && !Flow::frameIndex(1, true) &&
                    Flow::framePhase(41) == 41.0 / 42,
                "42 frames a circle");
    std::set<int> seen;
    for (int frame = 0; frame < 42; ++frame) seen.insert(*Flow::frameIndex(frame / 15.0, false));
    test.expect(seen.size() == 42, "and each of them once");
    struct Case {
        double phase;
        double progress;
        double mix;
    };
    for (const auto& [phase, progress, mix] :
         {Case{0.3, 1, 1}, Case{0.3, 0, 0}, Case{0.25, 0.5, 1}, Case{0.75, 0.5, 0},
          Case{0.5, 0.5, 0.5}, Case{0, 0.5, 0.5}}) {
        const auto state = Flow::circularHeadState({phase, progress});
        test.expect(std::abs(state.filledArcMix - mix) < 1e-9 && state.headFraction == phase,
                    fmt::format("the head at {} of {}", phase, progress));
    }
    test.expect(Flow::circularHeadState({0.999, 0.5}).headFraction == 0.999 &&
                    Flow::circularHeadState({-0.25, 0.5}).headFraction == 0.75,
                "the head does not snap to the seam");
}

void checkRing(SelfTest& test) {
    const StatusRingRequest request{
        .rect = {0, 0, 20, 22}, .lineWidth = 3.25, .fraction = 0.5, .flowPhase = 0.05};
    const StatusRing ring = statusRing(request);
    const double outer = ring.radius + 3.25 / 2;
    test.expect(ring.center == Point{10, 11} && std::abs(ring.radius - 8.375) < 1e-9 &&
                    ring.arcs.size() == 37 && ring.arcs[1].startAngle == 90 &&
                    ring.arcs.back().endAngle == 270 && ring.dots.size() == 2 &&
                    ring.flowDots.size() == 2 && ring.flowArcs.size() == 11 &&
                    ring.flowClip == Rect{10 - outer, 11 - outer, 2 * outer, 2 * outer},
                "half of a ring with a light that crosses the seam");
    StatusRingRequest used = request;
    used.isClockwise = true;
    test.expect(statusRing(used).arcs.back().endAngle == -90, "used runs clockwise");
    used.fraction = 0.0005;
    test.expect(statusRing(used).arcs.size() == 1 && statusRing(used).dots.empty(),
                "too little to draw");
    used.fraction.reset();
    used.isUsedUp = true;
    const StatusRing danger = statusRing(used);
    test.expect(danger.arcs.size() == 1 && danger.arcs[0].color.from == RingColor::danger &&
                    danger.flowArcs.empty(),
                "nothing moves without a quota");
    int rendered = 0;
    StatusItemFlowFrameCache<std::string, int> cache;
    for (int i = 0; i < 84; ++i) cache.frame("key", i % 42, [&] { return ++rendered; });
    test.expect(rendered == 42 && cache.frame("key", 42, [] { return 0; }) == nullptr &&
                    *cache.frame("other", 1, [&] { return ++rendered; }) == 43,
                "each frame is rendered once for a key");
}

}  // namespace

bool WindowAnimationClockPolicySelfTest::run() {
    return SelfTest::run("window animation clock", {checkFlow, checkRingClock, checkRing});
}

bool UsageTrendLayoutSelfTest::run() {
    return SelfTest::run("line chart geometry", {checkPoints, checkBars});
}

}  // namespace vantry

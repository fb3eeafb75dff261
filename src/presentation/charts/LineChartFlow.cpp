#include "presentation/charts/LineChartFlow.h"

#include <algorithm>

namespace vantry {

LinearFlowTravel::Segment LinearFlowTravel::segment(const Highlight& highlight) {
    const double length = std::max(highlight.length, 0.0);
    const double end = highlight.phase * (1 + length);
    return {.start = std::clamp(end - length, 0.0, 1.0), .end = std::clamp(end, 0.0, 1.0)};
}

double LinearDataFlowParticleMotion::edgeFade(double phase) {
    if (!(phase >= 0 && phase < 1)) return 0;
    return std::min(1.0, 10 * std::min(phase, 1 - phase));
}

double LinearDataFlowParticleMotion::trailLength(const Track& track) {
    if (track.activeWidth < 0 || track.trackHeight < 0) return 0;
    return std::min(std::max(8.0, track.trackHeight * 2.5), track.activeWidth * 0.12);
}

}  // namespace vantry

#pragma once

namespace vantry {

/// The light that runs along a line.
struct LineChartFlowStyle {
    struct Stroke {
        double leadingOpacity = 0;
        double highlightOpacity = 0;
        double trailingOpacity = 0;
        double width = 0;  ///< pixels
        double blur = 0;   ///< pixels
    };
    double duration = 0;    ///< seconds from end to end
    double tailLength = 0;  ///< of the line
    Stroke outerStroke;
    Stroke innerStroke;

    /// Of the popover.
    static constexpr LineChartFlowStyle compact() {
        return {2.8, 0.3, {0, 0.34, 0, 6, 3}, {0, 0.9, 0, 2, 0}};
    }
    /// Of the dashboard.
    static constexpr LineChartFlowStyle large() {
        return {3.2, 0.27, {0, 0.3, 0, 8, 4}, {0, 0.9, 0, 2.5, 0}};
    }
};

namespace LinearFlowTravel {

/// Ends as fractions of the track, 0...1.
struct Segment {
    double start = 0;
    double end = 0;

    friend bool operator==(const Segment&, const Segment&) = default;
};

struct Highlight {
    double phase = 0;   ///< 0...1 of the travel
    double length = 0;  ///< of the track
};
/// The highlight on its way from before the track to behind it.
Segment segment(const Highlight& highlight);

}  // namespace LinearFlowTravel

namespace LinearDataFlowParticleMotion {

/// 0 at both ends of the travel and outside it, 1 in between.
double edgeFade(double phase);

struct Track {
    double activeWidth = 0;
    double trackHeight = 0;
};
/// In the track's unit; 0 for a track that is none.
double trailLength(const Track& track);

}  // namespace LinearDataFlowParticleMotion

}  // namespace vantry

#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace vantry {

/// A cell of the heatmap that may glow.
struct UsageHeatmapGlowTarget {
    std::string id;  ///< day key
    double x = 0;    ///< the cell's centre in the drawing
    double y = 0;

    friend bool operator==(const UsageHeatmapGlowTarget&, const UsageHeatmapGlowTarget&) = default;
};

/// Which colour a day of the heatmap has, and which days glow when. The same days glow in the same
/// order on every surface and after every start.
namespace HeatmapGlowPlanner {

inline constexpr std::int64_t glowTokenThreshold = 37'663'609;
inline constexpr std::int64_t deepPurpleTokenThreshold = 80'000'000;
inline constexpr std::int64_t deepestPurpleTokenThreshold = 299'999'999;
inline constexpr double phaseDuration = 1.5;        ///< seconds
inline constexpr double transitionDuration = 0.35;  ///< seconds, the end of each phase

/// Whether a day of so many tokens may glow. Its colour does not follow from this.
constexpr bool isEligible(std::int64_t tokens) {
    return tokens > glowTokenThreshold;
}

/// 0 for no tokens to 5. The two deepest levels are the same for everyone; those below adapt to
/// the thresholds of the user's own days.
int level(std::int64_t tokens, std::span<const std::int64_t> thresholds);

/// Each id once, in an order that looks random and is the same every time.
std::vector<std::string> orderedCandidateIDs(std::span<const std::string> ids);

/// Each id once, in an order in which neighbours in time lie far from each other, so that the
/// cells lit at once are spread. Quadratic.
std::vector<std::string> orderedCandidateIDs(std::span<const UsageHeatmapGlowTarget> targets);

struct PhaseOfOrdered {
    std::span<const std::string> orderedCandidates;
    std::int64_t phase = 0;
};

struct PhaseOfUnordered {
    std::span<const std::string> candidates;
    std::int64_t phase = 0;
};

/// The cells lit in a phase: four in an even one and five in an odd one, as far as there are.
std::set<std::string> activeCellIDs(const PhaseOfOrdered& moment);
std::set<std::string> activeCellIDs(const PhaseOfUnordered& moment);

struct FrameOfOrdered {
    std::span<const std::string> orderedCandidates;
    double time = 0;  ///< seconds since the animation began
    bool reduceMotion = false;
};

struct FrameOfUnordered {
    std::span<const std::string> candidates;
    double time = 0;
    bool reduceMotion = false;
};

/// How strongly each lit cell glows, above 0 to 1; at most five cells. For each animation frame the
/// candidates are ordered once, when the data changes.
std::map<std::string, double> glowStrengths(const FrameOfOrdered& frame);
std::map<std::string, double> glowStrengths(const FrameOfUnordered& frame);

}  // namespace HeatmapGlowPlanner

}  // namespace vantry

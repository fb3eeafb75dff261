#include "presentation/charts/HeatmapGlowPlanner.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string_view>
#include <tuple>

namespace vantry::HeatmapGlowPlanner {

namespace {

constexpr double restDuration = 1.15;  // seconds of a phase before its transition
constexpr double shimmerPeriod = 1.15;
constexpr double faintest = 0.001;

// FNV-1a with a start value of its own. A day keeps its place in the order as long as this number
// stays.
std::uint64_t stableHash(std::string_view id) {
    std::uint64_t hash = 1'469'598'103'934'665'603U;
    for (const char byte : id) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 1'099'511'628'211U;
    }
    return hash;
}

struct Candidate {
    std::uint64_t hash = 0;
    std::string_view id;
    double x = 0;
    double y = 0;

    double squaredDistance(const Candidate& other) const {
        const double dx = x - other.x;
        const double dy = y - other.y;
        return dx * dx + dy * dy;
    }
};

std::vector<std::string> idsOf(std::span<const Candidate> candidates) {
    std::vector<std::string> ids;
    ids.reserve(candidates.size());
    for (const Candidate& candidate : candidates) ids.emplace_back(candidate.id);
    return ids;
}

std::vector<Candidate> inStableOrder(std::span<const UsageHeatmapGlowTarget> targets) {
    std::vector<Candidate> candidates;
    candidates.reserve(targets.size());
    for (const auto& [id, x, y] : targets) {
        candidates.push_back({.hash = stableHash(id), .id = id, .x = x, .y = y});
    }
    // Stable: of two cells of one id the first stays.
    std::ranges::stable_sort(candidates, {}, [](const Candidate& candidate) {
        return std::tuple(candidate.hash, candidate.id);
    });
    const auto isRepeated = [](const Candidate& a, const Candidate& b) { return a.id == b.id; };
    candidates.erase(std::unique(candidates.begin(), candidates.end(), isRepeated),
                     candidates.end());
    return candidates;
}

// Of the remaining candidates, which are in stable order, the one farthest from those chosen last.
std::size_t farthest(std::span<const Candidate> remaining, std::span<const Candidate> chosen) {
    constexpr std::size_t litBefore = 4;
    constexpr double equalWithin = 0.001;
    const auto lastChosen = chosen.last(std::min(chosen.size(), litBefore));
    std::vector<double> distances;
    distances.reserve(remaining.size());
    for (const Candidate& candidate : remaining) {
        double nearest = std::numeric_limits<double>::infinity();
        for (const Candidate& other : lastChosen) {
            nearest = std::min(nearest, candidate.squaredDistance(other));
        }
        distances.push_back(nearest);
    }
    const double largest = *std::ranges::max_element(distances);
    const auto found = std::ranges::find_if(distances, [&](double distance) {
        return distance == largest || largest - distance <= equalWithin;
    });
    if (found == distances.end()) return 0;  // centres that are no numbers
    return static_cast<std::size_t>(found - distances.begin());
}

// 0 while a phase rests, then smoothly to 1 at its end.
double crossfade(double secondsIntoPhase) {
    const double x = std::clamp((secondsIntoPhase - restDuration) / transitionDuration, 0.0, 1.0);
    return x * x * (3 - 2 * x);
}

double shimmer(std::string_view id, double time) {
    const double ownStart = static_cast<double>(stableHash(id) % 1'000) / 1'000;
    const double turn = ownStart + std::fmod(time, shimmerPeriod) / shimmerPeriod;
    return 0.72 + 0.28 * (std::sin(2 * std::numbers::pi * turn) + 1) * 0.5;
}

}  // namespace

int level(std::int64_t tokens, std::span<const std::int64_t> thresholds) {
    if (tokens < 1) return 0;
    if (tokens >= deepestPurpleTokenThreshold) return 5;
    if (tokens >= deepPurpleTokenThreshold) return 4;
    if (thresholds.size() < 2 || tokens <= thresholds[0]) return 1;
    return tokens > thresholds[1] ? 3 : 2;
}

std::vector<std::string> orderedCandidateIDs(std::span<const std::string> ids) {
    std::vector<UsageHeatmapGlowTarget> targets;
    targets.reserve(ids.size());
    for (const std::string& id : ids) targets.push_back({.id = id});
    return idsOf(inStableOrder(targets));
}

std::vector<std::string> orderedCandidateIDs(std::span<const UsageHeatmapGlowTarget> targets) {
    std::vector<Candidate> remaining = inStableOrder(targets);
    std::vector<Candidate> chosen;
    while (!remaining.empty()) {
        const std::size_t next = chosen.empty() ? 0 : farthest(remaining, chosen);
        chosen.push_back(remaining[next]);
        remaining.erase(remaining.begin() + static_cast<std::ptrdiff_t>(next));
    }
    return idsOf(chosen);
}

std::set<std::string> activeCellIDs(const PhaseOfOrdered& moment) {
    const std::size_t count = moment.orderedCandidates.size();
    if (count == 0) return {};
    const auto phase = static_cast<std::uint64_t>(std::max<std::int64_t>(moment.phase, 0));
    const std::size_t start = phase / 2 % count;
    const std::size_t active = std::min<std::size_t>(4 + phase % 2, count);
    std::set<std::string> ids;
    for (std::size_t i = 0; i < active; ++i) {
        ids.insert(moment.orderedCandidates[(start + i) % count]);
    }
    return ids;
}

std::set<std::string> activeCellIDs(const PhaseOfUnordered& moment) {
    return activeCellIDs(
        {.orderedCandidates = orderedCandidateIDs(moment.candidates), .phase = moment.phase});
}

std::map<std::string, double> glowStrengths(const FrameOfOrdered& frame) {
    if (frame.reduceMotion || frame.orderedCandidates.empty()) return {};
    const double time = std::isfinite(frame.time) ? std::max(frame.time, 0.0) : 0;
    const auto phaseCount = static_cast<double>(2 * frame.orderedCandidates.size());
    const double local = std::fmod(time, phaseCount * phaseDuration);
    const auto phase = static_cast<std::int64_t>(local / phaseDuration);
    const double faded = crossfade(local - static_cast<double>(phase) * phaseDuration);

    std::map<std::string, double> strengths;
    for (const std::string& id :
         activeCellIDs({.orderedCandidates = frame.orderedCandidates, .phase = phase})) {
        strengths[id] = 1 - faded;
    }
    for (const std::string& id :
         activeCellIDs({.orderedCandidates = frame.orderedCandidates, .phase = phase + 1})) {
        const auto [position, isNew] = strengths.try_emplace(id, faded);
        if (!isNew) position->second = 1;
    }
    std::erase_if(strengths, [](const auto& entry) { return !(entry.second > faintest); });
    for (auto& [id, strength] : strengths) strength *= shimmer(id, time);
    return strengths;
}

std::map<std::string, double> glowStrengths(const FrameOfUnordered& frame) {
    return glowStrengths({.orderedCandidates = orderedCandidateIDs(frame.candidates),
                          .time = frame.time,
                          .reduceMotion = frame.reduceMotion});
}

}  // namespace vantry::HeatmapGlowPlanner

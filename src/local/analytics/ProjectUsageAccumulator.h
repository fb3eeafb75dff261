#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/Projects.h"
#include "records/TokenBreakdown.h"
#include "statistics/ThreadCount.h"

namespace vantry {

/// What one thread used within one window.
struct ThreadUsageShare {
    TokenBreakdown tokens;
    double estimatedCostUSD = 0;
    std::optional<Date> lastActiveAt;
    std::optional<Date> firstActiveAt;  ///< of the events with tokens

    void add(const TokenBreakdown& more, double costUSD, Date at);
};

/// One project's tokens within one window.
struct ProjectUsageAccumulator {
    TokenBreakdown tokens;
    double estimatedCostUSD = 0;
    ThreadCount threads;
    std::optional<Date> lastActiveAt;
    std::optional<Date> firstActiveAt;

    /// A share without events changes nothing.
    void add(const std::string& threadId, const ThreadUsageShare& share);
};

template <>
struct RecordFields<ProjectUsageAccumulator> {
    using Sums = ProjectUsageAccumulator;
    static constexpr std::tuple list{
        field("tokens", &Sums::tokens), field("estimatedCostUSD", &Sums::estimatedCostUSD),
        field("threads", &Sums::threads), field("lastActiveAt", &Sums::lastActiveAt),
        field("firstActiveAt", &Sums::firstActiveAt)};
};

/// A project with its accumulators of the windows that are shown.
struct ProjectAccumulators {
    std::string id;
    std::string name;
    std::string fullPath;
    ProjectUsageAccumulator today;
    ProjectUsageAccumulator sevenDays;
    ProjectUsageAccumulator all;

    /// The row of a list over one of the windows. Its first activity is over the whole history.
    ProjectUsage row(const ProjectUsageAccumulator& window) const;
};

template <>
struct RecordFields<ProjectAccumulators> {
    using Rows = ProjectAccumulators;
    static constexpr std::tuple list{field("id", &Rows::id),
                                     field("name", &Rows::name),
                                     field("fullPath", &Rows::fullPath),
                                     field("today", &Rows::today),
                                     field("sevenDays", &Rows::sevenDays),
                                     field("all", &Rows::all)};
};

/// Most tokens first, equals by name and then by id; rows without tokens are left out.
std::vector<ProjectUsage> sortedProjects(std::vector<ProjectUsage> projects);

}  // namespace vantry

#include "local/analytics/ProjectUsageAccumulator.h"

#include <algorithm>
#include <tuple>

namespace vantry {

namespace {

void keepLater(std::optional<Date>& kept, const std::optional<Date>& date) {
    if (date && (!kept || *date > *kept)) kept = date;
}

void keepEarlier(std::optional<Date>& kept, const std::optional<Date>& date) {
    if (date && (!kept || *date < *kept)) kept = date;
}

}  // namespace

void ThreadUsageShare::add(const TokenBreakdown& more, double costUSD, Date at) {
    tokens.add(more);
    estimatedCostUSD += costUSD;
    keepLater(lastActiveAt, at);
    if (more.visibleTotalTokens() > 0) keepEarlier(firstActiveAt, at);
}

void ProjectUsageAccumulator::add(const std::string& threadId, const ThreadUsageShare& share) {
    if (!share.lastActiveAt) return;
    tokens.add(share.tokens);
    estimatedCostUSD += share.estimatedCostUSD;
    threads.add(threadId);
    keepLater(lastActiveAt, share.lastActiveAt);
    keepEarlier(firstActiveAt, share.firstActiveAt);
}

ProjectUsage ProjectAccumulators::row(const ProjectUsageAccumulator& window) const {
    return {.id = id,
            .name = name,
            .fullPath = fullPath,
            .tokens = window.tokens.visibleTotalTokens(),
            .estimatedCostUSD = window.estimatedCostUSD,
            .threadCount = window.threads.count(),
            .lastActiveAt = window.lastActiveAt,
            .sourceQuality = UsageSourceQuality::detailed,
            .firstActiveAt = all.firstActiveAt};
}

std::vector<ProjectUsage> sortedProjects(std::vector<ProjectUsage> projects) {
    std::erase_if(projects, [](const ProjectUsage& project) { return project.tokens <= 0; });
    std::ranges::sort(projects, [](const ProjectUsage& a, const ProjectUsage& b) {
        return std::tuple(b.tokens, nameOrder(a.name), std::string_view(a.id)) <
               std::tuple(a.tokens, nameOrder(b.name), std::string_view(b.id));
    });
    return projects;
}

}  // namespace vantry

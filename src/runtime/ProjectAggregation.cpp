#include "runtime/ProjectAggregation.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

#include "records/TokenBreakdown.h"
#include "statistics/UsageDimensionBreakdownAccumulator.h"

namespace vantry::AgentUsageAggregator {

namespace {

AggregatedProject opening(const ProjectUsage& row) {
    return {.id = row.id,
            .name = row.name,
            .fullPath = row.fullPath,
            .tokens = row.tokens,
            .estimatedCostUSD = row.estimatedCostUSD,
            .threadCount = row.threadCount,
            .lastActiveAt = row.lastActiveAt,
            .firstActiveAt = row.firstActiveAt,
            .firstActivityIsUnknown = !row.firstActiveAt,
            .sourceQuality = row.sourceQuality};
}

void join(AggregatedProject& project, const AggregatedProject& more) {
    project.tokens = saturatingAdd(project.tokens, more.tokens);
    addCost(project.estimatedCostUSD, more.estimatedCostUSD);
    project.threadCount = saturatingAdd(project.threadCount, more.threadCount);
    project.lastActiveAt = std::max(project.lastActiveAt, more.lastActiveAt);
    if (more.firstActiveAt) {
        const Date known = project.firstActiveAt.value_or(*more.firstActiveAt);
        project.firstActiveAt = std::min(known, *more.firstActiveAt);
    }
    project.firstActivityIsUnknown |= more.firstActivityIsUnknown;
    project.sourceQuality = std::max(project.sourceQuality, more.sourceQuality);
}

ProjectUsage rowOf(AggregatedProject project) {
    if (project.firstActivityIsUnknown) project.firstActiveAt.reset();
    return {.id = std::move(project.id),
            .name = std::move(project.name),
            .fullPath = std::move(project.fullPath),
            .tokens = project.tokens,
            .estimatedCostUSD = project.estimatedCostUSD,
            .threadCount = project.threadCount,
            .lastActiveAt = project.lastActiveAt,
            .sourceQuality = project.sourceQuality,
            .firstActiveAt = project.firstActiveAt};
}

// Gives `rows` the first activity that the rows of all time state.
void takeFirstActivity(std::vector<ProjectUsage>& rows,
                       const std::vector<ProjectUsage>& ofAllTime) {
    std::map<std::string_view, std::optional<Date>> known;
    for (const ProjectUsage& row : ofAllTime) known.emplace(row.id, row.firstActiveAt);
    for (ProjectUsage& row : rows) {
        const auto found = known.find(row.id);
        if (found != known.end()) row.firstActiveAt = found->second;
    }
}

/// Threads that more than one runtime counted, as far as their conversations show it.
struct SharedThreads {
    std::int64_t today = 0;
    std::int64_t sevenDay = 0;
    std::int64_t thirtyDay = 0;
};

void join(ProjectConversationUsage& row, const ProjectConversationUsage& more,
          SharedThreads& shared) {
    shared.today += row.todayTokens > 0 && more.todayTokens > 0;
    shared.sevenDay += row.sevenDayTokens > 0 && more.sevenDayTokens > 0;
    shared.thirtyDay += row.thirtyDayTokens > 0 && more.thirtyDayTokens > 0;
    if (row.title.empty()) row.title = more.title;
    row.todayTokens = saturatingAdd(row.todayTokens, more.todayTokens);
    row.sevenDayTokens = saturatingAdd(row.sevenDayTokens, more.sevenDayTokens);
    row.thirtyDayTokens = saturatingAdd(row.thirtyDayTokens, more.thirtyDayTokens);
    row.lastActiveAt = std::max(row.lastActiveAt, more.lastActiveAt);
}

// The size of the union; never less than the largest part, whatever the rows say.
std::int64_t threadCount(const Parts<std::int64_t>& counts, std::int64_t shared) {
    std::int64_t sum = 0;
    std::int64_t largest = 0;
    for (const std::int64_t* count : counts) {
        sum = saturatingAdd(sum, *count);
        largest = std::max(largest, *count);
    }
    return std::max(saturatingAdd(sum, -shared), largest);
}

}  // namespace

void addKnownTokens(std::optional<std::int64_t>& into, std::optional<std::int64_t> more) {
    if (more) into = saturatingAdd(into.value_or(0), *more);
}

std::vector<ProjectUsage> aggregateProjects(const Parts<std::vector<ProjectUsage>>& lists) {
    std::vector<AggregatedProject> all;
    for (const std::vector<ProjectUsage>* list : lists) {
        std::ranges::transform(*list, std::back_inserter(all), opening);
    }
    std::vector<ProjectUsage> rows;
    for (AggregatedProject& project : joinedByKey<AggregatedProject>(
             {&all}, &AggregatedProject::id, [](auto&row, const auto&more) { join(row, more); })) {
        rows.push_back(rowOf(std::move(project)));
    }
    std::ranges::sort(rows, [](const ProjectUsage& a, const ProjectUsage& b) {
        return std::tuple(b.tokens, nameOrder(a.name), std::string_view(a.id)) <
               std::tuple(a.tokens, nameOrder(b.name), std::string_view(b.id));
    });
    return rows;
}

ProjectBoard aggregateProjectBoards(const Parts<ProjectBoard>& boards) {
    if (boards.size() == 1) return *boards.front();
    ProjectBoard result;
    result.allProjects = aggregateProjects(partsOf(boards, &ProjectBoard::allProjects));
    result.recentProjects = aggregateProjects(partsOf(boards, &ProjectBoard::recentProjects));
    takeFirstActivity(result.recentProjects, result.allProjects);
    if (const auto today = partsOf(boards, &ProjectBoard::todayProjects); !today.empty()) {
        result.todayProjects = aggregateProjects(today);
        takeFirstActivity(*result.todayProjects, result.allProjects);
    }
    std::map<std::string, Parts<ProjectUsageDetail>> details;
    for (const ProjectBoard* board : boards) {
        for (const auto& [project, days] : board->localDailyByProject) {
            auto& sums = result.localDailyByProject[project];
            for (const auto& [day, tokens] : days) sums[day] = saturatingAdd(sums[day], tokens);
        }
        for (const auto& [project, detail] : board->detailsByProjectID) {
            details[project].push_back(&detail);
        }
        result.dimensionBreakdown = merging(result.dimensionBreakdown, board->dimensionBreakdown);
    }
    for (const auto& [project, parts] : details) {
        result.detailsByProjectID.emplace(project, mergeProjectDetails(parts));
    }
    return result;
}

ProjectUsageDetail mergeProjectDetails(const Parts<ProjectUsageDetail>& details) {
    using Detail = ProjectUsageDetail;
    if (details.size() == 1) return *details.front();
    Detail result;
    SharedThreads shared;
    result.dailyBuckets = joinedByKey(
        partsOf(details, &Detail::dailyBuckets), &ProjectDailyUsageBucket::id,
        [](auto& day, const auto& more) { day.tokens = saturatingAdd(day.tokens, more.tokens); });
    std::ranges::sort(result.dailyBuckets, {}, &ProjectDailyUsageBucket::id);
    result.toolUsages = joinedByKey(
        partsOf(details, &Detail::toolUsages),
        [](const ProjectToolUsage& tool) {
            return ProjectToolUsageKey{tool.id, tool.name};
        },
        [](auto& tool, const auto& more) {
            tool.callCount = saturatingAdd(tool.callCount, more.callCount);
        });
    std::ranges::sort(result.toolUsages, [](const auto& a, const auto& b) {
        return std::tie(b.callCount, a.name, a.id) < std::tie(a.callCount, b.name, b.id);
    });
    result.conversations =
        joinedByKey(partsOf(details, &Detail::conversations), &ProjectConversationUsage::id,
                    [&shared](auto& row, const auto& more) { join(row, more, shared); });
    std::ranges::sort(result.conversations, [](const auto& a, const auto& b) {
        return std::tie(b.thirtyDayTokens, b.lastActiveAt, a.id) <
               std::tie(a.thirtyDayTokens, a.lastActiveAt, b.id);
    });
    result.todayThreadCount =
        threadCount(partsOf(details, &Detail::todayThreadCount), shared.today);
    result.sevenDayThreadCount =
        threadCount(partsOf(details, &Detail::sevenDayThreadCount), shared.sevenDay);
    result.thirtyDayThreadCount =
        threadCount(partsOf(details, &Detail::thirtyDayThreadCount), shared.thirtyDay);
    return result;
}

}  // namespace vantry::AgentUsageAggregator

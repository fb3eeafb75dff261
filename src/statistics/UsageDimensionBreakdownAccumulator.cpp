#include "statistics/UsageDimensionBreakdownAccumulator.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "platform/Text.h"
#include "records/TokenBreakdown.h"

namespace vantry {

namespace {

using ProjectsByDimension = std::map<std::string, std::vector<UsageDimensionProject>>;

// Unknown only where both are.
std::optional<std::int64_t> sum(std::optional<std::int64_t> a, std::optional<std::int64_t> b) {
    if (!a || !b) return a ? a : b;
    return saturatingAdd(*a, *b);
}

// By falling number of events, then by name without regard to case, then by what tells them apart.
bool ranksBefore(const UsageDimensionProject& a, const UsageDimensionProject& b) {
    if (a.eventCount != b.eventCount) return a.eventCount > b.eventCount;
    if (a.name.empty() != b.name.empty()) return b.name.empty();
    const auto names = asciiLowercased(a.name) <=> asciiLowercased(b.name);
    if (names != 0) return names < 0;
    return std::tie(a.name, a.id) < std::tie(b.name, b.id);
}

std::vector<UsageDimensionProject> merging(const std::vector<UsageDimensionProject>& first,
                                           const std::vector<UsageDimensionProject>& second) {
    std::vector<UsageDimensionProject> merged;
    std::map<std::string_view, std::size_t> places;
    for (const auto* list : {&first, &second}) {
        for (const UsageDimensionProject& more : *list) {
            const auto [place, isNew] = places.try_emplace(more.id, merged.size());
            if (isNew) {
                merged.push_back(more);
                continue;
            }
            UsageDimensionProject& project = merged[place->second];
            project.eventCount = saturatingAdd(project.eventCount, more.eventCount);
            project.threadCount = saturatingAdd(project.threadCount, more.threadCount);
            project.estimatedTokens = sum(project.estimatedTokens, more.estimatedTokens);
            project.lastActiveAt = std::max(project.lastActiveAt, more.lastActiveAt);
        }
    }
    std::ranges::sort(merged, ranksBefore);
    return merged;
}

ProjectsByDimension merging(ProjectsByDimension first, const ProjectsByDimension& second) {
    for (const auto& [id, projects] : second) first[id] = merging(first[id], projects);
    return first;
}

}  // namespace

void UsageDimensionBreakdownAccumulator::addSkill(const SkillUse& use) {
    add(skillProjects_[use.id], {.id = use.id,
                                 .projectID = use.projectID,
                                 .projectName = use.projectName,
                                 .callCount = use.loadCount,
                                 .threadID = use.threadID,
                                 .at = use.at});
}

void UsageDimensionBreakdownAccumulator::add(ProjectsByID& projects, const ToolUse& use) {
    const auto [found, isNew] = projects.try_emplace(use.projectID);
    ProjectAccumulator& project = found->second;
    if (isNew) project.name = use.projectName;
    project.eventCount = saturatingAdd(project.eventCount, use.callCount);
    project.threads.add(use.threadID);
    project.estimatedTokens = sum(project.estimatedTokens, use.estimatedTokens);
    project.lastActiveAt = std::max(project.lastActiveAt, use.at);
}

std::vector<UsageDimensionProject> UsageDimensionBreakdownAccumulator::makeProjects(
    const ProjectsByID& projects) {
    std::vector<UsageDimensionProject> rows;
    for (const auto& [id, project] : projects) {
        rows.push_back({.id = id,
                        .name = project.name,
                        .eventCount = project.eventCount,
                        .threadCount = project.threads.count(),
                        .estimatedTokens = project.estimatedTokens,
                        .lastActiveAt = project.lastActiveAt});
    }
    std::ranges::sort(rows, ranksBefore);
    return rows;
}

UsageDimensionBreakdown UsageDimensionBreakdownAccumulator::makeBreakdown() const {
    UsageDimensionBreakdown breakdown;
    for (const auto& [id, projects] : toolProjects_) {
        breakdown.projectsByToolID[id] = makeProjects(projects);
    }
    for (const auto& [id, projects] : skillProjects_) {
        breakdown.projectsBySkillID[id] = makeProjects(projects);
    }
    return breakdown;
}

UsageDimensionBreakdown merging(const UsageDimensionBreakdown& first,
                                const UsageDimensionBreakdown& second) {
    return {.projectsByToolID = merging(first.projectsByToolID, second.projectsByToolID),
            .projectsBySkillID = merging(first.projectsBySkillID, second.projectsBySkillID)};
}

}  // namespace vantry

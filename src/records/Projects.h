#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/RecordFields.h"
#include "records/ReadStatus.h"

namespace vantry {

/// What equal projects are ordered by. One without a name, of conversations that worked in no
/// folder, stands last.
inline std::pair<bool, std::string_view> nameOrder(std::string_view name) {
    return {name.empty(), name};
}

struct ProjectUsage {
    std::string id;
    std::string name;  ///< empty: no folder
    std::string fullPath;
    std::int64_t tokens = 0;
    std::optional<double> estimatedCostUSD;
    std::int64_t threadCount = 0;
    std::optional<Date> lastActiveAt;
    UsageSourceQuality sourceQuality = UsageSourceQuality::detailed;
    std::optional<Date> firstActiveAt;  ///< over the whole history

    friend bool operator==(const ProjectUsage&, const ProjectUsage&) = default;
};

template <>
struct RecordFields<ProjectUsage> {
    static constexpr std::tuple list{field("id", &ProjectUsage::id),
                                     field("name", &ProjectUsage::name),
                                     field("fullPath", &ProjectUsage::fullPath),
                                     field("tokens", &ProjectUsage::tokens),
                                     field("estimatedCostUSD", &ProjectUsage::estimatedCostUSD),
                                     field("threadCount", &ProjectUsage::threadCount),
                                     field("lastActiveAt", &ProjectUsage::lastActiveAt),
                                     field("sourceQuality", &ProjectUsage::sourceQuality),
                                     storedField("firstActiveAt", &ProjectUsage::firstActiveAt)};
};

struct ProjectDailyUsageBucket {
    std::string id;  ///< day key
    Date date;
    std::int64_t tokens = 0;

    friend bool operator==(const ProjectDailyUsageBucket&,
                           const ProjectDailyUsageBucket&) = default;
};

template <>
struct RecordFields<ProjectDailyUsageBucket> {
    static constexpr std::tuple list{field("id", &ProjectDailyUsageBucket::id),
                                     field("date", &ProjectDailyUsageBucket::date),
                                     field("tokens", &ProjectDailyUsageBucket::tokens)};
};

struct ProjectToolUsage {
    std::string id;
    std::string name;  ///< empty: no folder
    std::int64_t callCount = 0;

    friend bool operator==(const ProjectToolUsage&, const ProjectToolUsage&) = default;
};

template <>
struct RecordFields<ProjectToolUsage> {
    static constexpr std::tuple list{field("id", &ProjectToolUsage::id),
                                     field("name", &ProjectToolUsage::name),
                                     field("callCount", &ProjectToolUsage::callCount)};
};

struct ProjectConversationUsage {
    std::string id;  ///< thread id
    std::string title;
    std::int64_t todayTokens = 0;
    std::int64_t sevenDayTokens = 0;
    std::int64_t thirtyDayTokens = 0;
    std::optional<Date> lastActiveAt;
    bool isSubagent = false;

    friend bool operator==(const ProjectConversationUsage&,
                           const ProjectConversationUsage&) = default;
};

template <>
struct RecordFields<ProjectConversationUsage> {
    using Row = ProjectConversationUsage;
    static constexpr std::tuple list{field("id", &Row::id),
                                     field("title", &Row::title),
                                     field("todayTokens", &Row::todayTokens),
                                     field("sevenDayTokens", &Row::sevenDayTokens),
                                     field("thirtyDayTokens", &Row::thirtyDayTokens),
                                     field("lastActiveAt", &Row::lastActiveAt),
                                     field("isSubagent", &Row::isSubagent)};
};

struct ProjectUsageDetail {
    std::vector<ProjectDailyUsageBucket> dailyBuckets;  ///< 30 days, oldest first
    std::int64_t todayThreadCount = 0;
    std::int64_t sevenDayThreadCount = 0;
    std::int64_t thirtyDayThreadCount = 0;
    std::vector<ProjectToolUsage> toolUsages;
    std::vector<ProjectConversationUsage> conversations;

    friend bool operator==(const ProjectUsageDetail&, const ProjectUsageDetail&) = default;
};

template <>
struct RecordFields<ProjectUsageDetail> {
    using Detail = ProjectUsageDetail;
    static constexpr std::tuple list{field("dailyBuckets", &Detail::dailyBuckets),
                                     field("todayThreadCount", &Detail::todayThreadCount),
                                     field("sevenDayThreadCount", &Detail::sevenDayThreadCount),
                                     field("thirtyDayThreadCount", &Detail::thirtyDayThreadCount),
                                     field("toolUsages", &Detail::toolUsages),
                                     field("conversations", &Detail::conversations)};
};

/// One project's share of a tool or a Skill.
struct UsageDimensionProject {
    std::string id;
    std::string name;  ///< empty: no folder
    std::int64_t eventCount = 0;
    std::int64_t threadCount = 0;
    std::optional<std::int64_t> estimatedTokens;
    std::optional<Date> lastActiveAt;

    friend bool operator==(const UsageDimensionProject&, const UsageDimensionProject&) = default;
};

template <>
struct RecordFields<UsageDimensionProject> {
    using Row = UsageDimensionProject;
    static constexpr std::tuple list{field("id", &Row::id),
                                     field("name", &Row::name),
                                     field("eventCount", &Row::eventCount),
                                     field("threadCount", &Row::threadCount),
                                     field("estimatedTokens", &Row::estimatedTokens),
                                     field("lastActiveAt", &Row::lastActiveAt)};
};

struct UsageDimensionBreakdown {
    std::map<std::string, std::vector<UsageDimensionProject>> projectsByToolID;
    std::map<std::string, std::vector<UsageDimensionProject>> projectsBySkillID;

    bool isEmpty() const { return projectsByToolID.empty() && projectsBySkillID.empty(); }

    friend bool operator==(const UsageDimensionBreakdown&,
                           const UsageDimensionBreakdown&) = default;
};

template <>
struct RecordFields<UsageDimensionBreakdown> {
    using Breakdown = UsageDimensionBreakdown;
    static constexpr std::tuple list{field("projectsByToolID", &Breakdown::projectsByToolID),
                                     field("projectsBySkillID", &Breakdown::projectsBySkillID)};
};

struct ProjectBoard {
    std::optional<std::vector<ProjectUsage>> todayProjects;
    std::vector<ProjectUsage> recentProjects;
    std::vector<ProjectUsage> allProjects;
    std::map<std::string, std::map<std::string, std::int64_t>> localDailyByProject;
    std::map<std::string, ProjectUsageDetail> detailsByProjectID;
    UsageDimensionBreakdown dimensionBreakdown;

    friend bool operator==(const ProjectBoard&, const ProjectBoard&) = default;
};

template <>
struct RecordFields<ProjectBoard> {
    static constexpr std::tuple list{
        field("todayProjects", &ProjectBoard::todayProjects),
        field("recentProjects", &ProjectBoard::recentProjects),
        field("allProjects", &ProjectBoard::allProjects),
        field("localDailyByProject", &ProjectBoard::localDailyByProject),
        field("detailsByProjectID", &ProjectBoard::detailsByProjectID),
        field("dimensionBreakdown", &ProjectBoard::dimensionBreakdown)};
};

}  // namespace vantry

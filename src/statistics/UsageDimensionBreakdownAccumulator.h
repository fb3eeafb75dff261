#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/Date.h"
#include "records/Projects.h"
#include "statistics/ThreadCount.h"

namespace vantry {

/// Gathers, for each tool and each Skill, the projects that used it. A plain value of one thread.
class UsageDimensionBreakdownAccumulator {
  public:
    struct ToolUse {
        const std::string& id;
        const std::string& projectID;
        const std::string& projectName;  ///< kept from the first sight of the project
        std::int64_t callCount = 0;
        const std::string& threadID;
        std::optional<std::int64_t> estimatedTokens;  ///< stays absent until one is known
        std::optional<Date> at;
    };
    void addTool(const ToolUse& use) { add(toolProjects_[use.id], use); }

    struct SkillUse {
        const std::string& id;
        const std::string& projectID;
        const std::string& projectName;
        std::int64_t loadCount = 1;
        const std::string& threadID;
        std::optional<Date> at;
    };
    /// Uses of the Skill by one thread.
    void addSkill(const SkillUse& use);

    /// The projects of each by falling number of events, then by name.
    UsageDimensionBreakdown makeBreakdown() const;

    struct ProjectAccumulator {
        std::string name;
        std::int64_t eventCount = 0;
        ThreadCount threads;
        std::optional<std::int64_t> estimatedTokens;
        std::optional<Date> lastActiveAt;
    };

  private:
    friend struct RecordFields<UsageDimensionBreakdownAccumulator>;
    using ProjectsByID = std::map<std::string, ProjectAccumulator>;

    static void add(ProjectsByID& projects, const ToolUse& use);
    static std::vector<UsageDimensionProject> makeProjects(const ProjectsByID& projects);

    std::map<std::string, ProjectsByID> toolProjects_;
    std::map<std::string, ProjectsByID> skillProjects_;
};

template <>
struct RecordFields<UsageDimensionBreakdownAccumulator::ProjectAccumulator> {
    using Project = UsageDimensionBreakdownAccumulator::ProjectAccumulator;
    static constexpr std::tuple list{
        field("name", &Project::name), field("eventCount", &Project::eventCount),
        field("threads", &Project::threads), field("estimatedTokens", &Project::estimatedTokens),
        field("lastActiveAt", &Project::lastActiveAt)};
};

template <>
struct RecordFields<UsageDimensionBreakdownAccumulator> {
    using Sums = UsageDimensionBreakdownAccumulator;
    static constexpr std::tuple list{field("toolProjects", &Sums::toolProjects_),
                                     field("skillProjects", &Sums::skillProjects_)};
};

/// Both breakdowns in one. A project that both have keeps the name of the first; counts and tokens
/// are added, and the later activity holds.
UsageDimensionBreakdown merging(const UsageDimensionBreakdown& first,
                                const UsageDimensionBreakdown& second);

}  // namespace vantry

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "local/skills/SkillStaticInfo.h"
#include "records/LocalUsage.h"
#include "statistics/ThreadCount.h"

namespace vantry {

/// The loads of one Skill.
struct SkillUsageAccumulator {
    std::string path;
    std::int64_t loadCount = 0;
    ThreadCount threads;
    std::optional<Date> lastLoadedAt;

    /// Loads of one thread, the last of them at `at`.
    void addLoads(const std::string& threadId, std::int64_t count, std::optional<Date> at);
};

template <>
struct RecordFields<SkillUsageAccumulator> {
    using Skill = SkillUsageAccumulator;
    static constexpr std::tuple list{
        field("path", &Skill::path), field("loadCount", &Skill::loadCount),
        field("threads", &Skill::threads), field("lastLoadedAt", &Skill::lastLoadedAt)};
};

namespace CodexUsageReader {

/// Where a Skill comes from, by its path: the folder behind `cache` for one of a plugin, else
/// "ai-infra", "agents", "system", "personal" or "local".
std::string skillSourceLabel(std::string_view path, const SkillFolders& folders);

/// The rows, most loads first, equals in the order of their paths. Blocks while it measures files
/// below these folders; one that cannot be measured has no static figures. One thread per cache.
std::vector<SkillUsage> makeSkillUsages(const std::map<std::string, SkillUsageAccumulator>& skills,
                                        const SkillFolders& folders, SkillStaticInfoCache& cache);

}  // namespace CodexUsageReader

}  // namespace vantry

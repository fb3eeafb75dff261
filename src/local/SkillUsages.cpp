#include "local/SkillUsages.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/Text.h"
#include "records/TokenBreakdown.h"

namespace vantry {

void SkillUsageAccumulator::addLoad(const std::string& threadId, std::optional<Date> at) {
    loadCount = saturatingAdd(loadCount, 1);
    threadIds.insert(threadId);
    if (at && (!lastLoadedAt || *lastLoadedAt < *at)) lastLoadedAt = at;
}

namespace CodexUsageReader {

namespace {

SkillUsage makeUsage(const SkillUsageAccumulator& skill, const SkillStaticInfo& info) {
    const std::filesystem::path path = skill.path;
    return {.id = skill.path,
            .name = path.parent_path().filename().string(),
            .path = skill.path,
            .sourceLabel = skillSourceLabel(skill.path),
            .loadCount = skill.loadCount,
            .threadCount = static_cast<std::int64_t>(skill.threadIds.size()),
            .staticTokenEstimate = info.tokenEstimate,
            .staticByteCount = info.byteCount,
            .lastLoadedAt = skill.lastLoadedAt};
}

}  // namespace

std::string skillSourceLabel(std::string_view path) {
    const auto components = splitOmittingEmpty(path, '/');
    const auto cache = std::ranges::find(components, "cache");
    // A Skill may itself be called so, and is then followed by its file.
    if (components.end() - cache > 2) return std::string(cache[1]);
    constexpr std::array<std::pair<std::string_view, const char*>, 4> labels{
        {{"/ai-infra/skills/", "ai-infra"},
         {"/.agents/skills/", "agents"},
         {"/.codex/skills/.system/", "system"},
         {"/.codex/skills/", "personal"}}};
    for (const auto& [part, label] : labels) {
        if (path.find(part) != std::string_view::npos) return label;
    }
    return "local";
}

std::vector<SkillUsage> makeSkillUsages(const std::map<std::string, SkillUsageAccumulator>& skills,
                                        const std::filesystem::path& homeDirectory,
                                        SkillStaticInfoCache& cache) {
    std::vector<SkillUsage> usages;
    usages.reserve(skills.size());
    for (const auto& [path, skill] : skills) {
        const auto info =
            skillStaticInfo({.path = skill.path, .homeDirectory = homeDirectory}, cache);
        usages.push_back(makeUsage(skill, info));
    }
    std::ranges::stable_sort(usages, std::ranges::greater(), &SkillUsage::loadCount);
    return usages;
}

}  // namespace CodexUsageReader

}  // namespace vantry

#include "local/skills/SkillUsages.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/Text.h"
#include "records/TokenBreakdown.h"

namespace vantry {

void SkillUsageAccumulator::addLoads(const std::string& threadId, std::int64_t count,
                                     std::optional<Date> at) {
    loadCount = saturatingAdd(loadCount, count);
    threads.add(threadId);
    if (at && (!lastLoadedAt || *lastLoadedAt < *at)) lastLoadedAt = at;
}

namespace CodexUsageReader {

namespace {

SkillUsage makeUsage(const SkillUsageAccumulator& skill, const SkillFolders& folders,
                     const SkillStaticInfo& info) {
    const std::filesystem::path path = skill.path;
    return {.id = skill.path,
            .name = path.parent_path().filename().string(),
            .path = skill.path,
            .sourceLabel = skillSourceLabel(skill.path, folders),
            .loadCount = skill.loadCount,
            .threadCount = skill.threads.count(),
            .staticTokenEstimate = info.tokenEstimate,
            .staticByteCount = info.byteCount,
            .lastLoadedAt = skill.lastLoadedAt};
}

}  // namespace

std::string skillSourceLabel(std::string_view path, const SkillFolders& folders) {
    const std::string& codexHome = folders.codexHome.native();
    std::string moved;
    if (!codexHome.empty() && path.starts_with(codexHome) &&
        path.substr(codexHome.size()).starts_with('/')) {
        moved = "/.codex" + std::string(path.substr(codexHome.size()));
        path = moved;
    }
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
                                        const SkillFolders& folders, SkillStaticInfoCache& cache) {
    std::vector<SkillUsage> usages;
    usages.reserve(skills.size());
    for (const auto& [path, skill] : skills) {
        const auto info = skillStaticInfo({.path = skill.path, .folders = folders}, cache);
        usages.push_back(makeUsage(skill, folders, info));
    }
    std::ranges::stable_sort(usages, std::ranges::greater(), &SkillUsage::loadCount);
    return usages;
}

}  // namespace CodexUsageReader

}  // namespace vantry

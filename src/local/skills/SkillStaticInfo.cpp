#include "local/skills/SkillStaticInfo.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "io/BoundedCacheData.h"
#include "io/LocalFileAccess.h"
#include "local/log/SessionFileIdentity.h"
#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

/// One code point of a text.
struct Scalar {
    std::uint32_t value = 0;
    std::size_t size = 0;  ///< bytes; 0 where the text is not UTF-8
};

Scalar firstScalar(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80) return {.value = byte(0), .size = 1};
    const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < size) return {};
    std::uint32_t value = byte(0) & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {};
        value = value << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x1'0000};
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest.at(size) || value > 0x10'FFFF || isSurrogate) return {};
    return {.value = value, .size = size};
}

bool countsAsCjk(std::uint32_t scalar) {
    constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 4> ranges{
        {{0x3040, 0x30FF}, {0x3400, 0x4DBF}, {0x4E00, 0x9FFF}, {0xAC00, 0xD7AF}}};
    return std::ranges::any_of(
        ranges, [&](const auto& range) { return scalar >= range.first && scalar <= range.second; });
}

fs::path resolved(const SkillFile& file) {
    const std::string& path = file.path.native();
    return path.starts_with("~/") ? file.folders.home / path.substr(2) : file.path;
}

// The components of a path below a folder; none for one elsewhere, or one that may lead there.
std::vector<std::string_view> componentsBelow(std::string_view folder, std::string_view path) {
    while (folder.ends_with('/')) folder.remove_suffix(1);
    if (!path.starts_with(folder) || !path.substr(folder.size()).starts_with('/')) return {};
    auto components = splitOmittingEmpty(path.substr(folder.size()), '/');
    std::erase(components, ".");
    if (std::ranges::find(components, "..") != components.end()) return {};
    return components;
}

// By its text alone. A file in a folder of the user's own is none of ours, whatever its name.
bool isWithinReach(std::string_view path, const SkillFolders& folders) {
    constexpr std::array<std::string_view, 7> userFolders{
        "Documents", "Desktop", "Downloads", "Pictures", "Music", "Movies", "Videos"};
    const auto inHome = componentsBelow(folders.home.native(), path);
    if (inHome.empty()) return !componentsBelow(folders.codexHome.native(), path).empty();
    return std::ranges::find(userFolders, inHome.front()) == userFolders.end();
}

bool isMissing(const fs::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

// By the numbers in their names, so that 1.10 comes before 1.9.
std::vector<std::string> foldersNewestFirst(const fs::path& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    std::ranges::sort(names, [](const std::string& a, const std::string& b) {
        const int order = ::strverscmp(a.c_str(), b.c_str());
        return order != 0 ? order > 0 : a < b;
    });
    return names;
}

bool isUsable(const SkillFile& file) {
    return skillStaticInfoAccessIsAllowed(file) && skillStaticFileIdentity(file.path);
}

/// A Skill of a plugin: MARKETPLACE/.../skills/SKILL/SKILL.md with the plugin's and its version's
/// folder in between, or one of them.
struct PluginSkill {
    std::string_view marketplace;
    std::vector<std::string_view> between;
    fs::path fileBelowSkills;

    bool names(std::string_view folder) const {
        return std::ranges::find(between, folder) != between.end();
    }
};

// The readings of a path's components as a Skill of a plugin: "openai-..." may stand for more than
// one of them.
std::vector<PluginSkill> pluginSkills(const std::vector<std::string_view>& components) {
    std::vector<PluginSkill> skills;
    for (auto folder = components.begin(); folder != components.end(); ++folder) {
        if (!folder->starts_with("openai-")) continue;
        const auto skillsFolder = std::find(folder + 1, components.end(), "skills");
        // Behind it the Skill's own folder and the file.
        if (components.end() - skillsFolder < 3) continue;
        PluginSkill skill{.marketplace = *folder, .between = {folder + 1, skillsFolder}};
        std::for_each(skillsFolder + 1, components.end(),
                      [&](std::string_view part) { skill.fileBelowSkills /= part; });
        skills.push_back(std::move(skill));
    }
    return skills;
}

// Where the cache may hold the Skill. A folder that is no version is named by the old path as well,
// or it would be another plugin's.
std::vector<fs::path> cachedCandidates(const PluginSkill& skill, const fs::path& pluginCache) {
    std::vector<fs::path> candidates;
    const fs::path marketplace = pluginCache / skill.marketplace;
    for (const std::string& folder : foldersNewestFirst(marketplace)) {
        const bool isNamed = skill.names(folder);
        if (isNamed || skill.between.size() < 2) {
            candidates.push_back(marketplace / folder / "skills" / skill.fileBelowSkills);
        }
        if (!isNamed) continue;
        for (const std::string& version : foldersNewestFirst(marketplace / folder)) {
            candidates.push_back(marketplace / folder / version / "skills" / skill.fileBelowSkills);
        }
    }
    return candidates;
}

// Nothing where the file could not be read.
std::optional<SkillStaticInfo> measured(const fs::path& path, std::int64_t fileSize) {
    if (fileSize == 0 || fileSize > skillStaticInfoByteLimit) return SkillStaticInfo{};
    const auto text = boundedCacheData(path, skillStaticInfoByteLimit);
    if (!text) return std::nullopt;
    const auto tokens = estimateStaticTokens(*text);
    if (!tokens) return SkillStaticInfo{};
    return SkillStaticInfo{.tokenEstimate = tokens,
                           .byteCount = static_cast<std::int64_t>(text->size())};
}

SkillStaticInfo cachedOrMeasured(const fs::path& path, const SkillStaticFileIdentity& identity,
                                 SkillStaticInfoCache& cache) {
    const auto known = cache.entries.find(path.native());
    if (known != cache.entries.end() && known->second.identity == identity) {
        return known->second.info;
    }
    const auto info = measured(path, identity.fileSize);
    // A file that was replaced meanwhile is measured again the next time.
    if (info && skillStaticFileIdentity(path) == identity) {
        cache.entries.insert_or_assign(
            path.native(), SkillStaticInfoCacheEntry{.identity = identity, .info = *info});
    }
    return info.value_or(SkillStaticInfo{});
}

}  // namespace

SkillStaticInfo skillStaticInfo(const SkillFile& file, SkillStaticInfoCache& cache) {
    SkillFile found{.path = resolved(file), .folders = file.folders};
    if (!isUsable(found)) {
        cache.entries.erase(found.path.native());
        const auto equivalent = equivalentCachedSkillPath(found);
        if (!equivalent) return {};
        found.path = *equivalent;
    }
    const auto identity = skillStaticFileIdentity(found.path);
    return identity ? cachedOrMeasured(found.path, *identity, cache) : SkillStaticInfo{};
}

bool skillStaticInfoAccessIsAllowed(const SkillFile& file) {
    const fs::path path = resolved(file);
    return isWithinReach(path.native(), file.folders) &&
           localFileAccessIsAllowed(
               path, {{.path = file.folders.home}, {.path = file.folders.codexHome}});
}

std::optional<SkillStaticFileIdentity> skillStaticFileIdentity(const fs::path& path) {
    const auto file = SessionFileSnapshot::of(path);
    if (!file) return std::nullopt;
    return SkillStaticFileIdentity{.fileSize = file->fileSize,
                                   .modificationDate = file->modificationDate().value_or(Date()),
                                   .systemFileNumber = file->fileIdentifier};
}

std::optional<fs::path> equivalentCachedSkillPath(const SkillFile& file) {
    const fs::path path = resolved(file);
    if (!isWithinReach(path.native(), file.folders) || !isMissing(path)) {
        return std::nullopt;
    }
    const fs::path cache = file.folders.codexHome / "plugins" / "cache";
    for (const PluginSkill& skill : pluginSkills(splitOmittingEmpty(path.native(), '/'))) {
        for (const fs::path& candidate : cachedCandidates(skill, cache)) {
            if (isUsable({.path = candidate, .folders = file.folders})) {
                return candidate;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> estimateStaticTokens(std::string_view text) {
    std::int64_t cjk = 0;
    std::int64_t others = 0;
    while (!text.empty()) {
        const Scalar scalar = firstScalar(text);
        if (scalar.size == 0) return std::nullopt;
        const bool isPlainAscii = scalar.value > ' ' && scalar.value < 0x7F;
        if (countsAsCjk(scalar.value)) {
            ++cjk;
        } else if (isPlainAscii || !trimmed(text.substr(0, scalar.size)).empty()) {
            ++others;
        }
        text.remove_prefix(scalar.size);
    }
    // others / 3.8, rounded up. Neither can overflow for a text that fits into memory.
    return cjk + (5 * others + 18) / 19;
}

}  // namespace vantry::CodexUsageReader

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"

namespace vantry {

/// By what a Skill's file is known to be the one that was measured.
struct SkillStaticFileIdentity {
    std::int64_t fileSize = 0;  ///< bytes
    Date modificationDate;
    std::optional<std::uint64_t> systemFileNumber;  ///< inode

    friend bool operator==(const SkillStaticFileIdentity&,
                           const SkillStaticFileIdentity&) = default;
};

/// How much context a Skill takes before it does anything; absent where its file does not tell.
struct SkillStaticInfo {
    std::optional<std::int64_t> tokenEstimate;
    std::optional<std::int64_t> byteCount;

    friend bool operator==(const SkillStaticInfo&, const SkillStaticInfo&) = default;
};

struct SkillStaticInfoCacheEntry {
    SkillStaticFileIdentity identity;
    SkillStaticInfo info;
};

/// What was measured, by the path of the file. Lives between reads and never on disk.
struct SkillStaticInfoCache {
    std::map<std::string, SkillStaticInfoCacheEntry> entries;
};

/// The folders below which Skills may lie.
struct SkillFolders {
    std::filesystem::path home;       ///< what "~" stands for
    std::filesystem::path codexHome;  ///< with the plugin cache; mostly below the home
};

/// A Skill's file as a log names it.
struct SkillFile {
    std::filesystem::path path;  ///< absolute, or below "~"
    SkillFolders folders;
};

/// Functions look at the file system and block no longer than that.
namespace CodexUsageReader {

/// Files above this size in bytes are not read.
inline constexpr std::int64_t skillStaticInfoByteLimit = 1'048'576;

/// Measures the file, or the one in the plugin cache that has taken its place; what the cache has
/// of an unchanged file is not read again. Empty for a file that may not be touched or is missing,
/// no regular file, empty, above the limit or not UTF-8. One thread per cache.
SkillStaticInfo skillStaticInfo(const SkillFile& file, SkillStaticInfoCache& cache);

/// Whether the file may be touched: it lies below the home, outside the user's own folders such as
/// Documents, or else below Codex's folder, and no symbolic link leads there. False for a missing
/// file.
bool skillStaticInfoAccessIsAllowed(const SkillFile& file);

/// The identity of a regular file that is no symbolic link.
std::optional<SkillStaticFileIdentity> skillStaticFileIdentity(const std::filesystem::path& path);

/// For a missing Skill of a plugin, whose folder is named after its version: the same Skill of the
/// plugin's version in the cache, the newest one that has it.
std::optional<std::filesystem::path> equivalentCachedSkillPath(const SkillFile& file);

/// The tokens that the text may take, from its characters: one each in Chinese, Japanese and
/// Korean, one for 3.8 others, white space aside. Nothing if the text is not UTF-8.
std::optional<std::int64_t> estimateStaticTokens(std::string_view text);

}  // namespace CodexUsageReader

}  // namespace vantry

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vantry::CodexUsageReader {

/// The logs that lie below Codex's folder.
struct SessionLogListing {
    std::vector<std::string> logs;  ///< paths, sorted
    std::vector<std::string>
        strangers;                    ///< links, and what is named like a log and no file; sorted
    std::vector<std::string> closed;  ///< folders that may not be listed
    /// False where descriptors or memory ran out: what is not listed may be there.
    bool isWhole = true;
};

/// What was in each folder when it was last listed. A folder whose times are what they were is not
/// listed again.
struct SessionFolderCache {
    struct Folder {
        std::int64_t modificationNanoseconds = 0;
        std::int64_t changeNanoseconds = 0;
        std::uint64_t number = 0;
        bool isSettled = false;  ///< its times were old enough to tell every later change
        std::vector<std::string> folders;
        std::vector<std::string> logs;
        std::vector<std::string> strangers;
    };
    std::map<std::string, Folder> folders;
};

/// All `rollout-*.jsonl` and `rollout-*.jsonl.zst` under `sessions` and `archived_sessions`. Links
/// are not followed. Costs one look at each folder and
/// a listing of those that changed. Any thread; one at a time for each `cache`.
SessionLogListing sessionLogFiles(const std::filesystem::path& codexHome,
                                  SessionFolderCache& cache);

}  // namespace vantry::CodexUsageReader

#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "local/log/SessionTrouble.h"
#include "local/log/SessionUsageCacheEntry.h"

namespace vantry {

/// What earlier versions left in two JSON files, `session-usage-v1.json` and
/// `kept-sessions-v1.json`.
struct SessionTakeover {
    struct Session {
        std::string path;
        SessionUsageCacheEntry entry;  ///< with its home
        bool isGone = false;
    };
    std::vector<Session> sessions;
    std::map<std::string, KnownSessionTrouble> troubles;  ///< by path
    /// By the path of a Codex home, what tells that folder from every other after it was renamed.
    std::map<std::string, std::string> homes;
    std::vector<std::filesystem::path>
        files;  ///< that were read, and are of no use once it is saved
};

namespace CodexUsageReader {

/// What the files of a directory say. Entries with damaged bytes are left out; a file that is
/// damaged as a whole, or of a version that is not known, is left alone. Blocks.
SessionTakeover readSessionTakeover(const std::filesystem::path& directory);

}  // namespace CodexUsageReader

}  // namespace vantry

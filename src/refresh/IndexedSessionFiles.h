#pragma once

#include <optional>
#include <string>
#include <vector>

#include "refresh/CodexRefreshSourceFingerprint.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry {

/// The last answer of the thread index and the state of the databases that gave it.
struct IndexedSessionFilesCache {
    std::optional<std::vector<MetadataItem>> databaseFiles;  ///< none: nothing is remembered
    std::vector<std::string> paths;
};

namespace CodexUsageReader {

/// The logs of the thread index of the context's Codex, by path as the index names them, oldest
/// first; none if it cannot be asked.
///
/// `sqlite3` runs only when the databases' files have changed since the last answer. Then this
/// blocks for two runs of it for each, else for a few looks at the file system. One call at a time
/// for each `cache`.
std::vector<std::string> indexedSessionFilesForRefreshFingerprint(const RuntimeLoadContext& context,
                                                                  IndexedSessionFilesCache& cache);

}  // namespace CodexUsageReader

}  // namespace vantry

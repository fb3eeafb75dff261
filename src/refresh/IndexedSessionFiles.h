#pragma once

#include <optional>
#include <string>
#include <vector>

#include "local/index/SessionLogFiles.h"
#include "refresh/CodexRefreshSourceFingerprint.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry {

/// The last answer of the thread index and the state of the databases that gave it.
struct IndexedSessionFilesCache {
    std::optional<std::vector<MetadataItem>> databaseFiles;  ///< none: nothing is remembered
    std::vector<std::string> rows;                           ///< paths that the index names
    std::vector<std::string> listed;                         ///< paths that lie in the folders
    std::vector<std::string> paths;                          ///< both, sorted, each once
    CodexUsageReader::SessionFolderCache folders;
};

namespace CodexUsageReader {

/// The logs that the thread index names or that lie in the folders of the context's Codex, by path.
///
/// `sqlite3` runs only when the database's files have changed since the last answer, and a folder
/// is listed only when it has changed. Blocks; one call at a time for each `cache`.
/// The list lies in the cache, until the next call.
const std::vector<std::string>& indexedSessionFilesForRefreshFingerprint(
    const RuntimeLoadContext& context, IndexedSessionFilesCache& cache);

}  // namespace CodexUsageReader

}  // namespace vantry

#include "refresh/IndexedSessionFiles.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <variant>

#include "local/index/ThreadIndex.h"

namespace vantry::CodexUsageReader {

namespace {

std::optional<std::vector<std::string>> askIndex(const RuntimeLoadContext& context) {
    const auto databases = stateDatabasePaths(context.codex());
    const auto program = firstExistingPath(sqliteProgramCandidates());
    if (databases.empty() || !program) return std::nullopt;
    const auto state = openStateDatabase(
        {.sqlitePath = *program, .databasePaths = databases, .cancellation = context.cancellation});
    const auto* database = std::get_if<StateDatabase>(&state);
    if (database == nullptr) return std::nullopt;
    auto index = readThreadIndex(*database);
    auto* sources = std::get_if<std::vector<SessionUsageSource>>(&index);
    if (sources == nullptr) return std::nullopt;
    std::vector<std::string> paths;
    paths.reserve(sources->size());
    for (SessionUsageSource& source : *sources) paths.push_back(std::move(source.rolloutPath));
    return paths;
}

/// Brings the rows' paths up to date; whether they may be others than before.
bool bringRows(const RuntimeLoadContext& context, IndexedSessionFilesCache& cache) {
    const CodexFolders codex = context.codex();
    auto before = RefreshSourceMetadata::ofStateFiles(codex);
    if (before && before == cache.databaseFiles) return false;
    cache.databaseFiles.reset();
    const auto rows = askIndex(context);
    cache.rows = rows.value_or(std::vector<std::string>());
    // What changed during the query may be in the answer or not. A first query makes the files
    // beside the database itself; the next call then asks once more.
    if (before && rows && before == RefreshSourceMetadata::ofStateFiles(codex)) {
        cache.databaseFiles = std::move(before);
    }
    return true;
}

}  // namespace

const std::vector<std::string>& indexedSessionFilesForRefreshFingerprint(
    const RuntimeLoadContext& context, IndexedSessionFilesCache& cache) {
    const bool haveRowsChanged = bringRows(context, cache);
    auto listing = sessionLogFiles(context.codex().home, cache.folders);
    std::ranges::move(listing.strangers, std::back_inserter(listing.logs));
    if (!haveRowsChanged && listing.logs == cache.listed) return cache.paths;
    cache.listed = std::move(listing.logs);
    cache.paths = cache.listed;
    const std::unordered_set<std::string_view> known(cache.listed.begin(), cache.listed.end());
    for (const std::string& row : cache.rows) {
        if (!known.contains(row)) cache.paths.push_back(row);
    }
    std::ranges::sort(cache.paths);
    cache.paths.erase(std::unique(cache.paths.begin(), cache.paths.end()), cache.paths.end());
    return cache.paths;
}

}  // namespace vantry::CodexUsageReader

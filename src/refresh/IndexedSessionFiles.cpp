#include "refresh/IndexedSessionFiles.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <variant>

#include "local/ThreadIndex.h"

namespace vantry::CodexUsageReader {

namespace {

std::optional<std::vector<std::string>> askIndex(const CodexFolders& codex) {
    const auto databases = stateDatabasePaths(codex);
    const auto program = firstExistingPath(sqliteProgramCandidates());
    if (databases.empty() || !program) return std::nullopt;
    const auto state = openStateDatabase({.sqlitePath = *program, .databasePaths = databases});
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

}  // namespace

namespace {

std::vector<std::string> rowPaths(const CodexFolders& codex, IndexedSessionFilesCache& cache) {
    auto before = RefreshSourceMetadata::ofStateFiles(codex);
    if (before && before == cache.databaseFiles) return cache.paths;
    cache.databaseFiles.reset();
    auto paths = askIndex(codex);
    if (!paths) return {};
    // What changed during the query may be in the answer or not. A first query makes the files
    // beside the database itself; the next call then asks once more.
    if (before && before == RefreshSourceMetadata::ofStateFiles(codex)) {
        cache.databaseFiles = std::move(before);
        cache.paths = *paths;
    }
    return *std::move(paths);
}

}  // namespace

std::vector<std::string> indexedSessionFilesForRefreshFingerprint(const RuntimeLoadContext& context,
                                                                  IndexedSessionFilesCache& cache) {
    const CodexFolders codex = context.codex();
    std::vector<std::string> paths = rowPaths(codex, cache);
    auto listing = sessionLogFiles(codex.home, cache.folders);
    for (auto* found : {&listing.logs, &listing.strangers}) {
        std::ranges::move(*found, std::back_inserter(paths));
    }
    std::ranges::sort(paths);
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return paths;
}

}  // namespace vantry::CodexUsageReader

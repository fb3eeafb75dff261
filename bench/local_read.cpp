// Reads the session logs of a home as the program does, and says what was found and how long each
// step took: local_read HOME CACHE-DIRECTORY

#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <sys/resource.h>

#include "local/SessionBatch.h"
#include "local/SessionUsageCacheFile.h"
#include "platform/WorkQueue.h"

using namespace vantry;
using namespace vantry::CodexUsageReader;

namespace {

class Stopwatch {
  public:
    void lap(const char* what) {
        const auto now = std::chrono::steady_clock::now();
        std::cout << what << " " << std::chrono::duration<double, std::milli>(now - last_).count()
                  << " ms\n";
        last_ = now;
    }

  private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const std::filesystem::path home = std::filesystem::absolute(argv[1]);
    const auto sqlite = firstExistingPath(sqliteProgramCandidates());
    if (!sqlite) return 1;
    Stopwatch watch;
    const auto state = openStateDatabase(
        {.sqlitePath = *sqlite, .databasePaths = stateDatabasePaths(CodexFolders::below(home))});
    const auto* database = std::get_if<StateDatabase>(&state);
    if (database == nullptr) return 1;
    const auto totals = readLocalTotals(*database);
    const auto index = readThreadIndex(*database);
    const auto* sources = std::get_if<std::vector<SessionUsageSource>>(&index);
    if (sources == nullptr || !std::holds_alternative<SQLiteLocalTotals>(totals)) return 1;
    watch.lap("database");

    ReaderCaches caches;
    const auto file = sessionUsageCacheURL(argv[2]);
    persistentSessionUsageCache(caches.sessions, file);
    watch.lap("cache read");

    const SessionReadSetting setting{.codexHome = home / ".codex", .now = Date::now()};
    LoadedSessions loaded = loadSessions({.rows = *sources, .setting = setting}, caches.sessions);
    watch.lap("logs");

    TokenBreakdown sum;
    TokenBreakdown naive;
    std::size_t deltas = 0;
    visitEffectiveUsage(loaded, setting.now, loaded.gaps, [&](const VisitedSession& session) {
        for (const SessionUsageDelta& delta : session.usage.deltas) sum.add(delta.tokens);
        deltas += session.usage.deltas.size();
        if (!session.isBorrowed) naive.add(session.entry.lastTokenUsage.value_or(TokenBreakdown{}));
    });
    watch.lap("counting");

    if (caches.sessions.hasChanges) {
        std::set<std::string> paths;
        for (const LoadedSessionUsage& session : loaded.sessions) {
            paths.insert(session.source.rolloutPath);
        }
        writePersistentSessionUsageCache(
            caches.sessions, {.file = file, .activePaths = std::move(paths), .now = setting.now});
        watch.lap("cache written");
    }
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    std::cout << "threads " << sources->size() << ", own events " << deltas << ", total "
              << sum.totalTokens << " (input " << sum.inputTokens << ", cached "
              << sum.cachedInputTokens << ", output " << sum.outputTokens << ", reasoning "
              << sum.reasoningOutputTokens << "), last readings added up " << naive.totalTokens
              << "\nwaiting " << loaded.waitingLogs << ", gaps " << loaded.gaps.count()
              << "\npeak memory " << used.ru_maxrss << " KiB\n";
    return loaded.waitingLogs + static_cast<std::size_t>(loaded.gaps.count()) == 0 ? 0 : 1;
}

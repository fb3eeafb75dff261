// Reads the session logs of a home as the program does, and says what was found and how long each
// step took: local_read HOME CACHE-DIRECTORY

#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <sys/resource.h>

#include "local/analytics/SessionBatch.h"
#include "local/cache/KeptThreadIndex.h"
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
    ReaderCaches caches;
    const std::filesystem::path codexHome = home / ".codex";
    caches.sessions.open(
        {.file = sessionStoreFile(argv[2]), .formerDirectory = {}, .codexHome = codexHome});
    watch.lap("cache read");
    const auto index = readKeptThreadIndex(
        {.sqlitePath = *sqlite, .databasePaths = stateDatabasePaths(CodexFolders::below(home))},
        caches);
    const auto* threads = std::get_if<const ThreadIndexReading*>(&index);
    if (threads == nullptr) return 1;
    watch.lap("database");

    const SessionReadSetting setting{.codexHome = codexHome, .now = Date::now()};
    SessionBatch batch({.rows = (*threads)->rows, .setting = setting}, caches.sessions);
    batch.read();
    watch.lap("logs");
    LoadedSessions loaded = batch.load();
    bringSharesUpToDate(loaded, caches.sessions, setting.now);
    watch.lap("shares");

    TokenBreakdown sum;
    std::size_t buckets = 0;
    visitShares(
        {.loaded = loaded, .cache = caches.sessions, .cutoff = setting.now, .gaps = loaded.gaps},
        [&](const VisitedSession& session) {
            for (const SessionShareBucket& bucket : session.tokens.buckets.list()) {
                sum.add(bucket.tokens);
            }
            buckets += session.tokens.buckets.list().size();
        });
    watch.lap("counting");
    caches.sessions.save();
    watch.lap("cache written");
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    std::cout << "threads " << (*threads)->rows.size() << ", quarters " << buckets << ", total "
              << sum.totalTokens << " (input " << sum.inputTokens << ", cached "
              << sum.cachedInputTokens << ", output " << sum.outputTokens << ", reasoning "
              << sum.reasoningOutputTokens << ")\nwaiting " << batch.waitingLogs() << ", gaps "
              << loaded.gaps.count() << "\npeak memory " << used.ru_maxrss << " KiB\n";
    return batch.waitingLogs() + static_cast<std::size_t>(loaded.gaps.count()) == 0 ? 0 : 1;
}

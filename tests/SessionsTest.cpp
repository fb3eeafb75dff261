#include <ctime>
#include <gtest/gtest.h>
#include <map>

#include "corpus/Corpus.h"
#include "local/SessionBatch.h"
#include "local/SessionUsageCacheFile.h"
#include "support/Program.h"

namespace vantry {

namespace {

using namespace CodexUsageReader;

std::string utcDay(double secondsSince1970) {
    const auto seconds = static_cast<std::time_t>(secondsSince1970);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

/// What was found in a home, by the same keys as its truth.
struct Found {
    TokenBreakdown total;
    std::map<std::string, TokenBreakdown> days;
    std::map<std::string, TokenBreakdown> projects;
    std::map<std::optional<std::string>, TokenBreakdown> models;
    std::map<std::string, TokenBreakdown> threads;
    std::map<std::string, std::map<std::string, std::int64_t>> toolCalls;
    SessionBatchFailures failures;
    std::map<SessionReadRoute, int> routes;
};

/// One home, read with a cache of its own.
class Reader {
  public:
    explicit Reader(const std::filesystem::path& home)
        : home_(home), cacheFile_(sessionUsageCacheURL(home / "cache")) {
        setting_.homeDirectory = home;
    }

    /// Reads with a cache that only the disk remembers, and writes it.
    Found read() {
        ReaderCaches caches;
        persistentSessionUsageCache(caches.sessions, cacheFile_);
        const auto index = readThreadIndex(std::get<StateDatabase>(
            openStateDatabase({.sqlitePath = *firstExistingPath(sqliteProgramCandidates()),
                               .databasePaths = {home_ / ".codex/state_5.sqlite"}})));
        const auto& sources = std::get<std::vector<SessionUsageSource>>(index);
        std::vector<std::string> paths;
        paths.reserve(sources.size());
        for (const SessionUsageSource& source : sources) paths.push_back(source.rolloutPath);
        setting_.now = Date::now();
        const LoadedSessions loaded = loadSessions(
            {.sources = sources, .pathsToValidate = paths, .setting = setting_}, caches.sessions);
        Found found;
        found.failures =
            visitEffectiveUsage(loaded, setting_.now, [&](const VisitedSession& session) {
                for (const SessionUsageDelta& delta : session.usage.deltas) {
                    found.total.add(delta.tokens);
                    found.days[utcDay(delta.date.secondsSince1970())].add(delta.tokens);
                    found.projects[session.source.cwd].add(delta.tokens);
                    found.models[delta.model].add(delta.tokens);
                    found.threads[session.source.threadId].add(delta.tokens);
                }
                found.toolCalls[session.source.threadId] = session.usage.toolCalls;
            });
        writePersistentSessionUsageCache(caches.sessions,
                                         {.file = cacheFile_,
                                          .activePaths = {paths.begin(), paths.end()},
                                          .isAllowed =
                                              [this](const std::string& path) {
                                                  return sessionRolloutAccessIsAllowed(path, home_);
                                              },
                                          .now = setting_.now});
        return found;
    }

    SessionReadSetting& setting() { return setting_; }

  private:
    std::filesystem::path home_;
    std::filesystem::path cacheFile_;
    SessionReadSetting setting_{};
};

// Keys without tokens say nothing.
template <class Map>
Map withoutZeros(Map map) {
    std::erase_if(map, [](const auto& item) { return item.second.isZero(); });
    return map;
}

void expectTruth(const corpus::Truth& truth, const Found& found) {
    EXPECT_TRUE(found.failures.isNone());
    EXPECT_EQ(found.total, truth.total);
    EXPECT_EQ(withoutZeros(found.days), withoutZeros(truth.days));
    EXPECT_EQ(withoutZeros(found.projects), withoutZeros(truth.projects));
    EXPECT_EQ(withoutZeros(found.models), withoutZeros(truth.logModels));
    for (const corpus::TruthThread& thread : truth.threads) {
        const auto own = found.threads.find(thread.id);
        EXPECT_EQ(own == found.threads.end() ? TokenBreakdown{} : own->second, thread.tokens)
            << thread.kind << " " << thread.variant;
        const auto calls = found.toolCalls.find(thread.id);
        ASSERT_NE(calls, found.toolCalls.end());
        EXPECT_EQ(calls->second, thread.toolCalls) << thread.kind << " " << thread.variant;
    }
}

TEST(Sessions, EveryTokenOfAHomeCountsOnce) {
    for (const std::uint64_t seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
        const TemporaryDirectory directory("vantry-sessions-");
        const corpus::Truth truth = corpus::makeCorpus({.home = directory.path(),
                                                        .seed = seed,
                                                        .conversations = 80,
                                                        .totalBytes = 2 * 1024 * 1024});
        Reader reader(directory.path());
        expectTruth(truth, reader.read());
        // From the cache, and streamed in place of filtered, the figures are the same.
        reader.setting().grepExecutablePath = "/nonexistent";
        expectTruth(truth, reader.read());
        std::filesystem::remove_all(directory.path() / "cache");
        expectTruth(truth, reader.read());
        EXPECT_NE(truth.total, truth.sumOfLastReadings) << "the home has nothing to tell apart";
    }
}

TEST(Sessions, TheIndexIsReadWhileAWriterHoldsTheDatabase) {
    const TemporaryDirectory directory("vantry-sessions-");
    const corpus::Truth truth =
        corpus::makeCorpus({.home = directory.path(), .conversations = 10, .totalBytes = 200'000});
    DatabaseWriter writer(directory.path() / ".codex/state_5.sqlite");
    // A committed change that stands in the write-ahead log alone, and one that is not committed.
    ASSERT_TRUE(
        writer.run("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;\n"
                   "UPDATE threads SET cwd = '/committed';\n"
                   "BEGIN IMMEDIATE; UPDATE threads SET cwd = '/uncommitted';"));
    const Found found = Reader(directory.path()).read();
    EXPECT_EQ(found.total, truth.total);
    ASSERT_EQ(found.projects.size(), 1U);
    EXPECT_EQ(found.projects.begin()->first, "/committed");
}

TEST(Sessions, WhatCannotBeCheckedIsRefused) {
    struct Case {
        corpus::BadSession bad;
        SessionBatchFailures expected;
    };
    for (const Case& entry : {Case{corpus::BadSession::unverifiableFork, {.unresolvedParents = 1}},
                              Case{corpus::BadSession::missingParent, {.unresolvedParents = 1}},
                              Case{corpus::BadSession::parentCycle, {.damagedEntries = 2}},
                              Case{corpus::BadSession::damagedLine, {.unreadableLogs = 1}}}) {
        const TemporaryDirectory directory("vantry-sessions-");
        corpus::makeCorpus({.home = directory.path(),
                            .conversations = 10,
                            .totalBytes = 200'000,
                            .bad = {entry.bad}});
        EXPECT_EQ(Reader(directory.path()).read().failures, entry.expected);
    }
}

}  // namespace

}  // namespace vantry

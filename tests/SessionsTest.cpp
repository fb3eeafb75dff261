#include <ctime>
#include <gtest/gtest.h>
#include <map>

#include "corpus/Corpus.h"
#include "local/KeptThreadIndex.h"
#include "local/SessionBatch.h"
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
    std::map<LocalUsageGapKind, std::int64_t> gaps;
    std::size_t waitingLogs = 0;
};

/// One home, read with a cache of its own.
class Reader {
  public:
    explicit Reader(const std::filesystem::path& home)
        : home_(home), storeFile_(sessionStoreFile(home / "cache")) {
        setting_.codexHome = home / ".codex";
    }

    /// Reads with a cache that only the disk remembers, and writes it.
    Found read() {
        ReaderCaches caches;
        caches.sessions.open(
            {.file = storeFile_, .formerDirectory = {}, .codexHome = setting_.codexHome});
        const auto index =
            readKeptThreadIndex({.sqlitePath = *firstExistingPath(sqliteProgramCandidates()),
                                 .databasePaths = {home_ / ".codex/state_5.sqlite"}},
                                caches);
        setting_.now = Date::now();
        SessionBatch batch(
            {.rows = std::get<const ThreadIndexReading*>(index)->rows, .setting = setting_},
            caches.sessions);
        batch.read();
        LoadedSessions loaded = batch.load();
        bringSharesUpToDate(loaded, caches.sessions, setting_.now);
        Found found{.waitingLogs = batch.waitingLogs()};
        const auto take = [&](const VisitedSession& session) {
            for (const SessionShareBucket& bucket : session.tokens.buckets.list()) {
                std::optional<std::string> model;
                if (bucket.model > 0) {
                    model = session.tokens.models.at(static_cast<std::size_t>(bucket.model) - 1);
                }
                found.total.add(bucket.tokens);
                found.days[utcDay(bucket.start().secondsSince1970())].add(bucket.tokens);
                found.projects[session.source.cwd].add(bucket.tokens);
                found.models[model].add(bucket.tokens);
                found.threads[session.source.threadId].add(bucket.tokens);
            }
            found.toolCalls[session.source.threadId] = session.share.toolCalls;
        };
        visitShares({.loaded = loaded,
                     .cache = caches.sessions,
                     .cutoff = setting_.now,
                     .gaps = loaded.gaps},
                    take);
        for (const LocalUsageGap& gap : loaded.gaps.list) found.gaps[gap.kind] = gap.count;
        caches.sessions.save();
        return found;
    }

  private:
    std::filesystem::path home_;
    std::filesystem::path storeFile_;
    SessionReadSetting setting_{};
};

// Keys without tokens say nothing.
template <class Map>
Map withoutZeros(Map map) {
    std::erase_if(map, [](const auto& item) { return item.second.isZero(); });
    return map;
}

void expectTruth(const corpus::Truth& truth, const Found& found) {
    EXPECT_EQ(found.gaps.size() + found.waitingLogs, 0U);
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
        expectTruth(truth, reader.read());  // from the cache
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

TEST(Sessions, WhatCannotBeCheckedIsNamed) {
    using Kind = LocalUsageGapKind;
    struct Case {
        corpus::BadSession bad;
        std::map<Kind, std::int64_t> gaps;
    };
    for (const Case& entry :
         // The requests of these two left records.
         {Case{corpus::BadSession::unverifiableFork, {}},
          Case{corpus::BadSession::missingParent, {}},
          Case{corpus::BadSession::parentCycle, {{Kind::parentCycle, 2}}},
          Case{corpus::BadSession::damagedLine, {{Kind::damagedLog, 1}}}}) {
        const TemporaryDirectory directory("vantry-sessions-");
        corpus::makeCorpus({.home = directory.path(),
                            .conversations = 10,
                            .totalBytes = 200'000,
                            .bad = {entry.bad}});
        const Found found = Reader(directory.path()).read();
        EXPECT_EQ(found.gaps, entry.gaps);
        EXPECT_EQ(found.waitingLogs, 0U);
    }
}

}  // namespace

}  // namespace vantry

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corpus/Clock.h"
#include "records/TokenBreakdown.h"

namespace vantry::corpus {

/// Shares of all conversations, or chances of a single turn or answer, 0...1.
struct Mix {
    double copyingForks = 0.12;
    double inheritingForks = 0.25;
    double subagents = 0.15;
    double guardians = 0.03;
    double copyingFormat = 0.3;  ///< of the roots that nothing is forked from
    double archived = 0.1;
    double unfinishedLogs = 0.15;  ///< half without a last line feed, half with a torn last line
    double rowsWithoutLog = 0.01;

    double compactingTurns = 0.05;
    double restartingTurns = 0.003;
    double interruptedTurns = 0.03;
    double resumedTurns = 0.05;
    double unusableModels = 0.05;

    double repeatedReadings = 0.06;
    double toolCalls = 0.6;
    double callsWithoutId = 0.01;
    double skillCalls = 0.03;  ///< of the tool calls: with Skills in their arguments
    double oddities = 0.02;    ///< lines of unknown kinds, rate limits alone, unusual spelling
};

/// What a reader must refuse. Each makes one more family.
enum class BadSession { unverifiableFork, missingParent, parentCycle, damagedLine };

/// "unverifiable-fork", "missing-parent", "parent-cycle", "damaged-line".
std::optional<BadSession> badSession(std::string_view name);

struct CorpusOptions {
    std::filesystem::path home;  ///< absolute; made if missing, and without a state database
    std::uint64_t seed = 1;
    std::int64_t conversations = 100;
    std::int64_t totalBytes = 8 * 1024 * 1024;  ///< of all logs, about; less is not held to
    std::int64_t tokenEvents = 0;               ///< of all logs, about; 0 for what is usual
    /// On top of that, about: holes that take no room on the disk but must be looked through.
    std::int64_t sparseBytes = 0;
    bool keepsEvents = true;         ///< in the truth, where a million take 64 MB
    bool lean = false;               ///< little in a log but what counts
    Millis end = 1'780'272'000'000;  ///< no event is later: 2026-06-01
    std::int64_t spanDays = 180;     ///< before the end
    Mix mix;
    std::vector<BadSession> bad;
};

/// The growth of a counter that no other log has counted.
struct TruthEvent {
    Millis at = 0;
    std::uint32_t thread = 0;            ///< index in `threads`
    std::optional<std::uint32_t> model;  ///< index in `models`; nothing if unknown
    TokenBreakdown tokens;
};

struct TruthThread {
    std::string id;
    std::string kind;
    std::string variant;
    std::string rolloutPath;
    std::string project;
    std::optional<std::string> indexModel;  ///< the database's
    std::optional<std::string> parent;
    std::string root;                                ///< the oldest ancestor, or the thread itself
    std::int64_t updatedAt = 0;                      ///< seconds since 1970
    TokenBreakdown tokens;                           ///< its own
    TokenBreakdown lastReading;                      ///< what its log says last
    std::map<std::string, std::int64_t> toolCalls;   ///< its own, by name
    std::map<std::string, std::int64_t> skillLoads;  ///< its own, by path
    bool bad = false;
};

/// A Skill that was loaded at least once.
struct TruthSkill {
    std::int64_t loads = 0;
    std::int64_t threads = 0;
    std::optional<std::int64_t> bytes;  ///< nothing where the file is gone
    std::optional<std::int64_t> tokenEstimate;
};

/// What a reader of the home must find, bad sessions left out.
struct Truth {
    std::vector<TruthThread> threads;
    std::vector<TruthEvent> events;  ///< by thread, then by time; none if they are not kept
    std::int64_t eventCount = 0;     ///< kept or not
    std::vector<std::string> models;
    std::int64_t rows = 0;           ///< of the database, those without a log included
    std::int64_t lastUpdatedAt = 0;  ///< seconds since 1970
    std::int64_t logBytes = 0;
    std::int64_t tokenEventLines = 0;

    TokenBreakdown total;
    std::map<std::string, TokenBreakdown> days;  ///< in UTC
    std::map<std::string, TokenBreakdown> projects;
    std::map<std::string, TokenBreakdown> conversations;  ///< by the root of their threads
    std::map<std::string, std::int64_t> toolCalls;
    std::map<std::string, TruthSkill> skills;  ///< by path
    std::map<std::optional<std::string>, TokenBreakdown> logModels;
    /// With the index's model in place of an unknown one.
    std::map<std::optional<std::string>, TokenBreakdown> attributedModels;
    TokenBreakdown sumOfLastReadings;  ///< what counting the simple way would say
};

/// Makes a Codex home: the state database, through the sqlite3 program, the logs that it names and
/// the files of some Skills. The same options make the same bytes. Writes the truth to
/// `home`/truth.json as well. Throws std::runtime_error if anything cannot be written. One thread.
Truth makeCorpus(const CorpusOptions& options);

}  // namespace vantry::corpus

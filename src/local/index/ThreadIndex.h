#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "local/index/StateDatabase.h"
#include "platform/RecordFields.h"

namespace vantry {

/// One conversation of the state database with the log that belongs to it.
struct SessionUsageSource {
    std::string threadId;     ///< never empty
    std::string rolloutPath;  ///< never empty
    std::optional<std::string> model;
    std::string cwd;
    std::optional<Date> updatedAt;
    bool isSubagent = false;
    /// A guardian's log legitimately names no parent.
    bool allowsMissingParentLineage = false;
    std::optional<std::string> title;

    friend bool operator==(const SessionUsageSource&, const SessionUsageSource&) = default;
};

struct SQLiteLocalTotals {
    std::int64_t threadCount = 0;
    std::optional<Date> lastUpdatedAt;

    friend bool operator==(const SQLiteLocalTotals&, const SQLiteLocalTotals&) = default;
};

/// What Codex's state databases say of threads.
struct ThreadIndexReading {
    std::string fingerprint;  ///< of the databases' files; empty where they may be changing
    SQLiteLocalTotals totals;
    std::vector<SessionUsageSource> rows;  ///< oldest first, then by thread
    /// Stand for the rows, which fall into as many parts by their thread.
    std::vector<std::uint64_t> partHashes;

    friend bool operator==(const ThreadIndexReading&, const ThreadIndexReading&) = default;
};

template <>
struct RecordFields<SQLiteLocalTotals> {
    static constexpr std::tuple list{field("threadCount", &SQLiteLocalTotals::threadCount),
                                     field("lastUpdatedAt", &SQLiteLocalTotals::lastUpdatedAt)};
};

template <>
struct RecordFields<SessionUsageSource> {
    using Source = SessionUsageSource;
    static constexpr std::tuple list{
        field("threadId", &Source::threadId),
        field("rolloutPath", &Source::rolloutPath),
        field("model", &Source::model),
        field("cwd", &Source::cwd),
        field("updatedAt", &Source::updatedAt),
        field("isSubagent", &Source::isSubagent),
        field("allowsMissingParentLineage", &Source::allowsMissingParentLineage),
        field("title", &Source::title)};
};

/// Without the rows, which are kept in parts.
template <>
struct RecordFields<ThreadIndexReading> {
    using Reading = ThreadIndexReading;
    static constexpr std::tuple list{field("fingerprint", &Reading::fingerprint),
                                     field("totals", &Reading::totals),
                                     field("partHashes", &Reading::partHashes)};
};

/// The thread index. A batch with one bad row is refused whole: a thread that is left out would
/// silently lower every figure. Reads block; any thread.
namespace CodexUsageReader {

/// Each thread once, whatever number of tables has it.
SQLiteReadResult<SQLiteLocalTotals> readLocalTotals(const StateDatabase& database);

/// Oldest first. Of a thread in several tables the latest row holds. Nothing is known of what
/// stands in a column that a table lacks.
SQLiteReadResult<std::vector<SessionUsageSource>> readThreadIndex(const StateDatabase& database);

/// From the rows of the totals query; nothing unless there is one valid row.
std::optional<SQLiteLocalTotals> parseSQLiteLocalTotals(JsonView rows);

/// From the rows of the index query; nothing if any row is damaged. Of several threads with one
/// log the first keeps it.
std::optional<std::vector<SessionUsageSource>> parseSessionUsageSources(JsonView rows);

/// What a row's own source says of a subagent.
struct SubagentSource {
    std::optional<std::string> other;

    friend bool operator==(const SubagentSource&, const SubagentSource&) = default;
};

/// The `subagent` object of a `source` text, copied out of it; nothing for any other text.
std::optional<SubagentSource> subagentSourceMetadata(JsonView value);

}  // namespace CodexUsageReader

}  // namespace vantry

#include "local/index/ThreadIndex.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr const char* totalsQuery =
    "SELECT\n  COUNT(*) AS threadCount,\n  COALESCE(MAX(updated_at), 0) AS lastUpdatedAt\n"
    "FROM threads;";

// Only the first characters of a title ever leave the database.
std::string indexQuery(const ThreadTable& table) {
    const bool hasName = table.columns.contains("name");
    return "SELECT id, rollout_path AS rolloutPath, " + table.column("model", "NULL") +
           " AS model, " + table.column("cwd", "''") + " AS cwd, " +
           (hasName ? "SUBSTR(name, 1, 160)" : "NULL") +
           " AS name,\n"
           "       updated_at AS updatedAt,\n"
           "       COALESCE(" +
           table.column("thread_source", "NULL") + ", " + table.column("source", "NULL") +
           ") AS threadSource, " + table.column("source", "NULL") +
           " AS sourceMetadata\n"
           "FROM threads\n"
           "WHERE rollout_path IS NOT NULL\n"
           "  AND rollout_path <> ''\n"
           "ORDER BY updated_at ASC;";
}

bool isNullOrText(JsonView value) {
    return value.isNull() || value.text();
}

bool isSubagentRow(JsonView row, const std::optional<SubagentSource>& metadata) {
    if (metadata) return true;
    // A row that says only "subagent" counts, unless its own source says otherwise.
    return row["threadSource"].text() == "subagent" &&
           row["sourceMetadata"].text().value_or("").empty();
}

std::optional<SessionUsageSource> parseRow(JsonView row) {
    const auto id = row["id"].text();
    const auto rolloutPath = row["rolloutPath"].text();
    const auto cwd = row["cwd"].text();
    const auto updatedAt = sqliteDateFromEpoch(row["updatedAt"]);
    if (!id || id->empty() || !rolloutPath || rolloutPath->empty() || !cwd || !updatedAt ||
        !isNullOrText(row["model"]) || !isNullOrText(row["threadSource"])) {
        return std::nullopt;
    }
    auto metadata = subagentSourceMetadata(row["sourceMetadata"]);
    if (!metadata) metadata = subagentSourceMetadata(row["threadSource"]);
    const bool isSubagent = isSubagentRow(row, metadata);
    return SessionUsageSource{
        .threadId = std::string(*id),
        .rolloutPath = std::string(*rolloutPath),
        .model = ownedText(row["model"]),
        .cwd = std::string(*cwd),
        .updatedAt = updatedAt,
        .isSubagent = isSubagent,
        .allowsMissingParentLineage = isSubagent && metadata && metadata->other == "guardian",
        .title = ownedText(row["name"])};
}

using Sources = std::vector<SessionUsageSource>;

std::optional<Sources> parseRows(JsonView rows) {
    Sources sources;
    sources.reserve(rows.size());
    bool isSound = true;
    rows.forEachElement([&](JsonView row) {
        auto source = parseRow(row);
        isSound = source.has_value();
        if (isSound) sources.push_back(*std::move(source));
        return isSound;
    });
    if (!isSound) return std::nullopt;
    return sources;
}

// The latest row of each thread, oldest first. Equally late rows keep their order, and of those of
// one thread the first stays.
Sources mergedByThread(const Sources& sources) {
    std::map<std::string_view, const SessionUsageSource*> latest;
    for (const SessionUsageSource& source : sources) {
        const auto [known, isNew] = latest.try_emplace(source.threadId, &source);
        if (!isNew && known->second->updatedAt < source.updatedAt) known->second = &source;
    }
    Sources merged;
    merged.reserve(latest.size());
    for (const SessionUsageSource& source : sources) {
        if (latest.at(source.threadId) == &source) merged.push_back(source);
    }
    std::ranges::stable_sort(merged, {}, &SessionUsageSource::updatedAt);
    return merged;
}

Sources withOneThreadForEachLog(Sources sources) {
    std::set<std::string> logs;
    std::erase_if(sources, [&](const SessionUsageSource& source) {
        return !logs.insert(source.rolloutPath).second;
    });
    return sources;
}

}  // namespace

SQLiteReadResult<SQLiteLocalTotals> readLocalTotals(const StateDatabase& database) {
    SQLiteLocalTotals all;
    for (const ThreadTable& table : database.tables) {
        const auto rows = runThreadQuery(database, table, totalsQuery);
        if (!rows) return SQLiteReadFailure::queryFailed;
        const auto totals = parseSQLiteLocalTotals(rows->root());
        if (!totals) return SQLiteReadFailure::invalidData;
        all.threadCount += totals->threadCount;
        all.lastUpdatedAt = std::max(all.lastUpdatedAt, totals->lastUpdatedAt);
    }
    if (database.tables.size() == 1) return all;
    const auto owners = readThreadOwners(database);
    if (const auto* failure = std::get_if<SQLiteReadFailure>(&owners)) return *failure;
    all.threadCount = static_cast<std::int64_t>(std::get<ThreadOwners>(owners).size());
    return all;
}

SQLiteReadResult<Sources> readThreadIndex(const StateDatabase& database) {
    Sources all;
    for (const ThreadTable& table : database.tables) {
        const auto rows = runThreadQuery(database, table, indexQuery(table));
        if (!rows) return SQLiteReadFailure::queryFailed;
        auto sources = parseRows(rows->root());
        if (!sources) return SQLiteReadFailure::invalidData;
        std::ranges::move(*sources, std::back_inserter(all));
    }
    if (database.tables.size() > 1) all = mergedByThread(all);
    return withOneThreadForEachLog(std::move(all));
}

std::optional<SQLiteLocalTotals> parseSQLiteLocalTotals(JsonView rows) {
    if (rows.size() != 1) return std::nullopt;
    JsonView row;
    rows.forEachElement([&](JsonView only) {
        row = only;
        return true;
    });
    const auto threadCount = int64Value(row["threadCount"]);
    const auto lastUpdatedAt = int64Value(row["lastUpdatedAt"]);
    if (!threadCount || *threadCount < 0 || !lastUpdatedAt || *lastUpdatedAt < 0) {
        return std::nullopt;
    }
    if (*threadCount == 0) {
        if (*lastUpdatedAt != 0) return std::nullopt;
        return SQLiteLocalTotals{};
    }
    const auto date = sqliteDateFromEpoch(row["lastUpdatedAt"]);
    if (!date) return std::nullopt;
    return SQLiteLocalTotals{.threadCount = *threadCount, .lastUpdatedAt = date};
}

std::optional<std::vector<SessionUsageSource>> parseSessionUsageSources(JsonView rows) {
    auto sources = parseRows(rows);
    if (!sources) return std::nullopt;
    return withOneThreadForEachLog(*std::move(sources));
}

std::optional<SubagentSource> subagentSourceMetadata(JsonView value) {
    const auto text = value.text();
    if (!text || !trimmed(*text).starts_with('{')) return std::nullopt;
    const auto document = JsonDocument::parse(*text);
    if (!document) return std::nullopt;
    const JsonView subagent = document->root()["subagent"];
    if (!subagent.isObject()) return std::nullopt;
    return SubagentSource{.other = ownedText(subagent["other"])};
}

}  // namespace vantry::CodexUsageReader

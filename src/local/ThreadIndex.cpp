#include "local/ThreadIndex.h"

#include <set>

#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr const char* totalsQuery =
    "SELECT\n  COUNT(*) AS threadCount,\n  COALESCE(MAX(updated_at), 0) AS lastUpdatedAt\n"
    "FROM threads;";

constexpr const char* columnsQuery = "PRAGMA table_info(threads);";

// Only the first characters of a title ever leave the database.
constexpr const char* nameColumn = "SUBSTR(name, 1, 160)";

std::string indexQuery(std::string_view nameExpression) {
    return "SELECT id, rollout_path AS rolloutPath, model, cwd, " + std::string(nameExpression) +
           " AS name,\n"
           "       updated_at AS updatedAt,\n"
           "       COALESCE(thread_source, source) AS threadSource, source AS sourceMetadata\n"
           "FROM threads\n"
           "WHERE rollout_path IS NOT NULL\n"
           "  AND rollout_path <> ''\n"
           "ORDER BY updated_at ASC;";
}

std::optional<JsonDocument> run(const StateDatabase& database, std::string query) {
    return runSQLiteJSON({.sqlitePath = database.sqlitePath,
                          .databasePath = database.databasePath,
                          .query = std::move(query)});
}

bool hasNameColumn(JsonView columns) {
    bool found = false;
    columns.forEachElement([&](JsonView column) {
        found = column["name"].text() == "name";
        return !found;
    });
    return found;
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

}  // namespace

SQLiteReadResult<SQLiteLocalTotals> readLocalTotals(const StateDatabase& database) {
    const auto rows = run(database, totalsQuery);
    if (!rows) return SQLiteReadFailure::queryFailed;
    const auto totals = parseSQLiteLocalTotals(rows->root());
    if (!totals) return SQLiteReadFailure::invalidData;
    return *totals;
}

SQLiteReadResult<std::vector<SessionUsageSource>> readThreadIndex(const StateDatabase& database) {
    const auto columns = run(database, columnsQuery);
    if (!columns) return SQLiteReadFailure::queryFailed;
    const auto rows =
        run(database, indexQuery(hasNameColumn(columns->root()) ? nameColumn : "NULL"));
    if (!rows) return SQLiteReadFailure::queryFailed;
    auto sources = parseSessionUsageSources(rows->root());
    if (!sources) return SQLiteReadFailure::invalidData;
    return *std::move(sources);
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
    std::vector<SessionUsageSource> sources;
    std::set<std::string> logs;
    bool isSound = true;
    rows.forEachElement([&](JsonView row) {
        auto source = parseRow(row);
        isSound = source.has_value();
        if (isSound && logs.insert(source->rolloutPath).second) {
            sources.push_back(*std::move(source));
        }
        return isSound;
    });
    if (!isSound) return std::nullopt;
    return sources;
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

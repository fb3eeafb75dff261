#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Cancellation.h"
#include "platform/Date.h"
#include "platform/JsonReader.h"
#include "records/Notice.h"

/// Codex's state database, asked through the `sqlite3` program. Nothing here opens the database
/// itself, and the program is told to read only. Functions block; any thread.
namespace vantry::CodexUsageReader {

/// The first path that exists.
std::optional<std::filesystem::path> firstExistingPath(
    const std::vector<std::filesystem::path>& candidates);

/// The places where the `sqlite3` program may lie, in order of preference.
std::vector<std::filesystem::path> sqliteProgramCandidates();

enum class SQLiteReadFailure { queryFailed, invalidData };

constexpr NoticeKind noticeOf(SQLiteReadFailure failure) {
    return failure == SQLiteReadFailure::queryFailed ? NoticeKind::databaseQueryFailed
                                                     : NoticeKind::databaseDataMalformed;
}

template <class Value>
using SQLiteReadResult = std::variant<Value, SQLiteReadFailure>;

/// A query, the database it is put to and the program that puts it.
struct SQLiteQuery {
    std::filesystem::path sqlitePath;
    std::filesystem::path databasePath;
    std::string query;
    Cancellation cancellation = {};  ///< a query that is cancelled has failed
};

struct SQLiteAnswer {
    /// A document whose root is a list of objects.
    std::optional<JsonDocument> rows;
    bool isNoDatabase = false;  ///< the file is something else
};

/// No rows when the program fails, takes more than 5 seconds or prints more than 16 MiB or
/// something else. No output at all is no row. A database that is locked is asked again within that
/// time.
SQLiteAnswer askSQLite(const SQLiteQuery& query);

/// The rows alone.
std::optional<JsonDocument> runSQLiteJSON(const SQLiteQuery& query);

/// A point in time from seconds or milliseconds since 1970, told apart by their size; nothing for
/// zero, anything negative and anything beyond the year 9999.
std::optional<Date> sqliteDateFromEpoch(JsonView value);

}  // namespace vantry::CodexUsageReader

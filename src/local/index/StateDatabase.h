#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "local/index/SQLiteReader.h"
#include "platform/CodexFolders.h"

/// Codex's state databases. The number in the name of `state_N.sqlite` rises when its tables
/// change, so that a home may hold several, and some of its threads in more than one of them.
/// Functions block; any thread.
namespace vantry::CodexUsageReader {

/// A database whose `threads` table has what a thread needs: `id`, `rollout_path`, `updated_at`.
struct ThreadTable {
    std::filesystem::path databasePath;
    std::set<std::string, std::less<>> columns;

    /// The column where the table has it, else the expression that stands in for it.
    std::string column(std::string_view name, std::string_view standIn) const;
};

/// The tables that are read as one, and the program that asks them.
struct StateDatabase {
    std::filesystem::path sqlitePath;
    std::vector<ThreadTable> tables;  ///< at least one; the highest N first
    Cancellation cancellation = {};   ///< of the read that asks
};

/// Every `state_N.sqlite` of these folders and of `sqlite/` below them, the highest N first. A file
/// that several names or links lead to is there once, by the first.
std::vector<std::filesystem::path> stateDatabasePaths(const CodexFolders& folders);

/// Where to ask for threads.
struct StateDatabaseFiles {
    std::filesystem::path sqlitePath;
    std::vector<std::filesystem::path> databasePaths;
    Cancellation cancellation = {};  ///< of the read that asks
};

/// Asks each database for the columns of its `threads` table. One without a usable table, or a file
/// that is no database, is passed over as long as another has one. Fails where none has, and where
/// one does not answer: its threads may be in no other.
SQLiteReadResult<StateDatabase> openStateDatabase(const StateDatabaseFiles& files);

/// The rows of one query, put to one of the tables.
std::optional<JsonDocument> runThreadQuery(const StateDatabase& database, const ThreadTable& table,
                                           std::string query);

/// Where the latest row of a thread stands.
struct ThreadOwner {
    const ThreadTable* table = nullptr;
    std::optional<Date> updatedAt;
};

/// By the thread's id.
using ThreadOwners = std::map<std::string, ThreadOwner, std::less<>>;

/// The owner of each thread; of equally late rows that of the highest N. Points into `database`.
SQLiteReadResult<ThreadOwners> readThreadOwners(const StateDatabase& database);

}  // namespace vantry::CodexUsageReader

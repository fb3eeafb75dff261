#include "local/index/StateDatabase.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <sys/stat.h>
#include <utility>

#include "diagnostics/DebugLog.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

/// The N of "state_N.sqlite"; nothing for another name.
std::optional<std::uint64_t> numberOf(std::string_view name) {
    constexpr std::string_view prefix = "state_";
    constexpr std::string_view suffix = ".sqlite";
    if (!name.starts_with(prefix) || !name.ends_with(suffix)) return std::nullopt;
    const char* const first = name.data() + prefix.size();
    const char* const last = name.data() + name.size() - suffix.size();
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(first, std::max(first, last), number);
    if (error != std::errc() || end != last) return std::nullopt;
    return number;
}

using Numbered = std::pair<std::uint64_t, fs::path>;

void appendDatabases(const fs::path& folder, std::vector<Numbered>& found) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (const auto number = numberOf(entry->path().filename().native())) {
            found.emplace_back(*number, entry->path());
        }
    }
}

/// One that is not there, or leads nowhere, is none.
bool isNewFile(const fs::path& path, std::set<std::pair<dev_t, ino_t>>& seen) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && seen.emplace(status.st_dev, status.st_ino).second;
}

enum class Finding { usable, unusable, unanswered };

/// A table with its columns filled in where it is usable.
Finding inspect(const StateDatabaseFiles& files, ThreadTable& table) {
    std::error_code error;
    // Anything else could keep the program waiting.
    if (!fs::is_regular_file(table.databasePath, error)) return Finding::unusable;
    const SQLiteAnswer answer = askSQLite({.sqlitePath = files.sqlitePath,
                                           .databasePath = table.databasePath,
                                           .query = "PRAGMA table_info(threads);",
                                           .cancellation = files.cancellation});
    if (!answer.rows) {
        return answer.isNoDatabase ? Finding::unusable : Finding::unanswered;
    }
    answer.rows->root().forEachElement([&](JsonView column) {
        table.columns.emplace(column["name"].text().value_or(""));
        return true;
    });
    const bool isUsable =
        std::ranges::all_of(std::initializer_list<const char*>{"id", "rollout_path", "updated_at"},
                            [&](const char* name) { return table.columns.contains(name); });
    return isUsable ? Finding::usable : Finding::unusable;
}

}  // namespace

std::string ThreadTable::column(std::string_view name, std::string_view standIn) const {
    return std::string(columns.contains(name) ? name : standIn);
}

std::vector<fs::path> stateDatabasePaths(const CodexFolders& folders) {
    std::vector<Numbered> found;
    for (const fs::path& folder :
         {folders.databases, folders.databases / "sqlite", folders.home, folders.home / "sqlite"}) {
        appendDatabases(folder, found);
    }
    std::ranges::stable_sort(found, std::ranges::greater(), &Numbered::first);
    std::vector<fs::path> paths;
    std::set<std::pair<dev_t, ino_t>> seen;
    for (auto& [number, path] : found) {
        if (isNewFile(path, seen)) paths.push_back(std::move(path));
    }
    return paths;
}

SQLiteReadResult<StateDatabase> openStateDatabase(const StateDatabaseFiles& files) {
    StateDatabase database{.sqlitePath = files.sqlitePath, .cancellation = files.cancellation};
    std::vector<fs::path> passedOver;
    for (const fs::path& path : files.databasePaths) {
        ThreadTable table{.databasePath = path};
        const Finding finding = inspect(files, table);
        if (finding == Finding::unanswered) return SQLiteReadFailure::queryFailed;
        if (finding == Finding::usable) {
            database.tables.push_back(std::move(table));
        } else {
            passedOver.push_back(path);
        }
    }
    if (database.tables.empty()) return SQLiteReadFailure::queryFailed;
    for (const fs::path& path : passedOver) {
        debugLog("no usable table of threads in " + path.string());
    }
    return database;
}

std::optional<JsonDocument> runThreadQuery(const StateDatabase& database, const ThreadTable& table,
                                           std::string query) {
    return runSQLiteJSON({.sqlitePath = database.sqlitePath,
                          .databasePath = table.databasePath,
                          .query = std::move(query),
                          .cancellation = database.cancellation});
}

SQLiteReadResult<ThreadOwners> readThreadOwners(const StateDatabase& database) {
    ThreadOwners owners;
    for (const ThreadTable& table : database.tables) {
        const auto rows =
            runThreadQuery(database, table, "SELECT id, updated_at AS updatedAt FROM threads;");
        if (!rows) return SQLiteReadFailure::queryFailed;
        rows->root().forEachElement([&](JsonView row) {
            const auto id = row["id"].text();
            if (!id || id->empty()) return true;
            const ThreadOwner owner{.table = &table,
                                    .updatedAt = sqliteDateFromEpoch(row["updatedAt"])};
            const auto [known, isNew] = owners.try_emplace(std::string(*id), owner);
            if (!isNew && known->second.updatedAt < owner.updatedAt) known->second = owner;
            return true;
        });
    }
    return owners;
}

}  // namespace vantry::CodexUsageReader

#pragma once

#include <optional>
#include <set>
#include <string>

#include "local/ReaderCaches.h"
#include "local/SessionLogReader.h"

/// What is kept of the logs of a home, and what becomes of it when they change.
namespace vantry::CodexUsageReader {

/// Brings what is kept in line with the file, which another process may have changed. Blocks.
void loadKeptSessions(const std::filesystem::path& file, SessionUsageCache& cache);

/// Writes what is kept, if it changed. False where it could not be written; the caller then must
/// not write a cache that has lost the same entries. Blocks.
bool saveKeptSessions(const std::filesystem::path& file, SessionUsageCache& cache);

/// Makes the entries of a home that was renamed those of its new place. Looks at the file system.
void adoptSessionHome(const std::filesystem::path& codexHome, SessionUsageCache& cache);

/// What came of the read of a log at `now`.
struct SessionReadKeeping {
    const std::string& path;
    SessionReadOutcome outcome;
    Date now;
};

/// Puts an outcome into the cache. A failed read leaves the entry as it is. What the log said
/// before and no longer says is kept beside it.
void keepOutcome(SessionReadKeeping keeping, SessionUsageCache& cache);

struct VanishedSessions {
    const std::filesystem::path& codexHome;
    const std::set<std::string>& livePaths;  ///< of logs that are there
};

/// Keeps the entries of logs that are nowhere in their home any more. A log that was moved, renamed
/// or compressed is not gone.
void keepVanishedSessions(const VanishedSessions& vanished, SessionUsageCache& cache);

/// Keeps what a log says that is there and does not count any more.
void keepSession(const std::string& path, const SessionUsageCacheEntry& entry,
                 SessionUsageCache& cache);

/// Forgets what is kept of a segment that a log which counts says again.
void forgetReturnedSession(const std::string& path, const SessionUsageCacheEntry& entry,
                           SessionUsageCache& cache);

struct SessionTroubleSighting {
    const std::string& path;
    SessionLogTrouble trouble;
    const std::optional<SessionFileSnapshot>& file;
    Date now;
};

/// Whether the trouble may pass by itself: time or resources ran out, or the log changed within the
/// last ten minutes. No trouble is waited for longer than ten minutes from its first sight, and no
/// time ahead of now counts as recent.
bool rememberSessionTrouble(const SessionTroubleSighting& sighting, SessionUsageCache& cache);

void forgetSessionTrouble(const std::string& path, SessionUsageCache& cache);

/// The name by which what is kept knows a Codex home.
std::string sessionHomeName(const std::filesystem::path& codexHome);

/// The thread that the name of a log's file tells, or the name where it tells none.
std::string sessionThreadIdOfFile(const std::string& path);

}  // namespace vantry::CodexUsageReader

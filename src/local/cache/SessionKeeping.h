#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "local/cache/SessionUsageCache.h"
#include "local/log/SessionLogReader.h"

/// What becomes of what is known of a log when the log changes.
namespace vantry::CodexUsageReader {

/// Puts what was read of a log into the cache. What the log said before and no longer says is kept
/// beside it.
void keepReadSession(KnownSession session, SessionReadRoute route, SessionUsageCache& cache);

struct VanishedSessions {
    const std::filesystem::path& codexHome;
    const std::unordered_set<std::string_view>& livePaths;  ///< of logs that are there
};

/// Keeps what is known of logs that are nowhere in their home any more. A log that was moved,
/// renamed or compressed is not gone.
void keepVanishedSessions(const VanishedSessions& vanished, SessionUsageCache& cache);

/// Keeps what a log says that is there and does not count any more.
void keepSession(const KnownSession& session, SessionUsageCache& cache);

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

}  // namespace vantry::CodexUsageReader

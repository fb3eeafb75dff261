#pragma once

#include <filesystem>
#include <optional>

#include "local/ReaderCaches.h"
#include "local/SessionReadLimits.h"
#include "local/ThreadIndex.h"

namespace vantry::CodexUsageReader {

/// What is the same for every log of a batch.
struct SessionReadSetting {
    std::filesystem::path homeDirectory;  ///< logs lie below its `.codex`
    Date now;
    SessionParserLimits limits;
    std::filesystem::path grepExecutablePath = defaultGrepPath();
    MonotonicUptime uptime = systemUptime;

    /// /usr/bin/grep, or /bin/grep where that is missing.
    static std::filesystem::path defaultGrepPath();
};

/// How an answer about a log was come by.
enum class SessionReadRoute { denied, failed, hit, appended, filtered, streamed };

struct SessionReadOutcome {
    SessionReadRoute route = SessionReadRoute::failed;
    /// What was read. Absent after a hit, where what is known still holds.
    std::optional<SessionUsageCacheEntry> entry;
    std::optional<std::uint64_t> fileIdentifier;  ///< of a hit

    /// Whether the log's contents are known.
    bool isKnown() const { return entry || route == SessionReadRoute::hit; }
};

/// What a thread's log contributes, given what is known of it from before: nothing new where the
/// log is unchanged, the appended bytes where it has grown, else the whole log, through `grep` or,
/// for a large log or without that program, by streaming. All or nothing, within the limits.
/// Changes nothing but the file's access time; any thread.
SessionReadOutcome readSession(const SessionUsageSource& source,
                               const SessionUsageCacheEntry* cached,
                               const SessionReadSetting& setting);

/// The same through the cache: a denied log is forgotten, a failed read leaves the entry as it is,
/// and every other answer is kept.
std::optional<SessionUsageCacheEntry> cachedSessionUsage(const SessionUsageSource& source,
                                                         SessionUsageCache& cache,
                                                         const SessionReadSetting& setting);

/// What came of the read of a source at `now`.
struct SessionReadKeeping {
    const SessionUsageSource& source;
    SessionReadOutcome outcome;
    Date now;
};

/// Puts an outcome into the cache, as cachedSessionUsage() does.
void keepOutcome(SessionReadKeeping keeping, SessionUsageCache& cache);

/// Whether a log may be touched: below `.codex` of the home or the system's temporary directory,
/// with no symbolic link on the way.
bool sessionRolloutAccessIsAllowed(const std::filesystem::path& path,
                                   const std::filesystem::path& homeDirectory);

}  // namespace vantry::CodexUsageReader

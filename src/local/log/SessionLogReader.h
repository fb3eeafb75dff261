#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "local/log/SessionFileIdentity.h"
#include "local/log/SessionHead.h"
#include "local/log/SessionLogStream.h"
#include "local/log/SessionReadLimits.h"
#include "local/log/SessionTrouble.h"
#include "local/log/SessionUsageCacheEntry.h"

namespace vantry::CodexUsageReader {

/// What is the same for every log of a batch.
struct SessionReadSetting {
    std::filesystem::path codexHome;  ///< logs lie below it
    Date now;
    SessionParserLimits limits;
    MonotonicUptime uptime = systemUptime;
};

/// How an answer about a log was come by.
enum class SessionReadRoute : std::uint8_t { failed, hit, appended, whole };

struct SessionReadOutcome {
    SessionReadRoute route = SessionReadRoute::failed;
    /// What was read. Absent after a hit, where what is known still holds.
    std::optional<SessionUsageCacheEntry> entry;
    std::vector<SessionUsageDelta> deltas;  ///< those of the entry
    SessionLogTrouble trouble = SessionLogTrouble::none;
    /// The file as it stood when the read began; absent where there is none to be looked at.
    std::optional<SessionFileSnapshot> file;

    /// Whether the log's contents are known.
    bool isKnown() const { return route != SessionReadRoute::failed; }
};

/// One log to be read.
struct SessionLogRequest {
    const std::string& path;
    /// The thread of a log whose header does not say it; empty for the one that its name tells.
    std::string_view fallbackThreadId;
    /// Whether the folder was found to be one that may be touched.
    bool isInAllowedFolder = false;
    const SessionHead* known = nullptr;  ///< from before
    /// The entry of what is known, asked for where the log has grown; null where it cannot be had.
    std::function<std::shared_ptr<const SessionUsageCacheEntry>()> loadKnown;
    /// What stopped the last read; a log that has not changed since is not read again.
    const KnownSessionTrouble* knownTrouble = nullptr;
};

/// What a log's metadata tell: all that there is to say, or that it must be read.
struct SessionLook {
    std::optional<SessionReadOutcome> outcome;  ///< absent where the log must be read
    SessionFileSnapshot file;                   ///< only then
};

/// Looks at the log without opening it; any thread.
SessionLook lookAtSession(const SessionLogRequest& request, const SessionReadSetting& setting);

/// Reads a log that was looked at, when `file` was its state.
SessionReadOutcome readSeenSession(const SessionLogRequest& request,
                                   const SessionFileSnapshot& file,
                                   const SessionReadSetting& setting,
                                   SessionLogWorkspace& workspace);

/// What a log contributes: nothing new where it is unchanged, the appended bytes where it has grown
/// and its head and the bytes before are proved to be the same, else the whole log. All or nothing,
/// within the limits. Changes nothing but the file's access time; any thread.
SessionReadOutcome readSession(const SessionLogRequest& request, const SessionReadSetting& setting);

/// Whether a log may be touched: below Codex's folder or the system's temporary directory, with no
/// symbolic link on the way.
bool sessionRolloutAccessIsAllowed(const std::filesystem::path& path,
                                   const std::filesystem::path& codexHome);

/// The name by which other logs speak of this one: what stands behind "_" in the name of its file,
/// or the thread itself for the first segment of a thread.
std::string sessionSegmentId(const std::string& path, const std::string& threadId);

/// The name of a log's file without its folder and the ending of a compressed one.
std::string sessionFileStem(const std::string& path);

bool isCompressedSession(const std::string& path);

/// The thread that the name of a log's file tells, or the name where it tells none.
std::string sessionThreadIdOfFile(const std::string& path);

}  // namespace vantry::CodexUsageReader

#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "local/SessionBatch.h"

namespace vantry::CodexUsageReader {

struct SessionValidationRequest {
    const std::vector<SessionUsageSource>& sources;
    const SessionReadSetting& setting;
    std::set<std::string> requiredPaths = {};  ///< looked at whatever the plan says
};

struct ValidatedSessions {
    LoadedSessions loaded;
    /// False where a thread is its own ancestor: nothing can then be said of what it copied.
    bool parentChainsAreSound = true;
};

/// Brings the cache up to date with the logs that may have changed, and with their ancestors, so
/// that a child is judged against parents of the same moment. Blocks.
ValidatedSessions validateSessions(const SessionValidationRequest& request,
                                   SessionUsageCache& cache);

/// Remembers the rows of an accepted batch: the next read looks only at what has changed since.
void rememberSources(const std::vector<SessionUsageSource>& sources, Date now,
                     SessionUsageCache& cache);

}  // namespace vantry::CodexUsageReader

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "local/SessionUsageCacheEntry.h"
#include "local/ThreadIndex.h"

namespace vantry {

/// What a row of the thread index was when its log was last validated.
struct SessionUsageSourceRevision {
    std::string threadId;
    std::optional<std::string> model;
    std::string cwd;
    std::optional<std::int64_t> updatedAtMilliseconds;
    bool isSubagent = false;
    bool allowsMissingParentLineage = false;

    static SessionUsageSourceRevision of(const SessionUsageSource& source);

    friend bool operator==(const SessionUsageSourceRevision&,
                           const SessionUsageSourceRevision&) = default;
};

/// Revisions by the path of the log.
using SessionUsageSourceRevisions = std::map<std::string, SessionUsageSourceRevision>;

/// Which logs must be looked at in a read, and which can be taken from the cache unseen.
namespace SessionUsageValidationPlanner {

struct Question {
    const std::vector<SessionUsageSource>& sources;
    /// Those of the last read; without them every log is looked at.
    const std::optional<SessionUsageSourceRevisions>& previousRevisions;
    std::optional<Date> lastSweepAt;
    const std::map<std::string, SessionUsageCacheEntry>& cachedEntries;
    Date now;
    bool forceFullValidation = false;
    std::set<std::string> requiredValidationPaths = {};
};

/// The paths to look at, in the order of the sources: those that are required, have no entry, have
/// a row that changed, or were updated after the last sweep or less than two seconds before it.
std::vector<std::string> validationPaths(const Question& question);

struct Plan {
    std::vector<std::string> paths;
    const std::vector<SessionUsageSource>& sources;
    const std::map<std::string, SessionUsageLineage>& lineageByPath;
};

/// The plan's paths and behind them those of their ancestors that are among the sources: a thread
/// is judged by what its ancestors hold, whether it copied that or only goes on counting from it.
/// Nothing if a thread is its own ancestor.
std::optional<std::vector<std::string>> includingAncestorPaths(const Plan& plan);

}  // namespace SessionUsageValidationPlanner

namespace SessionFingerprintScanPlanner {

/// The keys of a map by path, in order; none without a map.
template <class Value>
std::vector<std::string> paths(const std::optional<std::map<std::string, Value>>& valueByPath) {
    std::vector<std::string> keys;
    if (!valueByPath) return keys;
    keys.reserve(valueByPath->size());
    for (const auto& [path, value] : *valueByPath) keys.push_back(path);
    return keys;
}

}  // namespace SessionFingerprintScanPlanner

}  // namespace vantry

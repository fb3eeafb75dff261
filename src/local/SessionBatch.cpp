#include "local/SessionBatch.h"

#include <algorithm>
#include <atomic>
#include <set>
#include <system_error>

#include "platform/WorkQueue.h"

namespace vantry::CodexUsageReader {

namespace {

const SessionUsageCacheEntry* cachedEntry(const SessionUsageCache& cache, const std::string& path) {
    const auto found = cache.entries.find(path);
    return found == cache.entries.end() ? nullptr : &found->second;
}

// Reads the logs of those positions. The cache is only looked at meanwhile.
std::vector<SessionReadOutcome> readAll(const SessionBatchRequest& request,
                                        const std::vector<std::size_t>& positions,
                                        const SessionUsageCache& cache) {
    std::vector<SessionReadOutcome> outcomes(positions.size());
    std::atomic<std::size_t> next = 0;
    const auto readRest = [&] {
        for (std::size_t i = next++; i < positions.size(); i = next++) {
            const SessionUsageSource& source = request.sources[positions[i]];
            outcomes[i] =
                readSession(source, cachedEntry(cache, source.rolloutPath), request.setting);
        }
    };
    try {
        const std::size_t threads = std::max<std::size_t>(request.threadCount, 1);
        WorkQueue queue(threads);
        TaskGroup group(queue);
        for (std::size_t thread = 0; thread < threads; ++thread) group.submit(readRest);
        group.wait();
    } catch (const std::system_error&) {
        readRest();  // no thread could be had but this one
    }
    return outcomes;
}

std::map<std::string, std::vector<std::string>> parentsOf(
    const std::vector<LoadedSessionUsage>& sessions) {
    std::map<std::string, std::vector<std::string>> parents;
    for (const LoadedSessionUsage& session : sessions) {
        const auto& lineage = session.entry.lineage;
        if (!lineage) continue;
        auto& list = parents[session.source.threadId];
        if (lineage->parentThreadId) list.push_back(*lineage->parentThreadId);
        if (lineage->historyBase) list.push_back(lineage->historyBase->threadId);
    }
    return parents;
}

}  // namespace

LoadedSessions loadSessions(const SessionBatchRequest& request, SessionUsageCache& cache) {
    const std::set<std::string> validated(request.pathsToValidate.begin(),
                                          request.pathsToValidate.end());
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < request.sources.size(); ++i) {
        if (validated.contains(request.sources[i].rolloutPath)) positions.push_back(i);
    }
    LoadedSessions loaded;
    auto outcomes = readAll(request, positions, cache);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const std::string& path = request.sources[positions[i]].rolloutPath;
        if (!outcomes[i].isKnown()) loaded.unreadablePaths.insert(path);
        keepOutcome({.source = request.sources[positions[i]],
                     .outcome = std::move(outcomes[i]),
                     .now = request.setting.now},
                    cache);
    }
    loaded.sessions.reserve(request.sources.size());
    for (const SessionUsageSource& source : request.sources) {
        const SessionUsageCacheEntry* entry = cachedEntry(cache, source.rolloutPath);
        if (entry == nullptr) {
            loaded.unreadablePaths.insert(source.rolloutPath);
        } else if (!loaded.unreadablePaths.contains(source.rolloutPath)) {
            loaded.sessions.push_back({.source = source, .entry = *entry});
        }
    }
    return loaded;
}

SessionBatchFailures visitEffectiveUsage(const LoadedSessions& loaded, Date cutoff,
                                         const std::function<void(const VisitedSession&)>& visit) {
    SessionBatchFailures failures{.unreadableLogs = loaded.unreadablePaths.size()};
    if (!failures.isNone()) return failures;
    SessionsByThreadId byId;
    std::vector<std::string> order;
    for (const LoadedSessionUsage& session : loaded.sessions) {
        // Two logs under one name could not be told apart.
        if (!byId.emplace(session.source.threadId, &session).second) ++failures.damagedEntries;
        order.push_back(session.source.threadId);
    }
    const auto releases =
        SessionUsageAncestorReleasePlan::releases(order, parentsOf(loaded.sessions));
    SessionDeltaMemo memo(cutoff);
    for (std::size_t i = 0; i < loaded.sessions.size(); ++i) {
        const auto usage = effectiveSessionUsage(loaded.sessions[i], byId, memo);
        if (!usage) {
            ++failures.damagedEntries;
        } else if (usage->unresolvedParent) {
            ++failures.unresolvedParents;
        } else if (failures.isNone()) {
            visit({.source = loaded.sessions[i].source,
                   .entry = loaded.sessions[i].entry,
                   .usage = *usage,
                   .root = rootConversationSource(loaded.sessions[i], byId)});
        }
        const auto released = releases.find(i);
        if (released == releases.end()) continue;
        for (const std::string& thread : released->second) memo.release(thread);
    }
    return failures;
}

}  // namespace vantry::CodexUsageReader

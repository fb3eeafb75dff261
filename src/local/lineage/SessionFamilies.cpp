#include "local/lineage/SessionFamilies.h"

#include <algorithm>

namespace vantry {

namespace {

const SessionFamilies::Logs none;

}  // namespace

SessionFamilies::SessionFamilies(std::span<const LoadedSessionUsage> sessions) {
    byThread_.reserve(sessions.size());
    bySegment_.reserve(sessions.size());
    for (const LoadedSessionUsage& session : sessions) {
        byThread_[session.source.threadId].push_back(&session);
        bySegment_[session.segmentId].push_back(&session);
    }
    for (auto* names : {&byThread_, &bySegment_}) {
        for (auto& [name, logs] : *names) {
            if (logs.size() == 1) continue;
            std::stable_partition(logs.begin(), logs.end(),
                                  [](const auto* log) { return !log->isGone; });
        }
    }
}

const SessionFamilies::Logs& SessionFamilies::find(const LogsByName& logs,
                                                   const std::string& name) {
    const auto found = logs.find(name);
    return found == logs.end() ? none : found->second;
}

const SessionFamilies::Logs& SessionFamilies::parentsOf(const LoadedSessionUsage& session) const {
    const SessionUsageLineage& lineage = session.lineage();
    if (lineage.historyBase) return ofSegment(lineage.historyBase->threadId);
    if (lineage.parentThreadId) return ofThread(*lineage.parentThreadId);
    return none;
}

std::set<std::size_t> sessionsInParentCycles(std::span<const LoadedSessionUsage> sessions,
                                             const SessionFamilies& families) {
    const bool hasParents = std::ranges::any_of(sessions, [](const LoadedSessionUsage& session) {
        return session.lineage().parentThreadId || session.lineage().historyBase;
    });
    if (!hasParents) return {};
    std::vector<std::vector<std::size_t>> parents(sessions.size());
    std::vector<std::size_t> openParents(sessions.size());
    std::vector<std::size_t> openChildren(sessions.size());
    std::vector<std::vector<std::size_t>> childrenOf(sessions.size());
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        for (const LoadedSessionUsage* parent : families.parentsOf(sessions[i])) {
            const auto at = static_cast<std::size_t>(parent - sessions.data());
            // What is kept of a log is no ancestor of the log itself, nor the other way round.
            if (at != i && sessions[at].segmentId == sessions[i].segmentId) continue;
            parents[i].push_back(at);
            childrenOf[at].push_back(i);
        }
    }
    // A log without parents is in no circle, nor is one without children; what is left is.
    std::set<std::size_t> left;
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        if (parents[i].empty() && childrenOf[i].empty()) continue;
        openParents[i] = parents[i].size();
        openChildren[i] = childrenOf[i].size();
        left.insert(i);
    }
    std::vector<std::size_t> free;
    const auto release = [&](std::size_t at) {
        if (left.contains(at) && (openParents[at] == 0 || openChildren[at] == 0)) {
            left.erase(at);
            free.push_back(at);
        }
    };
    for (std::size_t i = 0; i < sessions.size(); ++i) release(i);
    while (!free.empty()) {
        const std::size_t at = free.back();
        free.pop_back();
        for (const std::size_t child : childrenOf[at]) {
            --openParents[child];
            release(child);
        }
        for (const std::size_t parent : parents[at]) {
            --openChildren[parent];
            release(parent);
        }
    }
    return left;
}

}  // namespace vantry

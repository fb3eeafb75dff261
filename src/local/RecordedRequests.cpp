#include "local/RecordedRequests.h"

#include <cstring>

namespace vantry {

RecordedRequests::RecordedRequests(std::span<const LoadedSessionUsage> sessions) {
    std::map<std::string, std::unordered_set<std::uint64_t>> namedThreads;
    for (const LoadedSessionUsage& session : sessions) {
        if (!session.entry.deltaStorage.holdsCopiedRecords()) continue;
        const auto deltas = session.entry.deltaStorage.decoded().deltas;
        if (!deltas) continue;
        for (const SessionUsageDelta& delta : *deltas) {
            if (!delta.recordThread) continue;
            namedThreads[*delta.recordThread].insert(delta.recordKey);
            copied_.insert(delta.recordKey);
        }
    }
    std::set<std::string> seen;
    for (const LoadedSessionUsage& session : sessions) {
        const std::string& thread = session.source.threadId;
        if (!seen.insert(thread).second) threadsOfSeveralLogs_.insert(thread);
        const auto named = namedThreads.find(thread);
        if (named == namedThreads.end()) continue;
        const std::string& keys = session.entry.deltaStorage.recordKeys;
        for (std::size_t at = 0; at + sizeof(std::uint64_t) <= keys.size();
             at += sizeof(std::uint64_t)) {
            std::uint64_t key = 0;
            std::memcpy(&key, keys.data() + at, sizeof key);
            if (named->second.contains(key)) copied_.erase(key);
        }
    }
}

bool RecordedRequests::claim(const SessionUsageDelta& record, const LoadedSessionUsage& session) {
    if (record.recordThread) return copied_.erase(record.recordKey) > 0;
    return claimOwn(record.recordKey, session);
}

bool RecordedRequests::claimOwn(std::uint64_t key, const LoadedSessionUsage& session) {
    if (threadsOfSeveralLogs_.contains(session.source.threadId)) {
        return claimedByThread_[session.source.threadId].insert(key).second;
    }
    if (last_ != &session) {
        last_ = &session;
        claimedInLast_.clear();
    }
    return claimedInLast_.insert(key).second;
}

}  // namespace vantry

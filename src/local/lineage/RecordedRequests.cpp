#include "local/lineage/RecordedRequests.h"

#include <cstring>

namespace vantry {

namespace {

template <class Visit>
void forEachKey(const std::string& recordKeys, Visit visit) {
    for (std::size_t at = 0; at + sizeof(std::uint64_t) <= recordKeys.size();
         at += sizeof(std::uint64_t)) {
        std::uint64_t key = 0;
        std::memcpy(&key, recordKeys.data() + at, sizeof key);
        visit(key);
    }
}

}  // namespace

// Adds what logs show that came before and were not asked for: of copies of a thread, or their own.
void RecordedRequests::bringUpTo(Logs logs, const std::string* copiedThread, Claims& claims) {
    for (; claims.logCount < logs.size(); ++claims.logCount) {
        const auto usage =
            CodexUsageReader::effectiveSessionUsage(*logs[claims.logCount], families_, memo_);
        if (!usage) continue;
        for (const SessionUsageDelta& delta : usage->deltas) {
            const bool isMeant =
                copiedThread == nullptr ? !delta.recordThread : delta.recordThread == *copiedThread;
            if (delta.isRecord() && isMeant) claims.keys.insert(delta.recordKey);
        }
    }
}

bool RecordedRequests::isShownBy(const std::string& thread, std::uint64_t key) {
    const auto [place, isNew] = shown_.try_emplace(thread);
    Keys& shown = place->second;
    if (!isNew) return shown.contains(key);
    for (const LoadedSessionUsage* log : families_.ofThread(thread)) {
        const SessionUsageCacheEntry* entry = memo_.entry(*log);
        if (entry == nullptr) continue;
        forEachKey(entry->deltaStorage.recordKeys,
                   [&](std::uint64_t shownKey) { shown.insert(shownKey); });
    }
    return shown.contains(key);
}

RecordedRequests::Split RecordedRequests::split(const LoadedSessionUsage& session,
                                                const EffectiveSessionUsage& usage) {
    Split split;
    Claims& own = own_[session.source.threadId];
    bringUpTo(kin_.earlierOfThread(session), nullptr, own);
    for (const std::string& thread : session.head().copiedThreads) {
        bringUpTo(kin_.earlierHolders(session, thread), &thread, copied_[thread]);
    }
    for (const SessionUsageDelta& delta : usage.deltas) {
        if (delta.recordThread) {
            const bool isFirst = copied_[*delta.recordThread].keys.insert(delta.recordKey).second;
            if (isFirst && !isShownBy(*delta.recordThread, delta.recordKey)) {
                split.borrowed.push_back(delta);
            }
        } else if (!delta.isRecord() || own.keys.insert(delta.recordKey).second) {
            split.own.push_back(delta);
        }
    }
    if (session.head().hasRecords) ++own.logCount;
    for (const std::string& thread : session.head().copiedThreads) ++copied_[thread].logCount;
    return split;
}

void RecordedRequests::forget() {
    own_.clear();
    copied_.clear();
    shown_.clear();
}

std::vector<SessionUsageDelta> withoutRepeatedRecords(std::vector<SessionUsageDelta> deltas) {
    std::unordered_set<std::uint64_t> keys;
    std::erase_if(deltas, [&](const SessionUsageDelta& delta) {
        return delta.isRecord() && !keys.insert(delta.recordKey).second;
    });
    return deltas;
}

}  // namespace vantry

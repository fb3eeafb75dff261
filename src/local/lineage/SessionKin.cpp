#include "local/lineage/SessionKin.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "platform/Checksum.h"

namespace vantry {

namespace {

using Logs = SessionFamilies::Logs;

// Raised when shares are made in another way.
constexpr std::uint64_t shareVersion = 1;

const Logs noLogs;

/// Numbers that are told by one.
class Numbers {
  public:
    void add(std::uint64_t number) { numbers_.push_back(number); }
    void add(const Logs& logs) {
        add(logs.size());
        for (const LoadedSessionUsage* log : logs) add(log->head().contents);
    }
    std::uint64_t hash() const {
        return checksum(shareVersion, {{reinterpret_cast<const char*>(numbers_.data()),
                                        numbers_.size() * sizeof(std::uint64_t)}});
    }

  private:
    std::vector<std::uint64_t> numbers_;
};

std::uint64_t flagsOf(const SessionUsageSource& source, bool isGone) {
    return (source.isSubagent ? 1U : 0U) | (source.allowsMissingParentLineage ? 2U : 0U) |
           (isGone ? 4U : 0U);
}

}  // namespace

SessionKin::SessionKin(std::span<const LoadedSessionUsage> sessions,
                       const SessionFamilies& families)
    : sessions_(sessions), families_(families) {
    for (const LoadedSessionUsage& session : sessions) {
        for (const std::string& thread : session.head().copiedThreads) {
            holders_[thread].push_back(&session);
        }
    }
}

std::vector<const LoadedSessionUsage*> SessionKin::earlierOfThread(
    const LoadedSessionUsage& session) const {
    std::vector<const LoadedSessionUsage*> earlier;
    if (!session.head().hasRecords) return earlier;
    for (const LoadedSessionUsage* log : families_.ofThread(session.source.threadId)) {
        if (log == &session) break;
        if (log->head().hasRecords) earlier.push_back(log);
    }
    return earlier;
}

std::span<const LoadedSessionUsage* const> SessionKin::earlierHolders(
    const LoadedSessionUsage& session, const std::string& thread) const {
    const auto holders = holders_.find(thread);
    if (holders == holders_.end()) return {};
    const auto end = std::ranges::lower_bound(holders->second, &session);
    return std::span(holders->second)
        .first(static_cast<std::size_t>(end - holders->second.begin()));
}

std::vector<const LoadedSessionUsage*> SessionKin::byFamily(
    const std::vector<const LoadedSessionUsage*>& sessions) const {
    // Each log points to one before it in its family, the first to itself.
    std::vector<std::size_t> first(sessions_.size());
    std::iota(first.begin(), first.end(), std::size_t{0});
    const auto firstOf = [&](std::size_t at) {
        while (first[at] != at) at = first[at] = first[first[at]];
        return at;
    };
    const auto placeOf = [&](const LoadedSessionUsage* log) {
        return static_cast<std::size_t>(log - sessions_.data());
    };
    for (const LoadedSessionUsage* session : sessions) {
        for (const LoadedSessionUsage* log : kin(*session)) {
            const std::size_t one = firstOf(placeOf(session));
            const std::size_t other = firstOf(placeOf(log));
            first[std::max(one, other)] = std::min(one, other);
        }
    }
    std::vector<const LoadedSessionUsage*> sorted = sessions;
    std::ranges::stable_sort(sorted, {}, [&](const auto* log) { return firstOf(placeOf(log)); });
    return sorted;
}

// All whose records decide which of the session's count for it.
std::vector<const LoadedSessionUsage*> SessionKin::claimants(
    const LoadedSessionUsage& session) const {
    std::vector<const LoadedSessionUsage*> logs = earlierOfThread(session);
    for (const std::string& thread : session.head().copiedThreads) {
        const Logs& named = families_.ofThread(thread);
        logs.insert(logs.end(), named.begin(), named.end());
        const auto holders = earlierHolders(session, thread);
        logs.insert(logs.end(), holders.begin(), holders.end());
    }
    return logs;
}

// From the session and its claimants upwards, each log once, with the lists that it is found by.
template <class Visit>
void SessionKin::walk(const LoadedSessionUsage& session, Visit visit) const {
    std::vector<const LoadedSessionUsage*> waiting{&session};
    std::unordered_set<const LoadedSessionUsage*> seen{&session};
    const auto add = [&](const Logs& logs) {
        for (const LoadedSessionUsage* log : logs) {
            if (seen.insert(log).second) waiting.push_back(log);
        }
    };
    add(claimants(session));
    std::size_t next = 0;
    while (next < waiting.size()) {
        const LoadedSessionUsage& log = *waiting[next++];
        const auto& parent = log.lineage().parentThreadId;
        const Logs& parents = families_.parentsOf(log);
        const Logs& ofParent = parent ? families_.ofThread(*parent) : noLogs;
        const Logs& versions = families_.ofSegment(log.segmentId);
        visit(log, parents, ofParent, versions);
        add(parents);
        add(ofParent);
        add(versions);
    }
}

std::uint64_t SessionKin::sources(const LoadedSessionUsage& session) const {
    const SessionUsageLineage& lineage = session.lineage();
    const bool isAlone = !lineage.parentThreadId && !lineage.historyBase && !session.isGone &&
                         session.head().copiedThreads.empty() &&
                         families_.ofThread(session.source.threadId).size() == 1 &&
                         families_.ofSegment(session.segmentId).size() == 1;
    if (isAlone) return sourcesWithoutKin(session.head(), session.source);
    Numbers numbers;
    numbers.add(claimants(session));
    walk(session, [&](const LoadedSessionUsage& log, const Logs& parents, const Logs& ofParent,
                      const Logs& versions) {
        numbers.add(log.head().contents);
        numbers.add(flagsOf(log.source, log.isGone));
        numbers.add(parents);
        numbers.add(ofParent);
        numbers.add(versions);
    });
    return numbers.hash();
}

std::vector<const LoadedSessionUsage*> SessionKin::kin(const LoadedSessionUsage& session) const {
    std::vector<const LoadedSessionUsage*> logs;
    walk(session, [&](const LoadedSessionUsage& log, const Logs&, const Logs&, const Logs&) {
        logs.push_back(&log);
    });
    return logs;
}

std::uint64_t sourcesWithoutKin(const SessionHead& head, const SessionUsageSource& source) {
    Numbers numbers;
    numbers.add(head.contents);
    numbers.add(flagsOf(source, false));
    return numbers.hash();
}

}  // namespace vantry

#include "local/SessionBatch.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <numeric>
#include <set>
#include <system_error>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "local/SessionKeeping.h"
#include "local/SessionVersions.h"
#include "platform/WorkQueue.h"

namespace vantry::CodexUsageReader {

namespace {

namespace fs = std::filesystem;

/// A log that may be there.
struct Candidate {
    std::string path;
    std::string fallbackThreadId;
    bool isInAllowedFolder = false;
    SessionReadOutcome outcome;
};

LocalUsageGapKind gapKindOf(SessionLogTrouble trouble) {
    switch (trouble) {
        case SessionLogTrouble::notRegular:
            return LocalUsageGapKind::notRegularFile;
        case SessionLogTrouble::outside:
            return LocalUsageGapKind::outsideFolders;
        case SessionLogTrouble::damaged:
            return LocalUsageGapKind::damagedLog;
        case SessionLogTrouble::absent:
            return LocalUsageGapKind::missingLog;
        default:
            return LocalUsageGapKind::unreadableLog;
    }
}

std::string unpackedPath(const std::string& path) {
    return isCompressedSession(path) ? path.substr(0, path.rfind('.')) : path;
}

/// One run of loadSessions(), step by step.
class BatchLoader {
  public:
    BatchLoader(const SessionBatchRequest& request, SessionUsageCache& cache)
        : request_(request), cache_(cache) {}

    LoadedSessions load() {
        adoptSessionHome(request_.setting.codexHome, cache_);
        if (!collect()) {
            ++loaded_.waitingLogs;
            return std::move(loaded_);
        }
        readAll();
        keepOutcomes();
        keepVanishedSessions({.codexHome = request_.setting.codexHome, .livePaths = livePaths_},
                             cache_);
        addLive();
        dropCopies();
        forgetReturned();
        addGone();
        addRowsWithoutLog();
        dropCycles();
        return std::move(loaded_);
    }

  private:
    // False where what lies in the folders cannot be told now.
    bool collect() {
        const auto listing = sessionLogFiles(request_.setting.codexHome, cache_.folders);
        for (const std::string& path : listing.strangers) {
            loaded_.gaps.add(LocalUsageGapKind::notRegularFile, path);
        }
        for (const std::string& path : listing.closed) {
            loaded_.gaps.add(LocalUsageGapKind::unreadableLog, path);
        }
        std::unordered_set<std::string> stems;
        std::unordered_set<std::string> paths;
        std::unordered_map<std::string, bool> folders;
        for (const std::string& path : listing.logs) {
            const std::string folder = path.substr(0, path.rfind('/'));
            const auto [known, isNew] = folders.try_emplace(folder);
            if (isNew) {
                known->second = sessionRolloutAccessIsAllowed(folder, request_.setting.codexHome);
            }
            stems.insert(sessionFileStem(path));
            candidates_.push_back({.path = path,
                                   .fallbackThreadId = sessionThreadIdOfFile(path),
                                   .isInAllowedFolder = known->second});
        }
        for (const SessionUsageSource& row : request_.rows) {
            // The home's own folders come first: the row of a home that was moved names another
            // place.
            rowsById_.emplace(row.threadId, &row);
            if (stems.contains(sessionFileStem(row.rolloutPath))) continue;
            if (!paths.insert(row.rolloutPath).second) continue;
            candidates_.push_back({.path = row.rolloutPath, .fallbackThreadId = row.threadId});
        }
        return listing.isWhole;
    }

    SessionLogRequest requestFor(const Candidate& candidate) const {
        const auto cached = cache_.entries.find(candidate.path);
        const auto trouble = cache_.kept.troubles.find(candidate.path);
        return {.path = candidate.path,
                .fallbackThreadId = candidate.fallbackThreadId,
                .isInAllowedFolder = candidate.isInAllowedFolder,
                .cached = cached == cache_.entries.end() ? nullptr : &cached->second,
                .knownTrouble = trouble == cache_.kept.troubles.end() ? nullptr : &trouble->second};
    }

    // The cache is only looked at meanwhile.
    void readAll() {
        constexpr std::size_t looksWorthAThread = 1'000;
        std::vector<std::optional<SessionFileSnapshot>> unread(candidates_.size());
        std::atomic<std::size_t> next = 0;
        const auto lookAtRest = [&] {
            for (std::size_t i = next++; i < candidates_.size(); i = next++) {
                SessionLook look = lookAtSession(requestFor(candidates_[i]), request_.setting);
                if (look.outcome) {
                    candidates_[i].outcome = *std::move(look.outcome);
                } else {
                    unread[i] = look.file;
                }
            }
        };
        inThreads(candidates_.size() / looksWorthAThread, lookAtRest);

        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < unread.size(); ++i) {
            if (unread[i]) order.push_back(i);
        }
        // The largest comes first, so that no thread is left alone with it at the end.
        std::ranges::stable_sort(order, std::greater(),
                                 [&](std::size_t i) { return unread[i]->fileSize; });
        next = 0;
        const auto readRest = [&] {
            SessionLogWorkspace workspace;
            for (std::size_t i = next++; i < order.size(); i = next++) {
                Candidate& candidate = candidates_[order[i]];
                candidate.outcome = readSeenSession(requestFor(candidate), *unread[order[i]],
                                                    request_.setting, workspace);
            }
        };
        if (!order.empty()) inThreads(order.size(), readRest);
    }

    // Runs the work in so many threads, within the request's limit, and in this one where one is
    // enough.
    void inThreads(std::size_t count, const std::function<void()>& work) const {
        count = std::min(count, request_.threadCount);
        if (count < 2) return work();
        try {
            WorkQueue queue(count);
            TaskGroup group(queue);
            for (std::size_t thread = 0; thread < count; ++thread) group.submit(work);
            group.wait();
        } catch (const std::system_error&) {
            work();  // no thread could be had but this one
        }
    }

    void keepOutcomes() {
        std::unordered_set<std::string> readable;
        for (const Candidate& candidate : candidates_) {
            if (candidate.outcome.isKnown()) readable.insert(unpackedPath(candidate.path));
        }
        for (Candidate& candidate : candidates_) {
            SessionReadOutcome& outcome = candidate.outcome;
            const bool isKnown = outcome.isKnown();
            if (outcome.trouble != SessionLogTrouble::absent) livePaths_.insert(candidate.path);
            if (!isKnown && outcome.trouble != SessionLogTrouble::absent &&
                // A log that is being packed or unpacked lies there twice.
                !readable.contains(unpackedPath(candidate.path))) {
                addTrouble(candidate);
            }
            if (isKnown) forgetSessionTrouble(candidate.path, cache_);
            keepOutcome({.path = candidate.path,
                         .outcome = std::move(outcome),
                         .now = request_.setting.now},
                        cache_);
        }
    }

    void addTrouble(const Candidate& candidate) {
        troubledStems_.insert(sessionFileStem(candidate.path));
        const SessionReadOutcome& outcome = candidate.outcome;
        const bool mustWait = rememberSessionTrouble({.path = candidate.path,
                                                      .trouble = outcome.trouble,
                                                      .file = outcome.file,
                                                      .now = request_.setting.now},
                                                     cache_);
        if (mustWait) {
            ++loaded_.waitingLogs;
        } else {
            loaded_.gaps.add(gapKindOf(outcome.trouble), candidate.path);
        }
    }

    SessionUsageSource sourceOf(const std::string& path,
                                const SessionUsageCacheEntry& entry) const {
        const SessionUsageLineage& lineage = *entry.lineage;
        const auto row = rowsById_.find(lineage.threadId);
        SessionUsageSource source;
        if (row != rowsById_.end()) {
            source = *row->second;
        } else {
            source = {.threadId = lineage.threadId,
                      .cwd = lineage.cwd.value_or(""),
                      .updatedAt = entry.modificationDate,
                      .isSubagent = lineage.isSubagent.value_or(false),
                      .allowsMissingParentLineage = lineage.allowsMissingParent.value_or(false)};
        }
        source.rolloutPath = path;
        return source;
    }

    void add(const std::string& path, const SessionUsageCacheEntry& entry, bool isGone) {
        const SessionUsageSource& source = loaded_.sources.emplace_back(sourceOf(path, entry));
        loaded_.sessions.push_back({.source = source,
                                    .entry = entry,
                                    .segmentId = sessionSegmentId(path, source.threadId),
                                    .isGone = isGone});
    }

    void addLive() {
        for (const Candidate& candidate : candidates_) {
            const auto entry = cache_.entries.find(candidate.path);
            if (entry == cache_.entries.end()) continue;
            add(entry->first, entry->second, false);
        }
        sortFrom(0);
    }

    void sortFrom(std::size_t first) {
        std::vector<std::size_t> order(loaded_.sessions.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::sort(order.begin() + static_cast<std::ptrdiff_t>(first), order.end(),
                  [&](std::size_t a, std::size_t b) {
                      const SessionUsageSource& one = loaded_.sessions[a].source;
                      const SessionUsageSource& other = loaded_.sessions[b].source;
                      return one.updatedAt != other.updatedAt ? one.updatedAt < other.updatedAt
                                                              : one.rolloutPath < other.rolloutPath;
                  });
        std::vector<LoadedSessionUsage> sorted;
        sorted.reserve(order.size());
        for (const std::size_t i : order) sorted.push_back(std::move(loaded_.sessions[i]));
        loaded_.sessions.swap(sorted);
    }

    // Of the copies of one segment the longest counts.
    void dropCopies() {
        std::unordered_map<std::string, std::size_t> first;
        std::set<std::size_t> dropped;
        for (std::size_t i = 0; i < loaded_.sessions.size(); ++i) {
            const auto [known, isNew] = first.try_emplace(loaded_.sessions[i].segmentId, i);
            if (isNew) continue;
            const auto choice = SessionVersions::longer(loaded_.sessions[known->second].entry,
                                                        loaded_.sessions[i].entry);
            const std::size_t loser = choice.isSecond ? known->second : i;
            if (choice.isSecond) known->second = i;
            dropped.insert(loser);
            if (!choice.partsFromOther) continue;
            const std::string& path = loaded_.sessions[loser].source.rolloutPath;
            loaded_.gaps.add(LocalUsageGapKind::divergentCopy, path);
            // What was counted once stays counted.
            SessionUsageCacheEntry& entry = cache_.entries.at(path);
            if (std::exchange(entry.isCounted, false)) keepSession(path, entry, cache_);
        }
        remove(dropped);
        for (const LoadedSessionUsage& session : loaded_.sessions) {
            SessionUsageCacheEntry& entry = cache_.entries.at(session.source.rolloutPath);
            if (!std::exchange(entry.isCounted, true)) cache_.hasChanges = true;
        }
    }

    void forgetReturned() {
        if (cache_.kept.gone.empty()) return;
        for (const LoadedSessionUsage& session : loaded_.sessions) {
            forgetReturnedSession(session.source.rolloutPath, session.entry, cache_);
        }
    }

    void remove(const std::set<std::size_t>& positions) {
        if (positions.empty()) return;
        std::vector<LoadedSessionUsage> left;
        for (std::size_t i = 0; i < loaded_.sessions.size(); ++i) {
            if (!positions.contains(i)) left.push_back(loaded_.sessions[i]);
        }
        loaded_.sessions.swap(left);
    }

    void addGone() {
        const std::size_t first = loaded_.sessions.size();
        const std::string home = sessionHomeName(request_.setting.codexHome);
        for (const auto& [key, versions] : cache_.kept.gone) {
            for (const KeptSession& kept : versions) {
                if (kept.entry.home != home) break;
                add(kept.path, kept.entry, true);
                loaded_.gaps.add(LocalUsageGapKind::goneLog, kept.path);
            }
        }
        sortFrom(first);
    }

    void addRowsWithoutLog() {
        std::unordered_set<std::string> segments;
        for (const LoadedSessionUsage& session : loaded_.sessions) {
            segments.insert(session.segmentId);
        }
        for (const SessionUsageSource& row : request_.rows) {
            if (segments.contains(sessionSegmentId(row.rolloutPath, row.threadId))) continue;
            if (troubledStems_.contains(sessionFileStem(row.rolloutPath))) continue;
            loaded_.gaps.add(LocalUsageGapKind::missingLog, row.rolloutPath);
        }
    }

    void dropCycles() {
        const auto inCycle = sessionsInParentCycles(loaded_.sessions);
        for (const std::size_t i : inCycle) {
            loaded_.gaps.add(LocalUsageGapKind::parentCycle,
                             loaded_.sessions[i].source.rolloutPath);
        }
        remove(inCycle);
    }

    const SessionBatchRequest& request_;
    SessionUsageCache& cache_;
    std::vector<Candidate> candidates_;
    std::unordered_map<std::string, const SessionUsageSource*> rowsById_;
    std::set<std::string> livePaths_;
    std::unordered_set<std::string> troubledStems_;
    LoadedSessions loaded_;
};

}  // namespace

LoadedSessions loadSessions(const SessionBatchRequest& request, SessionUsageCache& cache) {
    return BatchLoader(request, cache).load();
}

}  // namespace vantry::CodexUsageReader

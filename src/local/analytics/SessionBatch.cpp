#include "local/analytics/SessionBatch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <new>
#include <numeric>
#include <set>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "local/cache/SessionKeeping.h"
#include "local/cache/SessionVersions.h"
#include "local/lineage/RecordedRequests.h"
#include "platform/Checksum.h"
#include "platform/Sha256.h"
#include "platform/WorkQueue.h"

namespace vantry::CodexUsageReader {

namespace {

namespace fs = std::filesystem;

/// A log that may be there.
struct Candidate {
    std::string path;
    std::string_view threadId;  ///< that a row tells, if one does
    bool isInAllowedFolder = false;
    SessionReadOutcome outcome;
    std::optional<KnownSession> session;  ///< what was read
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

std::uint64_t placeHash(const KnownSession& session) {
    return checksum(static_cast<std::uint64_t>(session.id) ^ session.head.contents, {session.path});
}

bool isSole(const SessionUsageCacheEntry& entry, const SessionUsageSource& source) {
    const SessionUsageLineage& lineage = *entry.lineage;
    return !lineage.parentThreadId && !lineage.historyBase && !source.isSubagent &&
           entry.deltaStorage.threads.empty();
}

}  // namespace

class SessionBatch::Steps {
  public:
    Steps(const SessionBatchRequest& request, SessionUsageCache& cache)
        : request_(request), cache_(cache) {}

    void read() {
        if (!collect()) {
            ++waitingLogs_;
            return;
        }
        readAll();
        keepOutcomes();
        keepVanishedSessions({.codexHome = request_.setting.codexHome, .livePaths = livePaths_},
                             cache_);
    }

    std::size_t waitingLogs() const { return waitingLogs_; }

    std::string fingerprint() {
        // In no order: a sum of what stands for each.
        std::array<std::uint64_t, 3> sums{};
        for (const auto& [path, session] : cache_.live) {
            sums[session.head.isCounted ? 0 : 1] += placeHash(session);
        }
        for (const auto& [segment, versions] : cache_.gone) {
            for (const KnownSession& session : versions) sums[2] += placeHash(session);
        }
        std::string text;
        for (const std::uint64_t sum : sums) text += std::to_string(sum) + " ";
        for (const LocalUsageGap& gap : readGaps_.list) {
            text.append(rawText(gap.kind));
            for (const std::string& path : gap.paths) text.append(1, '\0').append(path);
        }
        return sha256Hex(text + cache_.lostFile());
    }

    bool isOutOfTime(Date cutoff) const {
        const auto isOut = [&](const KnownSession& session) {
            return session.head.isShareOutOfTime(cutoff);
        };
        return std::ranges::any_of(cache_.live,
                                   [&](const auto& each) { return isOut(each.second); }) ||
               std::ranges::any_of(cache_.gone, [&](const auto& each) {
                   return std::ranges::any_of(each.second, isOut);
               });
    }

    LoadedSessions load() {
        loaded_.gaps = readGaps_;
        addLive();
        dropCopies();
        forgetReturned();
        addGone();
        addRowsWithoutLog();
        loaded_.families.emplace(loaded_.sessions);
        dropCycles();
        return std::move(loaded_);
    }

  private:
    // False where what lies in the folders cannot be told now.
    bool collect() {
        auto listing = sessionLogFiles(request_.setting.codexHome, cache_.folders);
        for (const std::string& path : listing.strangers) {
            readGaps_.add(LocalUsageGapKind::notRegularFile, path);
        }
        for (const std::string& path : listing.closed) {
            readGaps_.add(LocalUsageGapKind::unreadableLog, path);
        }
        std::unordered_map<std::string, bool> folders;
        candidates_.reserve(listing.logs.size());
        for (std::string& path : listing.logs) {
            const auto [known, isNew] = folders.try_emplace(path.substr(0, path.rfind('/')));
            if (isNew) {
                known->second =
                    sessionRolloutAccessIsAllowed(known->first, request_.setting.codexHome);
            }
            candidates_.push_back({.path = std::move(path), .isInAllowedFolder = known->second});
        }
        addRowsElsewhere();
        return listing.isWhole;
    }

    // The home's own folders come first: the row of a home that was moved names another place.
    void addRowsElsewhere() {
        std::unordered_set<std::string_view> paths;
        paths.reserve(candidates_.size());
        for (const Candidate& candidate : candidates_) paths.insert(candidate.path);
        std::vector<const SessionUsageSource*> elsewhere;
        rowsById_.reserve(request_.rows.size());
        for (const SessionUsageSource& row : request_.rows) {
            rowsById_.emplace(row.threadId, &row);
            if (paths.insert(row.rolloutPath).second) elsewhere.push_back(&row);
        }
        if (elsewhere.empty()) return;
        std::unordered_set<std::string> stems;
        for (const Candidate& candidate : candidates_)
            stems.insert(sessionFileStem(candidate.path));
        for (const SessionUsageSource* row : elsewhere) {
            if (stems.contains(sessionFileStem(row->rolloutPath))) continue;
            candidates_.push_back({.path = row->rolloutPath, .threadId = row->threadId});
        }
    }

    SessionLogRequest requestFor(const Candidate& candidate) {
        const auto known = cache_.live.find(candidate.path);
        const KnownSession* session = known == cache_.live.end() ? nullptr : &known->second;
        const auto trouble = cache_.troubles.find(candidate.path);
        return {.path = candidate.path,
                .fallbackThreadId = candidate.threadId,
                .isInAllowedFolder = candidate.isInAllowedFolder,
                .known = session == nullptr ? nullptr : &session->head,
                .loadKnown = [this, session] { return cache_.entry(*session); },
                .knownTrouble = trouble == cache_.troubles.end() ? nullptr : &trouble->second};
    }

    // In a thread of its own.
    void readInto(Candidate& candidate, const SessionFileSnapshot& file,
                  SessionLogWorkspace& workspace) {
        try {
            candidate.outcome =
                readSeenSession(requestFor(candidate), file, request_.setting, workspace);
            takeIn(candidate);
        } catch (const std::bad_alloc&) {
            candidate.outcome = {.trouble = SessionLogTrouble::outOfResources, .file = file};
        }
    }

    void takeIn(Candidate& candidate) {
        if (!candidate.outcome.entry) return;
        const SessionUsageCacheEntry& entry = *candidate.outcome.entry;
        candidate.session = cache_.takeIn(candidate.path, formsOf(entry));
        const SessionUsageSource source = sourceOf(candidate.path, candidate.session->head);
        if (isSole(entry, source)) makeSoleShare(candidate, source);
        candidate.outcome.entry.reset();
        candidate.outcome.deltas = std::vector<SessionUsageDelta>();
    }

    // While its events are at hand: most logs have no kin. The figures' cutoff is not known yet,
    // and what is ahead of it waits in any case.
    void makeSoleShare(Candidate& candidate, const SessionUsageSource& source) {
        const SessionUsageCacheEntry& entry = *candidate.outcome.entry;
        const auto deltas = withoutRepeatedRecords(std::move(candidate.outcome.deltas));
        cache_.keepShare(*candidate.session, sourcesWithoutKin(candidate.session->head, source),
                         makeSessionShare({.own = deltas,
                                           .borrowed = {},
                                           .toolCalls = entry.toolCalls,
                                           .skillLoads = entry.skillLoads,
                                           .cutoff = request_.setting.now}));
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
                readInto(candidate, *unread[order[i]], workspace);
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
            if (!candidate.session) continue;
            keepReadSession(*std::move(candidate.session), outcome.route, cache_);
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
            ++waitingLogs_;
        } else {
            readGaps_.add(gapKindOf(outcome.trouble), candidate.path);
        }
    }

    SessionUsageSource sourceOf(const std::string& path, const SessionHead& head) const {
        const SessionUsageLineage& lineage = head.lineage;
        const auto row = rowsById_.find(lineage.threadId);
        SessionUsageSource source;
        if (row != rowsById_.end()) {
            source = *row->second;
        } else {
            source = {.threadId = lineage.threadId,
                      .cwd = lineage.cwd.value_or(""),
                      .updatedAt = head.file.modificationDate(),
                      .isSubagent = lineage.isSubagent.value_or(false),
                      .allowsMissingParentLineage = lineage.allowsMissingParent.value_or(false)};
        }
        source.rolloutPath = path;
        return source;
    }

    void add(KnownSession& known, bool isGone) {
        const auto row = rowsById_.find(known.head.lineage.threadId);
        const bool isRows = row != rowsById_.end() && row->second->rolloutPath == known.path;
        const SessionUsageSource& source =
            isRows ? *row->second : loaded_.sources.emplace_back(sourceOf(known.path, known.head));
        loaded_.sessions.push_back({.source = source,
                                    .known = known,
                                    .segmentId = sessionSegmentId(known.path, source.threadId),
                                    .isGone = isGone});
    }

    void addLive() {
        for (const Candidate& candidate : candidates_) {
            const auto known = cache_.live.find(candidate.path);
            if (known != cache_.live.end()) add(known->second, false);
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
            const auto choice = SessionVersions::longer(loaded_.sessions[known->second].known,
                                                        loaded_.sessions[i].known, cache_);
            for (const std::size_t each : {known->second, i}) {
                KnownSession& session = loaded_.sessions[each].known;
                if (cache_.isDamaged(session)) cache_.giveUp(session, false);
            }
            const std::size_t loser = choice.isSecond ? known->second : i;
            if (choice.isSecond) known->second = i;
            dropped.insert(loser);
            if (!choice.partsFromOther) continue;
            KnownSession& lost = loaded_.sessions[loser].known;
            loaded_.gaps.add(LocalUsageGapKind::divergentCopy, lost.path);
            // What was counted once stays counted.
            if (lost.head.isCounted) keepSession(lost, cache_);
            setCounted(lost, false);
        }
        remove(dropped);
        for (const LoadedSessionUsage& session : loaded_.sessions) setCounted(session.known, true);
    }

    static void setCounted(KnownSession& session, bool isCounted) {
        if (std::exchange(session.head.isCounted, isCounted) != isCounted) session.isUnsaved = true;
    }

    void forgetReturned() {
        if (cache_.gone.empty()) return;
        for (const LoadedSessionUsage& session : loaded_.sessions) {
            cache_.forgetReturned(session.segmentId, session.known);
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
        for (auto& [segment, versions] : cache_.gone) {
            for (KnownSession& session : versions) {
                if (!session.head.holdsUsage()) {
                    loaded_.gaps.add(LocalUsageGapKind::damagedLog, session.path);
                    troubledStems_.insert(sessionFileStem(session.path));
                    continue;
                }
                add(session, true);
                loaded_.gaps.add(LocalUsageGapKind::goneLog, session.path);
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
        const auto inCycle = sessionsInParentCycles(loaded_.sessions, *loaded_.families);
        if (inCycle.empty()) return;
        for (const std::size_t i : inCycle) {
            loaded_.gaps.add(LocalUsageGapKind::parentCycle,
                             loaded_.sessions[i].source.rolloutPath);
        }
        remove(inCycle);
        loaded_.families.emplace(loaded_.sessions);
    }

    SessionBatchRequest request_;
    SessionUsageCache& cache_;
    std::vector<Candidate> candidates_;
    std::unordered_map<std::string_view, const SessionUsageSource*> rowsById_;
    std::unordered_set<std::string_view> livePaths_;
    std::unordered_set<std::string> troubledStems_;
    LocalUsageGaps readGaps_;
    std::size_t waitingLogs_ = 0;
    LoadedSessions loaded_{.rows = request_.rows};
};

SessionBatch::SessionBatch(const SessionBatchRequest& request, SessionUsageCache& cache)
    : steps_(std::make_unique<Steps>(request, cache)) {}

SessionBatch::~SessionBatch() = default;

void SessionBatch::read() {
    steps_->read();
}

std::size_t SessionBatch::waitingLogs() const {
    return steps_->waitingLogs();
}

std::string SessionBatch::fingerprint() const {
    return steps_->fingerprint();
}

bool SessionBatch::isOutOfTime(Date cutoff) const {
    return steps_->isOutOfTime(cutoff);
}

LoadedSessions SessionBatch::load() {
    return steps_->load();
}

}  // namespace vantry::CodexUsageReader

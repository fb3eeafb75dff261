#include <algorithm>
#include <map>
#include <unordered_map>

#include "local/RecordedRequests.h"
#include "local/SessionBatch.h"

namespace vantry::CodexUsageReader {

namespace {

using Deltas = std::vector<SessionUsageDelta>;
using Visit = std::function<void(const VisitedSession&)>;

/// For each position, the entries that no session after it needs.
std::vector<std::vector<const SessionUsageCacheEntry*>> releasesOf(
    const std::vector<LoadedSessionUsage>& sessions, const SessionFamilies& families) {
    // From the last session back: who is met first is needed last.
    std::unordered_map<const SessionUsageCacheEntry*, std::size_t> lastUse;
    for (std::size_t i = sessions.size(); i-- > 0;) {
        std::vector<const LoadedSessionUsage*> waiting{&sessions[i]};
        while (!waiting.empty()) {
            const LoadedSessionUsage* session = waiting.back();
            waiting.pop_back();
            if (!lastUse.emplace(&session->entry, i).second) continue;
            const auto& lineage = session->lineage();
            const auto need = [&](const SessionFamilies::Logs& logs) {
                waiting.insert(waiting.end(), logs.begin(), logs.end());
            };
            need(families.parentsOf(*session));
            if (lineage.parentThreadId) need(families.ofThread(*lineage.parentThreadId));
            need(families.ofSegment(session->segmentId));
        }
    }
    std::vector<std::vector<const SessionUsageCacheEntry*>> releases(sessions.size());
    for (const auto& [entry, position] : lastUse) releases[position].push_back(entry);
    return releases;
}

class Counting {
  public:
    Counting(const LoadedSessions& loaded, Date cutoff, LocalUsageGaps& gaps, const Visit& visit)
        : loaded_(loaded),
          families_(loaded.sessions),
          requests_(loaded.sessions),
          cutoff_(cutoff),
          gaps_(gaps),
          visit_(visit) {
        for (const LoadedSessionUsage& session : loaded.sessions) {
            if (!session.isGone) sourceByThread_.emplace(session.source.threadId, &session.source);
        }
    }

    void run() {
        const auto releases = releasesOf(loaded_.sessions, families_);
        for (std::size_t i = 0; i < loaded_.sessions.size(); ++i) {
            count(loaded_.sessions[i]);
            for (const SessionUsageCacheEntry* entry : releases[i]) memo_.release(*entry);
        }
    }

  private:
    void count(const LoadedSessionUsage& session) {
        const std::string& path = session.source.rolloutPath;
        auto usage = effectiveSessionUsage(session, families_, memo_);
        if (!usage) {
            gaps_.add(LocalUsageGapKind::damagedLog, path);
            return;
        }
        leaveOutFuture(*usage);
        nameGaps(session, *usage);
        std::map<std::string, Deltas> borrowed = takeRecords(session, *usage);
        const SessionUsageSource& root = rootConversationSource(session, families_);
        visit_({.source = session.source, .entry = session.entry, .usage = *usage, .root = root});
        for (const auto& [thread, deltas] : borrowed) {
            const auto named = sourceByThread_.find(thread);
            SessionUsageSource source = session.source;
            if (named != sourceByThread_.end()) source = *named->second;
            source.threadId = thread;
            visit_({.source = source,
                    .entry = session.entry,
                    .usage = {.deltas = deltas},
                    .root = named != sourceByThread_.end() ? *named->second : source,
                    .isBorrowed = true});
        }
    }

    void leaveOutFuture(EffectiveSessionUsage& usage) const {
        const bool isPast = std::ranges::all_of(
            usage.deltas, [&](const SessionUsageDelta& delta) { return delta.date <= cutoff_; });
        if (isPast) return;
        auto accepted = SessionUsageEventTimePolicy::acceptedDeltas(
            Deltas(usage.deltas.begin(), usage.deltas.end()), cutoff_);
        usage.rejectedFutureDeltaCount = accepted.rejectedCount;
        usage.setAsideDeltaCount = accepted.setAsideCount;
        usage.take(std::move(accepted.deltas));
    }

    void nameGaps(const LoadedSessionUsage& session, const EffectiveSessionUsage& usage) {
        using Kind = LocalUsageGapKind;
        const auto name = [&](Kind kind, std::int64_t count) {
            if (count > 0) gaps_.add(kind, session.source.rolloutPath, count);
        };
        name(Kind::countedWithoutParent, usage.isWithoutParent ? 1 : 0);
        name(Kind::unreadableLines, session.entry.lines.unreadable);
        name(Kind::recordDisagreement, session.entry.lines.disagreeing);
        name(Kind::futureEvents, usage.setAsideDeltaCount);
    }

    /// Leaves out the records that count elsewhere, and takes those that count for another thread.
    std::map<std::string, Deltas> takeRecords(const LoadedSessionUsage& session,
                                              EffectiveSessionUsage& usage) {
        std::map<std::string, Deltas> borrowed;
        if (session.entry.deltaStorage.recordKeys.empty()) return borrowed;
        Deltas own;
        own.reserve(usage.deltas.size());
        for (const SessionUsageDelta& delta : usage.deltas) {
            if (delta.isRecord() && !requests_.claim(delta, session)) continue;
            (delta.recordThread ? borrowed[*delta.recordThread] : own).push_back(delta);
        }
        if (own.size() < usage.deltas.size()) usage.take(std::move(own));
        return borrowed;
    }

    const LoadedSessions& loaded_;
    SessionFamilies families_;
    RecordedRequests requests_;
    Date cutoff_;
    SessionDeltaMemo memo_;
    LocalUsageGaps& gaps_;
    const Visit& visit_;
    std::unordered_map<std::string, const SessionUsageSource*> sourceByThread_;
};

}  // namespace

void visitEffectiveUsage(const LoadedSessions& loaded, Date cutoff, LocalUsageGaps& gaps,
                         const Visit& visit) {
    Counting(loaded, cutoff, gaps, visit).run();
}

}  // namespace vantry::CodexUsageReader

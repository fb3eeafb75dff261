#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "local/analytics/SessionBatch.h"
#include "local/lineage/RecordedRequests.h"
#include "local/lineage/SessionKin.h"

namespace vantry::CodexUsageReader {

namespace {

using Sessions = std::vector<const LoadedSessionUsage*>;

class ShareMaking {
  public:
    ShareMaking(const LoadedSessions& loaded, SessionUsageCache& cache, Date cutoff)
        : loaded_(loaded),
          cache_(cache),
          cutoff_(cutoff),
          kin_(loaded.sessions, *loaded.families),
          memo_([&](const LoadedSessionUsage& session) { return cache.entry(session.known); }),
          requests_(kin_, *loaded.families, memo_) {}

    bool run() {
        Sessions outdated;
        for (const LoadedSessionUsage& session : loaded_.sessions) {
            const SessionHead& head = session.head();
            const bool isSound =
                head.shareSources == kin_.sources(session) && !head.isShareOutOfTime(cutoff_);
            if (!isSound) outdated.push_back(&session);
        }
        // Family by family: what one needs is not kept while another is at work.
        std::unordered_set<const LoadedSessionUsage*> held;
        for (const LoadedSessionUsage* session : kin_.byFamily(outdated)) {
            const Sessions kin = kin_.kin(*session);
            if (std::ranges::none_of(kin, [&](const auto* log) { return held.contains(log); })) {
                for (const LoadedSessionUsage* log : held) memo_.release(*log);
                held.clear();
                requests_.forget();
            }
            held.insert(kin.begin(), kin.end());
            make(*session, kin);
        }
        return isWhole_;
    }

  private:
    void make(const LoadedSessionUsage& session, const Sessions& kin) {
        const auto usage = effectiveSessionUsage(session, *loaded_.families, memo_);
        RecordedRequests::Split split;
        if (usage) split = requests_.split(session, *usage);
        // Without one of them the session could seem to own what it copied.
        bool isSound = true;
        for (const LoadedSessionUsage* log : kin) {
            if (!memo_.isMissing(*log)) continue;
            cache_.giveUp(log->known, log->isGone);
            isSound = false;
        }
        if (!isSound) {
            cache_.dropShare(session.known);
            isWhole_ = false;
            return;
        }
        cache_.keepShare(session.known, kin_.sources(session),
                         makeSessionShare({.own = split.own,
                                           .borrowed = split.borrowed,
                                           .toolCalls = usage->toolCalls,
                                           .skillLoads = usage->skillLoads,
                                           .isWithoutParent = usage->isWithoutParent,
                                           .cutoff = cutoff_}));
    }

    const LoadedSessions& loaded_;
    SessionUsageCache& cache_;
    Date cutoff_;
    SessionKin kin_;
    SessionDeltaMemo memo_;
    RecordedRequests requests_;
    bool isWhole_ = true;
};

class Visiting {
  public:
    Visiting(const SessionVisits& visits, const std::function<void(const VisitedSession&)>& visit)
        : visits_(visits), visit_(visit) {}

    bool run() {
        constexpr std::size_t many = 500;  // are read faster all at once
        const auto& all = visits_.loaded.sessions;
        if ((visits_.only ? visits_.only->size() : all.size()) > many) visits_.cache.loadShares();
        if (visits_.only) {
            for (const LoadedSessionUsage* session : *visits_.only) visitLog(*session);
        } else {
            for (const LoadedSessionUsage& session : all) visitLog(session);
        }
        visits_.cache.dropLoadedShares();
        return isWhole_;
    }

  private:
    void visitLog(const LoadedSessionUsage& session) {
        auto share = visits_.cache.share(session.known.id);
        if (!share) {
            visits_.gaps.add(LocalUsageGapKind::damagedLog, session.source.rolloutPath);
            visits_.cache.dropShare(session.known);
            isWhole_ = false;
            return;
        }
        VisitedSession visited{.source = session.source,
                               .head = session.head(),
                               .share = *share,
                               .tokens = share->own,
                               .root = rootConversationSource(session, *visits_.loaded.families)};
        enter(share->own, visited);
        nameGaps(session, *share, visited.setAsideEventCount);
        visit_(visited);
        for (auto& [thread, tokens] : share->borrowed)
            visitBorrowed(session, *share, thread, tokens);
    }

    void visitBorrowed(const LoadedSessionUsage& session, const SessionShare& share,
                       const std::string& thread, SessionShareTokens& tokens) {
        const SessionFamilies& families = *visits_.loaded.families;
        const auto& logs = families.ofThread(thread);
        if (rows_.empty()) {
            for (const SessionUsageSource& each : visits_.loaded.rows) {
                rows_.emplace(each.threadId, &each);
            }
        }
        const auto row = rows_.find(thread);
        SessionUsageSource source = session.source;
        source.threadId = thread;
        if (!logs.empty()) {
            source = logs.front()->source;
        } else if (row != rows_.end()) {
            source = *row->second;
        }
        VisitedSession visited{
            .source = source,
            .head = session.head(),
            .share = share,
            .tokens = tokens,
            .root = logs.empty() ? source : rootConversationSource(*logs.front(), families),
            .isBorrowed = true};
        enter(tokens, visited);
        visit_(visited);
    }

    void enter(SessionShareTokens& tokens, VisitedSession& visited) const {
        tokens.enter(visits_.cutoff);
        const Date tomorrow = visits_.cutoff + 86'400.0;
        visited.waitingEventCount = static_cast<std::int64_t>(tokens.waiting.size());
        visited.setAsideEventCount = std::ranges::count_if(
            tokens.waiting,
            [&](const SessionShareEvent& event) { return !(event.date <= tomorrow); });
    }

    void nameGaps(const LoadedSessionUsage& session, const SessionShare& share,
                  std::int64_t setAside) {
        using Kind = LocalUsageGapKind;
        const auto name = [&](Kind kind, std::int64_t count) {
            if (count > 0) visits_.gaps.add(kind, session.source.rolloutPath, count);
        };
        name(Kind::countedWithoutParent, share.isWithoutParent ? 1 : 0);
        name(Kind::unreadableLines, session.head().lines.unreadable);
        name(Kind::recordDisagreement, session.head().lines.disagreeing);
        name(Kind::futureEvents, setAside);
    }

    const SessionVisits& visits_;
    const std::function<void(const VisitedSession&)>& visit_;
    std::unordered_map<std::string_view, const SessionUsageSource*> rows_;  ///< by thread
    bool isWhole_ = true;
};

}  // namespace

bool bringSharesUpToDate(const LoadedSessions& loaded, SessionUsageCache& cache, Date cutoff) {
    return ShareMaking(loaded, cache, cutoff).run();
}

bool visitShares(const SessionVisits& visits,
                 const std::function<void(const VisitedSession&)>& visit) {
    return Visiting(visits, visit).run();
}

}  // namespace vantry::CodexUsageReader

#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "diagnostics/DebugLog.h"
#include "platform/MainLoop.h"
#include "refresh/FurtherReads.h"
#include "refresh/ObserverList.h"
#include "refresh/QuotaEarlyRecoveryWatch.h"
#include "refresh/ReadQueue.h"
#include "refresh/SourceFingerprints.h"
#include "refresh/StatisticsSnapshotCache.h"
#include "refresh/UsageStoreSources.h"
#include "refresh/UsageStoreState.h"

namespace vantry {

/// The one holder of everything that is shown, and the one that decides when each source is read.
///
/// Four lanes read: the full one every 300 seconds, local usage every 15 or 60, the task board
/// every 60, and the quota alone when it is missing or a recovery waits to be confirmed. One read
/// runs at a time; what comes meanwhile waits, each lane once, the most urgent first. A result is
/// judged when it lands: one for a zone or a start that has passed is dropped, and one of another
/// statistics day makes room for a full read of this one.
///
/// Reads run in the background on copies. Everything else, the store's whole life included, belongs
/// to the main loop's thread. A read may outlive the store, and then ends in nothing.
class UsageStore {
  public:
    struct Services {
        MainLoop& loop;  ///< outlives the store and all that it started
        std::function<void(std::function<void()> task)> runInBackground;  ///< one after another
        UsageStoreSources sources;
        UserDefaults defaults;
        std::function<TimeZone()> systemTimeZone;
        /// Called after each change that a desktop record shows, with the day as of now.
        std::function<void(const MultiRuntimeUsageSnapshot&, const StatisticsContext&, Date now)>
            publishDesktopRecord = [](const auto&, const auto&, Date) {};
    };

    explicit UsageStore(Services services);
    UsageStore(const UsageStore&) = delete;
    UsageStore& operator=(const UsageStore&) = delete;

    /// Reads everything and keeps reading. Does nothing when started.
    void start();
    /// Ends every timer and every wish. A read that runs ends without an effect.
    void stop();

    struct RefreshRequest {
        bool queueIfBusy = false;
        /// Local usage and the task board are read only if their files have changed.
        bool reuseUnchangedSources = false;
    };
    void refresh(const RefreshRequest& request);

    struct LaneRequest {
        bool queueIfBusy = false;
    };
    void refreshQuota(LaneRequest request);
    /// A request for one of these two is dropped while the same lane is reading.
    void refreshLocalUsage(LaneRequest request);
    void refreshTaskBoard(LaneRequest request);

    void setLocalUsageForeground(bool isForeground);
    void selectRuntime(RuntimeScope scope);

    /// Counts in another zone from now on: at once from the last batch of that zone where it is
    /// still good, otherwise as soon as it is read.
    void updateStatisticsTimeZone(const StatisticsTimeZonePreference& preference);
    /// To be called when the machine has another zone.
    void systemTimeZoneDidChange();
    /// To be called when the machine has slept: everything is read soon.
    void machineDidWake() { furtherReads_.machineDidWake(); }
    /// To be called when the network changes: what the service did not answer is read again soon.
    /// Repeated calls do no harm.
    void networkDidChange() { furtherReads_.networkDidChange(); }

    const UsageStoreState& state() const { return state_; }
    const std::vector<RuntimeUsageSnapshot>& runtimeSnapshots() const {
        return state_.multiRuntimeSnapshot.runtimes;
    }
    /// Null for one that is not there. Valid until the next change.
    const RuntimeUsageSnapshot* runtimeSnapshot(RuntimeScope scope) const {
        return state_.multiRuntimeSnapshot.runtime(scope);
    }
    const PendingRefreshes& pendingRefreshes() const { return queue_.waiting; }

    /// Tells what of the state has changed: once, at the loop's next turn, for all changes until
    /// then. Observers must not end the store's life.
    [[nodiscard]] Subscription observe(std::function<void(const UsageStoreChanges&)> observer) {
        return changes_.add(std::move(observer));
    }
    /// Tells of each recovery at once.
    [[nodiscard]] Subscription observeQuotaEarlyRecovery(
        std::function<void(const QuotaEarlyRecoveryEvent&)> observer) {
        return recoveryWatch_.subscribe(std::move(observer));
    }

  private:
    static constexpr double fullInterval = 300.0;      // seconds
    static constexpr double taskBoardInterval = 60.0;  // seconds

    /// What a read was started for, and what its result is judged by.
    struct ReadTicket {
        RuntimeLoadContext context;
        StatisticsTimeZonePreference preference;
        std::uint64_t generation = 0;

        StatisticsIdentity identity() const;
    };

    /// The way from any thread to the store, which may be gone.
    class WayBack {
      public:
        WayBack(MainLoop& loop, std::weak_ptr<UsageStore*> store)
            : loop_(&loop), store_(std::move(store)) {}
        bool leadsNowhere() const { return store_.expired(); }
        void operator()(std::function<void(UsageStore&)> work) const;

      private:
        MainLoop* loop_;
        std::weak_ptr<UsageStore*> store_;
    };
    WayBack wayBack() { return {loop_, self_}; }

    // What the lanes share.
    bool mayStart(PendingRefreshWork lane, LaneRequest request);
    ReadTicket beginRead(PendingRefreshWork lane);
    /// `failed` is what stands in for the result of a source that throws.
    template <class Work, class Result>
    void readInBackground(Work work, Result failed,
                          void (UsageStore::*finish)(const ReadTicket&, const Result&),
                          const ReadTicket& ticket);
    void readKept();
    void showKept(const RuntimeUsageSnapshot& kept, const RuntimeLoadContext& context);
    bool canApplyRefreshResult(const ReadTicket& ticket) const;
    bool matchesCurrentStatisticsDay(const StatisticsIdentity& identity) const;
    bool acceptsResult(const ReadTicket& ticket, const StatisticsIdentity& identity);
    void endRead();
    void tellWhatRuns();

    // The full lane.
    struct FullReadRequest;
    struct FullRead;
    static FullRead readEverything(const UsageStoreSources& sources,
                                   const FullReadRequest& request);
    void applyQuotaAhead(const ReadTicket& ticket, const RuntimeUsageSnapshot& runtime);
    void finishFullRead(const ReadTicket& ticket, const FullRead& read);

    // The quota lane.
    void finishQuotaRead(const ReadTicket& ticket, const UsageSnapshot& quota);

    // The local usage lane.
    struct LocalReadRequest;
    struct LocalRead;
    static LocalRead readLocalRecords(const UsageStoreSources& sources,
                                      const LocalReadRequest& request);
    void finishLocalRead(const ReadTicket& ticket, const LocalRead& read);
    void applyLocalUsage(const StatisticsIdentity& identity, const LocalRead& read);
    void scheduleLocalUsageTimer();

    // The task board lane.
    struct TaskBoardReadRequest;
    struct BoardRead;
    static BoardRead readBoard(const UsageStoreSources& sources,
                               const TaskBoardReadRequest& request);
    void finishTaskBoardRead(const ReadTicket& ticket, const BoardRead& read);

    // What is published.
    struct Applying {
        bool observesLiveQuota = false;
        bool publishesDesktopWidget = false;
    };
    void apply(const MultiRuntimeUsageSnapshot& batch, const Applying& applying);
    RuntimeUsageSnapshot mergedWithShown(const RuntimeUsageSnapshot& incoming,
                                         const RuntimeLoadContext& context,
                                         bool mayReusePreviousLocal) const;
    struct QuotaApplying {
        bool queueAccountRefresh = false;
    };
    void applyQuota(const RuntimeUsageSnapshot& incoming, QuotaApplying applying);
    bool needsAccountRefresh(const std::optional<std::string>& identity,
                             const RuntimeUsageSnapshot* previous);
    void applyTaskBoard(const TaskBoard& board, RuntimeScope scope);
    struct BatchMark {
        Date refreshedAt;
        StatisticsIdentity identity;
    };
    void publishRuntime(RuntimeUsageSnapshot runtime, const BatchMark& mark);
    void publish(MultiRuntimeUsageSnapshot batch);
    void publishDesktopWidgetSnapshot(Date now);
    void invalidateAccountBoundState(const std::optional<std::string>& accountIdentity);
    void changed(const UsageStoreChanges& changes);

    // Statistics zone and day.
    StatisticsContext statisticsContext(Date now) const;
    StatisticsIdentity currentIdentity(Date now) const;
    bool showCachedStatistics();
    void finishStatisticsTimeZoneSwitch(bool cached);
    void tellOfSwitch();
    void scheduleStatisticsRollover();
    void rollOver();
    void leaveDayBehind(const StatisticsIdentity& today);

    const RuntimeUsageSnapshot* codex() const { return runtimeSnapshot(RuntimeScope::codex); }

    MainLoop& loop_;
    std::function<void(std::function<void()>)> runInBackground_;
    std::shared_ptr<const UsageStoreSources> sources_;
    UserDefaults defaults_;
    std::function<TimeZone()> systemTimeZone_;
    std::function<void(const MultiRuntimeUsageSnapshot&, const StatisticsContext&, Date)>
        publishDesktopRecord_;

    UsageStoreState state_;
    ObserverList<UsageStoreChanges> changes_;
    UsageStoreChanges untold_;

    bool hasStarted_ = false;
    bool isLocalUsageForeground_ = false;
    std::uint64_t refreshGeneration_ = 0;
    ReadQueue queue_;
    bool newAccountWasRead_ = false;  ///< in full, since the account was last known
    StatisticsSnapshotCache statisticsSnapshotCache_;
    SourceFingerprints fingerprints_;
    StatisticsZoneSwitch zoneSwitch_;
    FurtherReads furtherReads_;
    QuotaEarlyRecoveryWatch recoveryWatch_;

    MainLoop::TimerHandle fullTimer_;
    MainLoop::TimerHandle localUsageTimer_;
    MainLoop::TimerHandle taskBoardTimer_;
    MainLoop::TimerHandle statisticsRolloverTimer_;

    std::shared_ptr<UsageStore*> self_ = std::make_shared<UsageStore*>(this);
};

template <class Work, class Result>
void UsageStore::readInBackground(Work work, Result failed,
                                  void (UsageStore::*finish)(const ReadTicket&, const Result&),
                                  const ReadTicket& ticket) {
    runInBackground_([wayBack = wayBack(), sources = sources_, work = std::move(work),
                      failed = std::move(failed), finish, ticket] {
        if (wayBack.leadsNowhere()) return;
        Result result = failed;
        try {
            result = work(*sources);
        } catch (const std::exception& error) {
            debugLog(std::string("a read was given up: ") + error.what());
        }
        wayBack([finish, ticket, result = std::move(result)](UsageStore& store) {
            (store.*finish)(ticket, result);
            store.endRead();
        });
    });
}

}  // namespace vantry

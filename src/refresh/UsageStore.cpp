#include "refresh/UsageStore.h"

#include "refresh/MainWindowActivityPolicy.h"
#include "refresh/StatisticsDay.h"
#include "statistics/StatisticsTimeZonePreferenceStore.h"

namespace vantry {

// ---- life

UsageStore::UsageStore(Services services)
    : loop_(services.loop),
      runInBackground_(std::move(services.runInBackground)),
      sources_(std::make_shared<const UsageStoreSources>(std::move(services.sources))),
      defaults_(std::move(services.defaults)),
      systemTimeZone_(std::move(services.systemTimeZone)),
      publishDesktopRecord_(std::move(services.publishDesktopRecord)),
      zoneSwitch_(loop_, [this] { tellOfSwitch(); }),
      furtherReads_(
          {.loop = loop_,
           .shown = [this] { return codex(); },
           .isAskingAccount = [this] { return state_.isRefreshing; },
           .readQuota = [this] { refreshQuota({.queueIfBusy = true}); },
           .readEverything =
               [this] { refresh({.queueIfBusy = true, .reuseUnchangedSources = true}); }}),
      recoveryWatch_({.loop = loop_, .defaults = defaults_, .readQuota = [this] {
                          refreshQuota({.queueIfBusy = true});
                      }}) {
    const TimeZone system = systemTimeZone_();
    state_.statisticsPreference =
        StatisticsTimeZonePreferenceStore::load(defaults_, system).repaired(system);
}

void UsageStore::start() {
    if (hasStarted_) return;
    hasStarted_ = true;
    furtherReads_.start();
    recoveryWatch_.start();
    if (codex() == nullptr) readKept();
    refresh({.queueIfBusy = true});
    scheduleStatisticsRollover();
    fullTimer_ = loop_.every(
        fullInterval, [this] { refresh({.queueIfBusy = true, .reuseUnchangedSources = true}); });
    scheduleLocalUsageTimer();
    taskBoardTimer_ =
        loop_.every(taskBoardInterval, [this] { refreshTaskBoard({.queueIfBusy = true}); });
}

void UsageStore::stop() {
    hasStarted_ = false;
    ++refreshGeneration_;
    queue_.waiting = {};
    zoneSwitch_.stop();
    furtherReads_.stop();
    recoveryWatch_.stop();
    for (auto* timer :
         {&fullTimer_, &localUsageTimer_, &taskBoardTimer_, &statisticsRolloverTimer_}) {
        timer->reset();
    }
}

void UsageStore::setLocalUsageForeground(bool isForeground) {
    if (isLocalUsageForeground_ == isForeground) return;
    isLocalUsageForeground_ = isForeground;
    scheduleLocalUsageTimer();
}

void UsageStore::scheduleLocalUsageTimer() {
    localUsageTimer_.reset();
    if (!hasStarted_) return;
    localUsageTimer_ = loop_.every(LocalUsageRefreshCadence::interval(isLocalUsageForeground_),
                                   [this] { refreshLocalUsage({.queueIfBusy = true}); });
}

// ---- what was known when the program last ran

void UsageStore::readKept() {
    runInBackground_([wayBack = wayBack(), sources = sources_,
                      context = sources_->liveContext(loop_.now(), state_.statisticsPreference)] {
        if (wayBack.leadsNowhere()) return;
        try {
            if (auto kept = sources->loadKept(context)) {
                wayBack([kept = *std::move(kept), context](UsageStore& store) {
                    store.showKept(kept, context);
                });
            }
        } catch (const std::exception& error) {
            debugLog(std::string("what is kept was not read: ") + error.what());
        }
    });
}

void UsageStore::showKept(const RuntimeUsageSnapshot& kept, const RuntimeLoadContext& context) {
    const StatisticsIdentity today = currentIdentity(loop_.now());
    const bool isOfToday = sameStatisticsDay(
        today, {.resolvedIdentifier = context.statistics.resolvedIdentifier(), .now = context.now});
    if (!hasStarted_ || codex() != nullptr || !isOfToday) return;
    publishRuntime(kept, {.refreshedAt = context.now, .identity = today});
}

// ---- the road of a read

void UsageStore::WayBack::operator()(std::function<void(UsageStore&)> work) const {
    loop_->post([store = store_, work = std::move(work)] {
        if (const auto alive = store.lock()) work(**alive);
    });
}

StatisticsIdentity UsageStore::ReadTicket::identity() const {
    return {.preference = context.statistics.preference(),
            .resolvedIdentifier = context.statistics.resolvedIdentifier(),
            .generation = generation,
            .now = context.now};
}

bool UsageStore::mayStart(PendingRefreshWork lane, LaneRequest request) {
    return hasStarted_ && queue_.mayBegin(lane, request.queueIfBusy);
}

UsageStore::ReadTicket UsageStore::beginRead(PendingRefreshWork lane) {
    queue_.begin(lane);
    tellWhatRuns();
    if (state_.isRefreshing) furtherReads_.accountIsAsked();
    return {.context = sources_->liveContext(loop_.now(), state_.statisticsPreference),
            .preference = state_.statisticsPreference,
            .generation = refreshGeneration_};
}

void UsageStore::tellWhatRuns() {
    const auto lane = queue_.running();
    state_.isRefreshing = lane == PendingRefreshWork::full || lane == PendingRefreshWork::quota;
    state_.isRefreshingLocalUsage = lane == PendingRefreshWork::localUsage;
    changed({.activity = true});
}

bool UsageStore::canApplyRefreshResult(const ReadTicket& ticket) const {
    return hasStarted_ && ticket.preference == state_.statisticsPreference &&
           ticket.generation == refreshGeneration_;
}

bool UsageStore::matchesCurrentStatisticsDay(const StatisticsIdentity& identity) const {
    return sameStatisticsDay(currentIdentity(loop_.now()), identity);
}

bool UsageStore::acceptsResult(const ReadTicket& ticket, const StatisticsIdentity& identity) {
    if (!canApplyRefreshResult(ticket)) return false;
    if (matchesCurrentStatisticsDay(identity)) return true;
    queue_.waiting.hasPendingRefresh = true;  // it crossed midnight
    return false;
}

void UsageStore::endRead() {
    queue_.end();
    tellWhatRuns();
    if (!hasStarted_) return;
    furtherReads_.readOverOtherNetwork();
    const auto next = queue_.waiting.takeNextPendingRefresh();
    if (!next) return;
    switch (*next) {
        case PendingRefreshWork::full:
            return refresh({});
        case PendingRefreshWork::quota:
            return refreshQuota({});
        case PendingRefreshWork::localUsage:
            return refreshLocalUsage({});
        case PendingRefreshWork::taskBoard:
            return refreshTaskBoard({});
    }
}

}  // namespace vantry

#include "refresh/UsageStore.h"

#include "refresh/LocalUsageRefreshCadence.h"
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
      quotaEarlyRecoveryStateStore_(defaults_),
      quotaEarlyRecoveryDetector_{.state = quotaEarlyRecoveryStateStore_.load()} {
    const TimeZone system = systemTimeZone_();
    state_.statisticsPreference =
        StatisticsTimeZonePreferenceStore::load(defaults_, system).repaired(system);
}

void UsageStore::start() {
    if (hasStarted_) return;
    hasStarted_ = true;
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
    pending_ = {};
    // Nobody would take the message of a finished switch away.
    if (statisticsFeedbackTimer_) endStatisticsFeedback();
    quotaResetsAt_.reset();
    isOtherNetwork_ = false;
    for (auto* timer : {&fullTimer_, &quotaRetryTimer_, &quotaResetTimer_, &soonTimer_,
                        &soonAgainTimer_, &quotaEarlyRecoveryConfirmationTimer_, &localUsageTimer_,
                        &taskBoardTimer_, &statisticsRolloverTimer_}) {
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
    if (!hasStarted_) return false;
    if (!reading_) return true;
    // The timer of these two comes again soon.
    const bool dropsItself =
        lane == PendingRefreshWork::localUsage || lane == PendingRefreshWork::taskBoard;
    const bool isDropped = dropsItself && reading_ == lane;
    if (request.queueIfBusy && !isDropped) pending_.add(lane);
    return false;
}

UsageStore::ReadTicket UsageStore::beginRead(PendingRefreshWork lane) {
    setReading(lane);
    if (state_.isRefreshing) isOtherNetwork_ = false;
    return {.context = sources_->liveContext(loop_.now(), state_.statisticsPreference),
            .preference = state_.statisticsPreference,
            .generation = refreshGeneration_};
}

void UsageStore::setReading(std::optional<PendingRefreshWork> lane) {
    reading_ = lane;
    state_.isRefreshing = lane == PendingRefreshWork::full || lane == PendingRefreshWork::quota;
    state_.isRefreshingLocalUsage = lane == PendingRefreshWork::localUsage;
    changed();
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
    pending_.hasPendingRefresh = true;  // it crossed midnight
    return false;
}

void UsageStore::endRead() {
    setReading(std::nullopt);
    if (!hasStarted_) return;
    readOverOtherNetwork();
    const auto next = pending_.takeNextPendingRefresh();
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

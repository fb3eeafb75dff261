#include "official/HybridDailyUsage.h"
#include "refresh/StatisticsDay.h"
#include "refresh/UsageStore.h"
#include "runtime/CodexRuntimeProvider.h"
#include "statistics/StatisticsTimeZonePreferenceStore.h"

// The zone in which days are counted, and the end of its day.
namespace vantry {

namespace {

/// The local group of `shown` for a day that it was not read for. Capture time and notices stay:
/// nothing was read.
LocalUsageReplacement localGroupOfEarlierDay(const UsageSnapshot& shown,
                                             const RuntimeLoadContext& today) {
    LocalUsageReplacement group{
        .result = {.local = shown.local,
                   .capturedAt = shown.localUsageCapturedAt,
                   .isStale = shown.localUsageIsStale,
                   .readStatus = shown.localUsageReadStatus,
                   .dependencyFailure = shown.readerState.localDependencyFailure},
        .at = today.now,
        .localMessages = shown.localReadMessages,
        .hybridMessages = shown.hybridReadMessages};
    if (!shown.local) return group;
    auto hybrid =
        CodexUsageReader::mergeCloudDailyUsage({.cloudDailyBuckets = shown.cloudDailyBuckets,
                                                .into = withoutDayBoundFigures(*shown.local),
                                                .context = today});
    group.result.local = std::move(hybrid.local);
    group.result.isStale = true;
    if (shown.localUsageReadStatus == LocalUsageReadStatus::complete) {
        group.result.readStatus = LocalUsageReadStatus::staleFallback;
    }
    group.hybridMessages = std::move(hybrid.messages);
    return group;
}

/// No day of one zone is a day of another.
LocalUsageReplacement localGroupOfOtherZone(const UsageSnapshot& shown, Date now) {
    return {.result = {.dependencyFailure = shown.readerState.localDependencyFailure},
            .at = now,
            .localMessages = shown.localReadMessages,
            .hybridMessages = shown.hybridReadMessages};
}

}  // namespace

StatisticsContext UsageStore::statisticsContext(Date now) const {
    return StatisticsContext(state_.statisticsPreference, now, systemTimeZone_());
}

StatisticsIdentity UsageStore::currentIdentity(Date now) const {
    const StatisticsContext statistics = statisticsContext(now);
    return {.preference = statistics.preference(),
            .resolvedIdentifier = statistics.resolvedIdentifier(),
            .generation = refreshGeneration_,
            .now = now};
}

// ---- switching

void UsageStore::updateStatisticsTimeZone(const StatisticsTimeZonePreference& preference) {
    const StatisticsTimeZonePreference repaired = preference.repaired(systemTimeZone_());
    if (repaired == state_.statisticsPreference) return;
    ++refreshGeneration_;
    state_.statisticsPreference = repaired;
    fingerprints_ = {};
    StatisticsTimeZonePreferenceStore::save(repaired, defaults_);
    changed({.zone = true});
    if (!hasStarted_) return;  // the start will read in this zone
    scheduleStatisticsRollover();
    zoneSwitch_.begin(statisticsContext(loop_.now()).resolvedIdentifier());
    if (!showCachedStatistics()) refresh({.queueIfBusy = true});
}

bool UsageStore::showCachedStatistics() {
    const Date now = loop_.now();
    const StatisticsIdentity identity = currentIdentity(now);
    auto batch = statisticsSnapshotCache_.validSnapshot(
        {.resolvedIdentifier = identity.resolvedIdentifier, .published = codex(), .now = now});
    if (!batch) return false;
    batch->statisticsIdentity = identity;
    apply(*batch, {.observesLiveQuota = false, .publishesDesktopWidget = true});
    statisticsSnapshotCache_.store(*batch, now);
    finishStatisticsTimeZoneSwitch(true);
    return true;
}

void UsageStore::finishStatisticsTimeZoneSwitch(bool cached) {
    zoneSwitch_.finish(state_.multiRuntimeSnapshot.statisticsIdentity.resolvedIdentifier, cached);
}

void UsageStore::tellOfSwitch() {
    state_.statisticsTransition = zoneSwitch_.transition();
    state_.isSwitchingStatisticsTimeZone = zoneSwitch_.isWaiting();
    changed({.zone = true});
}

void UsageStore::systemTimeZoneDidChange() {
    const bool follows =
        state_.statisticsPreference.selection == StatisticsTimeZoneSelection::system;
    if (!hasStarted_ || !follows) return;
    scheduleStatisticsRollover();
    refresh({.queueIfBusy = true});
}

// ---- the end of the day

void UsageStore::scheduleStatisticsRollover() {
    statisticsRolloverTimer_.reset();
    const Date now = loop_.now();
    const auto midnight = statisticsContext(now).calendar().startOfDayAdding(1, now);
    if (midnight) statisticsRolloverTimer_ = loop_.at(*midnight, [this] { rollOver(); });
}

void UsageStore::rollOver() {
    statisticsRolloverTimer_.reset();
    if (!hasStarted_) return;
    const StatisticsIdentity today = currentIdentity(loop_.now());
    if (!sameStatisticsDay(state_.multiRuntimeSnapshot.statisticsIdentity, today)) {
        if (codex() != nullptr) leaveDayBehind(today);
        if (const auto board = state_.snapshot.taskBoard) {
            applyTaskBoard(*board, RuntimeScope::codex);
        }
    }
    scheduleStatisticsRollover();
    refresh({.queueIfBusy = true});
}

void UsageStore::leaveDayBehind(const StatisticsIdentity& today) {
    const RuntimeUsageSnapshot& shown = *codex();
    const bool sameZone = state_.multiRuntimeSnapshot.statisticsIdentity.resolvedIdentifier ==
                          today.resolvedIdentifier;
    const RuntimeLoadContext context =
        sources_->liveContext(today.now, state_.statisticsPreference);
    RuntimeUsageSnapshot runtime =
        replacingLocalUsage(shown, sameZone ? localGroupOfEarlierDay(shown.snapshot, context)
                                            : localGroupOfOtherZone(shown.snapshot, today.now));
    // A read that runs goes on.
    runtime.snapshot.readerState.isLoading = shown.snapshot.readerState.isLoading;
    publishRuntime(std::move(runtime), {.refreshedAt = today.now, .identity = today});
    statisticsSnapshotCache_.store(state_.multiRuntimeSnapshot, today.now);
    publishDesktopWidgetSnapshot(today.now);
}

}  // namespace vantry

#include "runtime/KeptUsage.h"

#include "local/analytics/LocalUsageReader.h"
#include "official/HybridDailyUsage.h"
#include "official/KeptQuota.h"
#include "official/OfficialDailyUsageCache.h"
#include "official/QuotaWindow.h"
#include "official/SignIn.h"
#include "runtime/CodexRuntimeProvider.h"
#include "runtime/CodexUsageLoad.h"

namespace vantry::CodexUsageReader {

namespace {

/// The account's side, and when its quota was captured.
struct KeptAccount {
    AppServerRead read;
    std::optional<Date> quotaCapturedAt;
};

KeptAccount keptAccount(const RuntimeLoadContext& context) {
    KeptAccount kept;
    AppServerSnapshot& session = kept.read.snapshot;
    const auto mark = SignIn::markOf(context.codex().home);
    SignIn::settleIdentity({.snapshot = session,
                            .cacheDirectory = context.cacheDirectory,
                            .before = mark,
                            .after = mark});
    const auto quota = keptQuota(context.cacheDirectory, session.accountIdentity, context.now);
    if (quota) {
        session.account = quota->account;
        session.primary = quota->primary;
        session.secondary = quota->secondary;
        session.credits = quota->credits;
        session.limits = quota->limits.value_or(AccountLimits());
        kept.quotaCapturedAt = quota->capturedAt;
    }
    resolveOfficialDailyUsagePersistence(
        {.snapshot = session, .previousSnapshot = std::nullopt, .context = context});
    return kept;
}

bool isRunning(const std::optional<RateWindow>& window, const KeptAccount& kept, Date now) {
    return window &&
           QuotaWindowPresentation::isValid({.resetsAt = window->resetsAt,
                                             .capturedAt = kept.quotaCapturedAt,
                                             .windowDurationMins = window->windowDurationMins,
                                             .now = now});
}

}  // namespace

std::optional<RuntimeUsageSnapshot> loadKept(const RuntimeLoadContext& context) {
    const KeptAccount kept = keptAccount(context);
    UsageSnapshot snapshot = makeQuotaSnapshot(
        {.context = context, .appServer = kept.read, .isLoadingLocalUsage = true});
    auto local = keptLocalUsage({.context = context, .userCodex = context.userCodex()});
    if (local) {
        auto hybrid = mergeCloudDailyUsage({.cloudDailyBuckets = snapshot.cloudDailyBuckets,
                                            .into = *std::move(local->local),
                                            .context = context});
        snapshot.local = std::move(hybrid.local);
        snapshot.hybridReadMessages = hybrid.messages;
        snapshot.messages.insert(snapshot.messages.end(), hybrid.messages.begin(),
                                 hybrid.messages.end());
        snapshot.localUsageCapturedAt = local->capturedAt;
        snapshot.localUsageIsStale = true;
        snapshot.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    }
    const bool hasQuota = snapshot.primary || snapshot.secondary;
    if (!hasQuota && !snapshot.local && !snapshot.cloudDailyBuckets) return std::nullopt;
    RuntimeUsageSnapshot runtime = CodexRuntimeProvider::runtimeSnapshot(std::move(snapshot));
    runtime.quotaCapturedAt = kept.quotaCapturedAt;
    const UsageSnapshot& shown = runtime.snapshot;
    if (isRunning(selectedQuotaWindow(shown).window, kept, context.now)) {
        runtime.status = RuntimeMenuStatus::stale;
    } else {
        runtime.status =
            shown.local ? RuntimeMenuStatus::localOnly : RuntimeMenuStatus::unavailable;
    }
    return runtime;
}

}  // namespace vantry::CodexUsageReader

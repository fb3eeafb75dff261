#include "refresh/QuotaRefreshFallbackPolicy.h"

#include <algorithm>
#include <utility>

#include "official/QuotaWindow.h"
#include "refresh/LocalUsageFallback.h"
#include "refresh/OfficialUsageFallback.h"

namespace vantry::QuotaRefreshFallbackPolicy {

namespace {

bool contains(const Notices& list, const Notice& message) {
    return std::ranges::find(list, message) != list.end();
}

void appendOnce(Notices& list, const Notice& message) {
    if (!contains(list, message)) list.push_back(message);
}

bool isSameAccount(const UsageSnapshot& read, const UsageSnapshot& shown) {
    return read.accountIdentity && !read.accountIdentity->empty() &&
           read.accountIdentity == shown.accountIdentity;
}

/// The messages of the read that are neither of the local read nor of the merge of days, without
/// those that tell what is shown: these follow from what stands.
Notices accountMessages(const UsageSnapshot& read) {
    Notices result;
    for (const Notice& message : read.messages) {
        const bool isTold = message.kind == NoticeKind::quotaIsStale ||
                            message.kind == NoticeKind::officialDaysAreStale ||
                            message.kind == NoticeKind::officialDaysUnavailable ||
                            contains(read.localReadMessages, message) ||
                            contains(read.hybridReadMessages, message);
        if (!isTold) appendOnce(result, message);
    }
    return result;
}

void setQuota(RuntimeUsageSnapshot& into, StandingQuota quota) {
    into.snapshot.primary = quota.primary;
    into.snapshot.secondary = quota.secondary;
    into.snapshot.credits = std::move(quota.credits);
    into.snapshot.limits = std::move(quota.limits);
    into.quotaCapturedAt = quota.capturedAt;
    into.quotaSourceLabel = std::move(quota.sourceLabel);
    if (quota.hasSelected) {
        into.status = quota.isStale ? RuntimeMenuStatus::stale : RuntimeMenuStatus::available;
    } else {
        into.status =
            into.snapshot.local ? RuntimeMenuStatus::localOnly : RuntimeMenuStatus::unavailable;
    }
}

/// A board that is kept shows the tokens of the usage that is kept with it, and none beside usage
/// that is gone.
void keepTaskBoard(UsageSnapshot& into, const UsageSnapshot& shown) {
    const bool isKept = !into.taskBoard;
    if (isKept) into.taskBoard = shown.taskBoard;
    if (into.local || (isKept && shown.local)) into.bindTaskBoardTokens();
}

/// What the merge of days has to say. Whether there are days at all is told by what stands.
void settleHybridMessages(UsageSnapshot& into) {
    if (into.cloudDailyBuckets) {
        std::erase(into.hybridReadMessages, Notice{NoticeKind::officialDaysUnavailable});
    } else if (into.cloudDailyUsageAttempted) {
        appendOnce(into.hybridReadMessages, {NoticeKind::officialDaysUnavailable});
    }
}

}  // namespace

RuntimeUsageSnapshot merge(Merge sides) {
    if (sides.previous == nullptr) return std::move(sides.incoming);
    const RuntimeUsageSnapshot& previous = *sides.previous;
    const UsageSnapshot& shown = previous.snapshot;
    RuntimeUsageSnapshot merged = std::move(sides.incoming);
    UsageSnapshot& into = merged.snapshot;

    const bool sameAccount = isSameAccount(into, shown);
    const bool daysWereRead = into.cloudDailyUsageAttempted || into.cloudDailyBuckets;
    Notices messages = accountMessages(into);
    if (sameAccount) {
        if (!into.account) into.account = shown.account;
        keepOfficialUsage(into, shown);
        if (!daysWereRead) into.hybridReadMessages = shown.hybridReadMessages;
    }
    keepLocalUsage(into, {.earlier = shown,
                          .sameAccount = sameAccount,
                          .mayReuse = sides.mayReusePreviousLocal,
                          .now = sides.now});
    keepTaskBoard(into, shown);
    settleHybridMessages(into);

    StandingQuota quota = standingQuota({.incoming = merged,
                                         .accountSource = sameAccount ? &previous : nullptr,
                                         .kind = selectedQuotaWindow(into).kind,
                                         .now = sides.now});
    if (quota.isStale) appendOnce(messages, {NoticeKind::quotaIsStale});
    if (into.cloudDailyBuckets && into.cloudDailyUsageIsStale) {
        appendOnce(messages, {NoticeKind::officialDaysAreStale});
    }
    for (const Notices* list : {&into.localReadMessages, &into.hybridReadMessages}) {
        for (const Notice& message : *list) appendOnce(messages, message);
    }
    setQuota(merged, std::move(quota));
    into.messages = std::move(messages);
    return merged;
}

bool hasLocalReadFailure(const Notices& messages) {
    return std::ranges::any_of(messages, [](const Notice& message) {
        return message.kind == NoticeKind::databaseMissing ||
               message.kind == NoticeKind::sqliteMissing ||
               message.kind == NoticeKind::databaseQueryFailed ||
               message.kind == NoticeKind::databaseDataMalformed;
    });
}

}  // namespace vantry::QuotaRefreshFallbackPolicy

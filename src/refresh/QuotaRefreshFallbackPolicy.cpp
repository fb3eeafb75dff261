#include "refresh/QuotaRefreshFallbackPolicy.h"

#include <algorithm>
#include <utility>

#include "official/RuntimeSummary.h"
#include "refresh/LocalUsageFallback.h"
#include "refresh/OfficialUsageFallback.h"

namespace vantry::QuotaRefreshFallbackPolicy {

namespace {

using Messages = std::vector<std::string>;

bool contains(const Messages& list, std::string_view message) {
    return std::ranges::find(list, message) != list.end();
}

void appendOnce(Messages& list, std::string_view message) {
    if (!contains(list, message)) list.emplace_back(message);
}

bool isSameAccount(const UsageSnapshot& read, const UsageSnapshot& shown) {
    return read.accountIdentity && !read.accountIdentity->empty() &&
           read.accountIdentity == shown.accountIdentity;
}

/// The messages of the read that are neither of the local read nor of the merge of days, without
/// those that tell what is shown: these follow from what stands.
Messages accountMessages(const UsageSnapshot& read) {
    Messages result;
    for (const std::string& message : read.messages) {
        const bool isTold = message == staleMessage || message == staleDailyUsageMessage ||
                            message == unavailableDailyUsageMessage ||
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

/// The words of the merge of days. Whether there are days at all is told by what stands.
void settleHybridMessages(UsageSnapshot& into) {
    if (into.cloudDailyBuckets) {
        std::erase(into.hybridReadMessages, unavailableDailyUsageMessage);
    } else if (into.cloudDailyUsageAttempted) {
        appendOnce(into.hybridReadMessages, unavailableDailyUsageMessage);
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
    Messages messages = accountMessages(into);
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
    if (quota.isStale) appendOnce(messages, staleMessage);
    if (into.cloudDailyBuckets && into.cloudDailyUsageIsStale) {
        appendOnce(messages, staleDailyUsageMessage);
    }
    for (const Messages* list : {&into.localReadMessages, &into.hybridReadMessages}) {
        for (const std::string& message : *list) appendOnce(messages, message);
    }
    setQuota(merged, std::move(quota));
    into.messages = std::move(messages);
    return merged;
}

std::vector<BilingualText> staleExplanations(const RuntimeUsageSnapshot& shown, Date now) {
    std::vector<BilingualText> texts;
    const UsageSnapshot& snapshot = shown.snapshot;
    if (summary(shown, now).status == RuntimeMenuStatus::stale) texts.push_back(staleQuotaText);
    if (snapshot.local && snapshot.localUsageIsStale) texts.push_back(staleUsageText);
    const bool isHistoryStale =
        (snapshot.officialLifetimeTokens && snapshot.officialLifetimeIsStale) ||
        (snapshot.cloudDailyBuckets && snapshot.cloudDailyUsageIsStale);
    if (texts.empty() && isHistoryStale) texts.push_back(staleText);
    return texts;
}

bool hasLocalReadFailure(const std::vector<std::string>& messages) {
    return std::ranges::any_of(messages, [](const std::string& message) {
        return message.find("未找到 Codex state_5.sqlite") != std::string::npos ||
               message.find("未找到 sqlite3") != std::string::npos ||
               message == "SQLite 查询失败" || message == "SQLite 数据格式异常，未采用该批数据";
    });
}

}  // namespace vantry::QuotaRefreshFallbackPolicy

#include "official/AccountParsing.h"

#include <algorithm>
#include <utility>

#include "platform/Sha256.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr std::int64_t fiveHourMinutes = 300;
constexpr std::int64_t sevenDayMinutes = 10'080;
constexpr std::size_t mostLimits = 32;

JsonView firstObject(JsonView preferred, JsonView fallback) {
    return preferred.isObject() ? preferred : fallback;
}

std::optional<std::int64_t> parseResetCredits(JsonView limit, JsonView result) {
    constexpr std::string_view key = "rateLimitResetCredits";
    const auto count = int64Value(firstObject(limit[key], result[key])["availableCount"]);
    if (!count || *count < 0) return std::nullopt;
    return count;
}

std::optional<CreditsInfo> parseCredits(JsonView limit, JsonView result) {
    const auto resetCredits = parseResetCredits(limit, result);
    const JsonView credits = firstObject(limit["credits"], result["credits"]);
    if (!credits.isObject() && !resetCredits) return std::nullopt;
    return CreditsInfo{.hasCredits = credits["hasCredits"].boolean().value_or(false),
                       .unlimited = credits["unlimited"].boolean().value_or(false),
                       .balance = ownedText(credits["balance"]),
                       .resetCredits = resetCredits};
}

AccountLimit parseLimit(std::string_view id, JsonView limit) {
    AccountLimit parsed{.id = std::string(id),
                        .name = ownedText(limit["limitName"]),
                        .rateLimitReachedType = ownedText(limit["rateLimitReachedType"]),
                        .spendControlReached = limit["spendControlReached"].boolean()};
    for (const char* key : {"primary", "secondary"}) {
        if (const auto window = parseRateWindow(limit[key])) parsed.windows.push_back(*window);
    }
    return parsed;
}

}  // namespace

std::optional<AccountInfo> parseAccount(JsonView result) {
    const JsonView account = result["account"];
    const auto type = ownedText(account["type"]);
    if (!type) return std::nullopt;
    return AccountInfo{.type = *type,
                       .planType = ownedText(account["planType"]),
                       .emailPresent = !account["email"].text().value_or("").empty()};
}

std::optional<RateWindow> parseRateWindow(JsonView value) {
    const auto usedPercent = doubleValue(value["usedPercent"]);
    if (!usedPercent || !(*usedPercent >= 0 && *usedPercent <= 100)) return std::nullopt;
    const auto resetsAt = doubleValue(value["resetsAt"]);
    return RateWindow{.usedPercent = *usedPercent,
                      .windowDurationMins = int64Value(value["windowDurationMins"]),
                      .resetsAt = resetsAt ? std::optional(Date(*resetsAt)) : std::nullopt};
}

RateLimits parseRateLimits(JsonView result) {
    RateLimits limits;
    const auto accountId = result["accountId"].text();
    if (accountId && !accountId->empty()) {
        limits.accountIdentity = "codex-account:" + sha256Hex(*accountId);
    }
    const JsonView limit =
        firstObject(result["rateLimitsByLimitId"]["codex"], result["rateLimits"]);
    AccountLimit unslotted = parseLimit("codex", limit);
    std::erase_if(unslotted.windows, [&](const RateWindow& window) {
        auto* slot = window.windowDurationMins == fiveHourMinutes   ? &limits.primary
                     : window.windowDurationMins == sevenDayMinutes ? &limits.secondary
                                                                    : nullptr;
        if (slot == nullptr || *slot) return false;
        *slot = window;
        return true;
    });
    limits.limits.rateLimitReachedType = std::exchange(unslotted.rateLimitReachedType, {});
    limits.limits.spendControlReached = std::exchange(unslotted.spendControlReached, {});
    limits.limits.ordinaryUsageAllowed = result["ordinaryUsageAllowed"].boolean();
    std::vector<AccountLimit>& others = limits.limits.otherLimits;
    if (!unslotted.windows.empty()) others.push_back(std::move(unslotted));
    result["rateLimitsByLimitId"].forEachMember([&](std::string_view id, JsonView value) {
        if (id == "codex") return true;
        AccountLimit other = parseLimit(id, value);
        if (!other.windows.empty() || other.isReached()) others.push_back(std::move(other));
        return others.size() < mostLimits;
    });
    std::ranges::sort(others, {}, &AccountLimit::id);
    limits.credits = parseCredits(limit, result);
    return limits;
}

}  // namespace vantry::CodexUsageReader

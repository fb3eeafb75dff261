#include "presentation/status/OtherLimits.h"

#include <cmath>
#include <fmt/format.h>

#include "platform/TextWidth.h"
#include "presentation/format/Countdown.h"
#include "presentation/words/QuotaWords.h"
#include "presentation/words/TimeWords.h"

namespace vantry {

namespace {

constexpr std::size_t longestName = 60;  // columns

std::string nameOf(const AccountLimit& limit) {
    const bool hasName = limit.name && !limit.name->empty();
    return cutToWidth(terminalText(hasName ? *limit.name : limit.id), longestName);
}

// "5h", "30d"; empty where it is not known.
std::string lengthOf(const RateWindow& window, WidgetLanguage language) {
    const std::int64_t minutes = window.windowDurationMins.value_or(0);
    if (minutes <= 0) return {};
    if (minutes % (24 * 60) == 0) return inWords(TimeWords::days, language, minutes / (24 * 60));
    if (minutes % 60 == 0) return inWords(TimeWords::hours, language, minutes / 60);
    return inWords(TimeWords::minutes, language, minutes);
}

// The service's kinds; a new one is told in general words.
BilingualText reachedText(const std::string& type) {
    if (type == "rate_limit_reached") return QuotaWords::limitReached;
    if (type.ends_with("credits_depleted")) return QuotaWords::creditsDepleted;
    if (type.ends_with("usage_limit_reached")) return QuotaWords::workspaceLimitReached;
    return QuotaWords::anyLimitReached;
}

}  // namespace

std::vector<OtherLimitLine> otherLimitLines(const RuntimeUsageSnapshot& runtime, Date now,
                                            WidgetLanguage language) {
    std::vector<OtherLimitLine> lines;
    for (const AccountLimit& limit : runtime.snapshot.limits.otherLimits) {
        const std::size_t before = lines.size();
        for (const RateWindow& window : limit.windows) {
            const auto percent = QuotaWindowPresentation::validRemainingPercent(
                window.remainingPercent(), {.resetsAt = window.resetsAt,
                                            .capturedAt = runtime.quotaCapturedAt,
                                            .windowDurationMins = window.windowDurationMins,
                                            .now = now});
            if (!percent) continue;
            const std::string length = lengthOf(window, language);
            const auto left = QuotaWindowPresentation::remainingTimeText(
                {.resetsAt = window.resetsAt, .now = now}, language);
            lines.push_back(
                {.name = length.empty() ? nameOf(limit) : nameOf(limit) + " " + length,
                 .remaining = inWords(QuotaWords::left, language,
                                      fmt::format("{:.0f}", std::round(*percent))),
                 .reset = left ? inWords(QuotaWords::inTime, language, *left) : std::string(),
                 .fraction = *percent / 100,
                 .isReached = limit.isReached() || *percent <= 0});
        }
        if (lines.size() == before && limit.isReached()) {
            lines.push_back({.name = nameOf(limit),
                             .remaining = std::string(QuotaWords::reached.in(language)),
                             .isReached = true});
        }
    }
    return lines;
}

std::string stoppedText(const UsageSnapshot& snapshot, WidgetLanguage language) {
    const AccountLimits& limits = snapshot.limits;
    const auto word = [&](const BilingualText& text) { return std::string(text.in(language)); };
    if (limits.rateLimitReachedType) return word(reachedText(*limits.rateLimitReachedType));
    if (limits.spendControlReached.value_or(false)) return word(QuotaWords::spendingReached);
    if (!limits.ordinaryUsageAllowed.value_or(true)) return word(QuotaWords::usageNotAllowed);
    for (const AccountLimit& limit : limits.otherLimits) {
        if (limit.isReached()) return inWords(QuotaWords::otherReached, language, nameOf(limit));
    }
    return {};
}

}  // namespace vantry

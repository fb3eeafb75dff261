#include "presentation/status/StatusItemPresentation.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "platform/Application.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/StatusItemWords.h"

namespace vantry {

namespace {

constexpr std::string_view notKnown = "--";
constexpr std::string_view separator = " · ";

using Input = StatusItemPresentationBuilder::Input;

StatusItemMetricPresentation quotaMetric(const Input& input, StatusItemMetric metric) {
    const bool isFiveHour = input.source.quotaWindowKind == RuntimeQuotaWindowKind::fiveHour;
    StatusItemMetricPresentation shown{
        .metric = metric,
        .label = std::string((isFiveHour ? StatusItemWords::fiveHours : StatusItemWords::sevenDays)
                                 .in(input.language)),
        .value = std::string(notKnown),
        .compactValue = std::string(notKnown)};
    if (!input.source.quotaRemainingPercent) return shown;
    const double remaining = std::clamp(*input.source.quotaRemainingPercent, 0.0, 100.0);
    const bool isUsed = input.preferences.quotaMode == QuotaDisplayMode::used;
    const double percent = isUsed ? 100 - remaining : remaining;
    shown.compactValue = fmt::format("{:.0f}", std::round(percent));
    shown.value = shown.compactValue + "%";
    shown.fraction = percent / 100;
    shown.isAvailable = true;
    return shown;
}

StatusItemMetricPresentation tokenMetric(const Input& input, StatusItemMetric metric) {
    const std::string value = TokenFormatter::format(input.source.todayTokens);
    return {.metric = metric,
            .label = std::string(StatusItemWords::today.in(input.language)),
            .value = value,
            .compactValue = value,
            .isAvailable = input.source.todayTokens.has_value()};
}

std::string detailLine(const StatusItemMetricPresentation& shown, const Input& input) {
    const auto word = [&](const BilingualText& text) { return text.in(input.language); };
    if (isQuota(shown.metric)) {
        const bool isUsed = input.preferences.quotaMode == QuotaDisplayMode::used;
        return fmt::format("{} {} {}", shown.label,
                           word(isUsed ? StatusItemWords::used : StatusItemWords::remaining),
                           shown.isAvailable ? shown.value : word(StatusItemWords::unavailable));
    }
    return inWords(StatusItemWords::todayTokens, input.language,
                   shown.isAvailable ? shown.value : word(StatusItemWords::noRecords));
}

}  // namespace

StatusItemSourceSnapshot StatusItemSourceSnapshot::of(const RuntimeMenuSummary& summary) {
    return {.runtime = summary.scope,
            .quotaWindowKind = summary.quotaWindowKind,
            .quotaRemainingPercent = summary.quotaRemainingPercent,
            .todayTokens = summary.todayTokens};
}

std::vector<StatusItemMetricPresentation> StatusItemPresentation::quotaMetrics() const {
    std::vector<StatusItemMetricPresentation> quotas;
    std::ranges::copy_if(metrics, std::back_inserter(quotas),
                         [](const auto& metric) { return isQuota(metric.metric); });
    return quotas;
}

std::optional<StatusItemMetricPresentation> StatusItemPresentation::todayMetric() const {
    const auto found = std::ranges::find(metrics, StatusItemMetric::todayTokens,
                                         &StatusItemMetricPresentation::metric);
    if (found == metrics.end()) return std::nullopt;
    return *found;
}

double StatusItemLayoutMetrics::imageWidth(const StatusItemPreferences& preferences) {
    const StatusItemPreferences shown = preferences.normalized();
    const bool hasTokens = shown.visibleMetrics.contains(StatusItemMetric::todayTokens);
    if (shown.displayMode == StatusItemDisplayMode::minimal) {
        return minimalImageWidth + (hasTokens ? minimalTokenUnitWidth : 0);
    }
    const auto quotas = std::ranges::count_if(shown.visibleMetrics, isQuota);
    return static_cast<double>(quotas) * classicQuotaUnitWidth + leadingContentWidth +
           (hasTokens ? classicTokenUnitWidth : 0);
}

StatusItemPresentation StatusItemPresentationBuilder::build(const Input& given) {
    namespace Layout = StatusItemLayoutMetrics;
    const StatusItemPreferences preferences = given.preferences.normalized();
    const Input input{.source = given.source,
                      .preferences = preferences,
                      .language = given.language,
                      .shortcutLabel = given.shortcutLabel};
    const double width = Layout::imageWidth(preferences);
    const bool isMinimal = preferences.displayMode == StatusItemDisplayMode::minimal;
    StatusItemPresentation result{.mode = preferences.displayMode,
                                  .quotaMode = preferences.quotaMode,
                                  .runtime = input.source.runtime,
                                  .imageSize = {width, Layout::imageHeight},
                                  .itemLength = width + (isMinimal ? 0 : Layout::itemOuterPadding)};
    std::vector<std::string> details{std::string(displayName(input.source.runtime))};
    for (const StatusItemMetric metric : preferences.orderedVisibleMetrics()) {
        result.metrics.push_back(isQuota(metric) ? quotaMetric(input, metric)
                                                 : tokenMetric(input, metric));
        details.push_back(detailLine(result.metrics.back(), input));
    }
    result.accessibilityValue = fmt::format("{}", fmt::join(details, separator));
    const std::string hint =
        input.shortcutLabel.empty()
            ? std::string(StatusItemWords::hint.in(input.language))
            : inWords(StatusItemWords::hintWithShortcut, input.language, input.shortcutLabel);
    result.tooltip = fmt::format("{1}{0}{2}{0}{3}", separator, application::displayName,
                                 result.accessibilityValue, hint);
    return result;
}

std::optional<StatusItemFlowFrameCacheKey> StatusItemFlowFrameCacheKey::of(
    const StatusItemStaticImageCacheKey& key) {
    const StatusItemPresentation& item = key.presentation;
    StatusItemFlowFrameCacheKey result{.mode = item.mode,
                                       .quotaMode = item.quotaMode,
                                       .runtime = item.runtime,
                                       .imageSize = item.imageSize,
                                       .appearanceName = key.appearanceName,
                                       .skin = key.skin};
    bool isAnyAvailable = false;
    for (const StatusItemMetricPresentation& metric : item.quotaMetrics()) {
        result.metrics.push_back({.metric = metric.metric,
                                  .compactValue = metric.compactValue,
                                  .fraction = metric.fraction,
                                  .isAvailable = metric.isAvailable});
        isAnyAvailable = isAnyAvailable || metric.isAvailable;
    }
    if (!isAnyAvailable) return std::nullopt;
    return result;
}

}  // namespace vantry

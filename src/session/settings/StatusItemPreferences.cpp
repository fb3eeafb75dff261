#include "session/settings/StatusItemPreferences.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vantry {

bool StatusItemPreferences::hasVisibleQuota() const {
    return std::ranges::any_of(visibleMetrics, isQuota);
}

std::optional<StatusItemPreferenceError> StatusItemPreferences::validationError() const {
    if (visibleMetrics.empty()) return StatusItemPreferenceError::requiresVisibleMetric;
    if (displayMode == StatusItemDisplayMode::minimal && !hasVisibleQuota()) {
        return StatusItemPreferenceError::minimalRequiresQuotaMetric;
    }
    return std::nullopt;
}

StatusItemPreferences StatusItemPreferences::normalized() const {
    StatusItemPreferences result = *this;
    if (result.visibleMetrics.empty()) {
        result.visibleMetrics = StatusItemPreferences().visibleMetrics;
    }
    if (result.displayMode == StatusItemDisplayMode::minimal && !result.hasVisibleQuota()) {
        result.visibleMetrics.insert(StatusItemMetric::sevenDayQuota);
    }
    return result;
}

namespace StatusItemPreferencesStore {

namespace {

constexpr const char* displayModeKey = "Vantry.statusItem.displayMode";
constexpr const char* quotaModeKey = "Vantry.statusItem.quotaMode";
constexpr const char* metricsKey = "Vantry.statusItem.visibleMetrics";
constexpr const char* countdownKey = "Vantry.statusItem.showsResetCountdown";  // no longer written

std::string metricsText(const StatusItemPreferences& preferences) {
    std::string text;
    for (const StatusItemMetric metric : preferences.orderedVisibleMetrics()) {
        if (!text.empty()) text += ',';
        text += rawText(metric);
    }
    return text;
}

std::set<StatusItemMetric> metricsOf(std::string_view text) {
    std::set<StatusItemMetric> metrics;
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size());
        if (const auto metric = fromRawText<StatusItemMetric>(text.substr(0, comma))) {
            metrics.insert(*metric);
        }
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return metrics;
}

}  // namespace

StatusItemPreferences load(UserDefaults& defaults) {
    const std::string mode = defaults.string(displayModeKey).value_or("");
    const std::string direction = defaults.string(quotaModeKey).value_or("");
    const auto metrics = defaults.string(metricsKey);
    StatusItemPreferences preferences;
    preferences.displayMode =
        mode == "rich" ? StatusItemDisplayMode::classic
                       : fromRawText<StatusItemDisplayMode>(mode).value_or(preferences.displayMode);
    preferences.quotaMode =
        fromRawText<QuotaDisplayMode>(direction).value_or(preferences.quotaMode);
    if (metrics) preferences.visibleMetrics = metricsOf(*metrics);
    preferences = preferences.normalized();
    const auto isOther = [](const std::string& stored, std::string_view meant) {
        return !stored.empty() && stored != meant;
    };
    const bool isRepaired = isOther(mode, rawText(preferences.displayMode)) ||
                            isOther(direction, rawText(preferences.quotaMode)) ||
                            (metrics && *metrics != metricsText(preferences));
    if (isRepaired) {
        save(preferences, defaults);
    } else {
        defaults.remove(countdownKey);
    }
    return preferences;
}

void save(const StatusItemPreferences& preferences, UserDefaults& defaults) {
    const StatusItemPreferences taken = preferences.normalized();
    defaults.change({.set = {{displayModeKey, std::string(rawText(taken.displayMode))},
                             {quotaModeKey, std::string(rawText(taken.quotaMode))},
                             {metricsKey, metricsText(taken)}},
                     .remove = {countdownKey}});
}

void reset(UserDefaults& defaults) {
    defaults.change({.remove = {displayModeKey, quotaModeKey, metricsKey, countdownKey}});
}

}  // namespace StatusItemPreferencesStore

}  // namespace vantry

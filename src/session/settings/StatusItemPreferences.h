#pragma once

#include <optional>
#include <set>
#include <vector>

#include "platform/RecordFields.h"
#include "platform/UserDefaults.h"

namespace vantry {

enum class StatusItemDisplayMode : std::uint8_t { minimal, classic };

template <>
struct EnumTexts<StatusItemDisplayMode> {
    static constexpr std::array table{
        std::pair{StatusItemDisplayMode::minimal, std::string_view("minimal")},
        std::pair{StatusItemDisplayMode::classic, std::string_view("classic")}};
};

/// Which way rings, bars and numbers of a quota count.
enum class QuotaDisplayMode : std::uint8_t { used, remaining };

template <>
struct EnumTexts<QuotaDisplayMode> {
    static constexpr std::array table{
        std::pair{QuotaDisplayMode::used, std::string_view("used")},
        std::pair{QuotaDisplayMode::remaining, std::string_view("remaining")}};
};

/// In the order in which they are shown.
enum class StatusItemMetric : std::uint8_t { sevenDayQuota, todayTokens };

template <>
struct EnumTexts<StatusItemMetric> {
    static constexpr std::array table{
        std::pair{StatusItemMetric::sevenDayQuota, std::string_view("sevenDayQuota")},
        std::pair{StatusItemMetric::todayTokens, std::string_view("todayTokens")}};
};

constexpr bool isQuota(StatusItemMetric metric) {
    return metric == StatusItemMetric::sevenDayQuota;
}

/// Why a choice cannot be taken.
enum class StatusItemPreferenceError : std::uint8_t {
    requiresVisibleMetric,
    minimalRequiresQuotaMetric
};

/// What the user wants the tray to show.
struct StatusItemPreferences {
    StatusItemDisplayMode displayMode = StatusItemDisplayMode::minimal;
    QuotaDisplayMode quotaMode = QuotaDisplayMode::remaining;
    std::set<StatusItemMetric> visibleMetrics{StatusItemMetric::sevenDayQuota};

    std::vector<StatusItemMetric> orderedVisibleMetrics() const {
        return {visibleMetrics.begin(), visibleMetrics.end()};
    }
    bool hasVisibleQuota() const;
    std::optional<StatusItemPreferenceError> validationError() const;
    /// The nearest choice that can be taken: nothing visible becomes the default, and the minimal
    /// mode gets a quota.
    StatusItemPreferences normalized() const;

    friend bool operator==(const StatusItemPreferences&, const StatusItemPreferences&) = default;
};

/// Where the choice is kept: texts, the metrics with commas between them. Any thread.
namespace StatusItemPreferencesStore {

/// What is stored. Values of earlier versions are translated, bad ones fall back to the default,
/// and whatever had to be changed is written back at once.
StatusItemPreferences load(UserDefaults& defaults);

/// The normalized choice, all of it or nothing.
void save(const StatusItemPreferences& preferences, UserDefaults& defaults);

/// Back to the default.
void reset(UserDefaults& defaults);

}  // namespace StatusItemPreferencesStore

}  // namespace vantry

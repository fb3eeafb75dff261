#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/status/RuntimeMenuSummary.h"
#include "session/settings/Appearance.h"
#include "session/settings/StatusItemPreferences.h"
#include "session/settings/WidgetLanguage.h"

namespace vantry {

template <>
struct EnumTexts<RuntimeQuotaWindowKind> {
    static constexpr std::array table{
        std::pair{RuntimeQuotaWindowKind::fiveHour, std::string_view("fiveHour")},
        std::pair{RuntimeQuotaWindowKind::sevenDay, std::string_view("sevenDay")}};
};

/// The figures that the tray can show.
struct StatusItemSourceSnapshot {
    RuntimeScope runtime = RuntimeScope::codex;
    RuntimeQuotaWindowKind quotaWindowKind = RuntimeQuotaWindowKind::sevenDay;
    std::optional<double> quotaRemainingPercent;
    std::optional<std::int64_t> todayTokens;

    static StatusItemSourceSnapshot of(const RuntimeMenuSummary& summary);
    static StatusItemSourceSnapshot unavailable(RuntimeScope runtime) {
        return {.runtime = runtime};
    }

    friend bool operator==(const StatusItemSourceSnapshot&,
                           const StatusItemSourceSnapshot&) = default;
};

struct StatusItemMetricPresentation {
    StatusItemMetric metric = StatusItemMetric::sevenDayQuota;
    std::string label;
    std::string value;               ///< "77%", "1.2M", "--"
    std::string compactValue;        ///< without the percent sign
    std::optional<double> fraction;  ///< 0...1, of a quota
    bool isAvailable = false;

    friend bool operator==(const StatusItemMetricPresentation&,
                           const StatusItemMetricPresentation&) = default;
};

template <>
struct RecordFields<StatusItemMetricPresentation> {
    using Metric = StatusItemMetricPresentation;
    static constexpr std::tuple list{
        field("metric", &Metric::metric),     field("label", &Metric::label),
        field("value", &Metric::value),       field("compactValue", &Metric::compactValue),
        field("fraction", &Metric::fraction), field("isAvailable", &Metric::isAvailable)};
};

/// Sizes in points.
struct StatusItemImageSize {
    double width = 0;
    double height = 0;

    friend bool operator==(const StatusItemImageSize&, const StatusItemImageSize&) = default;
};

template <>
struct RecordFields<StatusItemImageSize> {
    static constexpr std::tuple list{field("width", &StatusItemImageSize::width),
                                     field("height", &StatusItemImageSize::height)};
};

/// The wide form of the tray: equal values, equal image. The settings preview draws it; a tray,
/// which squeezes what is wide, gets the TrayImage.
struct StatusItemPresentation {
    StatusItemDisplayMode mode = StatusItemDisplayMode::minimal;
    QuotaDisplayMode quotaMode = QuotaDisplayMode::remaining;
    RuntimeScope runtime = RuntimeScope::codex;
    StatusItemImageSize imageSize;
    double itemLength = 0;
    std::vector<StatusItemMetricPresentation> metrics;
    std::string tooltip;
    std::string accessibilityValue;

    std::vector<StatusItemMetricPresentation> quotaMetrics() const;
    std::optional<StatusItemMetricPresentation> todayMetric() const;

    friend bool operator==(const StatusItemPresentation&, const StatusItemPresentation&) = default;
};

template <>
struct RecordFields<StatusItemPresentation> {
    using Item = StatusItemPresentation;
    static constexpr std::tuple list{field("mode", &Item::mode),
                                     field("quotaMode", &Item::quotaMode),
                                     field("runtime", &Item::runtime),
                                     field("imageSize", &Item::imageSize),
                                     field("itemLength", &Item::itemLength),
                                     field("metrics", &Item::metrics),
                                     field("tooltip", &Item::tooltip),
                                     field("accessibilityValue", &Item::accessibilityValue)};
};

/// In points.
namespace StatusItemLayoutMetrics {

inline constexpr double imageHeight = 22;
inline constexpr double itemOuterPadding = 2;
inline constexpr double minimalImageWidth = 20;
inline constexpr double minimalTokenUnitWidth = 51;
inline constexpr double minimalOuterRingDiameter = 16.5;
inline constexpr double minimalOuterRingLineWidth = 3.25;
inline constexpr double leadingContentWidth = 21;
inline constexpr double classicQuotaUnitWidth = 22;
inline constexpr double classicTokenUnitWidth = 51;

/// Depends on the preferences alone: nothing beside it may shift when data arrives.
double imageWidth(const StatusItemPreferences& preferences);

}  // namespace StatusItemLayoutMetrics

namespace StatusItemPresentationBuilder {

struct Input {
    const StatusItemSourceSnapshot& source;
    const StatusItemPreferences& preferences;
    WidgetLanguage language = WidgetLanguage::en;
    std::string shortcutLabel = {};  ///< empty without a shortcut
};
StatusItemPresentation build(const Input& input);

}  // namespace StatusItemPresentationBuilder

/// A second click closes; it never opens anew.
enum class StatusItemInteractionAction : std::uint8_t { closePopover, showPopover };

namespace StatusItemInteractionPolicy {

constexpr StatusItemInteractionAction action(bool statusPopoverPresented) {
    return statusPopoverPresented ? StatusItemInteractionAction::closePopover
                                  : StatusItemInteractionAction::showPopover;
}

}  // namespace StatusItemInteractionPolicy

namespace StatusItemLifecyclePolicy {

/// Under which the desktop remembers where the user has put the item.
inline constexpr std::string_view autosaveName = "com.orvale.vantry.stable.weekly-status-item";

/// An item that is there is used again.
constexpr bool shouldCreateStatusItem(bool hasExistingItem) {
    return !hasExistingItem;
}

}  // namespace StatusItemLifecyclePolicy

/// What the drawn image depends on: with an equal key nothing is drawn.
struct StatusItemStaticImageCacheKey {
    StatusItemPresentation presentation;
    std::string appearanceName;
    WidgetSkin skin = WidgetSkin::nebulaViolet;

    friend bool operator==(const StatusItemStaticImageCacheKey&,
                           const StatusItemStaticImageCacheKey&) = default;
};

struct StatusItemFlowMetricCacheKey {
    StatusItemMetric metric = StatusItemMetric::sevenDayQuota;
    std::optional<std::string> compactValue;
    std::optional<double> fraction;
    bool isAvailable = false;

    friend bool operator==(const StatusItemFlowMetricCacheKey&,
                           const StatusItemFlowMetricCacheKey&) = default;
};

/// What the frames of the moving light depend on; words and today's tokens are not among it.
struct StatusItemFlowFrameCacheKey {
    StatusItemDisplayMode mode = StatusItemDisplayMode::minimal;
    QuotaDisplayMode quotaMode = QuotaDisplayMode::remaining;
    RuntimeScope runtime = RuntimeScope::codex;
    StatusItemImageSize imageSize;
    std::vector<StatusItemFlowMetricCacheKey> metrics;
    std::string appearanceName;
    WidgetSkin skin = WidgetSkin::nebulaViolet;

    /// Nothing where no quota is known: then nothing moves.
    static std::optional<StatusItemFlowFrameCacheKey> of(const StatusItemStaticImageCacheKey& key);

    friend bool operator==(const StatusItemFlowFrameCacheKey&,
                           const StatusItemFlowFrameCacheKey&) = default;
};

}  // namespace vantry

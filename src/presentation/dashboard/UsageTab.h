#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/cards/HeatmapCard.h"
#include "presentation/cards/HourlyUsageCard.h"
#include "presentation/dashboard/ModelUsagePanel.h"
#include "presentation/dashboard/Panel.h"

namespace vantry {

/// A bar of the quota's pace.
struct PaceBar {
    std::string label;
    std::string value = "--";        ///< "52%"
    std::optional<double> fraction;  ///< 0...1

    friend bool operator==(const PaceBar&, const PaceBar&) = default;
};

template <>
struct RecordFields<PaceBar> {
    static constexpr std::tuple list{field("label", &PaceBar::label),
                                     field("value", &PaceBar::value),
                                     field("fraction", &PaceBar::fraction)};
};

enum class PaceMark : std::uint8_t { none, healthy, aheadOfPace };

template <>
struct EnumTexts<PaceMark> {
    static constexpr std::array table{
        std::pair{PaceMark::none, std::string_view("none")},
        std::pair{PaceMark::healthy, std::string_view("healthy")},
        std::pair{PaceMark::aheadOfPace, std::string_view("aheadOfPace")}};
};

/// Whether the week's quota goes faster than the week.
struct QuotaPaceCard {
    std::string title;
    std::string meaning;
    PaceBar timeElapsed;
    PaceBar quotaUsed;
    std::string status;  ///< empty where it cannot be judged
    PaceMark mark = PaceMark::none;
    std::string emptyText;
    std::string provenance;
    std::string accessibleName;

    friend bool operator==(const QuotaPaceCard&, const QuotaPaceCard&) = default;
};

template <>
struct RecordFields<QuotaPaceCard> {
    using Card = QuotaPaceCard;
    static constexpr std::tuple list{field("title", &Card::title),
                                     field("meaning", &Card::meaning),
                                     field("timeElapsed", &Card::timeElapsed),
                                     field("quotaUsed", &Card::quotaUsed),
                                     field("status", &Card::status),
                                     field("mark", &Card::mark),
                                     field("emptyText", &Card::emptyText),
                                     field("provenance", &Card::provenance),
                                     field("accessibleName", &Card::accessibleName)};
};

/// One day of the trend's line.
struct TrendPoint {
    std::string id;                      ///< day key
    std::string label;                   ///< below the axis
    std::optional<std::int64_t> tokens;  ///< absent: a gap
    bool isToday = false;                ///< unfinished, drawn hollow
    std::string tooltip;

    friend bool operator==(const TrendPoint&, const TrendPoint&) = default;
};

template <>
struct RecordFields<TrendPoint> {
    using Point = TrendPoint;
    static constexpr std::tuple list{
        field("id", &Point::id), field("label", &Point::label), field("tokens", &Point::tokens),
        field("isToday", &Point::isToday), field("tooltip", &Point::tooltip)};
};

struct UsageTrendPanel {
    std::string title;
    std::string rangePickerName;
    std::vector<PickerOption> ranges;
    std::vector<Figure> figures;  ///< total, average, peak, change, month's cost
    std::vector<TrendPoint> points;
    std::string basis;
    std::string note;  ///< where the days come from and which are not known
    std::optional<EmptyPanel> empty;
    Action viewModels;
    std::string provenance;
    std::string accessibleName;

    friend bool operator==(const UsageTrendPanel&, const UsageTrendPanel&) = default;
};

template <>
struct RecordFields<UsageTrendPanel> {
    using Panel = UsageTrendPanel;
    static constexpr std::tuple list{field("title", &Panel::title),
                                     field("rangePickerName", &Panel::rangePickerName),
                                     field("ranges", &Panel::ranges),
                                     field("figures", &Panel::figures),
                                     field("points", &Panel::points),
                                     field("basis", &Panel::basis),
                                     field("note", &Panel::note),
                                     field("empty", &Panel::empty),
                                     field("viewModels", &Panel::viewModels),
                                     field("provenance", &Panel::provenance),
                                     field("accessibleName", &Panel::accessibleName)};
};

struct UsageTab {
    QuotaPaceCard quotaPace;
    HourlyUsageCard todaysPace;
    UsageTrendPanel trend;
    std::optional<ModelUsagePanel> models;  ///< in the place of the trend
    HeatmapCard heatmap;

    friend bool operator==(const UsageTab&, const UsageTab&) = default;
};

template <>
struct RecordFields<UsageTab> {
    static constexpr std::tuple list{
        field("quotaPace", &UsageTab::quotaPace), field("todaysPace", &UsageTab::todaysPace),
        field("trend", &UsageTab::trend), field("models", &UsageTab::models),
        field("heatmap", &UsageTab::heatmap)};
};

UsageTab usageTab(const SurfaceInput& input);

}  // namespace vantry

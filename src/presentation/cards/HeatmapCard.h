#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/SurfaceInput.h"

namespace vantry {

/// One day of the heatmap.
struct HeatmapCell {
    std::string id;          ///< day key
    std::int64_t level = 0;  ///< 0...5
    bool isKnown = false;    ///< otherwise a dotted frame
    bool isFuture = false;   ///< nothing is drawn
    bool isToday = false;
    std::optional<std::int64_t> tokens;
    std::string tooltip;

    friend bool operator==(const HeatmapCell&, const HeatmapCell&) = default;
};

template <>
struct RecordFields<HeatmapCell> {
    using Cell = HeatmapCell;
    static constexpr std::tuple list{
        field("id", &Cell::id),           field("level", &Cell::level),
        field("isKnown", &Cell::isKnown), field("isFuture", &Cell::isFuture),
        field("isToday", &Cell::isToday), field("tokens", &Cell::tokens),
        field("tooltip", &Cell::tooltip)};
};

/// A month's name above the week in which it begins.
struct HeatmapMonth {
    std::int64_t week = 0;
    std::string label;

    friend bool operator==(const HeatmapMonth&, const HeatmapMonth&) = default;
};

template <>
struct RecordFields<HeatmapMonth> {
    static constexpr std::tuple list{field("week", &HeatmapMonth::week),
                                     field("label", &HeatmapMonth::label)};
};

/// Half a year of days.
struct HeatmapCard {
    std::string title;
    std::string active;                           ///< "Active 131 days"; empty without days
    std::vector<std::vector<HeatmapCell>> weeks;  ///< oldest first, Monday to Sunday
    std::vector<HeatmapMonth> months;
    std::vector<std::string> weekdays;  ///< seven, Monday first
    std::string less;
    std::string more;
    std::vector<std::string> glowCandidates;  ///< ordered for HeatmapGlowPlanner
    std::string basis;                        ///< "Hybrid"
    std::string emptyText;
    std::string note;  ///< of a period that is not complete
    std::string footer;
    std::string footerTooltip;
    bool footerIsStale = false;
    std::string provenance;
    std::string accessibleName;

    friend bool operator==(const HeatmapCard&, const HeatmapCard&) = default;
};

template <>
struct RecordFields<HeatmapCard> {
    using Card = HeatmapCard;
    static constexpr std::tuple list{field("title", &Card::title),
                                     field("active", &Card::active),
                                     field("weeks", &Card::weeks),
                                     field("months", &Card::months),
                                     field("weekdays", &Card::weekdays),
                                     field("less", &Card::less),
                                     field("more", &Card::more),
                                     field("glowCandidates", &Card::glowCandidates),
                                     field("basis", &Card::basis),
                                     field("emptyText", &Card::emptyText),
                                     field("note", &Card::note),
                                     field("footer", &Card::footer),
                                     field("footerTooltip", &Card::footerTooltip),
                                     field("footerIsStale", &Card::footerIsStale),
                                     field("provenance", &Card::provenance),
                                     field("accessibleName", &Card::accessibleName)};
};

/// Surfaces name the days of their cells in their own length.
enum class HeatmapDetail : std::uint8_t { popover, dashboard };

HeatmapCard heatmapCard(const SurfaceInput& input, HeatmapDetail detail);

/// The one word for what a trend is made of.
BilingualText basisWord(UsageSourceQuality quality);

/// Where days of that quality come from.
FigureSource sourceOf(UsageSourceQuality quality);

/// The account's total since it began.
namespace OfficialLifetimeMenuPresentation {

/// "Lifetime 18.9B"; zero is a value.
std::string footerText(std::optional<std::int64_t> tokens, WidgetLanguage language);

struct Lifetime {
    std::optional<std::int64_t> tokens;
    std::optional<Date> capturedAt;
    bool isStale = false;
};
std::string tooltip(const Lifetime& lifetime, const Wording& words);

}  // namespace OfficialLifetimeMenuPresentation

}  // namespace vantry

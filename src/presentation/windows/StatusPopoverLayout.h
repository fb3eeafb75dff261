#pragma once

#include <cstdint>
#include <optional>

#include "presentation/windows/Rect.h"

namespace vantry {

/// How close the popover's cards stand, the widest first.
enum class StatusPopoverContentDensity : std::uint8_t { regular, tightInsets, shortScreen };

template <>
struct EnumTexts<StatusPopoverContentDensity> {
    using Density = StatusPopoverContentDensity;
    static constexpr std::array table{
        std::pair{Density::regular, std::string_view("regular")},
        std::pair{Density::tightInsets, std::string_view("tightInsets")},
        std::pair{Density::shortScreen, std::string_view("shortScreen")}};
};

/// In logical pixels.
struct StatusPopoverMetrics {
    double sectionSpacing = 0;
    double outerVerticalInset = 0;
    double goalSpacing = 0;
    double cardVerticalInset = 0;
    double heatmapContentSpacing = 0;
    double heatmapCellSize = 0;
    double heatmapCellSpacing = 0;

    friend bool operator==(const StatusPopoverMetrics&, const StatusPopoverMetrics&) = default;
};

constexpr StatusPopoverMetrics metrics(StatusPopoverContentDensity density) {
    switch (density) {
        case StatusPopoverContentDensity::regular:
            return {16, 16, 12, 12, 10, 14, 4};
        case StatusPopoverContentDensity::tightInsets:
            return {8, 8, 12, 12, 10, 14, 4};
        case StatusPopoverContentDensity::shortScreen:
            break;
    }
    return {8, 8, 8, 8, 8, 12, 3};
}

namespace StatusPopoverLayoutPolicy {

inline constexpr double width = 496;
inline constexpr double screenEdgeInset = 16;
inline constexpr double minimumSupportedScreenVisibleHeight = 500;
inline constexpr double minimumSupportedContentHeight = 484;

struct Heights {
    double preferredHeight = 0;
    std::optional<double> screenVisibleHeight;
};
/// The preferred height where nobody knows the screen's, otherwise what of it the screen allows.
double contentHeight(const Heights& heights);

/// Whether there is room for the popover, or only for the words that say so.
bool hasEnoughSpace(std::optional<double> screenVisibleHeight);

/// What the content takes at each density.
struct NeededHeights {
    double regular = 0;
    double tightInsets = 0;
    double shortScreen = 0;
};
/// The widest density that fits; the closest where none does.
StatusPopoverContentDensity density(const NeededHeights& needed, double availableHeight);

}  // namespace StatusPopoverLayoutPolicy

/// Where the popover goes.
namespace StatusPopoverPlacement {

enum class Edge : std::uint8_t { top, bottom, left, right };

struct Anchor {
    std::optional<Point> click;  ///< absent, or 0,0 where the panel does not say
    std::optional<Edge> panelEdge;
    Rect screen;
    Rect workArea;  ///< the screen without panels
    Size size;
    double scale = 1;  ///< device pixels a logical one; places fall on whole ones
};

/// The edge at which the panel with the tray is: the one told, the one that the work area leaves
/// most room at, the one nearest to the click, or the top.
Edge edgeOf(const Anchor& anchor);

/// Beside the panel at the click, wholly within the work area. Without a click in the corner where
/// trays are: the end of the panel.
Rect frame(const Anchor& anchor);

}  // namespace StatusPopoverPlacement

}  // namespace vantry

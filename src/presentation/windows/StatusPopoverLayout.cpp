#include "presentation/windows/StatusPopoverLayout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace vantry {

namespace StatusPopoverLayoutPolicy {

namespace {

bool isKnown(const std::optional<double>& height) {
    return height && std::isfinite(*height) && *height > 0;
}

}  // namespace

double contentHeight(const Heights& heights) {
    if (!isKnown(heights.screenVisibleHeight)) return heights.preferredHeight;
    return std::min(heights.preferredHeight,
                    std::max(*heights.screenVisibleHeight - screenEdgeInset, 1.0));
}

bool hasEnoughSpace(std::optional<double> screenVisibleHeight) {
    return !isKnown(screenVisibleHeight) ||
           *screenVisibleHeight >= minimumSupportedScreenVisibleHeight;
}

StatusPopoverContentDensity density(const NeededHeights& needed, double availableHeight) {
    if (needed.regular <= availableHeight) return StatusPopoverContentDensity::regular;
    if (needed.tightInsets <= availableHeight) return StatusPopoverContentDensity::tightInsets;
    return StatusPopoverContentDensity::shortScreen;
}

}  // namespace StatusPopoverLayoutPolicy

namespace StatusPopoverPlacement {

namespace {

constexpr double gap = 4;  // between the panel and the popover

std::optional<Point> clickOf(const Anchor& anchor) {
    const auto& click = anchor.click;
    if (!click || (click->x == 0 && click->y == 0)) return std::nullopt;
    return anchor.screen.contains(*click) ? click : std::nullopt;
}

using EdgeDistances = std::array<std::pair<Edge, double>, 4>;

// Of the inner rectangle or point from each edge of the outer one.
EdgeDistances distances(const Rect& outer, const Rect& inner) {
    return {{{Edge::top, inner.y - outer.y},
             {Edge::bottom, outer.bottom() - inner.bottom()},
             {Edge::left, inner.x - outer.x},
             {Edge::right, outer.right() - inner.right()}}};
}

double onDevicePixels(double value, double scale) {
    return scale > 0 ? std::round(value * scale) / scale : value;
}

}  // namespace

Edge edgeOf(const Anchor& anchor) {
    if (anchor.panelEdge) return *anchor.panelEdge;
    const auto byDistance = [](const auto& a, const auto& b) { return a.second < b.second; };
    const auto click = clickOf(anchor);
    if (click) {
        // A click on a panel is outside the work area: beyond the edge at which it is.
        const EdgeDistances fromWorkArea = distances(anchor.workArea, {click->x, click->y, 0, 0});
        const auto beyond = std::ranges::min_element(fromWorkArea, byDistance);
        if (beyond->second < 0) return beyond->first;
    }
    const EdgeDistances panels = distances(anchor.screen, anchor.workArea);
    const auto largest = std::ranges::max_element(panels, byDistance);
    if (largest->second > 0) return largest->first;
    if (!click) return Edge::top;
    const EdgeDistances fromScreen = distances(anchor.screen, {click->x, click->y, 0, 0});
    return std::ranges::min_element(fromScreen, byDistance)->first;
}

Rect frame(const Anchor& anchor) {
    const Rect& area = anchor.workArea;
    const Edge edge = edgeOf(anchor);
    const auto click = clickOf(anchor);
    const Size& size = anchor.size;
    Rect frame{click ? click->x - size.width / 2 : area.right() - size.width - gap,
               click ? click->y - size.height / 2 : area.bottom() - size.height - gap, size.width,
               size.height};
    switch (edge) {
        case Edge::top:
            frame.y = area.y + gap;
            break;
        case Edge::bottom:
            frame.y = area.bottom() - size.height - gap;
            break;
        case Edge::left:
            frame.x = area.x + gap;
            break;
        case Edge::right:
            frame.x = area.right() - size.width - gap;
            break;
    }
    frame = fittedInto(area, frame);
    frame.x = onDevicePixels(frame.x, anchor.scale);
    frame.y = onDevicePixels(frame.y, anchor.scale);
    return frame;
}

}  // namespace StatusPopoverPlacement

}  // namespace vantry

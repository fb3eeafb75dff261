#include "presentation/charts/BarGeometry.h"

#include <algorithm>
#include <cmath>

#include "records/TokenBreakdown.h"

namespace vantry {

namespace BarGeometry {

Stack stack(const StackRequest& request) {
    Stack result;
    const std::size_t days = request.series.empty() ? 0 : request.series.front().size();
    if (days == 0) return result;
    std::vector<std::optional<std::int64_t>> totals(days);
    for (const Series& series : request.series) {
        for (std::size_t day = 0; day < days; ++day) {
            if (!series[day]) continue;
            totals[day] =
                saturatingAdd(totals[day].value_or(0), std::max<std::int64_t>(*series[day], 0));
        }
    }
    for (const auto& total : totals) result.maximum = std::max(result.maximum, total.value_or(0));
    result.maximum = request.maximum.value_or(result.maximum);
    const double column = request.size.width / static_cast<double>(days);
    const double width = std::max(column - request.spacing, 1.0);
    for (std::size_t day = 0; day < days; ++day) {
        const double x = column * static_cast<double>(day) + (column - width) / 2;
        if (!totals[day]) {
            result.missing.push_back({x, request.size.height - 1, width, 1});
            continue;
        }
        double bottom = request.size.height;
        for (std::size_t series = 0; series < request.series.size(); ++series) {
            const std::int64_t tokens = request.series[series][day].value_or(0);
            if (tokens <= 0 || result.maximum <= 0) continue;
            const double share =
                std::min(static_cast<double>(tokens) / static_cast<double>(result.maximum), 1.0);
            const double height = std::max(request.size.height * share, shortestBar);
            bottom -= height;
            result.pieces.push_back({day, series, {x, bottom, width, height}});
        }
    }
    return result;
}

std::optional<std::size_t> dayAt(const ColumnHit& hit) {
    if (hit.days == 0 || !(hit.x >= 0 && hit.x < hit.width)) return std::nullopt;
    const double day = hit.x / hit.width * static_cast<double>(hit.days);
    return std::min(static_cast<std::size_t>(day), hit.days - 1);
}

std::vector<Segment> splitSegments(const TokenSplitBarPresentation& bar) {
    using Kind = Segment::Kind;
    if (bar.fill.kind == TokenSplitBarFill::Kind::totalOnly) return {{Kind::total, 0, 1}};
    if (bar.fill.kind != TokenSplitBarFill::Kind::split || !bar.fill.tokens) return {};
    const TokenBreakdown& tokens = *bar.fill.tokens;
    const auto whole = static_cast<double>(tokens.splitTotalTokens());
    std::vector<Segment> segments;
    double at = 0;
    const auto add = [&](Kind kind, std::int64_t part) {
        const double end = std::min(at + static_cast<double>(part) / whole, 1.0);
        if (part > 0) segments.push_back({kind, at, end});
        at = end;
    };
    add(Kind::cachedInput, tokens.billableCachedInputTokens());
    add(Kind::input, tokens.uncachedInputTokens());
    add(Kind::output, tokens.outputTokens);
    return segments;
}

}  // namespace BarGeometry

namespace HeatmapGeometry {

constexpr std::size_t daysOfWeek = 7;

Rect cell(const Layout& layout, std::size_t week, std::size_t weekday) {
    const double step = layout.cellSize + layout.spacing;
    return {layout.origin.x + step * static_cast<double>(week),
            layout.origin.y + step * static_cast<double>(weekday), layout.cellSize,
            layout.cellSize};
}

Size size(const Layout& layout) {
    const double step = layout.cellSize + layout.spacing;
    const auto length = [&](std::size_t cells) {
        return cells == 0 ? 0 : step * static_cast<double>(cells) - layout.spacing;
    };
    return {length(layout.weeks), length(daysOfWeek)};
}

std::optional<CellPlace> cellAt(const Layout& layout, const Point& point) {
    const double step = layout.cellSize + layout.spacing;
    // The space between two cells belongs to both halves.
    const double x = point.x - layout.origin.x + layout.spacing / 2;
    const double y = point.y - layout.origin.y + layout.spacing / 2;
    if (!(x >= 0 && y >= 0)) return std::nullopt;
    const CellPlace place{static_cast<std::size_t>(x / step), static_cast<std::size_t>(y / step)};
    if (place.week >= layout.weeks || place.weekday >= daysOfWeek) return std::nullopt;
    return place;
}

Layout filling(double width, std::size_t weeks, const Point& origin) {
    const auto count = static_cast<double>(std::max<std::size_t>(weeks, 1));
    // weeks cells and a quarter less one between them.
    const double cellSize = std::max(std::floor(width / (count * 1.25 - 0.25)), 4.0);
    return {.origin = origin,
            .cellSize = cellSize,
            .spacing = std::max(std::floor(cellSize / 4), 1.0),
            .weeks = weeks};
}

}  // namespace HeatmapGeometry

}  // namespace vantry
